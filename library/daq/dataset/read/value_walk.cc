#include "read/value_walk.h"

#include <algorithm>
#include <utility>

#include "format/time.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

/// Hands the values of one channel's blocks to their taker.
class taking_sink : public column_sink {
 public:
  taking_sink(const walked_rows& rows, value_taker& taker) : rows_(rows), taker_(taker) {}

  std::unique_ptr<chunk_part> begin(std::size_t, std::size_t, block_memory&) override {
    return std::make_unique<part>(*this);
  }

 private:
  class part : public chunk_part {
   public:
    explicit part(taking_sink& sink) : sink_(sink), chunk_(sink.taker_.begin()) {}

    value_status put(const column_block& block, block_memory& memory) override {
      value_status status = value_status::ok;
      const auto payload = inflate(block.found, memory, status);
      if (!payload) return status;
      const auto found = find_item(block.found.stored_type, *payload, sink_.rows_.plan.part.member);
      if (!found) return value_status::cannot_convert;
      chunk_->take(
          {sink_.rows_, block.row, *found, *payload, block.found.stored_type, block.found.payload.room},
          memory);
      return value_status::ok;
    }
    void commit() override { chunk_->commit(); }

   private:
    taking_sink& sink_;
    std::unique_ptr<value_taker::chunk> chunk_;
  };

  const walked_rows& rows_;
  value_taker& taker_;
};

class walker {
 public:
  walker(const std::shared_ptr<dataset_state>& state, const value_walk& walk)
      : shared_(state), state_(*state), walk_(walk) {
    for (const value_walk::channel& channel : walk_.channels) {
      ledgers_.push_back(state_.ledgers.open());
      ledgers_.back().channels.emplace_back().channel = state_.channels[channel.index].label;
    }
    start_group();
  }
  ~walker() { try_add(); }
  walker(const walker&) = delete;
  walker& operator=(const walker&) = delete;

  std::vector<read_ledger> run() {
    if (walk_.progress) so_far_.total_bytes = stored_bytes();
    std::uint64_t ordinal = 0;
    visit_segments(state_, [&](std::size_t number, const std::shared_ptr<const segment>& part) {
      state_.check_stop();
      add_segment(number, *part, ordinal);
      ordinal += part->selected.size();
      // While it is read, this segment is in use, and those before it may have to be aligned again.
      const bool is_large = rows_ >= most_rows || stored_ >= most_stored ||
                            (tables_ += part->memory.bytes()) > state_.memory.limit() / 8;
      if (is_large) read_group();
      return ordinal < state_.end_of_events();
    });
    read_group();
    while (closed_ < ledgers_.size()) close(ledgers_[closed_++]);
    return std::move(ledgers_);
  }

 private:
  // Enough for all threads, most of the time; little beside what their blocks take.
  static constexpr std::size_t most_rows = std::size_t{1} << 18;
  static constexpr std::uint64_t most_stored = std::uint64_t{64} << 20;

  void close(const read_ledger& ledger) {
    if (walk_.purpose == walk_purpose::reading) state_.ledgers.close(ledger);
  }

  /// Adds the ledgers of a walk that ends with an exception.
  void try_add() noexcept {
    try {
      for (; closed_ < ledgers_.size(); ++closed_) state_.ledgers.add(ledgers_[closed_]);
    } catch (...) {
      // The reading ends with an exception already, which says more.
    }
  }

  // ---- rows

  void start_group() {
    group_.clear();
    rows_ = tables_ = 0;
    stored_ = 0;
    for (const value_walk::channel& channel : walk_.channels) {
      walked_rows& rows = group_.emplace_back();
      rows.plan.channel = channel.index;
      rows.plan.part.member = state_.channels[channel.index].member;
      rows.plan.column.channel = state_.channels[channel.index].label;
      rows.plan.memory = std::make_shared<kept_memory>(shared_);
    }
  }

  /// Calls visit(event, ordinal) for the events of a segment that the selection means, in order.
  template <class Visit>
  void visit_events(const segment& part, std::uint64_t ordinal, const Visit& visit) const {
    for (const std::uint32_t event : part.selected) {
      if (ordinal == state_.end_of_events()) return;
      const std::uint64_t number = state_.taken_of(ordinal);
      if (state_.takes(ordinal++) && (!walk_.is_wanted || walk_.is_wanted(number, part.events[event])))
        visit(event, number);
    }
  }

  void add_segment(std::size_t number, const segment& part, std::uint64_t ordinal) {
    for (std::size_t i = 0; i < group_.size(); ++i) {
      state_.ledgers.record_unaligned(ledgers_[i], 0, part, walk_.channels[i].index, walk_.extent);
      add_rows(i, number, part, ordinal);
    }
  }

