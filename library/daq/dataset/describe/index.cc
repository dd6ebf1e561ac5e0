#include "describe/index.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "ravo_dataset/errors.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

static_assert(static_cast<int>(index_status::not_recorded) == static_cast<int>(value_status::not_recorded));
static_assert(static_cast<int>(index_status::held) == static_cast<int>(value_status::held));
static_assert(static_cast<int>(index_status::stale) == static_cast<int>(value_status::stale));
static_assert(static_cast<int>(index_status::file_missing) == static_cast<int>(value_status::file_missing));
static_assert(static_cast<int>(index_status::truncated) == static_cast<int>(value_status::truncated));
static_assert(static_cast<int>(index_status::misdirected) == static_cast<int>(value_status::misdirected));
static_assert(static_cast<int>(index_status::event_disputed) ==
              static_cast<int>(value_status::event_disputed));

bool claims_a_block(index_status status) {
  return status == index_status::recorded || status == index_status::held || status == index_status::stale;
}

/// The rows of channels, grown segment by segment. Channels are in one group as long as all of their rows
/// are of the same events; once they differ, each part of the group goes on with a copy.
class index_builder {
 public:
  index_builder(const std::shared_ptr<dataset_state>& state, const std::vector<std::size_t>& channels,
                const index_options& options)
      : state_(*state),
        options_(options),
        what_("The index of " + std::to_string(channels.size()) + " channels"),
        memory_(std::make_shared<kept_memory>(state)),
        is_gone_(state->files.readable.size()) {
    reserve(channels.size() * (sizeof(building) + sizeof(channel_index) + sizeof(index_rows)));
    groups_.push_back({std::make_shared<index_rows>(), 0, {}});
    for (const std::size_t channel : channels) {
      building& one = channels_.emplace_back();
      one.channel = channel;
      one.made.channel = state_.channels[channel].label;
    }
  }

  void add(std::size_t number, const std::shared_ptr<const segment>& part, std::size_t& ordinal) {
    const std::vector<std::uint32_t> events = take_events(state_, *part, ordinal);
    if (options_.rows == column_rows::events) return add_all_events(number, part, events);
    reserve_statuses(*part, events.size());
    const reservation scratch = state_.reserve(events.size() * sizeof(std::uint32_t), what_);
    std::vector<std::vector<std::size_t>> groups_after(groups_.size());
    std::vector<std::uint32_t> own;
    own.reserve(events.size());
    for (building& one : channels_) {
      own.clear();
      add_recorded(one, *part, events, own);
      join_group(one, groups_after[one.group], own, *part);
    }
  }

  dataset_index finish() {
    dataset_index index;
    for (group& one : groups_) {
      one.rows->numbers.shrink_to_fit();
      one.rows->times_us.shrink_to_fit();
    }
    std::size_t bytes = 0;
    for (building& one : channels_) {
      one.made.rows = groups_[one.group].rows;
      one.made.status.shrink_to_fit();
      one.made.ages.shrink_to_fit();
      bytes += sizeof one.made + one.made.status.size() * sizeof one.made.status[0] +
               one.made.ages.size() * sizeof one.made.ages[0];
      index.channels.push_back(std::move(one.made));
    }
    for (const group& one : groups_) bytes += one.rows->numbers.size() * of_event;
    keep_only(bytes);
    index.share = memory_;
    return index;
  }

 private:
  static constexpr std::size_t of_event = sizeof(std::uint32_t) + sizeof(std::int64_t);

  /// Channels whose rows are of the same events so far.
  struct group {
    std::shared_ptr<index_rows> rows;
    std::size_t before;                 ///< rows, of the segments before this one
    std::vector<std::uint32_t> events;  ///< of its rows in this segment
  };
  struct building {
    std::size_t channel = 0;
    std::size_t group = 0;
    channel_index made;
  };

  void reserve(std::size_t bytes) { memory_->tables.push_back(state_.reserve(bytes, what_)); }

  /// Lists take twice their size, since they grow.
  void reserve_statuses(const segment& part, std::size_t events) {
    std::size_t rows = 0;
    for (const building& one : channels_) rows += std::min(events, part.channels[one.channel].event.size());
    reserve(2 * rows * sizeof(index_status));
  }

  /// Gives back what was reserved for lists that grow.
  void keep_only(std::size_t bytes) {
    for (reservation& one : memory_->tables) {
      one.shrink(std::min(one.bytes(), bytes));
      bytes -= one.bytes();
    }
  }

  /// What the tables say of an entry; `placed`: of its place at the event.
  index_status status_of(std::size_t channel, const entry& where, index_status placed) {
    index_status status = placed;
    if (is_gone(where.file))
      status = index_status::file_missing;
    else if (where.status != value_status::ok)
      status = static_cast<index_status>(where.status);
    const bool is_member = state_.channels[channel].member >= 0;
    return is_member && claims_a_block(status) ? index_status::unknown : status;
  }

  /// Found out once for each file.
  bool is_gone(std::uint32_t file) {
    std::optional<bool>& known = is_gone_[file];
    if (!known) known = state_.opened.get(file) == nullptr;
    return *known;
  }

  /// The events of the selection that a channel has go to `own`, and their statuses to the channel.
  void add_recorded(building& one, const segment& part, const std::vector<std::uint32_t>& events,
                    std::vector<std::uint32_t>& own) {
    const aligned_channel& aligned = part.channels[one.channel];
    visit_own(aligned, events, [&](std::uint32_t event, std::size_t index) {
      own.push_back(event);
      one.made.status.push_back(status_of(one.channel, aligned.entries[index], index_status::recorded));
      return true;
    });
  }

