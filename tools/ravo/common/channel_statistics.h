// What `ravo stat` reports of a channel, gathered value by value: how many, how often,
// where some are missing between others, and the least, mean and greatest number.
#ifndef RAVO_TOOL_CHANNEL_STATISTICS_H
#define RAVO_TOOL_CHANNEL_STATISTICS_H

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "common/block_summary.h"
#include "common/channel_facts.h"
#include "common/number_summary.h"

namespace ravo::tool {

/// Places where the distance to the next value is more than one and a half times the usual one.
struct gap_summary {
  std::uint64_t count = 0;
  std::uint64_t events = 0;        ///< values that would be there at usual distances
  std::uint32_t longest = 0;       ///< event numbers from the value before the longest gap to that after it
  std::uint32_t behind_event = 0;  ///< the event before the longest gap
};

class channel_statistics {
 public:
  explicit channel_statistics(channel_facts channel) : channel_(std::move(channel)) {}

  /// Counts the value of the next event, unless it is held or not recorded.
  void add(const value& one);

  const channel_facts& channel() const { return channel_; }
  std::uint64_t values() const { return values_; }  ///< recorded, also those that cannot be read
  std::uint64_t decoded_bytes() const { return decoded_bytes_; }
  const ravo_time_id& first() const { return first_; }
  const ravo_time_id& last() const { return last_; }
  /// Values per second; `nullopt` for a single value.
  std::optional<double> rate() const;
  /// `nullopt` if the values' events have no numbers, or are fewer than three.
  std::optional<gap_summary> gaps() const;
  /// Over all values: a row for each member or record; empty for texts and unknown data.
  const std::vector<number_summary>& numbers() const { return numbers_; }
  /// Values without numbers: frames that are not plain pictures, unknown data.
  std::uint64_t without_numbers() const { return without_numbers_; }

 private:
  struct distance {
    std::uint64_t count = 0;
    std::uint32_t before = 0;  // the event before the first one
  };

  void note_event(const ravo_time_id& id);
  void take(const block_summary& block);
  void take(std::size_t index, const number_summary& more);

  channel_facts channel_;
  std::uint64_t values_ = 0;
  std::uint64_t without_numbers_ = 0;
  std::uint64_t decoded_bytes_ = 0;
  ravo_time_id first_{};
  ravo_time_id last_{};
  std::map<std::uint32_t, distance> distances_;  // of neighbouring values, in event numbers
  std::vector<number_summary> numbers_;
};

}  // namespace ravo::tool

#endif
