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
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/digest.h"
#include "ravo_dataset/ledger.h"
#include "ravo_dataset/status.h"
#include "ravo_dataset/values.h"

namespace ravo {

enum class element_type : std::uint8_t { float32, uint8, uint16, uint32 };
std::size_t element_size(element_type type);

/// Which rows a column has.
enum class column_rows {
  recorded,  ///< an event for which the channel has an entry is a row, damaged or not
  events,    ///< every event of the selection is a row; slow values as the slow policy says
};

struct column_options {
  column_rows rows = column_rows::recorded;
  /// The caller's memory for the values. It has to hold rows x item bytes, as column_layout says.
  std::span<std::byte> into;
  /// Makes the digest too, which takes a second look at every block.
  bool with_digest = false;
};

/// What a column will be: known before it is read, as far as its first readable block tells.
struct column_layout {
  value_kind kind = value_kind::none;
  element_type element = element_type::float32;
  /// Of one row; empty: a single number. A spectrum: members (more than one), groups (more than one),
  /// samples; an image: height, width, or the bytes that the camera sent where these are no picture
  /// (compressed, or not a place for every pixel); name-value: records; a text: empty and always ragged;
  /// other data: bytes.
  std::vector<std::size_t> item_shape;
  std::size_t item_elements = 1;
  std::size_t rows = 0;
  std::size_t bytes() const { return rows * item_elements * element_size(element); }
};

/// The axis of a spectrum.
struct spectrum_axis {
  float start = 0;
  float increment = 1;
  float groups_increment = 0;
};

/// A column. Where `status` has no value the elements are NaN, or 0 in columns of integers.
class column_data {
 public:
  std::string channel;
  column_layout layout;
  std::vector<std::uint32_t> numbers;  ///< of the rows' events
  std::vector<time_stamp> times;
  std::vector<value_status> status;
  std::vector<std::int64_t> ages;  ///< of held values, microseconds; empty when no value is held

  /// Rows of different shapes: row i is the elements from offsets[i] to offsets[i + 1], of the shape
  /// shapes[i] (members, groups, samples; of an image 1, height, width, or where the camera's bytes are no
  /// picture 1, 0, bytes). Empty when all rows have
  /// layout.item_shape.
  std::vector<std::uint64_t> offsets;
  std::vector<std::array<std::uint32_t, 3>> shapes;
  bool is_ragged() const { return !offsets.empty(); }

  float start = 0;  ///< axis of a spectrum, of its first readable block
  float increment = 1;
  float groups_increment = 0;
  /// Of each row with a value, when not all of them have the axis of the first one; else empty.
  std::vector<spectrum_axis> axes;
  std::vector<std::string> record_names;    ///< of name-value columns
  std::vector<time_stamp> update_times;     ///< of updates: as the front end told them; a row each
  std::vector<std::int32_t> update_status;  ///< of updates

  read_ledger ledger;
  std::optional<channel_digest> digest;

  std::size_t size() const { return numbers.size(); }
  /// All values, row after row. The type has to be that of layout.element.
  template <class Element>
  std::span<const Element> values() const {
    return {reinterpret_cast<const Element*>(bytes_.data()), bytes_.size() / sizeof(Element)};
  }
  std::span<const std::byte> bytes() const { return bytes_; }
  /// The elements of one row.
  template <class Element>
  std::span<const Element> row(std::size_t index) const {
    const auto all = values<Element>();
    if (is_ragged()) return all.subspan(offsets[index], offsets[index + 1] - offsets[index]);
    return all.subspan(index * layout.item_elements, layout.item_elements);
  }
  /// The text of a row of a text column.
  std::string_view text(std::size_t index) const;

 private:
  friend class column_reader;
  std::span<const std::byte> bytes_;
  std::shared_ptr<void> memory_;  ///< of bytes_, where it is not the caller's
  std::shared_ptr<void> share_;   ///< of the memory limit
};

}  // namespace ravo

#endif
