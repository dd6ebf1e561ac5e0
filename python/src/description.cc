// Descriptions of channels, and places of blocks.
#include "ravo_dataset/describe.h"

#include "binding.h"
#include "ravo_dataset/block_place.h"
#include "times.h"

namespace ravo::python {
namespace {

void bind_parts(nb::module_& module) {
  nb::class_<described_dimension>(module, "Dimension", "A dimension of a channel's values.")
      .def_prop_ro("name", [](const described_dimension& self) { return dimension_name(self.dimension); })
      .def_ro("size", &described_dimension::size)
      .def_ro("label", &described_dimension::label)
      .def_ro("unit", &described_dimension::unit);
  nb::class_<described_member>(module, "Member", "A member of a channel's values.")
      .def_ro("name", &described_member::name)
      .def_ro("unit", &described_member::unit)
      .def("__repr__", [](const described_member& self) {
        return "<ravo.Member " + self.name + (self.unit.empty() ? "" : " [" + self.unit + "]") + ">";
      });
  nb::class_<description_change>(module, "DescriptionChange",
                                 "What a file says that differs from the one before.")
      .def_ro("path", &description_change::path)
      .def_prop_ro("part", [](const description_change& self) { return described_part_text(self.part); })
      .def_ro("before", &description_change::before)
      .def_ro("after", &description_change::after);
}

void bind_place(nb::module_& module) {
  nb::class_<block_place>(module, "BlockPlace", "Where the block of a value lies, and how it is stored.")
      .def_ro("status", &block_place::status)
      .def_ro("path", &block_place::path)
      .def_ro("generation", &block_place::generation)
      .def_prop_ro("event", [](const block_place& self) { return self.recorded_with.event_number; })
      .def_prop_ro("time_us",
                   [](const block_place& self) { return ravo::microseconds_of(self.recorded_with.time); })
      .def_ro("offset", &block_place::offset)
      .def_ro("data_offset", &block_place::data_offset)
      .def_ro("stored_bytes", &block_place::stored_bytes)
      .def_ro("decoded_bytes", &block_place::decoded_bytes)
      .def_ro("compression", &block_place::compression)
      .def_ro("data_type", &block_place::data_type);
}

using axis_numbers = std::tuple<float, float, float, float>;

}  // namespace

void bind_description(nb::module_& module) {
  bind_parts(module);
  bind_place(module);
  nb::class_<channel_description>(
      module, "Description", "What a channel is, by its first readable block and the files' descriptions.")
      .def_ro("label", &channel_description::label)
      .def_ro("name", &channel_description::name)
      .def_ro("member", &channel_description::member)
      .def_ro("is_slow", &channel_description::is_slow)
      .def_ro("kind", &channel_description::kind)
      .def_prop_ro("dtype", [](const channel_description& self) { return element_name(self.element); })
      .def_ro("dimensions", &channel_description::dimensions)
      .def_prop_ro(
          "axis",
          [](const channel_description& self) {
            const spectrum_axis& axis = self.axis;
            return axis_numbers{axis.start, axis.increment, axis.groups_increment, axis.y_start};
          },
          "Start, increment, increment of groups, start of the second profile.")
      .def_ro("members", &channel_description::members)
      .def_ro("description", &channel_description::description)
      .def_ro("unit", &channel_description::unit)
      .def_ro("axis_label", &channel_description::axis_label)
      .def_ro("axis_unit", &channel_description::axis_unit)
      .def_ro("data_type", &channel_description::data_type)
      .def_ro("data_types", &channel_description::data_types)
      .def_ro("rate", &channel_description::rate, "Recorded values a second; 0 if it is not known.")
      .def_ro("changes", &channel_description::changes)
      .def_ro("problems", &channel_description::problems);
}

}  // namespace ravo::python
