#include "show/event_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "common/failure.h"
#include "common/request_options.h"
#include "common/times.h"
#include "format/time.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

// A time that is outside the file by less than this still
// means its first or last event: people round a time down.
constexpr double slack = 1e6;

// Event headers with the same number are one event; without numbers the time decides.
bool is_same_event(const ravo_time_id& a, const ravo_time_id& b) {
  if (a.event_number != b.event_number) return false;
  return a.event_number != 0 || microseconds(a.time) == microseconds(b.time);
}

std::uint32_t distance(const ravo_time_id& event, std::uint32_t number) {
  const std::uint32_t other = event.event_number;
  return other > number ? other - number : number - other;
}

// Searches only the events that have a number.
template <class Events, class Id>
std::optional<ravo_time_id> nearest_to(std::uint32_t number, const Events& events, Id id_of) {
  std::optional<ravo_time_id> nearest;
  for (const auto& event : events) {
    const ravo_time_id& id = id_of(event);
    if (id.event_number != 0 && (!nearest || distance(id, number) < distance(*nearest, number)))
      nearest = id;
  }
  return nearest;
}

}  // namespace

event_chooser::event_chooser(const raw_file& file, const dataset& data, const dataset_options& options)
    : file_(file), data_(data), options_(options), ids_(data.event_ids(options.stop)) {
  const ravo_event_index_table_2010& table = file.event_index();
  const ravo_event_index_entry_2010* entry = table.event_index_entry();
  for (int i = 0; i < table.nevent_types; ++i, entry = entry->next())
    for (int k = 0; k < entry->length; ++k) {
      const ravo_event_info_entry_2010& event = entry->event_info()[k];
      events_.push_back({{event.event_number, event.time}, entry->event_type});
    }
  if (events_.empty()) throw data_failure(file.path() + ": holds no events");
  std::stable_sort(events_.begin(), events_.end(), [](const file_event& a, const file_event& b) {
    return microseconds(a.id.time) < microseconds(b.id.time);
  });
}

chosen_event event_chooser::choose(const wanted_event& wanted) const {
  if (const auto* number = std::get_if<std::uint32_t>(&wanted)) return by_number(*number);
  if (ids_.empty()) refuse_all();
  if (const auto* time = std::get_if<time_stamp>(&wanted)) return by_time(*time);
  const std::vector<ravo_time_id> fast = fast_events();
  const std::vector<ravo_time_id>& among = fast.empty() ? ids_ : fast;
  return complete(std::get<place_of_event>(wanted) == place_of_event::first ? among.front() : among.back());
}

void event_chooser::refuse_without_data(const chosen_event& chosen) const {
  if (ids_.empty()) refuse_all();
  const std::uint32_t number = chosen.id.event_number;
  const auto nearest = nearest_to(number, ids_, [](const ravo_time_id& id) { return id; });
  throw data_failure(fmt::format("{}: event {} has no data of {}; {}", file_.path(), number, wanted_names(),
                                 nearest ? fmt::format("the nearest that has is {}", nearest->event_number)
                                         : "those that have are without numbers"));
}

// Throws that the channels have no events, or that the machine could not read them.
void event_chooser::refuse_all() const {
  event_options first;
  first.stop = options_.stop;
  event_range range = data_.events(first);
  range.next();
  const read_ledger ledger = range.ledger();
  for (const reading_problem& problem : ledger.problems)
    if (problem.reason == problem_reason::machine_error) throw data_failure(problem.text);
  throw data_failure(file_.path() + ": holds no data of " + wanted_names());
}

std::string event_chooser::wanted_names() const {
  if (data_.channels().size() == 1) return data_.channels().front().name;
  return fmt::format("these {} channels", data_.channels().size());
}

// The events of channels that are not slow: a file begins
// with the begin of a run, which nobody wants to see first.
std::vector<ravo_time_id> event_chooser::fast_events() const {
  selection without_slow = data_.get_selection();
  without_slow.channels.clear();
  for (const dataset_channel& channel : data_.channels())
    if (!channel.is_slow) without_slow.channels.push_back(channel.name);
  const std::size_t fast = without_slow.channels.size();
  if (fast == 0) return {};
  std::vector<ravo_time_id> events = fast == data_.channels().size()
                                         ? ids_
                                         : dataset::open(without_slow, options_).event_ids(options_.stop);
  std::vector<std::uint32_t> numbers;
  std::vector<double> times;  // of the events without a number
  for (const file_event& event : events_) {
    if (is_slow_event(event.type)) continue;
    if (event.id.event_number != 0)
      numbers.push_back(event.id.event_number);
    else
      times.push_back(microseconds(event.id.time));
  }
  std::sort(numbers.begin(), numbers.end());
  std::erase_if(events, [&](const ravo_time_id& event) {
    return event.event_number != 0
               ? !std::binary_search(numbers.begin(), numbers.end(), event.event_number)
               : !std::binary_search(times.begin(), times.end(), microseconds(event.time));
  });
  return events;
}

// Events without a number, such as slow ones of older files, are found by their time only.
chosen_event event_chooser::by_number(std::uint32_t number) const {
  const auto nearest = nearest_to(number, events_, [](const file_event& event) { return event.id; });
  if (!nearest)
    throw data_failure(file_.path() + ": its events have no numbers; ask for first, last or a time");
  if (nearest->event_number == number) return complete(*nearest);
  std::uint32_t least = nearest->event_number, most = least;
  for (const file_event& event : events_) {
    if (event.id.event_number != 0) least = std::min(least, event.id.event_number);
    most = std::max(most, event.id.event_number);
  }
  throw data_failure(fmt::format("{}: has no event {}; its events are {} to {}, the nearest is {}",
                                 file_.path(), number, least, most, nearest->event_number));
}

chosen_event event_chooser::by_time(time_stamp time) const {
  const double at = microseconds(time);
  const time_stamp first = events_.front().id.time, last = events_.back().id.time;
  if (at < microseconds(first) - slack || at > microseconds(last) + slack)
    throw data_failure(fmt::format("{}: has no event near {}; its events are from {} to {}", file_.path(),
                                   time_text(time), time_text(first), time_text(last)));
  return complete(
      *std::min_element(ids_.begin(), ids_.end(), [at](const ravo_time_id& a, const ravo_time_id& b) {
        return std::fabs(microseconds(a.time) - at) < std::fabs(microseconds(b.time) - at);
      }));
}

chosen_event event_chooser::complete(const ravo_time_id& event) const {
  chosen_event chosen{event, {}, {}, false};
  time_stamp latest = event.time;
  bool is_first = true;
  for (const file_event& header : events_) {
    if (!is_same_event(header.id, event)) continue;
    if (is_first) chosen.id = header.id;
    is_first = false;
    latest = header.id.time;
    if (std::find(chosen.types.begin(), chosen.types.end(), header.type) == chosen.types.end())
      chosen.types.push_back(header.type);
  }
  const auto is_before = [&](const ravo_time_id& other) {
    if (other.event_number != 0 && event.event_number != 0) return other.event_number < event.event_number;
    return microseconds(other.time) <= microseconds(latest);
  };
  for (std::size_t i = 0; i < ids_.size() && !chosen.is_in_dataset; ++i) {
    chosen.is_in_dataset = is_same_event(ids_[i], event);
    if (chosen.is_in_dataset || is_before(ids_[i])) chosen.position = i;
  }
  return chosen;
}

wanted_event wanted_event_of(const std::string& text, const std::string& zone) {
  const time_zone clocks = zone_option(zone);  // a wrong zone is refused even if no time is given
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

}  // namespace ravo::tool
