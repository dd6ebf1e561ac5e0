// All values of one channel over a selection as one array of their natural type, with the events they
// belong to and a status for each.
#ifndef RAVO_DATASET_COLUMN_H
#define RAVO_DATASET_COLUMN_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/digest.h"
#include "ravo_dataset/ledger.h"
#include "ravo_dataset/progress.h"
#include "ravo_dataset/status.h"
#include "ravo_dataset/values.h"
#include "ravo_export.h"

namespace ravo {

namespace detail {
class column_access;
}

enum class element_type : std::uint8_t { float32, uint8, uint16, uint32 };
RAVO_EXPORT std::size_t element_size(element_type type);
/// "float32", "uint8" ... Static text.
RAVO_EXPORT const char* element_name(element_type type);

/// The element type of a C++ type.
template <class Element>
constexpr element_type element_type_of() {
  constexpr bool is_byte = std::is_same_v<Element, std::uint8_t>,
                 is_pair = std::is_same_v<Element, std::uint16_t>,
                 is_word = std::is_same_v<Element, std::uint32_t>;
  static_assert(is_byte || is_pair || is_word || std::is_same_v<Element, float>,
                "columns hold float, std::uint8_t, std::uint16_t or std::uint32_t");
  return is_byte   ? element_type::uint8
         : is_pair ? element_type::uint16
         : is_word ? element_type::uint32
                   : element_type::float32;
}

/// What a dimension of a row counts.
enum class column_dimension : std::uint8_t {
  member,   ///< of a spectrum of several members
  group,    ///< of samples
  sample,   ///< of a group
  profile,  ///< the pixels of a region's member 0, and after them those of its member 1
  record,   ///< of name-value lists, by column_data::record_names
  y,        ///< the rows of a picture
  x,        ///< the pixels of such a row
  byte,     ///< of texts, of frames that are no pictures, and of data of no known structure
};
/// "member", "group" ... Static text.
RAVO_EXPORT const char* dimension_name(column_dimension dimension);

struct dimension_size {
  column_dimension dimension = column_dimension::sample;
  std::size_t size = 0;
  bool operator==(const dimension_size&) const = default;
};

/// The shape of a row in three numbers: members, groups and samples of a spectrum; 2, width and height of a
/// region of interest; records, 1, 1 of name-value lists; 1, height, width of a picture, and 1, 0, bytes of
/// any other frame; 1, 1, bytes of texts and other data; 1, 1, 1 of updates.
using row_shape = std::array<std::uint32_t, 3>;

/// The dimensions of a row by name, the slowest first. A single member, group, sample or record is not a
/// dimension: a single number has no dimensions.
RAVO_EXPORT std::vector<dimension_size> dimensions_of(value_kind kind, const row_shape& shape);

/// Which rows a column has.
enum class column_rows {
  recorded,  ///< every event with an entry of the channel is a row, damaged or not
  events,    ///< every event of the selection is a row; slow values by the slow policy
};

/// A range of items. What lies beyond the last item is left out.
struct item_range {
  std::size_t first = 0;
  std::size_t count = 0;
  bool operator==(const item_range&) const = default;
};

/// A rectangle of a picture, in pixels from its first one. What lies outside the picture is left out.
struct pixel_region {
  std::size_t x = 0;
  std::size_t y = 0;
  std::size_t width = 0;
  std::size_t height = 0;
  bool operator==(const pixel_region&) const = default;
};

/// The rows of a column, and what of each value. A part of a column equals the slice of the whole: values,
/// statuses, axes. Its ledger and its digest are those of its rows, and blocks of other rows are not read,
/// but for the first readable one of the column, which says what its values are and is read once. Only the
/// records of name-value lists are those of the part's rows. What is missing beside the rows counts with
/// the row after it.
struct column_options {
  column_rows rows = column_rows::recorded;
  /// A slice of these rows: `count` of them from `first` on, every `step`-th; those beyond the last row are
  /// left out.
  std::size_t first = 0;
  std::optional<std::size_t> count{};
  std::size_t step = 1;
  /// Or the rows at these positions, which ascend; empty: not given. A row beyond the last one throws
  /// access_error.
  std::vector<std::size_t> row_list{};
  /// This member of each value alone, as of the channel "NAME:n": values that lack it are cannot_convert. A
  /// negative one throws selection_error, and so does any of a channel that is a member itself.
  std::optional<int> member{};
  /// Of spectra: these samples of each group; the axis starts at the first of them. Nothing else is
  /// converted or stored. Other kinds of values throw selection_error.
  std::optional<item_range> samples{};
  /// Of pictures: this part of each. Other kinds of values throw selection_error.
  std::optional<pixel_region> region{};
  /// The caller's memory for the values. It must have room for rows x item bytes, as column_layout says.
  std::span<std::byte> into{};
  /// Makes the digest too, which processes every block a second time.
  bool with_digest = false;
  std::stop_token stop{};  ///< ends the reading with read_cancelled
  progress_function progress{};
};

/// What a column will be: known before it is read, as far as its first readable block shows.
struct column_layout {
  value_kind kind = value_kind::none;
  element_type element = element_type::float32;
  row_shape shape{1, 1, 1};  ///< of a row; if rows differ in shape, of the first readable one
  /// The same by name; empty for texts, whose shapes always differ.
  std::vector<dimension_size> dimensions;
  std::size_t item_elements = 1;
  std::size_t rows = 0;
  std::size_t bytes() const { return rows * item_elements * element_size(element); }
};

/// The axis of a spectrum.
struct spectrum_axis {
  float start = 0;
  float increment = 1;
  float groups_increment = 0;
  float y_start = 0;  ///< of a region of interest: of its member 1, as `start` is of its member 0
};

/// A column. In rows without a value the elements are NaN, or 0 in columns of integers.
class column_data {
 public:
  std::string channel;
  column_layout layout;
  std::vector<std::uint32_t> numbers;  ///< of the rows' events
  std::vector<time_stamp> times;
  std::vector<value_status> status;
  std::vector<std::int64_t> ages;  ///< of held values, microseconds; empty when no value is held

