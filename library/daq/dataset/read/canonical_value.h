// A value in the one form in which it goes into a digest of values, however it is stored: its type, its
// dimensions, and its values little-endian.
#ifndef RAVO_DATASET_CANONICAL_VALUE_H
#define RAVO_DATASET_CANONICAL_VALUE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "format/byte_view.h"
#include "ravo_dataset/column.h"
#include "ravo_dataset/value_digest.h"
#include "read/item.h"

namespace ravo::detail {

/// The types of values in a digest. The numbers are fixed.
enum class digest_type : std::uint64_t { float32 = 1, uint8 = 2, uint16 = 3, uint32 = 4, records = 5 };

/// One record of a name-value list.
struct named_number {
  std::string_view name;
  float number;
};

/// Memory for so many bytes, until the next call.
using room_for_bytes = std::function<std::byte*(std::size_t)>;

class digest_access {
 public:
  /// A value whose elements lie at `elements` in host order, and may be changed.
  static void add(value_digest& to, const ravo_time_id& event, element_type type,
                  const std::vector<dimension_size>& dimensions, std::span<std::byte> elements);
  /// A name-value list, whose records are sorted here.
  static void add(value_digest& to, const ravo_time_id& event, std::vector<named_number> records,
                  const room_for_bytes& room);
  /// A value that is missing.
  static void add(value_digest& to, const ravo_time_id& event, value_status status);
  /// A value by its place in a payload, whose words are in this order.
  static void add(value_digest& to, const ravo_time_id& event, const item& value, const byte_view& payload,
                  word_order order, const room_for_bytes& room);

 private:
  static void add(value_digest& to, const ravo_time_id& event, digest_type type,
                  std::span<const std::uint64_t> sizes, std::span<const std::byte> bytes);
};

}  // namespace ravo::detail

#endif
