#include "align/event_window.h"

#include <algorithm>

namespace ravo::detail {

bool handed_over_part::has(const std::string& channel, const entry& one) const {
  if (in_microseconds(one.time) <= until) return true;
  return !later.empty() && later.contains({channel, one.number, in_microseconds(one.time)});
}

std::vector<std::int64_t> earliest_entries(const segment& part) {
  std::vector<std::int64_t> earliest(part.events.size(), after_all_times);
  const auto note = [&](std::uint32_t event, const entry& one) {
    earliest[event] = std::min(earliest[event], in_microseconds(one.time));
  };
  for (const aligned_channel& aligned : part.channels) {
    for (std::size_t i = 0; i < aligned.entries.size(); ++i) note(aligned.event[i], aligned.entries[i]);
    for (std::size_t i = 0; i < aligned.duplicates.size(); ++i)
      note(aligned.duplicate_event[i], aligned.duplicates[i]);
  }
  return earliest;
}

}  // namespace ravo::detail