  /// Rows of different shapes: row i is the elements from offsets[i] to offsets[i + 1], of the shape
  /// shapes[i]. Both are empty when all rows have layout.shape.
  std::vector<std::uint64_t> offsets;
  std::vector<row_shape> shapes;
  bool is_ragged() const { return !offsets.empty(); }

  float start = 0;  ///< axis of a spectrum, of its first readable block
  float increment = 1;
  float groups_increment = 0;
  float y_start = 0;
  /// The axis of each row with a value, if not all of them have that of the first one; else empty.
  std::vector<spectrum_axis> axes;
  /// Of name-value columns: the names of all records that the rows have, in the order in which they first
  /// occur. A name that a list has twice is there twice. An element is the value of the record with its
  /// name, at any position in the list, and NaN if the list lacks it.
  std::vector<std::string> record_names;
  /// Of name-value columns: a status for each element, row after row: the row's status, or not_recorded for
  /// a record that the list of a row with a value lacks.
  std::vector<value_status> record_status;
  std::vector<time_stamp> update_times;     ///< of updates: as the front end sent them; one per row
  std::vector<std::int32_t> update_status;  ///< of updates

  read_ledger ledger;
  std::optional<channel_digest> digest;

  std::size_t size() const { return numbers.size(); }
  /// All values, row after row. Throws access_error for another type than that of layout.element. A column
  /// without any value has no type: as float it is NaN, as anything else it is empty.
  template <class Element>
  std::span<const Element> values() const {
    if (!has_elements(element_type_of<Element>())) return {};
    return {reinterpret_cast<const Element*>(bytes_.data()), bytes_.size() / sizeof(Element)};
  }
  std::span<const std::byte> bytes() const { return bytes_; }
  /// The elements of one row. Throws access_error as values() does, and for a row that the column lacks.
  template <class Element>
  std::span<const Element> row(std::size_t index) const {
    const auto all = values<Element>();
    const auto [first, count] = elements_of_row(index);
    return all.empty() ? all : all.subspan(first, count);
  }
  /// The shape of one row, whether or not all rows have it.
  RAVO_EXPORT const row_shape& shape_of_row(std::size_t index) const;
  RAVO_EXPORT std::vector<dimension_size> dimensions_of_row(std::size_t index) const;
  /// The status of one record of a row of name-value lists; the row's if there are no records.
  RAVO_EXPORT value_status status_of(std::size_t row, std::size_t record) const;
  /// The text of a row of a text column.
  RAVO_EXPORT std::string_view text(std::size_t index) const;
  /// The ledger of the first rows only, as if reading had ended after them.
  RAVO_EXPORT read_ledger ledger_of_rows(std::size_t rows) const;

  /// Makes the column the caller's own: it no longer counts against the dataset's memory_limit, and nothing
  /// of the dataset lives on with it. Of copies each one is detached by itself, and the limit has the
  /// memory back when all are detached or gone.
  RAVO_EXPORT void detach();

 private:
  friend class detail::column_access;
  struct element_range {
    std::size_t first;
    std::size_t count;
  };
  RAVO_EXPORT bool has_elements(element_type asked) const;
  void check_row(std::size_t index) const;
  RAVO_EXPORT element_range elements_of_row(std::size_t index) const;

  /// Missing values that belong to no row: the row after them, and how many.
  struct beside_row {
    std::uint64_t row;
    std::uint64_t count;
    missing_cause cause;
  };
  std::vector<beside_row> beside_rows_;
  std::vector<value_status> planned_;  ///< of each row: ok where it has a value of its own; empty: all have
  std::span<const std::byte> bytes_;
  std::shared_ptr<void> memory_;  ///< of bytes_, unless it is the caller's
  std::shared_ptr<void> share_;   ///< of the memory limit
};

}  // namespace ravo

#endif
