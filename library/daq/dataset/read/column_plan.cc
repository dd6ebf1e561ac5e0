#include "read/column_plan.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <utility>

#include "ravo_dataset/errors.h"
#include "read/column_access.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

std::int64_t age_between(const ravo_time_id& event, const entry& recorded) {
  return in_microseconds(event.time) - in_microseconds(recorded.time);
}

class planner {
 public:
  planner(const std::shared_ptr<dataset_state>& state, std::size_t channel, const plan_request& request,
          read_ledger* ledger)
      : state_(*state),
        request_(request),
        ledger_(ledger),
        ordinal_(request.from.events),
        position_(request.from.rows) {
    plan_.channel = channel;
    plan_.part = request.part;
    plan_.part.member = member_of(state->channels[channel]);
    plan_.last = request.from;
    plan_.memory = std::make_shared<kept_memory>(state);
    plan_.column.channel = state->channels[channel].label;
    column_access::keep(plan_.column, plan_.memory);
  }

  bool is_done() const {
    return ordinal_ >= state_.end_of_events() || request_.wanted.ends_before(position_);
  }

  /// The next segment.
  void add(std::size_t number, const std::shared_ptr<const segment>& part) {
    plan_.last = {number, ordinal_, position_};
    reserve_extras(*part);
    count_beside_rows(
        [&] { state_.ledgers.record_unaligned(*ledger_, 0, *part, plan_.channel, request_.extent); });
    if (request_.rows == column_rows::recorded)
      add_recorded_rows(number, *part);
    else
      add_rows_of_events(number, part);
  }

  column_plan finish() {
    request_.wanted.check(position_, plan_.column.channel);
    plan_.column.layout.rows = plan_.column.numbers.size();
    return std::move(plan_);
  }

 private:
  int member_of(const dataset_channel& channel) const {
    if (channel.member < 0) return request_.part.member;
    if (request_.part.member < 0) return channel.member;
    throw selection_error("The channel " + channel.label + " is a member: no member of it can be chosen");
  }

  const aligned_channel& aligned_in(const segment& part) const { return part.channels[plan_.channel]; }

  void reserve(std::size_t bytes, const char* what) {
    plan_.memory->tables.push_back(state_.reserve(bytes, what + plan_.column.channel));
  }

  /// Reserves memory for the column's arrays with one element per row, and for the lists by which it is
  /// read: twice, since they grow.
  void reserve_rows(std::size_t rows) {
    const std::size_t most = request_.wanted.most_of(position_, rows / state_.wanted.step + 1);
    constexpr std::size_t of_column = sizeof(std::uint32_t) + sizeof(time_stamp) + 2 * sizeof(value_status);
    constexpr std::size_t of_lists = 2 * sizeof(std::uint32_t) + sizeof(std::uint64_t);
    const bool has_ages = request_.rows == column_rows::events;
    const std::size_t of_held = has_ages ? sizeof(std::int64_t) + sizeof(row_copy) : 0;
    reserve(2 * most * (of_column + of_lists + of_held), "The rows of the column ");
  }

  /// Reserves memory for what is counted beside the rows of a segment, while the list grows.
  void reserve_extras(const segment& part) {
    const std::size_t most = aligned_in(part).duplicates.size() + missing_cause_count;
    reserve(2 * most * sizeof(column_access::beside_row), "What is missing of the column ");
  }

  /// Adds the rows of the events that the channel has.
  void add_recorded_rows(std::size_t number, const segment& part) {
    const aligned_channel& aligned = aligned_in(part);
    reserve_rows(std::min(part.selected.size(), aligned.entries.size()));
    block_list list;
    list.segment = number;
    std::size_t at = 0;
    for (const std::uint32_t event : part.selected) {
      if (is_done()) break;
      const bool is_selected = state_.takes(ordinal_++);
      while (at < aligned.event.size() && aligned.event[at] < event) ++at;
      if (!is_selected || at == aligned.event.size() || aligned.event[at] != event) continue;
      record_duplicates(part, event);
      if (!request_.wanted.has(position_++)) continue;
      list.index.push_back(static_cast<std::uint32_t>(at));
      list.stored.push_back(aligned.entries[at].stored);
      list.row.push_back(plan_.column.numbers.size());
      add_row(part.events[event], value_status::ok);
    }
    if (!list.index.empty()) plan_.lists.push_back(std::move(list));
  }

  void add_rows_of_events(std::size_t number, const std::shared_ptr<const segment>& part) {
    reserve_rows(part->selected.size());
    for (const std::uint32_t event : part->selected) {
      if (is_done()) break;
      if (!state_.takes(ordinal_++)) continue;
      record_duplicates(*part, event);
      if (request_.wanted.has(position_++)) add_row_of_event(number, part, event);
    }
  }

  std::uint64_t add_row(const ravo_time_id& event, value_status status) {
    plan_.column.numbers.push_back(event.event_number);
    plan_.column.times.push_back(event.time);
    plan_.column.status.push_back(status);
    return plan_.column.numbers.size() - 1;
  }