  /// Finds the group that has the same rows: among those that its group has become in this segment.
  void join_group(building& one, std::vector<std::size_t>& groups_after,
                  const std::vector<std::uint32_t>& own, const segment& part) {
    for (const std::size_t candidate : groups_after)
      if (groups_[candidate].events == own) {
        one.group = candidate;
        return;
      }
    if (groups_after.empty())
      groups_[one.group].before = groups_[one.group].rows->numbers.size();
    else
      one.group = split(one.group);
    groups_after.push_back(one.group);
    append(groups_[one.group], own, part);
    groups_[one.group].events = own;
  }

  /// A new group with the rows that the old one had before this segment.
  std::size_t split(std::size_t old) {
    const std::size_t rows = groups_[old].before;
    reserve(2 * (rows * of_event + sizeof(group) + sizeof(index_rows)));
    auto copy = std::make_shared<index_rows>();
    const index_rows& from = *groups_[old].rows;
    const auto end = static_cast<std::ptrdiff_t>(rows);
    copy->numbers.assign(from.numbers.begin(), from.numbers.begin() + end);
    copy->times_us.assign(from.times_us.begin(), from.times_us.begin() + end);
    groups_.push_back({std::move(copy), rows, {}});
    return groups_.size() - 1;
  }

  void append(group& to, const std::vector<std::uint32_t>& events, const segment& part) {
    if (events.empty()) return;
    reserve(events.size() * (2 * of_event + sizeof(std::uint32_t)));
    for (const std::uint32_t event : events) {
      to.rows->numbers.push_back(part.events[event].event_number);
      to.rows->times_us.push_back(microseconds_of(part.events[event].time));
    }
  }

  void add_all_events(std::size_t number, const std::shared_ptr<const segment>& part,
                      const std::vector<std::uint32_t>& events) {
    append(groups_.front(), events, *part);
    const auto may_hold = [this](const building& one) {
      return state_.wanted.slow != slow_policy::none && state_.timeline.is_slow(one.channel);
    };
    const auto holding =
        static_cast<std::size_t>(std::count_if(channels_.begin(), channels_.end(), may_hold));
    reserve(2 * events.size() * (channels_.size() * sizeof(index_status) + holding * sizeof(std::int64_t)));
    for (building& one : channels_) {
      if (may_hold(one))
        add_slow(one, number, part, events);
      else
        add_own(one, *part, events);
    }
  }

  void add_own(building& one, const segment& part, const std::vector<std::uint32_t>& events) {
    const aligned_channel& aligned = part.channels[one.channel];
    std::size_t at = 0;
    for (const std::uint32_t event : events) {
      while (at < aligned.event.size() && aligned.event[at] < event) ++at;
      const bool has_event = at < aligned.event.size() && aligned.event[at] == event;
      one.made.status.push_back(has_event
                                    ? status_of(one.channel, aligned.entries[at], index_status::recorded)
                                    : index_status::not_recorded);
    }
  }

  void add_slow(building& one, std::size_t number, const std::shared_ptr<const segment>& part,
                const std::vector<std::uint32_t>& events) {
    for (const std::uint32_t event : events) {
      const auto found = state_.timeline.value_at(number, part, event, one.channel, on_full::wait);
      index_status status = index_status::not_recorded;
      std::int64_t age = 0;
      if (found && found->part == nullptr) {
        status = index_status::file_missing;
      } else if (found) {
        const entry& where = found->in(one.channel);
        const bool is_own = found->status == value_status::ok;
        status = status_of(one.channel, where,
                           is_own ? index_status::recorded : static_cast<index_status>(found->status));
        if (!is_own) age = in_microseconds(part->events[event].time) - in_microseconds(where.time);
      }
      one.made.status.push_back(status);
      one.made.ages.push_back(age);
    }
  }

  dataset_state& state_;
  const index_options options_;
  const std::string what_;
  std::shared_ptr<kept_memory> memory_;
  std::vector<std::optional<bool>> is_gone_;  ///< by file
  std::vector<group> groups_;
  std::vector<building> channels_;
};

}  // namespace

dataset_index make_index(const std::shared_ptr<dataset_state>& state,
                         const std::vector<std::size_t>& channels, const index_options& options,
                         const std::stop_token& stop) {
  index_builder builder(state, channels, options);
  std::size_t ordinal = 0;
  visit_segments(*state, [&](std::size_t number, const std::shared_ptr<const segment>& part) {
    if (stop.stop_requested()) throw read_cancelled();
    builder.add(number, part, ordinal);
    return ordinal < state->end_of_events();
  });
  return builder.finish();
}

}  // namespace ravo::detail

namespace ravo {

const char* index_status_text(index_status status) {
  switch (status) {
    case index_status::recorded:
      return "recorded";
    case index_status::not_recorded:
      return "not recorded";
    case index_status::held:
      return "held";
    case index_status::stale:
      return "stale";
    case index_status::file_missing:
      return "file missing";
    case index_status::truncated:
      return "truncated";
    case index_status::misdirected:
      return "misdirected";
    case index_status::event_disputed:
      return "event disputed";
    case index_status::unknown:
      return "unknown";
  }
  return "unknown";
}

const channel_index& dataset_index::of(std::string_view label) const {
  for (const channel_index& one : channels)
    if (one.channel == label) return one;
  throw access_error("The index has " + std::to_string(channels.size()) + " channels, and not \"" +
                     std::string(label) + "\"");
}

}  // namespace ravo
