// Indexes: which events channels have, by the tables of the files alone.
#include "ravo_dataset/index.h"

#include "arrays.h"
#include "binding.h"

namespace ravo::python {

void bind_index(nb::module_& module) {
  nb::class_<channel_index>(module, "ChannelIndex", "The events of the rows of a channel.")
      .def_ro("channel", &channel_index::channel)
      .def("__len__", &channel_index::size)
      .def_prop_ro(
          "numbers", [](const channel_index& self) { return array_over(self.rows->numbers); },
          "Event numbers, uint32.")
      .def_prop_ro(
          "times_us", [](const channel_index& self) { return array_over(self.rows->times_us); },
          "Times in microseconds since 1970, UTC, int64.")
      .def_prop_ro(
          "status", [](const channel_index& self) { return numbers_over(self.status); },
          "What the tables say of each value: numbers of IndexStatus, uint8.")
      .def_prop_ro(
          "ages_us", [](const channel_index& self) { return array_over(self.ages); },
          "Ages of held values in microseconds, int64; empty when no value is held.");
}

}  // namespace ravo::python
