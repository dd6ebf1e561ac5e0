// The rows of a column, before anything is decoded: which events they are, which block is for which, in
// which pieces the blocks are read, and what the first readable one says of the values.
#include <algorithm>
#include <bit>
#include <span>
#include <utility>

#include "read/column_reader.h"
#include "read/segment_walk.h"

namespace ravo {

using datasets::entry;
using datasets::found_block;
using datasets::on_full;
using datasets::segment;

namespace {

std::int64_t age_between(const ravo_time_id& event, const entry& recorded) {
  return datasets::in_microseconds(event.time) - datasets::in_microseconds(recorded.time);
}

}  // namespace

void column_reader::make_rows() {
  std::size_t ordinal = 0;
  const std::size_t end = state_->end_of_events();
  visit_segments(*state_, [&](std::size_t number, const std::shared_ptr<const segment>& part) {
    reserve_extras(*part);
    count_beside_rows([&] {
      state_->ledgers.record_unaligned(data_.ledger, 0, *part, channel_, datasets::reading_extent::whole);
    });
    if (options_.rows == column_rows::recorded) {
      reserve_rows(std::min(part->selected.size(), part->channels[channel_].entries.size()));
      add_rows(number, *part, ordinal);
      return ordinal < end;
    }
    reserve_rows(part->selected.size());
    for (const std::uint32_t event : part->selected) {
      if (ordinal == end) break;
      if (ordinal++ % state_->wanted.step == 0) add_held_row(number, part, event);
    }
    return ordinal < end;
  });
  data_.layout.rows = data_.numbers.size();
  planned_status_ = data_.status;
  planned_ledger_ = data_.ledger;
}

/// For the arrays of the column that have an element a row, and for the lists by which it is read: twice,
/// as they grow.
void column_reader::reserve_rows(std::size_t rows) {
  const std::size_t most = rows / state_->wanted.step + 1;
  constexpr std::size_t of_column = sizeof(std::uint32_t) + sizeof(time_stamp) + 2 * sizeof(value_status);
  constexpr std::size_t of_lists = sizeof(std::uint32_t) + sizeof(std::uint64_t);
  const bool has_ages = options_.rows == column_rows::events;
  const std::size_t of_held = has_ages ? sizeof(std::int64_t) + sizeof(row_copy) : 0;
  kept_->tables.push_back(state_->reserve(2 * most * (of_column + of_lists + of_held),
                                          "The rows of the column " + data_.channel));
}

/// The rows of the events that the channel has.
void column_reader::add_rows(std::size_t number, const segment& part, std::size_t& ordinal) {
  const datasets::aligned_channel& aligned = part.channels[channel_];
  block_list list;
  list.segment = number;
  std::size_t at = 0;
  for (const std::uint32_t event : part.selected) {
    if (ordinal == state_->end_of_events()) break;
    const bool is_wanted = ordinal++ % state_->wanted.step == 0;
    while (at < aligned.event.size() && aligned.event[at] < event) ++at;
    if (!is_wanted || at == aligned.event.size() || aligned.event[at] != event) continue;
    account_others(part, event);
    list.index.push_back(static_cast<std::uint32_t>(at));
    list.row.push_back(data_.numbers.size());
    data_.numbers.push_back(part.events[event].event_number);
    data_.times.push_back(part.events[event].time);
    data_.status.push_back(value_status::ok);
  }
  if (!list.index.empty()) lists_.push_back(std::move(list));
}

/// The further entries that the channel has of an event.
void column_reader::account_others(const segment& part, std::uint32_t event) {
  const datasets::aligned_channel& aligned = part.channels[channel_];
  const auto [first, last] =
      std::equal_range(aligned.duplicate_event.begin(), aligned.duplicate_event.end(), event);
  const auto at = static_cast<std::size_t>(first - aligned.duplicate_event.begin());
  const auto count = static_cast<std::size_t>(last - first);
  if (count == 0) return;
  count_beside_rows([&] {
    state_->ledgers.record_duplicates(data_.ledger, 0, channel_,
                                      std::span(aligned.duplicates).subspan(at, count));
  });
}

/// What `count` adds to the account is of no row: it is noted where the next row will be.
void column_reader::count_beside_rows(const std::function<void()>& count) {
  const std::uint64_t row = data_.numbers.size();
  const std::size_t listed = data_.ledger.values.size();
  const auto before = data_.ledger.channels[0].missing;
  count();
  for (std::size_t i = listed; i < data_.ledger.values.size(); ++i) data_.ledger.values[i].row = row;
  for (std::size_t i = 0; i < missing_cause_count; ++i)
    if (const std::uint64_t more = data_.ledger.channels[0].missing[i] - before[i]; more != 0)
      data_.beside_rows_.push_back({row, more, static_cast<missing_cause>(i)});
}

/// For what is counted beside the rows of a segment, while the list grows.
void column_reader::reserve_extras(const segment& part) {
  const std::size_t most = part.channels[channel_].duplicates.size() + missing_cause_count;
  kept_->tables.push_back(state_->reserve(2 * most * sizeof(column_data::beside_row),
                                          "What is missing of the column " + data_.channel));
}

/// A row for an event, whether the channel has it, holds a value, or has nothing.
void column_reader::add_held_row(std::size_t number, const std::shared_ptr<const segment>& part,
                                 std::uint32_t event) {
  account_others(*part, event);
  const std::uint64_t row = data_.numbers.size();
  data_.numbers.push_back(part->events[event].event_number);
  data_.times.push_back(part->events[event].time);
  data_.status.push_back(value_status::not_recorded);
  data_.ages.push_back(0);
  const auto source = state_->timeline.value_at(number, part, event, channel_, on_full::wait);
  if (!source) return;
  data_.status.back() = source->status;
  if (source->part == nullptr) return;
  data_.ages.back() = age_between(part->events[event], source->in(channel_));
  if (source->status == value_status::ok) data_.ages.back() = 0;
  const std::pair<std::size_t, std::uint32_t> where{source->segment_index,
                                                    static_cast<std::uint32_t>(source->index)};
  if (held_ && held_->first == where) {
    if (source->status == value_status::ok)
      read_for(row);
    else
      copies_.push_back({row, held_->second});
    return;
  }
  held_ = {where, row};
  if (lists_.empty() || lists_.back().segment != where.first) lists_.emplace_back().segment = where.first;
  lists_.back().index.push_back(where.second);
  lists_.back().row.push_back(row);
}

/// Has the entry that was to be read for a row that holds it read for the row that it is of: there it
/// counts.
void column_reader::read_for(std::uint64_t own_row) {
  const std::uint64_t holding = std::exchange(held_->second, own_row);
  lists_.back().row.back() = own_row;
  for (auto copy = copies_.rbegin(); copy != copies_.rend() && copy->from == holding; ++copy)
    copy->from = own_row;
  copies_.push_back({holding, own_row});
}

/// Before workers run, as kept_->tables.push_back(reserve().
std::shared_ptr<const segment> column_reader::segment_of(const block_list& list) {
  try {
    return state_->timeline.get(list.segment, on_full::refuse);
  } catch (const datasets::memory_refused&) {
    first_blocks_.clear();
  }
  return state_->timeline.get(list.segment, on_full::wait);
}

/// Every chunk is a share of what is left, so that they become small at the end, where the other workers
/// would have to wait for one that has just begun a large one.
void column_reader::make_chunks() {
  constexpr std::size_t most_rows = 8192;
  constexpr std::uint64_t least = 32 * 1024;
  const std::uint64_t most = std::max<std::uint64_t>(datasets::window_bytes(state_->memory), least);
  const std::uint64_t shares = 4 * state_->pool.size();
  stored_ = 0;
  for (const block_list& list : lists_) {
    const auto part = segment_of(list);
    for (const std::uint32_t index : list.index) stored_ += part->channels[channel_].entries[index].stored;
  }
  chunks_.clear();
  // From `most` down to `least`, no more than `shares` of them until half as much is left; while they are
  // cut the list grows.
  const std::uint64_t sizes = std::bit_width(most / least) + 1;
  kept_->tables.push_back(
      reserve((lists_.size() + stored_ / most + shares * sizes + data_.layout.rows / most_rows) *
                  (2 * sizeof(chunk) + sizeof(ragged_part)),
              "The pieces of the column " + data_.channel));
  std::uint64_t left = stored_;
  for (std::size_t i = 0; i < lists_.size(); ++i) {
    const auto part = segment_of(lists_[i]);
    chunk one{i, 0, 0, 0};
    const auto close = [&] {
      chunks_.push_back(one);
      left -= one.stored;
      one = {i, one.last, one.last, 0};
    };
    for (const std::uint32_t index : lists_[i].index) {
      ++one.last;
      one.stored += part->channels[channel_].entries[index].stored;
      if (one.stored >= std::clamp(left / shares, least, most) || one.last - one.first == most_rows)
        close();
    }
    if (one.first != one.last) close();
  }
}

// ---- what the values look like

column_reader::first_block column_reader::decode_first_block(const block_list& list, std::size_t at,
                                                             on_full how) {
  first_block one;
  one.row = list.row[at];
  one.work = std::make_unique<scratch>();
  scratch& work = *one.work;
  work.how = how;
  const auto part = state_->timeline.get(list.segment, how);
  const std::vector<entry> blocks{part->channels[channel_].entries[list.index[at]]};
  std::shared_ptr<const datasets::open_file> opened;
  const auto source = datasets::source_of(*state_, *part, channel_, blocks[0].file, opened);
  const auto window =
      datasets::next_window(blocks, 0, datasets::largest_window, state_->options.largest_block);
  read_window(source, blocks, 0, window, work, [&](std::size_t, const found_block& found) {
    value_status status = value_status::ok;
    const auto payload = inflate(found, work, status);
    if (!payload) return;
    one.payload = *payload;
    one.looks = datasets::find_item(found.stored_type, one.payload, state_->channels[channel_].member);
  });
  return one;
}

/// Of large blocks one takes long enough for the other workers to be missed: they decode the next ones
/// meanwhile. Blocks for which there is no room are left to those who may wait for it.
void column_reader::decode_first_blocks() {
  constexpr std::uint64_t large = std::uint64_t{64} << 10;
  std::vector<std::pair<const block_list*, std::size_t>> where;
  for (const block_list& list : lists_) {
    const auto part = state_->timeline.get(list.segment, on_full::wait);
    for (std::size_t at = 0; at < list.index.size() && where.size() < state_->pool.size(); ++at) {
      if (part->channels[channel_].entries[list.index[at]].stored < large) return;
      where.emplace_back(&list, at);
    }
    if (where.size() == state_->pool.size()) break;
  }
  if (where.size() < 2) return;
  first_blocks_.resize(where.size());
  const auto decode = [&](std::size_t i) {
    try {
      first_blocks_[i] = decode_first_block(*where[i].first, where[i].second, on_full::refuse);
    } catch (const datasets::memory_refused&) {
      first_blocks_[i] = {};
    }
  };
  state_->pool.run(where.size(), where.size(), decode, [this] { state_->check_stop(); });
  state_->check_stop();
  for (const first_block& one : first_blocks_) {
    if (one.work == nullptr) break;  // it comes first, whatever it looks like
    if (!one.looks) continue;
    first_ = one.looks;
    break;
  }
  if (!first_) first_blocks_.clear();
}

/// The first block that can be read says what the column's values are.
void column_reader::find_first_item() {
  for (const block_list& list : lists_)
    for (std::size_t at = 0; at < list.index.size() && !first_; ++at) {
      first_block one = decode_first_block(list, at, on_full::wait);
      state_->check_stop();
      if (!one.looks) continue;
      first_ = one.looks;
      first_blocks_.push_back(std::move(one));
    }
}

void column_reader::take_layout() {
  if (!first_) {
    data_.layout.kind = value_kind::none;
    return;
  }
  data_.layout.kind = first_->kind;
  data_.layout.element = first_->element;
  data_.layout.item_elements = first_->elements;
  data_.layout.shape = first_->shape;
  if (has_records()) {
    data_.layout.item_elements = data_.record_names.size();
    data_.layout.shape[0] = static_cast<std::uint32_t>(data_.record_names.size());
  }
  data_.layout.dimensions = dimensions_of(data_.layout.kind, data_.layout.shape);
  if (first_->kind == value_kind::text) {
    data_.layout.dimensions.clear();
    data_.layout.item_elements = 0;
  }
  data_.start = first_->start;
  data_.increment = first_->increment;
  data_.groups_increment = first_->groups_increment;
  data_.y_start = first_->y_start;
  if (first_->kind == value_kind::spectrum || first_->kind == value_kind::roi)
    kept_->tables.push_back(
        reserve(data_.layout.rows * sizeof(spectrum_axis), "The axes of the column " + data_.channel));
  const std::string rows = "The rows of the column " + data_.channel;
  if (has_records()) {
    const std::size_t records = data_.layout.rows * data_.layout.item_elements;
    kept_->tables.push_back(reserve(records, rows));
    data_.record_status.assign(records, value_status::not_recorded);
  }
  if (first_->kind == value_kind::update) {
    kept_->tables.push_back(reserve(data_.layout.rows * (sizeof(time_stamp) + sizeof(std::int32_t)), rows));
    data_.update_times.resize(data_.layout.rows);
    data_.update_status.resize(data_.layout.rows);
  }
}

}  // namespace ravo
