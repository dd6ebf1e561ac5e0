// A window on files that are handed over piece by piece, while others are still being written: what was
// handed over before, and how far the window reaches. Without a window a dataset hands over everything.
#ifndef RAVO_DATASET_EVENT_WINDOW_H
#define RAVO_DATASET_EVENT_WINDOW_H

#include <compare>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "align/segment.h"

namespace ravo::detail {

/// Microseconds: before and after every time, yet small enough that a span of time can be added.
inline constexpr std::int64_t before_all_times = std::numeric_limits<std::int64_t>::min() / 4;
inline constexpr std::int64_t after_all_times = std::numeric_limits<std::int64_t>::max() / 4;

/// An entry of a file. Entries of one file that are equal here belong to the same event.
struct entry_name {
  std::string channel;
  std::uint32_t number = 0;
  std::int64_t time = 0;
  auto operator<=>(const entry_name&) const = default;
};

/// What was handed over of a file: its entries until a time, and some later ones, which belong to events
/// that began before that time.
struct handed_over_part {
  std::int64_t until = before_all_times;
  std::set<entry_name> later;

  /// Nothing of the file was handed over, and its entries without an event are not counted yet.
  bool is_nothing() const { return until == before_all_times; }
  /// All of the file was handed over: it is read for slow values alone, which other events hold.
  bool is_all() const { return until == after_all_times; }
  bool has(const std::string& channel, const entry& one) const;
};

struct event_window {
  /// An event is handed over if one of its entries is from this time or an earlier one.
  std::int64_t until = after_all_times;
  /// By path. Of files that are not listed everything was handed over.
  std::map<std::string, handed_over_part> files;
};

/// Of each event, the time of its earliest entry.
std::vector<std::int64_t> earliest_entries(const segment& part);

}  // namespace ravo::detail

#endif
