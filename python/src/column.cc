// Columns: all values of a channel as one array, with events, statuses and axes.
#include "column.h"

#include "arrays.h"
#include "ravo_dataset/values.h"

namespace ravo::python {
namespace {

using values_array = nb::ndarray<nb::numpy, nb::ro, nb::c_contig>;

/// The shape of all values: rows, then the dimensions of a row. Of ragged columns the number of elements.
std::vector<std::size_t> shape_of(const column_data& column) {
  const std::size_t elements = column.bytes().size() / element_size(column.layout.element);
  if (column.is_ragged() || column.layout.kind == value_kind::text) return {elements};
  std::vector<std::size_t> shape{column.size()};
  for (const dimension_size& dimension : column.layout.dimensions) shape.push_back(dimension.size);
  return shape;
}

values_array values_of(const column_handle& self) {
  const std::vector<std::size_t> shape = shape_of(self.data);
  return values_array(self.data.bytes().data(), shape.size(), shape.data(), nb::handle(), nullptr,
                      dtype_of(self.data.layout.element));
}

array_of<std::uint32_t> shapes_of(const column_handle& self) {
  const auto& shapes = self.data.shapes;
  static_assert(sizeof(row_shape) == 3 * sizeof(std::uint32_t));
  const std::size_t shape[] = {shapes.size(), 3};
  return array_of<std::uint32_t>(reinterpret_cast<const std::uint32_t*>(shapes.data()), 2, shape,
                                 nb::handle());
}

array_of<float> axes_of(const column_handle& self) {
  const auto& axes = self.data.axes;
  static_assert(sizeof(spectrum_axis) == 4 * sizeof(float));
  const std::size_t shape[] = {axes.size(), 4};
  return array_of<float>(reinterpret_cast<const float*>(axes.data()), 2, shape, nb::handle());
}

/// Texts of no valid UTF-8 keep their bytes as lone surrogates, as paths do in Python.
nb::object text_of(const column_data& column, std::size_t row) {
  if (!has_value(column.status.at(row))) return nb::none();
  const std::string_view text = column.text(row);
  return nb::steal(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape"));
}

nb::list texts_of(const column_handle& self) {
  nb::list texts;
  for (std::size_t row = 0; row < self.data.size(); ++row) texts.append(text_of(self.data, row));
  return texts;
}

std::vector<std::pair<std::string, std::size_t>> named(const std::vector<dimension_size>& dimensions) {
  std::vector<std::pair<std::string, std::size_t>> names;
  for (const dimension_size& each : dimensions)
    names.emplace_back(dimension_name(each.dimension), each.size);
  return names;
}

using column_class = nb::class_<column_handle>;

void bind_layout(column_class& bound) {
  bound.def_prop_ro("channel", [](const column_handle& self) { return self.data.channel; })
      .def_prop_ro("kind", [](const column_handle& self) { return self.data.layout.kind; })
      .def_prop_ro("dtype",
                   [](const column_handle& self) { return element_name(self.data.layout.element); })
      .def_prop_ro(
          "dimensions", [](const column_handle& self) { return named(self.data.layout.dimensions); },
          "Names and sizes of the dimensions of a row, the slowest first.")
      .def(
          "shape_of_row",
          [](const column_handle& self, std::size_t row) { return self.data.shape_of_row(row); }, "row"_a,
          "The shape of one row in three numbers.")
      .def_prop_ro(
          "axis",
          [](const column_handle& self) {
            const column_data& data = self.data;
            return std::tuple(data.start, data.increment, data.groups_increment, data.y_start);
          },
          "Start, increment, increment of groups, start of the second profile, of the first readable row.")
      .def_prop_ro("axes", &axes_of,
                   "The same of each row, (rows, 4); empty when all rows have the axis of the first.")
      .def_prop_ro("is_ragged", [](const column_handle& self) { return self.data.is_ragged(); })
      .def_prop_ro(
          "offsets", [](const column_handle& self) { return array_over(self.data.offsets); },
          "Of ragged columns: row i is the elements from offsets[i] to offsets[i + 1], uint64.")
      .def_prop_ro("shapes", &shapes_of,
                   "Of ragged columns: the shape of each row in three numbers, (rows, 3) uint32.")
      .def(
          "dimensions_of_row",
          [](const column_handle& self, std::size_t row) {
            return named(self.data.dimensions_of_row(row));
          },
          "row"_a, "Names and sizes of the dimensions of one row.")
      .def("__len__", [](const column_handle& self) { return self.data.size(); });
}

void bind_values(column_class& bound) {
  bound
      .def_prop_ro(
          "values", &values_of,
          nb::for_getter(nb::sig("def values(self) -> numpy.typing.NDArray[typing.Any]")),
          "The values: (rows, dimensions ...), or one dimension when rows differ in shape. Rows without a "
          "value hold NaN, or 0 in columns of integers. Shares the column's memory.")
      .def_prop_ro(
          "numbers", [](const column_handle& self) { return array_over(self.data.numbers); },
          "Event numbers, uint32.")
      .def_prop_ro(
          "times_us", [](const column_handle& self) { return array_over(self.times_us); },
          "Times in microseconds since 1970, UTC, int64.")
      .def_prop_ro(
          "status", [](const column_handle& self) { return numbers_over(self.data.status); },
          "The outcome of each value: numbers of Status, uint8.")
      .def_prop_ro(
          "ages_us", [](const column_handle& self) { return array_over(self.data.ages); },
          "Ages of held values in microseconds, int64; empty when no value is held.")
      .def_prop_ro("record_names", [](const column_handle& self) { return self.data.record_names; })
      .def_prop_ro(
          "record_status",
          [](const column_handle& self) {
            const std::size_t records = self.data.record_names.size();
            const std::size_t shape[] = {records == 0 ? 0 : self.data.size(), records};
            return array_of<std::uint8_t>(
                reinterpret_cast<const std::uint8_t*>(self.data.record_status.data()), 2, shape,
                nb::handle());
          },
          "Of name-value columns: a status for each element, (rows, records) uint8.")
      .def_prop_ro(
          "update_times_us",
          [](const column_handle& self) {
            return array_from(ravo::microseconds_of(self.data.update_times));
          },
          own_memory, "Of updates: the times that the front end sent, int64.")
      .def_prop_ro(
          "update_status", [](const column_handle& self) { return array_over(self.data.update_status); },
          "Of updates: the status that the front end sent, int32.")
      .def(
          "text", [](const column_handle& self, std::size_t row) { return text_of(self.data, row); },
          "row"_a, nb::sig("def text(self, row: int) -> str | None"),
          "The text of a row; None for a row without a value.")
      .def("texts", &texts_of, nb::sig("def texts(self) -> list[str | None]"), "The texts of all rows.");
}

void bind_record(column_class& bound) {
  bound.def_prop_ro("ledger", [](const column_handle& self) { return self.data.ledger; })
      .def(
          "ledger_of_rows",
          [](const column_handle& self, std::size_t rows) { return self.data.ledger_of_rows(rows); },
          "rows"_a, "The ledger of the first rows only.")
      .def_prop_ro("digest", [](const column_handle& self) { return self.data.digest; })
      .def("__arrow_c_schema__", &arrow_schema_of, "The Arrow type of the values, as a PyCapsule.")
      .def(
          "__arrow_c_array__",
          [](nb::handle_t<column_handle> self, nb::handle) {
            return nb::make_tuple(arrow_schema_of(nb::cast<const column_handle&>(self)),
                                  arrow_array_of(self));
          },
          "requested_schema"_a = nb::none(),
          nb::sig("def __arrow_c_array__(self, requested_schema: object | None = None) -> tuple[object, "
                  "object]"),
          "The values as Arrow, without a copy; rows without a value are null. A requested schema is not "
          "followed.");
}

}  // namespace

column_handle::column_handle(column_data&& read, nb::object into)
    : data(std::move(read)), times_us(ravo::microseconds_of(data.times)), memory(std::move(into)) {
  data.detach();
}

nb::dlpack::dtype dtype_of(element_type type) {
  switch (type) {
    case element_type::uint8:
      return nb::dtype<std::uint8_t>();
    case element_type::uint16:
      return nb::dtype<std::uint16_t>();
    case element_type::uint32:
      return nb::dtype<std::uint32_t>();
    case element_type::float32:
      break;
  }
  return nb::dtype<float>();
}

void bind_column(nb::module_& module) {
  column_class bound(module, "Column", "All values of a channel over a selection, with a status for each.");
  bind_layout(bound);
  bind_values(bound);
  bind_record(bound);
}

}  // namespace ravo::python
