#include "shift.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "instants.h"
#include "ravo_evutl.h"

namespace ravo::checks {
namespace {

double microseconds_from(time_stamp a, time_stamp b) {
  return static_cast<double>(in_microseconds(b) - in_microseconds(a));
}

bool is_set(time_stamp time) { return time.timeup != 0 || time.timelow != 0; }

double median(std::vector<double>& values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double spacing_of(const type_entry& type) {
  std::vector<double> spacings;
  for (std::size_t i = 1; i < type.events.size(); ++i)
    spacings.push_back(microseconds_from(type.events[i - 1].time, type.events[i].time));
  return std::max(0.0, median(spacings));
}

// The most frequent value; `nullopt` unless more than half of the values have it, or a quarter
// and enough of them to exclude chance. Of equally frequent values the one nearest to 0.
std::optional<std::int64_t> most_of(std::vector<std::int64_t> values) {
  constexpr std::size_t no_chance = 4, part = 4;
  std::sort(values.begin(), values.end());
  std::size_t most = 0;
  std::int64_t found = 0;
  for (auto begin = values.begin(); begin != values.end();) {
    const auto end = std::upper_bound(begin, values.end(), *begin);
    const auto count = static_cast<std::size_t>(end - begin);
    if (count > most || (count == most && std::abs(*begin) < std::abs(found))) {
      most = count;
      found = *begin;
    }
    begin = end;
  }
  const bool prevails = 2 * most > values.size() || (most >= no_chance && part * most >= values.size());
  return prevails ? std::optional(found) : std::nullopt;
}

}  // namespace

usual_times find_usual_times(const file_map& map) {
  usual_times usual;
  for (const type_entry& type : map.types)
    if (type.type >= 0 && type.type < static_cast<int>(usual.spacing.size()))
      usual.spacing[static_cast<std::size_t>(type.type)] = spacing_of(type);
  if (!map.servers_belong) return usual;
  std::vector<double> delays;
  for (const server_entry& server : map.servers) {
    const event_entry& event = map.events[server.event];
    if (!is_slow_event(event.type) && is_set(server.time))
      delays.push_back(microseconds_from(event.time, server.time));
  }
  usual.delay = median(delays);
  return usual;
}

stamp make_stamp(const event_entry& event, const server_entry& server, std::uint64_t offset,
                 const usual_times& usual) {
  stamp made{event.number, offset, 0, {}, std::int64_t{server.pulse} - std::int64_t{event.number}};
  if (event.type >= 0 && event.type < static_cast<int>(usual.spacing.size()))
    made.spacing = usual.spacing[static_cast<std::size_t>(event.type)];
  if (is_set(server.time)) made.delay = microseconds_from(event.time, server.time);
  return made;
}

void find_shifts(const std::string& channel, const std::vector<stamp>& stamps, const usual_times& usual,
                 finding_list& findings) {
  std::vector<std::int64_t> pulses, frames;
  for (const stamp& one : stamps) {
    pulses.push_back(one.pulse);
    if (one.frame) frames.push_back(*one.frame);
  }
  const auto pulse = most_of(std::move(pulses)), frame = most_of(std::move(frames));
  for (const stamp& one : stamps) {
    const auto shifted = [&](auto&& how) {
      findings.add(finding_kind::channel_shifted, {channel, one.event, one.offset}, how);
    };
    const double late = one.delay.value_or(usual.delay) - usual.delay;
    if (one.spacing > 0 && std::abs(late) > one.spacing / 2)
      shifted([&] {
        return fmt::format("its server's time is {:+.1f} ms off, {:+.1f} events", late / 1000,
                           late / one.spacing);
      });
    else if (pulse && one.pulse != *pulse)
      shifted([&] { return fmt::format("its server's pulse number is {:+} off", one.pulse - *pulse); });
    else if (frame && one.frame && *one.frame != *frame)
      shifted([&] { return fmt::format("its frame's event number is {:+} off", *one.frame - *frame); });
  }
}

}  // namespace ravo::checks
