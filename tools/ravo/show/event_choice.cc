#include "show/event_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <unordered_map>

#include "common/failure.h"
#include "common/request_options.h"
#include "common/time_grammar.h"
#include "common/times.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

// A time may lie so far outside the file and still mean its first or last event: who reads a clock cuts
// off.
constexpr double slack = 1e6;

std::vector<file_event> events_of(const raw_file& file) {
  std::vector<file_event> events;
  const ravo_event_index_table_2010& table = file.event_index();
  const ravo_event_index_entry_2010* entry = table.event_index_entry();
  for (int i = 0; i < table.nevent_types; ++i, entry = entry->next())
    for (int k = 0; k < entry->length; ++k) {
      const ravo_event_info_entry_2010& event = entry->event_info()[k];
      events.push_back({event.offset, entry->event_type, {event.event_number, event.time}});
    }
  std::stable_sort(events.begin(), events.end(), [](const file_event& a, const file_event& b) {
    return microseconds(a.id.time) < microseconds(b.id.time);
  });
  return events;
}

bool is_slow_channel(const listed_channel& channel) {
  constexpr int types = 32;
  for (int type = 0; type < types; ++type)
    if (channel.ev_mask >> type & 1u && !is_slow_event(type)) return false;
  return channel.ev_mask != 0;
}

class chooser {
 public:
  chooser(const raw_file& file, const std::vector<std::size_t>& channels)
      : file_(file), channels_(channels), events_(events_of(file)) {
    if (events_.empty()) throw data_failure(file.path() + ": holds no events");
    for (std::size_t i = 0; i < events_.size(); ++i) index_of_[events_[i].offset] = i;
    for (const std::size_t channel : channels)
      for (const ravo_event_chan_ptr_entry& at : file.places_of(channel))
        if (const auto found = index_of_.find(at.evhd); found != index_of_.end())
          candidates_.push_back(found->second);
    std::sort(candidates_.begin(), candidates_.end());
  }

  chosen_event choose(const wanted_event& wanted) const {
    if (const auto* number = std::get_if<std::uint32_t>(&wanted)) return by_number(*number);
    if (candidates_.empty()) throw data_failure(file_.path() + ": holds no data of " + wanted_names());
    if (const auto* time = std::get_if<time_stamp>(&wanted)) return by_time(*time);
    return complete(events_[end_of_candidates(std::get<place_of_event>(wanted))]);
  }

 private:
  std::string wanted_names() const {
    if (channels_.size() == 1) return file_.channels()[channels_.front()].chan_name;
    return fmt::format("these {} channels", channels_.size());
  }

  // Slow events count only where there are no others: the first thing in a file is that a run begins.
  std::size_t end_of_candidates(place_of_event which) const {
    std::vector<std::size_t> fast;
    for (const std::size_t candidate : candidates_)
      if (!is_slow_event(events_[candidate].type)) fast.push_back(candidate);
    const std::vector<std::size_t>& among = fast.empty() ? candidates_ : fast;
    return which == place_of_event::first ? among.front() : among.back();
  }

  std::string range_text() const {
    return fmt::format("{} to {}", format_time(events_.front().id.time),
                       format_time(events_.back().id.time));
  }

  // Events without a number, as slow ones of older files may be, are found by their time only.
  chosen_event by_number(std::uint32_t number) const {
    const auto distance = [number](const file_event& event) {
      const std::uint32_t other = event.id.event_number;
      return other > number ? other - number : number - other;
    };
    std::uint32_t least = 0xFFFFFFFFu, most = 0;
    const file_event* nearest = nullptr;
    for (const file_event& event : events_) {
      if (event.id.event_number == 0) continue;
      if (!nearest || distance(event) < distance(*nearest)) nearest = &event;
      least = std::min(least, event.id.event_number);
      most = std::max(most, event.id.event_number);
    }
    if (!nearest)
      throw data_failure(file_.path() + ": its events have no numbers; ask for first, last or a time");
    if (nearest->id.event_number != number)
      throw data_failure(fmt::format("{}: has no event {}; its events are {} to {}, the nearest is {}",
                                     file_.path(), number, least, most, nearest->id.event_number));
    const chosen_event chosen = complete(*nearest);
    if (!chosen.fresh.empty() || !chosen.held.empty()) return chosen;
    if (candidates_.empty()) throw data_failure(file_.path() + ": holds no data of " + wanted_names());
    nearest = nullptr;
    for (const std::size_t candidate : candidates_) {
      const file_event& event = events_[candidate];
      if (event.id.event_number != 0 && (!nearest || distance(event) < distance(*nearest)))
        nearest = &event;
    }
    throw data_failure(
        fmt::format("{}: event {} has no data of {}; {}", file_.path(), number, wanted_names(),
                    nearest ? fmt::format("the nearest that has is {}", nearest->id.event_number)
                            : "those that have are without numbers"));
  }

