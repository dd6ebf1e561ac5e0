// What programs see of a column: its elements by type, its rows, and their dimensions by name.
#include "ravo_dataset/column.h"

#include "ravo_dataset/errors.h"

namespace ravo {

std::size_t element_size(element_type type) {
  switch (type) {
    case element_type::uint8:
      return 1;
    case element_type::uint16:
      return 2;
    case element_type::uint32:
    case element_type::float32:
      break;
  }
  return 4;
}

const char* element_name(element_type type) {
  switch (type) {
    case element_type::float32:
      return "float32";
    case element_type::uint8:
      return "uint8";
    case element_type::uint16:
      return "uint16";
    case element_type::uint32:
      return "uint32";
  }
  return "";
}

const char* dimension_name(column_dimension dimension) {
  switch (dimension) {
    case column_dimension::member:
      return "member";
    case column_dimension::group:
      return "group";
    case column_dimension::sample:
      return "sample";
    case column_dimension::profile:
      return "profile";
    case column_dimension::record:
      return "record";
    case column_dimension::y:
      return "y";
    case column_dimension::x:
      return "x";
    case column_dimension::byte:
      return "byte";
  }
  return "";
}

std::vector<dimension_size> dimensions_of(value_kind kind, const row_shape& shape) {
  using enum column_dimension;
  std::vector<dimension_size> dimensions;
  const auto add_several = [&](column_dimension dimension, std::size_t size) {
    if (size != 1) dimensions.push_back({dimension, size});
  };
  switch (kind) {
    case value_kind::spectrum:
      add_several(member, shape[0]);
      add_several(group, shape[1]);
      add_several(sample, shape[2]);
      break;
    case value_kind::roi:
      return {{profile, std::size_t{shape[1]} + shape[2]}};
    case value_kind::image:
      if (shape[1] == 0) return {{byte, shape[2]}};
      return {{y, shape[1]}, {x, shape[2]}};
    case value_kind::name_value:
      add_several(record, shape[0]);
      break;
    case value_kind::text:
    case value_kind::other:
      return {{byte, shape[2]}};
    case value_kind::update:
    case value_kind::none:
      break;
  }
  return dimensions;
}

bool column_data::has_elements(element_type asked) const {
  if (asked == layout.element) return true;
  if (layout.kind == value_kind::none) return false;
  throw access_error("The column " + channel + " holds values of type " + element_name(layout.element) +
                     ", and " + element_name(asked) + " was asked for");
}

void column_data::check_row(std::size_t index) const {
  if (index < size()) return;
  throw access_error("The column " + channel + " has " + std::to_string(size()) +
                     " rows, counted from 0, and row " + std::to_string(index) + " was asked for");
}

column_data::element_range column_data::elements_of_row(std::size_t index) const {
  check_row(index);
  if (is_ragged()) return {offsets[index], offsets[index + 1] - offsets[index]};
  return {index * layout.item_elements, layout.item_elements};
}

const row_shape& column_data::shape_of_row(std::size_t index) const {
  check_row(index);
  return is_ragged() ? shapes[index] : layout.shape;
}

std::vector<dimension_size> column_data::dimensions_of_row(std::size_t index) const {
  return dimensions_of(layout.kind, shape_of_row(index));
}

value_status column_data::status_of(std::size_t row, std::size_t record) const {
  check_row(row);
  if (layout.kind != value_kind::name_value) return status[row];
  if (record >= record_names.size())
    throw access_error("The column " + channel + " has " + std::to_string(record_names.size()) +
                       " records, counted from 0, and record " + std::to_string(record) + " was asked for");
  return record_status[row * record_names.size() + record];
}

std::string_view column_data::text(std::size_t index) const {
  if (layout.kind != value_kind::text || !is_ragged()) return {};
  const auto letters = row<std::uint8_t>(index);
  return {reinterpret_cast<const char*>(letters.data()), letters.size()};
}

void column_data::detach() { share_.reset(); }

read_ledger column_data::ledger_of_rows(std::size_t rows) const {
  if (rows >= size()) return ledger;
  read_ledger part;
  part.files = ledger.files;
  part.problems = ledger.problems;
  channel_ledger& counts = part.channels.emplace_back();
  counts.channel = channel;
  for (std::size_t row = 0; row < rows; ++row) {
    const bool is_own = planned_.empty() || planned_[row] == value_status::ok;
    if (!is_own) continue;
    ++counts.expected;
    if (is_missing(status[row]))
      ++counts.missing[static_cast<std::size_t>(missing_cause_of(status[row]))];
    else
      ++counts.delivered;
  }
  for (const beside_row& one : beside_rows_) {
    if (one.row >= rows) break;
    counts.expected += one.count;
    counts.missing[static_cast<std::size_t>(one.cause)] += one.count;
  }
  for (const missing_value& one : ledger.values)
    if (one.row < rows) part.values.push_back(one);
  return part;
}

}  // namespace ravo
