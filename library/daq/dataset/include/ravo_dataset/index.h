// Which events channels have, when, and what the tables of the files alone say of each value. Nothing is
// decoded, and no block is read: thousands of channels can be listed before the first value is asked for.
#ifndef RAVO_DATASET_INDEX_H
#define RAVO_DATASET_INDEX_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_dataset/column.h"
#include "ravo_export.h"

namespace ravo {

/// What tables say of one value. The numbers are fixed; where a value_status says the same, it has the same
/// number.
enum class index_status : std::uint8_t {
  recorded = 0,         ///< a block of the event is there; whether it can be decoded is not known
  not_recorded = 1,     ///< the channel has nothing of the event
  held = 2,             ///< a slow channel's block of another event, by the slow policy
  stale = 3,            ///< held, and older than max_age, or a newer one may lie in a file that is missing
  file_missing = 4,     ///< the file cannot be opened or is not the one that was opened first
  truncated = 5,        ///< the block, or its server block, lies outside its basket
  misdirected = 10,     ///< the pointers lead into the middle of a server block or to another event's block
  event_disputed = 11,  ///< event header and event index contradict each other
  /// A member of a block that is there: whether the block has this member, only decoding it can say.
  unknown = 255,
};
/// A few words, for messages. Static text.
RAVO_EXPORT const char* index_status_text(index_status status);

struct index_options {
  column_rows rows = column_rows::recorded;
};

/// The events of the rows of a channel.
struct index_rows {
  std::vector<std::uint32_t> numbers;
  std::vector<std::int64_t> times_us;  ///< microseconds since 1970, UTC
};

/// The rows that a column of the channel has, or will have, in the same order.
struct channel_index {
  std::string channel;  ///< its label
  /// Channels with the same events share one list.
  std::shared_ptr<const index_rows> rows;
  std::vector<index_status> status;  ///< of each row
  std::vector<std::int64_t> ages;    ///< of held values, microseconds; empty when no value is held

  std::size_t size() const { return status.size(); }
  std::span<const std::uint32_t> numbers() const { return rows->numbers; }
  std::span<const std::int64_t> times_us() const { return rows->times_us; }
};

/// Counts for memory_limit as long as a copy of it lives.
struct dataset_index {
  std::vector<channel_index> channels;  ///< in the order in which they were asked for

  /// The index of a channel by its label. Throws access_error if it was not asked for.
  RAVO_EXPORT const channel_index& of(std::string_view label) const;

  std::shared_ptr<void> share;  ///< of the memory limit; reset it to keep the index without being counted
};

}  // namespace ravo

#endif