  /// Adds a row for an event, whether the channel has it, holds a value, or has nothing.
  void add_row_of_event(std::size_t number, const std::shared_ptr<const segment>& part,
                        std::uint32_t event) {
    const std::uint64_t row = add_row(part->events[event], value_status::not_recorded);
    plan_.column.ages.push_back(0);
    const auto source = state_.timeline.value_at(number, part, event, plan_.channel, on_full::wait);
    if (!source) return;
    plan_.column.status.back() = source->status;
    if (source->part == nullptr) return;
    const bool is_own = source->status == value_status::ok;
    if (!is_own) plan_.column.ages.back() = age_between(part->events[event], source->in(plan_.channel));
    const std::pair<std::size_t, std::uint32_t> where{source->segment_index,
                                                      static_cast<std::uint32_t>(source->index)};
    if (last_read_ && last_read_->where == where) {
      if (is_own)
        read_for(row);
      else
        plan_.copies.push_back({row, last_read_->row});
      return;
    }
    last_read_ = {where, row};
    if (plan_.lists.empty() || plan_.lists.back().segment != where.first)
      plan_.lists.emplace_back().segment = where.first;
    plan_.lists.back().index.push_back(where.second);
    plan_.lists.back().stored.push_back(source->in(plan_.channel).stored);
    plan_.lists.back().row.push_back(row);
  }

  /// An entry that was to be read for a row that holds it is now read for the row that it belongs to, where
  /// it counts.
  void read_for(std::uint64_t own_row) {
    const std::uint64_t holding = std::exchange(last_read_->row, own_row);
    plan_.lists.back().row.back() = own_row;
    for (auto copy = plan_.copies.rbegin(); copy != plan_.copies.rend() && copy->from == holding; ++copy)
      copy->from = own_row;
    plan_.copies.push_back({holding, own_row});
  }

  /// Records the further entries that the channel has of an event.
  void record_duplicates(const segment& part, std::uint32_t event) {
    const aligned_channel& aligned = aligned_in(part);
    const auto [first, last] =
        std::equal_range(aligned.duplicate_event.begin(), aligned.duplicate_event.end(), event);
    const auto at = static_cast<std::size_t>(first - aligned.duplicate_event.begin());
    const auto count = static_cast<std::size_t>(last - first);
    if (count == 0) return;
    count_beside_rows([&] {
      state_.ledgers.record_duplicates(*ledger_, 0, plan_.channel,
                                       std::span(aligned.duplicates).subspan(at, count));
    });
  }

  /// What `record` adds to the ledger belongs to no row: it counts with the next row.
  void count_beside_rows(const std::function<void()>& record) {
    if (ledger_ == nullptr || !request_.wanted.has(position_)) return;
    const std::uint64_t row = plan_.column.numbers.size();
    const std::size_t listed = ledger_->values.size();
    const auto before = ledger_->channels[0].missing;
    record();
    for (std::size_t i = listed; i < ledger_->values.size(); ++i) ledger_->values[i].row = row;
    for (std::size_t i = 0; i < missing_cause_count; ++i)
      if (const std::uint64_t more = ledger_->channels[0].missing[i] - before[i]; more != 0)
        column_access::beside_rows(plan_.column).push_back({row, more, static_cast<missing_cause>(i)});
  }

  /// The last entry that is to be read so far, and the row that it is read for.
  struct read_entry {
    std::pair<std::size_t, std::uint32_t> where;  ///< segment, and place among the channel's entries
    std::uint64_t row;
  };

  dataset_state& state_;
  const plan_request& request_;
  read_ledger* const ledger_;
  column_plan plan_;
  std::size_t ordinal_;     ///< of the next selected event
  std::uint64_t position_;  ///< of the next row, among those of the whole column
  std::optional<read_entry> last_read_;
};

}  // namespace

plan_request plan_request::of(const column_options& options) {
  plan_request request;
  request.rows = options.rows;
  request.wanted = row_selector(options);
  if (!request.wanted.is_all()) request.extent = reading_extent::part;
  if (options.member && *options.member < 0)
    throw selection_error("Members are numbered from 0: there is no member " +
                          std::to_string(*options.member));
  request.part = {options.member.value_or(-1), options.samples, options.region};
  return request;
}

std::vector<column_plan> make_plans(const std::shared_ptr<dataset_state>& state,
                                    const std::vector<std::size_t>& channels, const plan_request& request,
                                    const std::vector<read_ledger*>& ledgers) {
  std::deque<planner> columns;
  for (std::size_t i = 0; i < channels.size(); ++i)
    columns.emplace_back(state, channels[i], request, ledgers[i]);
  visit_segments(
      *state,
      [&](std::size_t number, const std::shared_ptr<const segment>& part) {
        bool goes_on = false;
        for (planner& column : columns) {
          if (!column.is_done()) column.add(number, part);
          goes_on = goes_on || !column.is_done();
        }
        return goes_on;
      },
      request.from.segment);
  std::vector<column_plan> plans;
  for (planner& column : columns) plans.push_back(column.finish());
  return plans;
}

column_plan make_plan(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                      const plan_request& request, read_ledger* ledger) {
  return std::move(make_plans(state, {channel}, request, {ledger}).front());
}

}  // namespace ravo::detail
