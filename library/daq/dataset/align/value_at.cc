// What a channel has at an event: its own entry, or of a slow channel another event's by the slow policy.
// Found in three steps: the entries around the event, the one of them that is taken, and whether a better
// one may lie where nothing can be read.
#include <algorithm>
#include <cstdlib>
#include <limits>

#include "align/timeline.h"

namespace ravo::detail {
namespace {

/// Microseconds: farther away than any time, yet small enough that two of them can be added.
constexpr std::int64_t anywhere = std::numeric_limits<std::int64_t>::max() / 4;

}  // namespace

time_gap time_gap::of(const event_span& span) {
  if (span.empty) return {-anywhere, anywhere};
  return {in_microseconds(span.first), in_microseconds(span.last) + 1};
}

time_gap time_gap::of(const missing_period& period) {
  return {period.from ? in_microseconds(*period.from) : -anywhere,
          period.to ? in_microseconds(*period.to) : anywhere};
}

missing_period time_gap::period() const {
  const auto limit = [](std::int64_t time) -> std::optional<time_stamp> {
    if (time <= -anywhere || time >= anywhere) return std::nullopt;
    return time_stamp{static_cast<std::uint32_t>(time / 1000000),
                      static_cast<std::uint32_t>(time % 1000000)};
  };
  return {limit(from), limit(to)};
}

/// An event at which a slow channel has no entry.
struct timeline::slow_query {
  std::size_t index;
  const std::shared_ptr<const segment>& part;
  std::uint32_t event;
  std::size_t channel;
  on_full how;
  std::int64_t now = in_microseconds(part->events[event].time);