  void add_rows(std::size_t i, std::size_t number, const segment& part, std::uint64_t ordinal) {
    walked_rows& rows = group_[i];
    const aligned_channel& aligned = part.channels[rows.plan.channel];
    if (aligned.entries.empty()) return;
    // Number, time, status (twice), ordinal, index, stored bytes and row; twice, since the lists grow.
    constexpr std::size_t of_row = sizeof(std::uint32_t) + sizeof(time_stamp) + 2 * sizeof(value_status) +
                                   sizeof(std::uint64_t) + 2 * sizeof(std::uint32_t) +
                                   sizeof(std::uint64_t);
    const std::size_t most = std::min(part.selected.size(), aligned.entries.size());
    rows.plan.memory->tables.push_back(
        state_.reserve(2 * most * of_row, "The rows of " + rows.plan.column.channel));
    block_list list;
    list.segment = number;
    const std::uint64_t stored_before = rows.stored_bytes;
    std::size_t at = 0;
    visit_events(part, ordinal, [&](std::uint32_t event, std::uint64_t of_event) {
      while (at < aligned.event.size() && aligned.event[at] < event) ++at;
      if (at == aligned.event.size() || aligned.event[at] != event) return;
      record_duplicates(i, aligned, event);
      list.index.push_back(static_cast<std::uint32_t>(at));
      list.row.push_back(rows.ordinals.size());
      list.stored.push_back(aligned.entries[at].stored);
      const ravo_time_id recorded{aligned.entries[at].number, aligned.entries[at].time};
      if (rows.ordinals.empty()) rows.first_recorded = recorded;
      rows.last_recorded = recorded;
      add_row(rows, of_event, part.events[event]);
      rows.stored_bytes += aligned.entries[at].stored;
    });
    stored_ += rows.stored_bytes - stored_before;
    rows_ += list.index.size();
    if (!list.index.empty()) rows.plan.lists.push_back(std::move(list));
  }

  static void add_row(walked_rows& rows, std::uint64_t ordinal, const ravo_time_id& event) {
    rows.ordinals.push_back(ordinal);
    rows.plan.column.numbers.push_back(event.event_number);
    rows.plan.column.times.push_back(event.time);
    rows.plan.column.status.push_back(value_status::ok);
  }

  void record_duplicates(std::size_t i, const aligned_channel& aligned, std::uint32_t event) {
    if (aligned.duplicates.empty()) return;
    const auto [first, last] =
        std::equal_range(aligned.duplicate_event.begin(), aligned.duplicate_event.end(), event);
    const auto at = static_cast<std::size_t>(first - aligned.duplicate_event.begin());
    const auto count = static_cast<std::size_t>(last - first);
    if (count != 0)
      state_.ledgers.record_duplicates(ledgers_[i], 0, walk_.channels[i].index,
                                       std::span(aligned.duplicates).subspan(at, count));
  }

  // ---- values

  void read_group() {
    for (std::size_t i = 0; i < group_.size(); ++i)
      if (!group_[i].ordinals.empty()) read_rows(group_[i], *walk_.channels[i].taker, ledgers_[i]);
    start_group();
  }

  void read_rows(walked_rows& rows, block_taker& taker, read_ledger& ledger) {
    state_.check_stop();
    rows.plan.column.layout.rows = rows.ordinals.size();
    column_progress progress(walk_.progress, &so_far_);
    column_scan scan(state_, rows.plan, ledger);
    progress.add_total(scan.stored_bytes());
    column_workers workers(state_, progress, "Decoding a block of " + rows.plan.column.channel);
    const std::unique_ptr<column_sink> sink = taker.sink_for(rows);
    column_sink* const sinks[] = {sink.get()};
    std::vector<value_status> statuses;
    workers.read({scan.reading(sinks, statuses)});
    progress.close(workers.done_bytes());
    taker.end(rows, statuses);
  }

  std::uint64_t stored_bytes() {
    std::uint64_t bytes = 0, ordinal = 0;
    visit_segments(state_, [&](std::size_t, const std::shared_ptr<const segment>& part) {
      for (const value_walk::channel& channel : walk_.channels) {
        const aligned_channel& aligned = part->channels[channel.index];
        std::size_t at = 0;
        visit_events(*part, ordinal, [&](std::uint32_t event, std::uint64_t) {
          while (at < aligned.event.size() && aligned.event[at] < event) ++at;
          if (at < aligned.event.size() && aligned.event[at] == event) bytes += aligned.entries[at].stored;
        });
      }
      ordinal += part->selected.size();
      return ordinal < state_.end_of_events();
    });
    return bytes;
  }

  const std::shared_ptr<dataset_state> shared_;
  dataset_state& state_;
  const value_walk& walk_;
  read_progress so_far_;
  std::vector<read_ledger> ledgers_;  ///< by channel
  std::size_t closed_ = 0;            ///< how many of them are in the dataset's ledger
  std::vector<walked_rows> group_;    ///< by channel; what follows is of all of them
  std::size_t rows_ = 0;
  std::size_t tables_ = 0;
  std::uint64_t stored_ = 0;
};

}  // namespace

std::unique_ptr<column_sink> value_taker::sink_for(const walked_rows& rows) {
  return std::make_unique<taking_sink>(rows, *this);
}

std::vector<read_ledger> walk_values(const std::shared_ptr<dataset_state>& state, const value_walk& walk) {
  return walker(state, walk).run();
}

event_survey survey_events(dataset_state& state) {
  event_survey survey;
  std::uint64_t ordinal = 0;
  visit_segments(state, [&](std::size_t, const std::shared_ptr<const segment>& part) {
    for (const std::uint32_t event : part->selected) {
      if (ordinal == state.end_of_events()) break;
      if (!state.takes(ordinal++)) continue;
      const std::int64_t time = in_microseconds(part->events[event].time);
      survey.first = survey.events == 0 ? time : std::min(survey.first, time);
      survey.last = survey.events == 0 ? time : std::max(survey.last, time);
      ++survey.events;
    }
    return ordinal < state.end_of_events();
  });
  return survey;
}

}  // namespace ravo::detail
