// Plans: what a reading will take.
#include "ravo_dataset/plan.h"

#include "binding.h"

namespace ravo::python {

void bind_plan(nb::module_& module) {
  nb::class_<channel_plan>(module, "ChannelPlan", "What reading one channel will take.")
      .def_ro("channel", &channel_plan::channel)
      .def_ro("values", &channel_plan::values)
      .def_ro("stored_bytes", &channel_plan::stored_bytes)
      .def_ro("decoded_bytes", &channel_plan::decoded_bytes);
  nb::class_<read_plan>(module, "Plan",
                        "What a reading of everything will take, estimated before it is done.")
      .def_ro("files", &read_plan::files)
      .def_ro("events", &read_plan::events)
      .def_ro("channels", &read_plan::channels)
      .def_ro("stored_bytes", &read_plan::stored_bytes)
      .def_ro("decoded_bytes", &read_plan::decoded_bytes)
      .def_ro("peak_bytes_of_events", &read_plan::peak_bytes_of_events)
      .def_ro("peak_bytes_of_columns", &read_plan::peak_bytes_of_columns)
      .def_ro("seconds", &read_plan::seconds)
      .def_ro("problems", &read_plan::problems)
      .def("to_text", &read_plan::to_text)
      .def("__str__", &read_plan::to_text)
      .def("__repr__", &read_plan::to_text);
}

}  // namespace ravo::python
