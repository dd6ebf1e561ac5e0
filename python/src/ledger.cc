// Ledgers: what was expected, delivered and missing.
#include "ravo_dataset/ledger.h"

#include "binding.h"
#include "times.h"

namespace ravo::python {
namespace {

void bind_parts(nb::module_& module) {
  nb::class_<channel_ledger>(module, "ChannelLedger", "The values of one channel, counted.")
      .def_ro("channel", &channel_ledger::channel)
      .def_ro("expected", &channel_ledger::expected)
      .def_ro("delivered", &channel_ledger::delivered)
      .def_prop_ro("missing", &channel_ledger::missing_total)
      .def(
          "missing_by",
          [](const channel_ledger& self, missing_cause cause) {
            return self.missing.at(static_cast<std::size_t>(cause));
          },
          "cause"_a, "How many values are missing for one cause.");
  nb::class_<missing_value>(module, "MissingValue", "One value that is missing, and where it should be.")
      .def_ro("channel", &missing_value::channel)
      .def_ro("file", &missing_value::file)
      .def_ro("offset", &missing_value::offset)
      .def_prop_ro("event", [](const missing_value& self) { return self.event.event_number; })
      .def_prop_ro("time_us",
                   [](const missing_value& self) { return ravo::microseconds_of(self.event.time); })
      .def_ro("cause", &missing_value::cause)
      .def_ro("row", &missing_value::row);
  nb::class_<refused_file>(module, "RefusedFile", "A file that was left out as a whole.")
      .def_ro("path", &refused_file::path)
      .def_ro("reason", &refused_file::reason)
      .def_ro("problem", &refused_file::problem);
  nb::class_<reading_problem>(module, "Problem", "What else is wrong with an answer, in one sentence.")
      .def_ro("reason", &reading_problem::reason)
      .def_ro("path", &reading_problem::path)
      .def_ro("text", &reading_problem::text);
}

}  // namespace

void bind_ledger(nb::module_& module) {
  bind_parts(module);
  nb::class_<read_ledger>(module, "Ledger",
                          "Of each channel how many values were expected, delivered and missing, by cause.")
      .def(nb::init<>())
      .def_ro("channels", &read_ledger::channels)
      .def_ro("values", &read_ledger::values, "The first missing values, one by one; all are counted.")
      .def_ro("files", &read_ledger::files)
      .def_ro("problems", &read_ledger::problems)
      .def_prop_ro("expected", &read_ledger::expected)
      .def_prop_ro("delivered", &read_ledger::delivered)
      .def_prop_ro("missing", &read_ledger::missing)
      .def_prop_ro("is_balanced", &read_ledger::is_balanced)
      .def("add", &read_ledger::add, "other"_a, "Adds the ledger of another part of a selection.")
      .def(
          "__add__",
          [](read_ledger self, const read_ledger& other) {
            self.add(other);
            return self;
          },
          "other"_a, "The ledger of both parts.")
      .def("to_json", &read_ledger::to_json)
      .def_static("from_json", &read_ledger::from_json, "text"_a)
      .def("to_text", &read_ledger::to_text,
           "Lines for people: a line for each cause, with file and offset.")
      .def("__str__", &read_ledger::to_text)
      .def("__repr__", [](const read_ledger& self) {
        return "<ravo.Ledger: expected " + std::to_string(self.expected()) + ", delivered " +
               std::to_string(self.delivered()) + ", missing " + std::to_string(self.missing()) + ">";
      });
}

}  // namespace ravo::python
