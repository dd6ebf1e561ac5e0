// Partitions: parts of a selection that are selections of their own.
#include "ravo_dataset/partition.h"

#include <algorithm>

#include "plan_state.h"
#include "ravo_dataset/manifest.h"
#include "times.h"

namespace ravo::python {
namespace {

using event_state = std::optional<std::pair<std::uint32_t, std::int64_t>>;
using partition_state = std::tuple<std::string, event_state, event_state, plan_state>;

event_state state_of_event(const std::optional<ravo_time_id>& event) {
  if (!event) return std::nullopt;
  return std::pair{event->event_number, ravo::microseconds_of(event->time)};
}

std::optional<ravo_time_id> event_from(const event_state& state) {
  if (!state) return std::nullopt;
  return ravo_time_id{state->first, time_of(state->second)};
}

std::optional<std::uint32_t> number_of(const std::optional<ravo_time_id>& event) {
  return event ? std::optional(event->event_number) : std::nullopt;
}

std::optional<std::int64_t> time_us_of(const std::optional<ravo_time_id>& event) {
  return event ? std::optional(ravo::microseconds_of(event->time)) : std::nullopt;
}

std::string summary_of(const partition& self) {
  std::string text = "<ravo.Partition: " + std::to_string(self.wanted.files.size()) + " files, " +
                     std::to_string(self.plan.events) + " events";
  if (self.first_event)
    text += ", " + std::to_string(self.first_event->event_number) + " to " +
            std::to_string(self.last_event->event_number);
  return text + ", " + std::to_string(self.plan.decoded_bytes) + " bytes decoded>";
}

using partition_class = nb::class_<partition>;

void bind_travel(partition_class& bound) {
  bound
      .def(
          "with_lists_in",
          [](const partition& self, const std::string& path) {
            partition moved = self;
            moved.wanted = with_absolute_paths(move_lists_to_manifest(self.wanted, path));
            return moved;
          },
          "path"_a, "Writes the long lists to a new file, and returns the part whose text names that file.")
      .def("__getstate__",
           [](const partition& self) {
             return partition_state{self.text(), state_of_event(self.first_event),
                                    state_of_event(self.last_event), state_of(self.plan)};
           })
      .def("__setstate__", [](partition& self, const partition_state& state) {
        const auto& [text, first, last, plan] = state;
        new (&self) partition{selection::parse(text), event_from(first), event_from(last), plan_from(plan)};
      });
}

}  // namespace

void bind_partition(nb::module_& module) {
  partition_class bound(module, "Partition",
                        "A part of a run that can be read alone, in any order and on any machine: rows, "
                        "ledgers and digests of all parts add up to those of the whole. Pickles.");
  bound.def_prop_ro("text", &partition::text, "The selection that opens the part alone, from any folder.")
      .def_prop_ro("selection", [](const partition& self) { return self.wanted; })
      .def_prop_ro("files", [](const partition& self) { return with_manifests(self.wanted).files; })
      .def_prop_ro(
          "events", [](const partition& self) { return self.plan.events; }, "How many.")
      .def_prop_ro(
          "channels", [](const partition& self) { return self.plan.channels; }, "What each channel takes.")
      .def_prop_ro("stored_bytes", [](const partition& self) { return self.plan.stored_bytes; })
      .def_prop_ro("decoded_bytes", [](const partition& self) { return self.plan.decoded_bytes; })
      .def_prop_ro(
          "peak_bytes",
          [](const partition& self) {
            return std::max(self.plan.peak_bytes_of_events, self.plan.peak_bytes_of_columns);
          },
          "The memory that reading takes at most, by events or column after column; an estimate.")
      .def_prop_ro(
          "first_event", [](const partition& self) { return number_of(self.first_event); },
          "The number of the first event; None of a part without events.")
      .def_prop_ro("last_event", [](const partition& self) { return number_of(self.last_event); })
      .def_prop_ro(
          "first_time_us", [](const partition& self) { return time_us_of(self.first_event); },
          "Microseconds since 1970, UTC.")
      .def_prop_ro("last_time_us", [](const partition& self) { return time_us_of(self.last_event); })
      .def_ro("plan", &partition::plan, "What reading the part will take.")
      .def("__str__", &partition::text)
      .def("__repr__", &summary_of);
  bind_travel(bound);
}

}  // namespace ravo::python