  std::int64_t distance(const placed_entry& other) const {
    return std::abs(now - in_microseconds(other.in(channel).time));
  }
};

/// The channel's entries around an event. After it only where the policy takes the nearest one.
struct timeline::neighbours {
  std::optional<placed_entry> before;
  std::optional<placed_entry> after;
  /// The periods of segments in between, in which all of the channel's entries are orphans.
  std::vector<time_gap> passed_over;
};

std::optional<placed_entry> timeline::value_at(std::size_t index,
                                               const std::shared_ptr<const segment>& part,
                                               std::uint32_t event, std::size_t channel, on_full how) {
  if (const auto own = part->channels[channel].at(event)) return placed_entry{index, part, *own};
  if (wanted_.slow == slow_policy::none || !slow_[channel]) return std::nullopt;
  const slow_query query{index, part, event, channel, how};
  const neighbours around = find_neighbours(query);
  const placed_entry* const chosen = choose(query, around);
  const bool is_certain = !may_be_another(query, around, chosen);
  if (chosen == nullptr && is_certain) return std::nullopt;
  if (chosen == nullptr) return placed_entry{index, nullptr, 0, value_status::file_missing};
  const bool is_too_old =
      wanted_.max_age && static_cast<std::uint64_t>(query.distance(*chosen)) > *wanted_.max_age;
  placed_entry held = *chosen;
  held.status = is_certain && !is_too_old ? value_status::held : value_status::stale;
  return held;
}

timeline::neighbours timeline::find_neighbours(const slow_query& query) {
  neighbours around;
  const aligned_channel& aligned = query.part->channels[query.channel];
  if (const auto last = aligned.last_until(query.event))
    around.before = placed_entry{query.index, query.part, *last};
  else
    around.before = last_entry_before(query, around.passed_over);
  if (wanted_.slow != slow_policy::nearest) return around;
  if (const auto first = aligned.first_after(query.event))
    around.after = placed_entry{query.index, query.part, *first};
  else
    around.after = first_entry_after(query, around.passed_over);
  return around;
}

std::optional<placed_entry> timeline::last_entry_before(const slow_query& query,
                                                        std::vector<time_gap>& passed_over) {
  for (std::size_t index = query.index; index-- > 0;) {
    if (!has_entries(index, query.channel)) continue;
    auto part = get(index, query.how);
    const aligned_channel& aligned = part->channels[query.channel];
    if (!aligned.entries.empty()) return placed_entry{index, part, aligned.entries.size() - 1};
    if (!aligned.orphan_spans.empty()) passed_over.push_back(time_gap::of(slots_[index].span));
  }
  return std::nullopt;
}

std::optional<placed_entry> timeline::first_entry_after(const slow_query& query,
                                                        std::vector<time_gap>& passed_over) {
  for (std::size_t index = query.index + 1; index < segments(); ++index) {
    if (!has_entries(index, query.channel)) continue;
    auto part = get(index, query.how);
    const aligned_channel& aligned = part->channels[query.channel];
    if (!aligned.entries.empty()) return placed_entry{index, part, 0};
    if (!aligned.orphan_spans.empty()) passed_over.push_back(time_gap::of(slots_[index].span));
  }
  return std::nullopt;
}

// As find_neighbours() does for each event: the first one decides what is needed from before the segment,
// the last one what is needed from after it.
void timeline::add_segments_of_held_values(std::size_t index, const std::shared_ptr<const segment>& part,
                                           std::set<std::size_t>& segments) {
  if (wanted_.slow == slow_policy::none || part->selected.empty()) return;
  const auto add = [&](std::size_t other, std::size_t channel) {  // false: no farther
    if (!has_entries(other, channel)) return true;
    segments.insert(other);
    return get(other, on_full::wait)->channels[channel].entries.empty();
  };
  for (std::size_t channel = 0; channel < names_.size(); ++channel) {
    if (!slow_[channel]) continue;
    const aligned_channel& aligned = part->channels[channel];
    bool goes_on = !aligned.last_until(part->selected.front());
    for (std::size_t before = index; goes_on && before-- > 0;) goes_on = add(before, channel);
    goes_on = wanted_.slow == slow_policy::nearest && !aligned.first_after(part->selected.back());
    for (std::size_t after = index + 1; goes_on && after < slots_.size(); ++after)
      goes_on = add(after, channel);
  }
}

/// The nearer neighbour, or the earlier one if both are equally far; null if there is none.
const placed_entry* timeline::choose(const slow_query& query, const neighbours& around) {
  if (around.after && (!around.before || query.distance(*around.after) < query.distance(*around.before)))
    return &*around.after;
  return around.before ? &*around.before : nullptr;
}

/// Whether the value that the policy asks for may be another one than the chosen one: it may lie in a file
/// that is missing, or be an orphan.
bool timeline::may_be_another(const slow_query& query, const neighbours& around,
                              const placed_entry* chosen) {
  const std::int64_t reach = chosen != nullptr ? query.distance(*chosen) : anywhere;
  const bool looks_ahead = wanted_.slow == slow_policy::nearest;
  const time_gap when{query.now - reach, (looks_ahead ? query.now + reach : query.now) + 1};
  const auto has_orphans = [&](const std::optional<placed_entry>& neighbour) {
    return neighbour && neighbour->part != query.part &&
           may_have_orphans(neighbour->segment_index, *neighbour->part, query.channel, when);
  };
  return may_have_orphans(query.index, *query.part, query.channel, when) || has_orphans(around.before) ||
         has_orphans(around.after) ||
         std::any_of(around.passed_over.begin(), around.passed_over.end(),
                     [&](const time_gap& gap) { return gap.meets(when); }) ||
         may_miss_values(query.channel, when);
}

/// Whether a segment may have an orphan of the channel from that period.
bool timeline::may_have_orphans(std::size_t index, const segment& part, std::size_t channel,
                                time_gap when) const {
  const time_gap own = time_gap::of(slots_[index].span);
  when = {std::max(when.from, own.from), std::min(when.to, own.to)};
  return when.from < when.to && part.channels[channel].may_have_orphans(when);
}

/// Whether a file that is missing may have a value of the channel from that period.
bool timeline::may_miss_values(std::size_t channel, time_gap when) {
  if (std::any_of(gaps_.begin(), gaps_.end(), [&](const time_gap& gap) { return gap.meets(when); }))
    return true;
  if (!has_failed_files_) return false;
  const std::lock_guard lock(mutex_);
  return std::any_of(failed_files_.begin(), failed_files_.end(), [&](std::uint32_t file) {
    const event_span& span = files_[file].span;
    return files_[file].count(channel) > 0 &&
           (span.empty || time_gap{in_microseconds(span.first), in_microseconds(span.last)}.meets(when));
  });
}

}  // namespace ravo::detail
