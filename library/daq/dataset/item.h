// The values inside a payload as it lies in the file: where they are, how many, of which type and shape,
// and how they get into an array in host order. It reads file order directly, so that a column needs no
// converted copy.
#ifndef RAVO_DATASET_ITEM_H
#define RAVO_DATASET_ITEM_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "byte_view.h"
#include "ravo_dataset/column.h"

namespace ravo::datasets {

struct item {
  value_kind kind = value_kind::none;
  element_type element = element_type::float32;
  std::array<std::uint32_t, 3> shape{1, 1, 1};  ///< members, groups, samples; or 1, height, width; or of
                                                ///< an image that is no picture 1, 0, bytes
  std::size_t elements = 0;
  std::size_t at = 0;           ///< offset of the first value
  std::size_t pixel_bytes = 1;  ///< of an image
  float start = 0;
  float increment = 1;
  float groups_increment = 0;
  std::size_t update_name = 0;   ///< of an update: bytes of the property name; 0: none is in the payload
  std::size_t first_record = 0;  ///< of name-value

  /// An image without a place for every pixel, compressed or incomplete: the bytes that the camera sent.
  bool is_as_sent() const { return kind == value_kind::image && shape[1] == 0; }
};

/// The values of a payload of type `dtype` (low 16 bits), or of one member of it. Nothing when the payload
/// cannot be what its type says, or has no such member.
std::optional<item> find_item(std::int32_t dtype, const byte_view& payload, int member);

/// Stores the values at `into`, in host order.
void store_item(const item& from, const byte_view& payload, std::byte* into);

/// Names of the records of a name-value payload.
std::vector<std::string> record_names(const item& from, const byte_view& payload);
bool has_record_names(const item& from, const byte_view& payload, const std::vector<std::string>& names);

/// The shape as a column states it, without leading ones.
std::vector<std::size_t> shape_of_rows(const item& one);

}  // namespace ravo::datasets

#endif
