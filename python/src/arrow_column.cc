#include "arrow_column.h"

#include <algorithm>
#include <cstring>

#include "ravo_dataset/status.h"

namespace ravo::python {
namespace {

using kept = std::shared_ptr<const void>;

/// A vector that a node keeps.
template <class Element>
const void* keep(arrow_node& node, std::vector<Element>&& elements) {
  auto owner = std::make_shared<const std::vector<Element>>(std::move(elements));
  const void* data = owner->data();
  node.memory.push_back(std::move(owner));
  return data;
}

/// Sets the validity of each row; no buffer if all have a value.
template <class StatusOf>
void set_validity(arrow_node& node, std::size_t rows, StatusOf status_of) {
  std::vector<std::uint8_t> bits((rows + 7) / 8);
  for (std::size_t row = 0; row < rows; ++row) {
    if (has_value(status_of(row))) {
      bits[row / 8] = static_cast<std::uint8_t>(bits[row / 8] | 1u << row % 8);
    } else {
      ++node.null_count;
    }
  }
  node.length = static_cast<std::int64_t>(rows);
  node.buffers.insert(node.buffers.begin(), node.null_count == 0 ? nullptr : keep(node, std::move(bits)));
}

void set_validity(arrow_node& node, const column_data& column) {
  set_validity(node, column.size(), [&](std::size_t row) { return column.status[row]; });
}

const char* format_of(element_type type) {
  switch (type) {
    case element_type::uint8:
      return "C";
    case element_type::uint16:
      return "S";
    case element_type::uint32:
      return "I";
    case element_type::float32:
      break;
  }
  return "f";
}

std::size_t elements_of(const column_data& column) {
  return column.bytes().size() / element_size(column.layout.element);
}

/// The offsets of the rows, of which a column of equal rows has none.
const void* offsets_of(arrow_node& node, const column_data& column) {
  if (column.is_ragged()) return column.offsets.data();
  const std::size_t each = column.size() == 0 ? 0 : elements_of(column) / column.size();
  std::vector<std::int64_t> offsets(column.size() + 1);
  for (std::size_t row = 0; row < offsets.size(); ++row)
    offsets[row] = static_cast<std::int64_t>(row * each);
  return keep(node, std::move(offsets));
}

/// Whether bytes are UTF-8 without overlong forms, surrogates and what lies above U+10FFFF.
bool is_utf8(std::string_view text) {
  PyObject* decoded = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), nullptr);
  if (decoded == nullptr) PyErr_Clear();
  Py_XDECREF(decoded);
  return decoded != nullptr;
}

arrow_node text_node(const column_data& column, const kept& keeper) {
  bool all_utf8 = true;
  for (std::size_t row = 0; row < column.size() && all_utf8; ++row) {
    all_utf8 = !has_value(column.status[row]) || is_utf8(column.text(row));
  }
  arrow_node node;
  node.format = all_utf8 ? "U" : "Z";
  node.memory = {keeper};
  node.buffers = {offsets_of(node, column), column.bytes().data()};
  set_validity(node, column);
  return node;
}

arrow_node record_node(const column_data& column) {
  const std::size_t records = column.record_names.size();
  const std::span<const float> values = column.values<float>();
  arrow_node node;
  node.format = "+s";
  set_validity(node, column);
  for (std::size_t record = 0; record < records; ++record) {
    arrow_node& child = node.children.emplace_back();
    child.format = "f";
    child.name = column.record_names[record];
    std::vector<float> own(column.size());
    for (std::size_t row = 0; row < own.size(); ++row) own[row] = values[row * records + record];
    child.buffers = {keep(child, std::move(own))};
    set_validity(child, column.size(), [&](std::size_t row) { return column.status_of(row, record); });
  }
  return node;
}

arrow_node shape_node(const column_data& column, const kept& keeper) {
  arrow_node node;
  node.format = "+w:3";
  node.name = "shape";
  node.length = static_cast<std::int64_t>(column.shapes.size());
  node.is_nullable = false;
  node.buffers = {nullptr};
  node.children = {plain_node("I", "item", column.shapes.data(), 3 * column.shapes.size(), keeper)};
  return node;
}

arrow_node ragged_node(const column_data& column, const kept& keeper) {
  arrow_node list;
  list.format = "+L";
  list.buffers = {column.offsets.data()};
  list.memory = {keeper};
  list.children = {plain_node(format_of(column.layout.element), "item", column.bytes().data(),
                              elements_of(column), keeper)};
  set_validity(list, column);
  bool has_one_dimension = true;
  for (std::size_t row = 0; row < column.size() && has_one_dimension; ++row) {
    has_one_dimension = !has_value(column.status[row]) || column.dimensions_of_row(row).size() <= 1;
  }
  if (has_one_dimension) return list;
  arrow_node node;
  node.format = "+s";
  set_validity(node, column);
  list.name = "values";
  node.children = {std::move(list), shape_node(column, keeper)};
  return node;
}

arrow_node dense_node(const column_data& column, const kept& keeper) {
  arrow_node node = plain_node(format_of(column.layout.element), "item", column.bytes().data(),
                               elements_of(column), keeper);
  const auto& dimensions = column.layout.dimensions;
  std::size_t length = elements_of(column);
  for (auto dimension = dimensions.rbegin(); dimension != dimensions.rend(); ++dimension) {
    arrow_node list;
    list.format = "+w:" + std::to_string(dimension->size);
    list.name = "item";
    list.is_nullable = false;
    length = dimension->size == 0 ? column.size() : length / dimension->size;
    list.length = static_cast<std::int64_t>(length);
    list.buffers = {nullptr};
    list.children = {std::move(node)};
    node = std::move(list);
  }
  node.name.clear();
  node.is_nullable = true;
  node.buffers.erase(node.buffers.begin());
  set_validity(node, column);
  return node;
}

}  // namespace

arrow_node plain_node(std::string format, std::string name, const void* data, std::size_t length,
                      const std::shared_ptr<const void>& keeper) {
  arrow_node node;
  node.format = std::move(format);
  node.name = std::move(name);
  node.is_nullable = false;
  node.length = static_cast<std::int64_t>(length);
  node.buffers = {nullptr, data};
  node.memory = {keeper};
  return node;
}

arrow_node node_of(const column_data& column, const std::shared_ptr<const void>& keeper) {
  if (column.layout.kind == value_kind::text) return text_node(column, keeper);
  if (column.layout.kind == value_kind::name_value && !column.record_names.empty())
    return record_node(column);
  return column.is_ragged() ? ragged_node(column, keeper) : dense_node(column, keeper);
}

std::shared_ptr<const void> keeper_of(nb::handle object) {
  PyObject* kept_object = object.ptr();
  Py_INCREF(kept_object);
  return std::shared_ptr<const void>(kept_object, [](const void* old) {
    if (!nb::is_alive()) return;
    const nb::gil_scoped_acquire acquired;
    Py_DECREF(static_cast<PyObject*>(const_cast<void*>(old)));
  });
}

nb::object arrow_schema_of(const column_handle& column) { return schema_capsule(node_of(column.data, {})); }

nb::object arrow_array_of(nb::handle self) {
  return array_capsule(node_of(nb::cast<const column_handle&>(self).data, keeper_of(self)));
}

}  // namespace ravo::python
