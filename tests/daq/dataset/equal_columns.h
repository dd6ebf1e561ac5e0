// Columns compared: a part of a column beside the slice of the whole, and parts put together.
#ifndef RAVO_TEST_DATASET_EQUAL_COLUMNS_H
#define RAVO_TEST_DATASET_EQUAL_COLUMNS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <vector>

#include "ravo_dataset.h"

namespace ravo::test {

/// The elements of a row as bytes, whatever their type.
inline std::vector<std::byte> bytes_of_row(const column_data& column, std::size_t row) {
  const std::size_t each = element_size(column.layout.element);
  const std::size_t first = column.is_ragged() ? column.offsets[row] : row * column.layout.item_elements;
  const std::size_t count =
      column.is_ragged() ? column.offsets[row + 1] - first : column.layout.item_elements;
  const auto of_row = column.bytes().subspan(first * each, count * each);
  return {of_row.begin(), of_row.end()};
}

inline spectrum_axis axis_of_row(const column_data& column, std::size_t row) {
  if (!column.axes.empty()) return column.axes[row];
  return {column.start, column.increment, column.groups_increment, column.y_start};
}

/// What is left of a row of a whole column: these samples of each group, or these pixels.
inline std::vector<std::byte> cut_row(const column_data& whole, std::size_t row,
                                      const column_options& part) {
  const std::vector<std::byte> all = bytes_of_row(whole, row);
  const row_shape shape = whole.shape_of_row(row);
  const std::size_t each = element_size(whole.layout.element);
  std::vector<std::byte> left;
  const auto take = [&](std::size_t element) {
    left.insert(left.end(), all.begin() + static_cast<std::ptrdiff_t>(element * each),
                all.begin() + static_cast<std::ptrdiff_t>((element + 1) * each));
  };
  if (!part.samples && !part.region) return all;
  if (part.samples)
    for (std::size_t run = 0; run < std::size_t{shape[0]} * shape[1]; ++run)
      for (std::size_t i = 0; i < shape[2]; ++i)
        if (i >= part.samples->first && i - part.samples->first < part.samples->count)
          take(run * shape[2] + i);
  if (part.region)
    for (std::size_t y = 0; y < shape[1]; ++y)
      for (std::size_t x = 0; x < shape[2]; ++x)
        if (x >= part.region->x && x - part.region->x < part.region->width && y >= part.region->y &&
            y - part.region->y < part.region->height)
          take(y * shape[2] + x);
  return left;
}

/// Records go by their names: a part has the names of its rows only.
inline void expect_equal_records(const column_data& whole, std::size_t row, const column_data& part,
                                 std::size_t in_part) {
  const auto value_of = [](const column_data& column, std::size_t at, std::size_t record) {
    return column.row<float>(at)[record];
  };
  std::size_t found = 0;
  for (std::size_t record = 0; record < whole.record_names.size(); ++record) {
    const std::string& name = whole.record_names[record];
    const auto before = std::count(whole.record_names.begin(),
                                   whole.record_names.begin() + static_cast<std::ptrdiff_t>(record), name);
    std::size_t same = 0;
    std::ptrdiff_t seen = 0;
    for (; same < part.record_names.size(); ++same)
      if (part.record_names[same] == name && seen++ == before) break;
    if (same == part.record_names.size()) {
      ASSERT_NE(whole.status_of(row, record), value_status::ok) << name;
      continue;
    }
    ++found;
    ASSERT_EQ(part.status_of(in_part, same), whole.status_of(row, record)) << name;
    const float expected = value_of(whole, row, record), is = value_of(part, in_part, same);
    ASSERT_TRUE(std::memcmp(&is, &expected, sizeof is) == 0 || (std::isnan(is) && std::isnan(expected)));
  }
  ASSERT_EQ(found, part.record_names.size());
}

/// One row of a part beside that of the whole.
inline void expect_equal_row(const column_data& whole, std::size_t row, const column_data& part,
                             std::size_t in_part, const column_options& asked = {}) {
  ASSERT_EQ(part.numbers[in_part], whole.numbers[row]);
  ASSERT_EQ(part.times[in_part].timeup, whole.times[row].timeup);
  ASSERT_EQ(part.times[in_part].timelow, whole.times[row].timelow);
  ASSERT_EQ(part.status[in_part], whole.status[row]) << value_status_text(part.status[in_part]);
  ASSERT_EQ(part.ages.empty(), whole.ages.empty());
  if (!whole.ages.empty()) {
    ASSERT_EQ(part.ages[in_part], whole.ages[row]);
  }
  if (whole.layout.kind == value_kind::name_value) return expect_equal_records(whole, row, part, in_part);
  if (!has_value(whole.status[row])) {
    // How long such a row is differs with the other rows; it holds nothing but NaN, or 0.
    if (part.layout.element == element_type::float32) {
      for (const float one : part.row<float>(in_part)) ASSERT_TRUE(std::isnan(one));
    } else {
      for (const std::byte one : bytes_of_row(part, in_part)) ASSERT_EQ(one, std::byte{0});
    }
    return;
  }
  ASSERT_EQ(bytes_of_row(part, in_part), cut_row(whole, row, asked));
  if (!asked.samples && !asked.region) {
    ASSERT_EQ(part.shape_of_row(in_part), whole.shape_of_row(row));
  }
  const spectrum_axis is = axis_of_row(part, in_part), expected = axis_of_row(whole, row);
  const std::size_t shift =
      asked.samples ? std::min<std::size_t>(asked.samples->first, whole.shape_of_row(row)[2]) : 0;
  const float start = expected.start + (shift == 0 ? 0 : static_cast<float>(shift) * expected.increment);
  ASSERT_EQ(is.start, start);
  ASSERT_EQ(is.increment, expected.increment);
  ASSERT_EQ(is.groups_increment, expected.groups_increment);
  ASSERT_EQ(is.y_start, expected.y_start);
  if (!whole.update_times.empty()) {
    ASSERT_EQ(part.update_times[in_part].timeup, whole.update_times[row].timeup);
    ASSERT_EQ(part.update_status[in_part], whole.update_status[row]);
  }
}

/// A part beside the slice of the whole: its rows are those at these positions.
inline void expect_slice(const column_data& whole, const std::vector<std::size_t>& rows,
                         const column_data& part, const column_options& asked = {}) {
  ASSERT_EQ(part.size(), rows.size());
  ASSERT_EQ(part.layout.rows, rows.size());
  ASSERT_EQ(part.layout.kind, whole.layout.kind);
  ASSERT_EQ(part.layout.element, whole.layout.element);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE("row " + std::to_string(rows[i]));
    expect_equal_row(whole, rows[i], part, i, asked);
    if (testing::Test::HasFatalFailure()) return;
  }
  ASSERT_TRUE(part.ledger.is_balanced());
}

/// Whether two ledgers of a channel count the same.
inline void expect_equal_counts(const read_ledger& is, const read_ledger& expected) {
  ASSERT_EQ(is.channels.size(), expected.channels.size());
  for (std::size_t i = 0; i < is.channels.size(); ++i) {
    ASSERT_EQ(is.channels[i].expected, expected.channels[i].expected);
    ASSERT_EQ(is.channels[i].delivered, expected.channels[i].delivered);
    ASSERT_EQ(is.channels[i].missing, expected.channels[i].missing);
  }
}

/// The positions of a slice of so many rows.
inline std::vector<std::size_t> slice_of(std::size_t rows, const column_options& asked) {
  if (!asked.row_list.empty()) return asked.row_list;
  std::vector<std::size_t> slice;
  for (std::size_t row = 0, i = 0; row < rows; ++row)
    if (row >= asked.first && (row - asked.first) % asked.step == 0 && (!asked.count || i < *asked.count)) {
      slice.push_back(row);
      ++i;
    }
  return slice;
}

}  // namespace ravo::test

#endif
