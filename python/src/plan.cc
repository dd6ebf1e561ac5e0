// Plans: what a reading will take.
#include "ravo_dataset/plan.h"

#include "plan_state.h"

namespace ravo::python {

void bind_plan(nb::module_& module) {
  nb::class_<channel_plan>(module, "ChannelPlan", "What reading one channel will take.")
      .def_ro("channel", &channel_plan::channel)
      .def_ro("values", &channel_plan::values)
      .def_ro("stored_bytes", &channel_plan::stored_bytes)
      .def_ro("decoded_bytes", &channel_plan::decoded_bytes)
      .def("__getstate__", [](const channel_plan& self) { return state_of(self); })
      .def("__setstate__", [](channel_plan& self, const channel_plan_state& state) {
        new (&self) channel_plan(plan_from(state));
      });
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
      .def("__repr__", &read_plan::to_text)
      .def("__getstate__", [](const read_plan& self) { return state_of(self); })
      .def("__setstate__",
           [](read_plan& self, const plan_state& state) { new (&self) read_plan(plan_from(state)); });
}

}  // namespace ravo::python
