// The values inside a payload as it lies in the file: where they are, how many, of which type and shape,
// and how they are stored in an array in host order. It reads file order directly, so that a column needs
// no converted copy.
#ifndef RAVO_DATASET_ITEM_H
#define RAVO_DATASET_ITEM_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/byte_view.h"
#include "format/payload_view.h"
#include "ravo_dataset/column.h"

namespace ravo::detail {

/// The kind of a value, by the kind of its payload's parts.
inline constexpr overloaded kind_of{[](const spectrum_parts&) { return value_kind::spectrum; },
                                    [](const roi_parts&) { return value_kind::roi; },
                                    [](const image_parts&) { return value_kind::image; },
                                    [](const name_value_parts&) { return value_kind::name_value; },
                                    [](const update_parts&) { return value_kind::update; },
                                    [](const text_part&) { return value_kind::text; },
                                    [](const records_part&) { return value_kind::other; }};

struct item {
  value_kind kind = value_kind::none;
  element_type element = element_type::float32;
  row_shape shape{1, 1, 1};
  std::size_t elements = 0;
  std::size_t at = 0;           ///< offset of the first value
  std::size_t runs = 1;         ///< of values that lie back to back, all of one length
  std::size_t run_stride = 0;   ///< bytes from one run to the next
  std::size_t pixel_bytes = 1;  ///< of an image
  bool is_as_sent = false;      ///< of an image without a place for every pixel: the camera's bytes
  float start = 0;
  float increment = 1;
  float groups_increment = 0;
  float y_start = 0;             ///< of a region of interest: of its member 1
  std::size_t update_name = 0;   ///< of an update: bytes of the property name; 0: none is in the payload
  std::size_t status = 0;        ///< of an update: offset of its status
  std::size_t time = 0;          ///< of an update: offset of its two words of time
  std::size_t first_record = 0;  ///< of name-value

  /// Whether it is a single member, rather than several of which one could be chosen.
  bool is_one_member() const { return shape[0] == 1; }
};

/// What of each value of a column is wanted.
struct value_part {
  int member = -1;  ///< -1: all
  std::optional<item_range> samples;
  std::optional<pixel_region> region;
};

/// The values of a payload of type `dtype` (low 16 bits), or of one member of it. `nullopt` if the payload
/// cannot be what its type says, or has no such member.
std::optional<item> find_item(std::int32_t dtype, const byte_view& payload, int member);
/// The same, and cuts it.
std::optional<item> find_item(std::int32_t dtype, const byte_view& payload, const value_part& wanted);
/// Leaves the wanted samples or pixels of an item; items of other kinds stay as they are.
void cut_item(item& whole, const value_part& wanted);
/// Throws selection_error if values like this one have no such part.
void check_part(const item& value, const value_part& wanted, const std::string& channel);

/// Stores the values at `into`, in host order. Not for name-value lists, whose records have places of their
/// own in a row (record_names.h).
void store_item(const item& from, const byte_view& payload, std::byte* into);

}  // namespace ravo::detail

#endif
