// Reads the recorded values of channels without keeping them: a group of segments at a time, with all
// threads, each block or value handed to the code that computes something of it. Memory is that of one
// group, whatever the number of values.
#ifndef RAVO_DATASET_VALUE_WALK_H
#define RAVO_DATASET_VALUE_WALK_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "read/column_scan.h"
#include "read/item.h"

namespace ravo::detail {

/// Recorded values of a channel that are read together, in the order of their events.
struct walked_rows {
  column_plan plan;                     ///< its column has numbers and times of the rows' events
  std::vector<std::uint64_t> ordinals;  ///< of these among the selection's events
  std::uint64_t stored_bytes = 0;       ///< of the rows' blocks
  ravo_time_id first_recorded{};        ///< what the channel itself has of the first row's event
  ravo_time_id last_recorded{};
  ravo_time_id event(std::uint64_t row) const { return {plan.column.numbers[row], plan.column.times[row]}; }
};

/// A value that can be read.
struct walked_value {
  const walked_rows& rows;
  std::uint64_t row;
  const item& found;
  const byte_view& payload;
  std::int32_t stored_type;
  std::size_t decoded_bytes;  ///< of its block
  std::uint64_t ordinal() const { return rows.ordinals[row]; }
};

/// Computes something of a channel's blocks.
class block_taker {
 public:
  virtual ~block_taker() = default;
  /// Takes the blocks of these rows.
  virtual std::unique_ptr<column_sink> sink_for(const walked_rows& rows) = 0;
  /// All blocks of these rows are taken; these are the statuses of all rows. On the thread that reads.
  virtual void end(const walked_rows& rows, std::span<const value_status> statuses) = 0;
};

/// Computes something of a channel's values. Chunks are filled by several threads, each by one of them;
/// those that are dropped are read again.
class value_taker : public block_taker {
 public:
  class chunk {
   public:
    virtual ~chunk() = default;
    virtual void take(const walked_value& value, block_memory& memory) = 0;
    /// The chunk is complete. One thread at a time.
    virtual void commit() = 0;
  };
  virtual std::unique_ptr<chunk> begin() = 0;
  std::unique_ptr<column_sink> sink_for(const walked_rows& rows) final;
};

/// Whether what a walk reads counts as read, in the dataset's ledger and for its policy of damage. It does
/// not if the values are read again.
enum class walk_purpose { reading, preparation };

/// Which values a walk takes, and who takes them.
struct value_walk {
  struct channel {
    std::size_t index = 0;
    block_taker* taker = nullptr;
  };
  std::vector<channel> channels;
  /// Whether the value at an event is wanted; empty: all are.
  std::function<bool(std::uint64_t ordinal, const ravo_time_id& event)> is_wanted;
  reading_extent extent = reading_extent::whole;
  walk_purpose purpose = walk_purpose::reading;
  progress_function progress;
};

/// Reads the values, and returns the ledger of each channel. A reading's are added to the dataset's, also
/// if it ends with an exception.
std::vector<read_ledger> walk_values(const std::shared_ptr<dataset_state>& state, const value_walk& walk);

/// The events of a selection, without reading a value.
struct event_survey {
  std::uint64_t events = 0;
  std::int64_t first =
      0;  ///< the earliest time, microseconds since 1970; without meaning if there is no event
  std::int64_t last = 0;  ///< the latest
};
event_survey survey_events(dataset_state& state);

}  // namespace ravo::detail

#endif
