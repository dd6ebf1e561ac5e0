// The outcome of one value: the one-byte status of every value that the dataset layer delivers, which is
// also the mask of a column.
#ifndef RAVO_DATASET_STATUS_H
#define RAVO_DATASET_STATUS_H

#include <cstddef>
#include <cstdint>

#include "ravo_export.h"

namespace ravo {

/// The outcome of one value. The numbers are fixed: they are the bytes of a column's mask.
enum class value_status : std::uint8_t {
  ok = 0,
  not_recorded = 1,      ///< the channel has no data of the event; nothing is missing
  held = 2,              ///< a slow channel's value of another event, by the slow policy
  stale = 3,             ///< held, and older than max_age, or a newer one may lie in a file that is missing
  file_missing = 4,      ///< the file cannot be opened or read, or is not the one that was opened first
  truncated = 5,         ///< the block, or a part of it, lies outside its basket or the file
  bad_checksum = 6,      ///< it inflates, but the stream's checksum does not match
  cannot_inflate = 7,    ///< the compressed bytes are damaged, or of no known kind
  cannot_convert = 8,    ///< the bytes cannot be what their data type says
  type_changed = 9,      ///< sound, but of another kind than the column's values
  misdirected = 10,      ///< the file's pointers lead to another channel's block, or next to a value
  event_disputed = 11,   ///< event header and event index, or block and dictionary, contradict each other
  block_too_large = 12,  ///< the block is larger than dataset_options::largest_block, and was not decoded
};
inline constexpr std::size_t value_status_count = 13;

/// Whether a value with this status can be used.
constexpr bool has_value(value_status status) {
  return status == value_status::ok || status == value_status::held || status == value_status::stale;
}
/// Whether a value that the file should hold could not be delivered.
constexpr bool is_missing(value_status status) { return status >= value_status::file_missing; }

/// A few words, for messages. Static text.
RAVO_EXPORT const char* value_status_text(value_status status);

}  // namespace ravo

#endif
