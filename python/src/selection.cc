// Selections: their text, and their fields.
#include "ravo_dataset/selection.h"

#include "binding.h"
#include "ravo_dataset/manifest.h"
#include "times.h"

namespace ravo::python {
namespace {

using run_pair = std::optional<std::pair<int, int>>;

void bind_limits(nb::class_<selection>& bound) {
  bound
      .def_prop_rw(
          "runs",
          [](const selection& self) {
            return self.runs ? run_pair({self.runs->first, self.runs->last}) : std::nullopt;
          },
          [](selection& self, run_pair runs) {
            self.runs = runs ? std::optional(run_numbers{runs->first, runs->second}) : std::nullopt;
          },
          nb::arg("runs").none(), "The first and the last run number.")
      .def_prop_rw(
          "from_us", [](const selection& self) { return microseconds_of(self.from); },
          [](selection& self, std::optional<std::int64_t> time) {
            self.from = time ? std::optional(time_of(*time)) : std::nullopt;
          },
          nb::arg("time").none(), "The first time, in microseconds since 1970, UTC.")
      .def_prop_rw(
          "to_us", [](const selection& self) { return microseconds_of(self.to); },
          [](selection& self, std::optional<std::int64_t> time) {
            self.to = time ? std::optional(time_of(*time)) : std::nullopt;
          },
          nb::arg("time").none(), "The last time, in microseconds since 1970, UTC.")
      .def_rw("first_event", &selection::first_event, nb::arg("number").none())
      .def_rw("last_event", &selection::last_event, nb::arg("number").none())
      .def_rw("step", &selection::step)
      .def_rw("limit", &selection::limit, nb::arg("count").none());
}

void bind_alignment(nb::class_<selection>& bound) {
  bound.def_rw("synch", &selection::synch)
      .def_prop_rw(
          "tolerance_us", [](const selection& self) { return ravo::microseconds_of(self.tolerance); },
          [](selection& self, std::int64_t span) { self.tolerance = time_of(span); },
          "Of events without a number, and of all when aligned by time.")
      .def_rw("join", &selection::join)
      .def_rw("join_channel", &selection::join_channel)
      .def_rw("slow", &selection::slow)
      .def_rw("max_age_us", &selection::max_age, nb::arg("span").none());
}

}  // namespace

void bind_selection(nb::module_& module) {
  nb::class_<selection> bound(module, "Selection",
                              "What is to be read: files, channels, events, and how they are aligned.");
  bound.def(nb::init<>())
      .def_static("parse", &selection::parse, "text"_a, "Reads the text form. Raises SelectionError.")
      .def("to_text", &selection::to_text, "The text from which parse() makes this selection.")
      .def(
          "copy", [](const selection& self) { return selection(self); },
          "A selection with the same fields.")
      .def("with_absolute_paths", &with_absolute_paths,
           "The same selection, with a text that means the same in every folder.")
      .def("with_lists_in", &move_lists_to_manifest, "path"_a,
           "Writes the long lists (files, channels ...) to a new file, and returns the selection that "
           "names it.")
      .def("with_manifests", &with_manifests, "The selection with the lists of its manifests.")
      .def_rw("files", &selection::files)
      .def_ro("context", &selection::context, "Files that are read for slow values alone.")
      .def_rw("experiment", &selection::experiment)
      .def_rw("stream", &selection::stream)
      .def_rw("catalogue", &selection::catalogue)
      .def_rw("data", &selection::data)
      .def_rw("channels", &selection::channels)
      .def("__str__", &selection::to_text)
      .def(
          "__repr__",
          [](const selection& self) {
            return nb::str("Selection.parse({!r})").attr("format")(self.to_text());
          },
          nb::sig("def __repr__(self) -> str"))
      .def(
          "__eq__",
          [](const selection& self, nb::handle other) {
            const selection* another = nullptr;
            return nb::try_cast(other, another) && another != nullptr && self == *another;
          },
          "other"_a.none(), nb::sig("def __eq__(self, other: object, /) -> bool"));
  bind_limits(bound);
  bind_alignment(bound);
}

}  // namespace ravo::python
