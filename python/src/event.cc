// Events and their values.
#include "event.h"

#include <nanobind/stl/variant.h>

#include <array>
#include <cstring>
#include <variant>

#include "numpy_array.h"
#include "times.h"

namespace ravo::python {
namespace {

/// A value keeps its event, and arrays of it keep the value.
struct value_handle {
  std::shared_ptr<const event> owner;
  value data;
  std::vector<std::uint16_t> pairs{};   ///< of a picture with pixels of two bytes
  std::vector<std::uint32_t> pixels{};  ///< of a picture with pixels of more bytes
};

value_handle value_of(const event_handle& one, std::variant<std::size_t, std::string_view> channel) {
  return {one.data, std::visit([&](auto which) { return (*one.data)[which]; }, channel)};
}

/// Where numbers lie, how many in each dimension, and of which type.
struct numbers_of_value {
  element_type element = element_type::uint8;
  const void* data = nullptr;
  std::size_t count = 0;
  row_shape shape{1, 1, 1};
};

std::uint32_t narrow(std::size_t number) { return static_cast<std::uint32_t>(number); }

/// Pixels as numbers, made once.
template <class Pixel>
const void* pixels_of(const image_view& image, std::vector<Pixel>& made) {
  if (!made.empty()) return made.data();
  made.reserve(image.width * image.height);
  for (std::size_t y = 0; y < image.height; ++y) {
    for (std::size_t x = 0; x < image.width; ++x) made.push_back(static_cast<Pixel>(image.pixel(x, y)));
  }
  return made.data();
}

numbers_of_value numbers_of_image(value_handle& self) {
  const image_view image = self.data.image();
  if (!image.is_complete() || image.height == 0) {
    return {
        element_type::uint8, image.pixels.data(), image.pixels.size(), {1, 0, narrow(image.pixels.size())}};
  }
  const row_shape shape{1, narrow(image.height), narrow(image.width)};
  const std::size_t count = image.width * image.height;
  if (image.bytes_per_pixel == 1) return {element_type::uint8, image.pixels.data(), count, shape};
  if (image.bytes_per_pixel == 2) return {element_type::uint16, pixels_of(image, self.pairs), count, shape};
  return {element_type::uint32, pixels_of(image, self.pixels), count, shape};
}

numbers_of_value numbers_of(value_handle& self) {
  const value& data = self.data;
  switch (data.kind()) {
    case value_kind::spectrum:
    case value_kind::roi: {
      const spectrum_view view = data.spectrum();
      row_shape shape{narrow(view.members), narrow(view.groups), narrow(view.samples)};
      if (data.kind() == value_kind::roi)
        shape = {2, narrow(view.samples), narrow(view.values.size() - view.samples)};
      return {element_type::float32, view.values.data(), view.values.size(), shape};
    }
    case value_kind::image:
      return numbers_of_image(self);
    case value_kind::none:
    case value_kind::name_value:
    case value_kind::update:
    case value_kind::text:
    case value_kind::other:
      break;
  }
  const std::size_t bytes = data.bytes().size();
  return {element_type::uint8, data.bytes().data(), bytes, {1, 1, narrow(bytes)}};
}

nb::object values_of(nb::handle_t<value_handle> self) {
  value_handle& value = nb::cast<value_handle&>(self);
  const numbers_of_value numbers = numbers_of(value);
  std::array<std::size_t, 3> sizes{};
  std::size_t dimensions = 0, count = 1;
  for (const dimension_size& dimension : dimensions_of(value.data.kind(), numbers.shape)) {
    sizes.at(dimensions++) = dimension.size;
    count *= dimension.size;
  }
  if (count != numbers.count) {
    sizes = {numbers.count};
    dimensions = 1;
  }
  return numpy_array_over(numbers.data, numbers.element, std::span(sizes).first(dimensions), self);
}

nb::list records_of(const value_handle& self) {
  nb::list records;
  for (const ravo_name_value_channel& record : self.data.name_values().records) {
    const std::string_view name(record.name, strnlen(record.name, sizeof record.name));
    records.append(
        nb::make_tuple(nb::steal(PyUnicode_DecodeUTF8(name.data(), static_cast<Py_ssize_t>(name.size()),
                                                      "surrogateescape")),
                       record.value));
  }
  return records;
}

nb::object text_of(const value_handle& self) {
  if (self.data.kind() != value_kind::text) return nb::none();
  const std::string_view text = self.data.text();
  return nb::steal(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape"));
}

/// What Python calls it: str, dict, float or array; None if there is no value.
nb::object natural_value_of(nb::handle_t<value_handle> self) {
  const value_handle& value = nb::cast<const value_handle&>(self);
  if (!value.data.has_value()) return nb::none();
  switch (value.data.kind()) {
    case value_kind::text:
      return text_of(value);
    case value_kind::name_value: {
      nb::dict records;
      for (const nb::handle record : records_of(value)) records[record[0]] = record[1];
      return records;
    }
    case value_kind::update:
      return nb::float_(value.data.scalar());
    case value_kind::spectrum:
      if (value.data.spectrum().values.size() == 1) return nb::float_(value.data.scalar());
      break;
    case value_kind::none:
    case value_kind::roi:
    case value_kind::image:
    case value_kind::other:
      break;
  }
  return values_of(self);
}

void bind_value(nb::module_& module) {
  nb::class_<value_handle> bound(module, "Value", "One channel's value at one event.");
  bound.def_prop_ro("status", [](const value_handle& self) { return self.data.status(); })
      .def_prop_ro("has_value", [](const value_handle& self) { return self.data.has_value(); })
      .def("__bool__", [](const value_handle& self) { return self.data.has_value(); })
      .def_prop_ro("kind", [](const value_handle& self) { return self.data.kind(); })
      .def_prop_ro("data_type", [](const value_handle& self) { return self.data.type(); })
      .def_prop_ro("error_bits", [](const value_handle& self) { return self.data.error_bits(); })
      .def_prop_ro("is_held", [](const value_handle& self) { return self.data.is_held(); })
      .def_prop_ro(
          "age_us", [](const value_handle& self) { return self.data.age(); },
          "How much older than its event a held value is, in microseconds.")
      .def_prop_ro("recorded_number",
                   [](const value_handle& self) { return self.data.recorded_with().event_number; })
      .def_prop_ro(
          "recorded_time_us",
          [](const value_handle& self) { return ravo::microseconds_of(self.data.recorded_with().time); })
      .def_prop_ro(
          "scalar", [](const value_handle& self) { return self.data.scalar(); },
          "The first number of a spectrum, region, name-value list or update; NaN if there is none.")
      .def_prop_ro("value", &natural_value_of, nb::for_getter(nb::sig("def value(self) -> typing.Any")),
                   "A number as float, a text as str, a name-value list as dict, all else as array; None "
                   "if there is "
                   "no value.")
      .def_prop_ro(
          "values", &values_of,
          nb::for_getter(nb::sig("def values(self) -> numpy.typing.NDArray[typing.Any]")),
          "The numbers of a spectrum, region or picture in their dimensions; of other values their bytes.")
      .def_prop_ro(
          "bytes",
          [](nb::handle_t<value_handle> self) {
            const std::span<const std::byte> bytes = nb::cast<const value_handle&>(self).data.bytes();
            const std::size_t shape[] = {bytes.size()};
            return numpy_array_over(bytes.data(), element_type::uint8, shape, self);
          },
          nb::for_getter(nb::sig("def bytes(self) -> numpy.typing.NDArray[numpy.uint8]")),
          "All data of the block in host order, uint8.")
      .def_prop_ro("text", &text_of, nb::for_getter(nb::sig("def text(self) -> str | None")),
                   "The text; None of other kinds.")
      .def_prop_ro("records", &records_of,
                   nb::for_getter(nb::sig("def records(self) -> list[tuple[str, float]]")),
                   "Names and numbers of a name-value list, in its order.");
  bound
      .def_prop_ro(
          "axis",
          [](const value_handle& self) {
            const spectrum_view view = self.data.spectrum();
            return std::tuple(view.start, view.increment, view.groups_increment, view.y_start);
          },
          "Start, increment, increment of groups, start of the second profile.")
      .def_prop_ro(
          "update_property",
          [](const value_handle& self) { return std::string(self.data.update().property); },
          "Of an update: what it is of.")
      .def_prop_ro("update_status", [](const value_handle& self) { return self.data.update().status; })
      .def_prop_ro("update_time_us",
                   [](const value_handle& self) { return ravo::microseconds_of(self.data.update().time); });
}

}  // namespace

nb::object datetime_of(const time_stamp& time) {
  static const nb::handle type = nb::object(nb::module_::import_("numpy").attr("datetime64")).release();
  return type(ravo::microseconds_of(time), "us");
}

void bind_event(nb::module_& module) {
  bind_value(module);
  nb::class_<event_handle>(module, "Event",
                           "One aligned event, with a value of every channel of the dataset.")
      .def_prop_ro("number", [](const event_handle& self) { return self.data->number(); })
      .def_prop_ro("time_us",
                   [](const event_handle& self) { return ravo::microseconds_of(self.data->time()); })
      .def_prop_ro(
          "time", [](const event_handle& self) { return datetime_of(self.data->time()); },
          nb::for_getter(nb::sig("def time(self) -> numpy.datetime64")), "The time, datetime64[us] in UTC.")
      .def("__len__", [](const event_handle& self) { return self.data->channels(); })
      .def("__getitem__", &value_of, "channel"_a, "The value of a channel, by its label or its position.")
      .def("__repr__", [](const event_handle& self) {
        return "<ravo.Event " + std::to_string(self.data->number()) + " of " +
               std::to_string(self.data->channels()) + " channels>";
      });
  nb::class_<event_iterator>(module, "EventIterator", "The events of one reading, for a single pass.")
      .def(
          "__iter__", [](nb::handle self) { return nb::borrow(self); },
          nb::sig("def __iter__(self) -> EventIterator"))
      .def("__next__",
           [](event_iterator& self) {
             std::optional<event_handle> next = self.next();
             if (!next) throw nb::stop_iteration();
             return std::move(*next);
           })
      .def_prop_ro("ledger", &event_iterator::ledger, "The ledger of what was fetched so far.");
}

}  // namespace ravo::python
