// Tables: columns of the same events side by side, for libraries that take Arrow streams.
#include "arrays.h"
#include "arrow_column.h"
#include "ravo_dataset/errors.h"

namespace ravo::python {
namespace {

/// Columns with the same rows.
struct table {
  std::vector<nb::handle_t<column_handle>> columns;
  std::vector<nb::object> kept;

  explicit table(const nb::typed<nb::list, column_handle>& given) {
    for (const nb::handle one : given) {
      kept.push_back(nb::borrow(one));
      columns.emplace_back(one);
      if (column(columns.size() - 1).numbers != column(0).numbers) {
        throw access_error("The columns " + column(0).channel + " and " +
                           column(columns.size() - 1).channel +
                           " have different rows; read them with one row for each event");
      }
    }
  }
  const column_data& column(std::size_t index) const {
    return nb::cast<const column_handle&>(columns[index]).data;
  }
  std::size_t rows() const { return columns.empty() ? 0 : column(0).size(); }
};

arrow_node node_of_table(const table& all) {
  arrow_node node;
  node.format = "+s";
  node.is_nullable = false;
  node.length = static_cast<std::int64_t>(all.rows());
  node.buffers = {nullptr};
  if (all.columns.empty()) return node;
  const column_handle& first = nb::cast<const column_handle&>(all.columns.front());
  const auto owner = keeper_of(all.columns.front());
  node.children = {plain_node("I", "event_number", first.data.numbers.data(), all.rows(), owner),
                   plain_node("tsu:UTC", "time", first.times_us.data(), all.rows(), owner)};
  for (std::size_t index = 0; index < all.columns.size(); ++index) {
    const column_data& column = all.column(index);
    const auto keeper = keeper_of(all.columns[index]);
    node.children.push_back(node_of(column, keeper));
    node.children.back().name = column.channel;
    node.children.push_back(
        plain_node("C", column.channel + ".status", column.status.data(), column.size(), keeper));
  }
  return node;
}

}  // namespace

void bind_table(nb::module_& module) {
  nb::class_<table>(module, "Table",
                    "Columns of the same events: event_number, time, and of each channel its values "
                    "under its name and its statuses under NAME.status.")
      .def(nb::init<const nb::typed<nb::list, column_handle>&>(), "columns"_a)
      .def("__len__", &table::rows)
      .def_prop_ro(
          "columns",
          [](const table& self) {
            nb::list columns;
            for (const nb::object& one : self.kept) columns.append(one);
            return columns;
          },
          nb::for_getter(nb::sig("def columns(self) -> list[Column]")))
      .def("__arrow_c_schema__", [](const table& self) { return schema_capsule(node_of_table(self)); })
      .def(
          "__arrow_c_stream__",
          [](const table& self, nb::handle) { return stream_capsule(node_of_table(self)); },
          "requested_schema"_a = nb::none(),
          nb::sig("def __arrow_c_stream__(self, requested_schema: object | None = None) -> object"),
          "One batch of all columns, without a copy; values that are not there are null.");
}

}  // namespace ravo::python