  chosen_event by_time(time_stamp time) const {
    const double at = microseconds(time);
    if (at < microseconds(events_.front().id.time) - slack ||
        at > microseconds(events_.back().id.time) + slack)
      throw data_failure(fmt::format("{}: has no event near {}; its events are from {}", file_.path(),
                                     format_time(time), range_text()));
    std::size_t nearest = candidates_.front();
    for (const std::size_t candidate : candidates_)
      if (std::fabs(microseconds(events_[candidate].id.time) - at) <
          std::fabs(microseconds(events_[nearest].id.time) - at))
        nearest = candidate;
    return complete(events_[nearest]);
  }

  // Headers of one number are one event; a header without a number is an event of its own.
  static bool is_part_of(const file_event& header, const file_event& event) {
    return event.id.event_number == 0 ? header.offset == event.offset
                                      : header.id.event_number == event.id.event_number;
  }

  static bool is_before(const ravo_time_id& event, const chosen_event& chosen) {
    if (event.event_number != 0 && chosen.id.event_number != 0)
      return event.event_number < chosen.id.event_number;
    return microseconds(event.time) <= microseconds(chosen.last_time);
  }

  chosen_event complete(const file_event& event) const {
    chosen_event chosen{};
    chosen.first_time = events_.front().id.time;
    bool is_first = true;
    for (const file_event& header : events_) {
      if (!is_part_of(header, event)) continue;
      if (is_first) chosen.id = header.id;
      is_first = false;
      chosen.last_time = header.id.time;
      if (std::find(chosen.types.begin(), chosen.types.end(), header.type) == chosen.types.end())
        chosen.types.push_back(header.type);
    }
    for (const std::size_t channel : channels_) {
      const bool is_slow = is_slow_channel(file_.channels()[channel]);
      bool is_fresh = false, is_held = false;
      for (const ravo_event_chan_ptr_entry& at : file_.places_of(channel)) {
        const auto found = index_of_.find(at.evhd);
        if (found == index_of_.end()) continue;
        const file_event& header = events_[found->second];
        if (is_part_of(header, event))
          is_fresh = true;
        else if (is_slow && is_before(header.id, chosen))
          is_held = true;
      }
      if (is_fresh)
        chosen.fresh.push_back(channel);
      else if (is_held)
        chosen.held.push_back(channel);
    }
    return chosen;
  }

  const raw_file& file_;
  const std::vector<std::size_t>& channels_;
  std::vector<file_event> events_;                           // by time
  std::unordered_map<std::uint32_t, std::size_t> index_of_;  // by offset of the header
  std::vector<std::size_t> candidates_;  // events that hold one of the channels, by time
};

}  // namespace

wanted_event wanted_event_of(const std::string& text, const std::string& zone) {
  const time_zone clocks = zone_option(zone);  // a wrong one is refused also where no time is asked for
  if (text == "first") return place_of_event::first;
  if (text == "last") return place_of_event::last;
  const bool is_number =
      !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (!is_number) return time_option("--event", text, {current_time(), clocks, {}});
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size())
    throw usage_failure(fmt::format("--event: {} is greater than any event number", text));
  return number;
}

chosen_event choose_event(const raw_file& file, const std::vector<std::size_t>& channels,
                          const wanted_event& wanted) {
  return chooser(file, channels).choose(wanted);
}

}  // namespace ravo::tool
