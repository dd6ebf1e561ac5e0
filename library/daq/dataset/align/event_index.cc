#include "align/event_index.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "format/time.h"

namespace ravo::detail {
namespace {

auto key_of(const ravo_event_info_entry_2010& one) {
  return std::tuple(one.offset, one.event_number, one.time.timeup, one.time.timelow);
}

bool is_in_front(const ravo_event_info_entry_2010& a, const ravo_event_info_entry_2010& b) {
  return key_of(a) < key_of(b);
}

void widen(event_span& all, const time_stamp& time, std::uint32_t number) {
  if (all.empty || is_before(time, all.first)) all.first = time;
  if (all.empty || is_before(all.last, time)) all.last = time;
  all.lowest = all.empty ? number : std::min(all.lowest, number);
  all.highest = all.empty ? number : std::max(all.highest, number);
  all.empty = false;
}

}  // namespace

event_index::event_index(malloc_owner<ravo_event_index_table_2010> table) : table_(std::move(table)) {
  auto* entry = table_->event_index_entry();
  for (int i = 0; i < table_->nevent_types; ++i, entry = entry->next()) {
    const std::span events(entry->event_info(), static_cast<std::size_t>(std::max(entry->length, 0)));
    // They are sorted by time, which is mostly also the order of their headers.
    if (!std::is_sorted(events.begin(), events.end(), is_in_front))
      std::sort(events.begin(), events.end(), is_in_front);
    types_.push_back({entry->event_type, events});
  }
}

event_span event_index::span() const {
  event_span all;
  const auto* entry = table_->event_index_entry();
  for (int i = 0; i < table_->nevent_types; ++i, entry = entry->next()) {
    if (entry->length <= 0) continue;
    // A damaged word must not hide events: the span covers what the heads and the events say.
    widen(all, entry->event_time_first, entry->event_number_first);
    widen(all, entry->event_time_last, entry->event_number_last);
    for (int j = 0; j < entry->length; ++j) {
      const event& one = entry->event_info()[j];
      widen(all, one.time, one.event_number);
    }
  }
  return all;
}

std::size_t event_index::size() const {
  std::size_t all = 0;
  for (const events_of_type& of_type : types_) all += of_type.events.size();
  return all;
}

bool event_index::has(std::uint32_t offset, const ravo_eventheader& header) {
  const event wanted{header.event_time, header.event_number, offset};
  for (events_of_type& of_type : types_) {
    if (of_type.type != header.event_type) continue;
    const std::span<event>& events = of_type.events;
    if (of_type.next >= events.size() || key_of(events[of_type.next]) != key_of(wanted)) {
      const auto found = std::lower_bound(events.begin(), events.end(), wanted, is_in_front);
      if (found == events.end() || key_of(*found) != key_of(wanted)) continue;
      of_type.next = static_cast<std::size_t>(found - events.begin());
    }
    ++of_type.next;
    return true;
  }
  return false;
}

}  // namespace ravo::detail
