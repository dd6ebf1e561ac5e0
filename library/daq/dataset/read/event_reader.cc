#include "read/event_reader.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "read/segment_walk.h"
#include "work/memory_turn.h"

namespace ravo::detail {

namespace {

constexpr std::size_t batch_events = 512;
constexpr std::size_t batch_cells = 64 * 1024;

}  // namespace

event_reader::event_reader(std::shared_ptr<dataset_state> state, event_options options)
    : state_(std::move(state)), options_(std::move(options)), recorded_(state_->timeline.segments(), 0) {
  if (options_.step == 0) throw selection_error("The step of a slice of events is 1 or more");
  ledger_ = state_->ledgers.open();
  for (const dataset_channel& channel : state_->channels)
    ledger_.channels.emplace_back().channel = channel.label;
}

event_reader::~event_reader() {
  const auto end = [](const std::shared_ptr<task>& one) {
    const bool is_nobodys = one->begin();
    std::unique_lock lock(one->mutex);
    one->done.wait(lock, [&] { return is_nobodys || one->state != progress::waiting; });
    one->batch.reset();
  };
  std::for_each(ahead_.begin(), ahead_.end(), end);
  std::for_each(aligning_.begin(), aligning_.end(), end);
  if (in_turn_) end(in_turn_);
  try {
    settle();
  } catch (const std::exception&) {
    // A reader that ends early does not report what is missing; the dataset's ledger has it.
  }
}

void event_reader::settle() {
  if (is_settled_) return;
  is_settled_ = true;
  state_->ledgers.close(ledger_);
}

// ---- which events, in which batches

/// Finds the first event. It starts from the beginning if an earlier call threw on the way.
void event_reader::find_start() {
  const std::size_t step = state_->wanted.step;
  const std::size_t unlimited = std::numeric_limits<std::size_t>::max();
  // Beyond all events, yet far enough from the largest number that sums do not overflow.
  const auto in_ordinals = [&](std::size_t events) {
    return std::min(events, unlimited / 4 / step) * step;
  };
  stride_ = in_ordinals(options_.step);
  left_ = options_.count.value_or(unlimited);
  ordinal_ = in_ordinals(options_.first) + state_->wanted.phase;
  if (const std::size_t end = state_->end_of_events(); state_->wanted.limit)
    left_ = std::min(left_, ordinal_ < end ? (end - ordinal_ - 1) / stride_ + 1 : 0);
  if (options_.progress) total_bytes_ = count_stored_bytes(*state_, ordinal_, stride_, left_);
  if (!is_backward()) return;
  // Backward reading begins at the last event of the slice, which is found by counting.
  const std::size_t all = count_events(*state_);
  const std::size_t there = ordinal_ < all ? (all - ordinal_ - 1) / stride_ + 1 : 0;
  left_ = std::min(left_, there);
  segment_ = state_->timeline.segments();
  if (left_ == 0) return;
  ordinal_ += (left_ - 1) * stride_;
  before_segment_ = all;
}

void event_reader::report_progress() const {
  if (options_.progress) options_.progress({done_bytes_, total_bytes_});
}

/// The segment to plan batches from. While something is left to read this does not wait for memory, since
/// only the reader itself could give it back by reading on: it throws memory_refused.
std::shared_ptr<const segment> event_reader::segment_to_plan(std::size_t index) {
  const bool is_first = ahead_.size() < 2 && !in_turn_;  // one of those ahead is the place of this plan
  return state_->timeline.get(index, is_first ? on_full::wait : on_full::refuse);
}

std::size_t event_reader::selected_in(std::size_t index) {
  const auto known = state_->timeline.known_selected_in(index);
  return known ? *known : segment_to_plan(index)->selected.size();
}

/// The segment to read from at once: what was decoded ahead has to make room.
std::shared_ptr<const segment> event_reader::segment_to_read(std::size_t index) {
  for (bool may_drop = true; may_drop; may_drop = drop_one_ahead()) {
    try {
      return state_->timeline.get(index, on_full::refuse);
    } catch (const memory_refused&) {
    }
  }
  return state_->timeline.get(index, on_full::wait);
}

/// Moves to the segment that holds the next event; false if there is none.
bool event_reader::enter_segment() {
  timeline& line = state_->timeline;
  if (is_backward()) {
    while (ordinal_ < before_segment_) {
      const std::size_t here = selected_in(segment_ - 1);
      const std::size_t first = before_segment_ - here;
      if (ordinal_ < first && first < state_->end_of_events()) record_unaligned(segment_ - 1, extent());
      before_segment_ -= here;
      --segment_;
    }
    return true;
  }
  while (segment_ < line.segments()) {
    const std::size_t here = selected_in(segment_);
    if (ordinal_ < before_segment_ + here) return true;
    record_unaligned(segment_, extent());
    before_segment_ += here;
    ++segment_;
  }
  return false;
}

/// Records once what alignment could not assign to events of a segment, even if it has no events.
void event_reader::record_unaligned(std::size_t segment, reading_extent extent) {
  std::size_t& done = recorded_[segment];
  if (done == state_->channels.size() || !state_->timeline.may_have_events(segment)) return;
  const auto part = segment_to_plan(segment);
  // One by one: if a channel throws, those before it are not counted again.
  for (; done < state_->channels.size(); ++done)
    state_->ledgers.record_unaligned(ledger_, done, *part, done, extent);
}

reading_extent event_reader::extent() const {
  const bool is_whole = options_.first == 0 && !options_.count && options_.step == 1;
  return is_whole ? reading_extent::whole : reading_extent::part;
}

/// Backward, no event leads to the segments without events before the first one.
void event_reader::record_first_segments() {
  const bool is_from_the_first = options_.first == 0 && !options_.count;
  for (; is_backward() && is_from_the_first && segment_ > 0; --segment_)
    record_unaligned(segment_ - 1, extent());
}

std::optional<batch_plan> event_reader::next_plan() {
  if (!is_started_) find_start();
  is_started_ = true;
  if (left_ == 0) {
    record_first_segments();
    return std::nullopt;
  }
  if (!enter_segment()) return std::nullopt;
  const auto part = segment_to_plan(segment_);
  if (recorded_[segment_] != state_->channels.size()) {
    record_unaligned(segment_, extent());
    if (!is_backward()) align_ahead(segment_ + 1);
  }
  return plan_batch(*part);
}

/// The next events of a segment, as many as are decoded together.
batch_plan event_reader::plan_batch(const segment& part) {
  const std::size_t channels = std::max<std::size_t>(state_->channels.size(), 1);
  const std::size_t most = std::clamp<std::size_t>(batch_cells / channels, 1, batch_events);
  batch_plan plan;
  plan.events.reserve(std::min(most, part.selected.size()));  // nothing below can fail
  plan.segment = segment_;
  // Judging by the batches so far, decoded ones take a small part of the memory too.
  const auto fitting = static_cast<double>(state_->memory.limit()) / 32 / decoded_a_stored_byte_;
  const std::uint64_t batch_bytes = std::min(largest_batch, static_cast<std::uint64_t>(fitting));
  const auto has_room = [&] { return plan.events.size() < most && plan.stored_bytes < batch_bytes; };
  while (left_ > 0 && (plan.events.empty() || has_room())) {
    const std::size_t place = ordinal_ - before_segment_;
    if (place >= part.selected.size()) break;
    plan.events.push_back(part.selected[place]);
    plan.stored_bytes += part.bytes_before[place + 1] - part.bytes_before[place];
    --left_;
    const bool leaves_segment = is_backward() && ordinal_ < before_segment_ + stride_;
    if (!leaves_segment || left_ > 0) ordinal_ += is_backward() ? 0 - stride_ : stride_;
    if (leaves_segment) break;
  }
  if (is_backward()) std::reverse(plan.events.begin(), plan.events.end());
  return plan;
}

// ---- decoding ahead

void event_reader::top_up() {
  const std::size_t most = state_->pool.size() * 2 + 1;
  while (ahead_.size() < most) {
    // Its place comes first: once a batch is planned, nothing may keep it from its turn.
    const auto ahead = ahead_.emplace_back(std::make_shared<task>());
    bool is_planned = false;
    try {
      if (auto plan = next_plan()) {
        ahead->plan = std::move(*plan);
        is_planned = true;
      }
    } catch (const memory_refused&) {
      // It is planned after what is there has been read.
    } catch (...) {
      ahead_.pop_back();
      throw;
    }
    if (!is_planned) return ahead_.pop_back();
    start(ahead);
  }
}

/// Aligns the next segment in advance, so that crossing a file boundary does not stall. Errors show when
/// the segment is used.
void event_reader::align_ahead(std::size_t segment) {
  std::erase_if(aligning_, [](const std::shared_ptr<task>& one) {
    const std::lock_guard lock(one->mutex);
    return one->state != progress::waiting;
  });
  if (segment >= state_->timeline.segments() || !state_->timeline.may_have_events(segment)) return;
  auto ahead = std::make_shared<task>();
  ahead->plan.segment = segment;
  aligning_.push_back(ahead);
  start(ahead);
}

// The state lives as long as the reader, which waits for its tasks. A task must not own the state, since
// the pool belongs to it.
void event_reader::start(const std::shared_ptr<task>& ahead) {
  if (state_->pool.size() == 1) return;  // nobody else is there: it is decoded when its turn comes
  const std::shared_ptr<dataset_state>* const state = &state_;
  const auto set = [&ahead](progress now) {
    const std::lock_guard lock(ahead->mutex);
    ahead->state = now;
  };
  set(progress::waiting);
  try {
    list(ahead);
    state_->pool.add([ahead, state] {
      if (ahead->begin()) do_ahead(*ahead, *state);
    });
  } catch (const std::bad_alloc&) {
    set(progress::no_memory);  // it is decoded when its turn comes
  }
}

/// Decodes the batch of a task that was begun, or aligns its segment.
void event_reader::do_ahead(task& ahead, const std::shared_ptr<dataset_state>& state) {
  std::shared_ptr<event_batch> batch;
  std::exception_ptr failure;
  const memory_budget::at_work at_work(state->memory);
  try {
    if (ahead.plan.events.empty())
      state->timeline.get(ahead.plan.segment, on_full::refuse);
    else
      batch = decode_batch(state, ahead.plan);
  } catch (const memory_refused&) {
    // It is decoded when its turn comes.
  } catch (...) {
    failure = std::current_exception();
  }
  const std::lock_guard lock(ahead.mutex);
  ahead.state = failure ? progress::failed : batch ? progress::decoded : progress::no_memory;
  ahead.batch = std::move(batch);
  ahead.failure = failure;
  ahead.done.notify_all();
}

/// Does what the workers have not begun yet, on the thread that would wait for them; false if there is
/// nothing.
bool event_reader::help() {
  const auto found = std::find_if(ahead_.begin(), ahead_.end(),
                                  [](const std::shared_ptr<task>& one) { return one->begin_ahead(); });
  if (found == ahead_.end()) return false;
  do_ahead(**found, state_);
  return true;
}

bool event_reader::task::begin() {
  const std::lock_guard lock(mutex);
  return !std::exchange(is_begun, true);
}

bool event_reader::task::begin_ahead() {
  const std::lock_guard lock(mutex);
  return state == progress::waiting && !std::exchange(is_begun, true);
}

void event_reader::task::set_undone() {
  const std::lock_guard lock(mutex);
  state = progress::no_memory;
}

bool event_reader::task::is_waiting() {
  const std::lock_guard lock(mutex);
  return state == progress::waiting;
}

void event_reader::list(const std::shared_ptr<task>& one) {
  if (one->is_listed) return;
  state_->ahead.add(one);
  one->is_listed = true;
}

// Every other pointer to the batch was copied under the mutex, or from such a copy: if there is no other
// pointer now, there will be none.
bool event_reader::task::give_back(batch_turn which) {
  std::shared_ptr<event_batch> dropped;  // destroyed after the lock is released
  const std::lock_guard lock(mutex);
  if (!batch || turn != which || batch.use_count() > 1) return false;
  dropped = std::move(batch);
  state = progress::no_memory;
  return true;
}

void event_reader::task::begin_turn(const std::shared_ptr<event_batch>& decoded) {
  const std::lock_guard lock(mutex);
  turn = batch_turn::now;
  batch = decoded;
}

// The worker that decoded it may hold the task for a moment longer, and must not be the last owner of the
// batch: it would destroy the pool that it belongs to.
void event_reader::task::end_turn() {
  const std::lock_guard lock(mutex);
  turn = batch_turn::later;
  batch.reset();
}

std::shared_ptr<event_batch> event_reader::task::batch_if_there() {
  const std::lock_guard lock(mutex);
  return batch;
}

std::shared_ptr<event_batch> event_reader::take_batch(task& ahead) {
  if (ahead.begin()) {
    ahead.set_undone();
    return decode_now(ahead.plan);
  }
  while (ahead.is_waiting() && help()) continue;
  std::unique_lock lock(ahead.mutex);
  ahead.done.wait(lock, [&] { return ahead.state != progress::waiting; });
  if (ahead.failure) {
    ahead.state = progress::no_memory;  // thrown once; the next request decodes it again
    std::rethrow_exception(std::exchange(ahead.failure, nullptr));
  }
  if (ahead.batch) return std::move(ahead.batch);
  lock.unlock();
  return decode_now(ahead.plan);
}

/// Decodes a batch whose turn has come: what was decoded ahead has to make room, then what others decoded.
std::shared_ptr<event_batch> event_reader::decode_now(batch_plan& plan) {
  const auto needed = segment_to_read(plan.segment);  // kept in use, so that it is not dropped
  const auto decode = [&] {
    state_->check_stop();
    return decode_batch(state_, plan);
  };
  const auto make_room = [&] {
    return drop_one_ahead() || state_->timeline.drop_oldest() ||
           state_->ahead.give_one_back(batch_turn::later) || split(plan) ||
           state_->ahead.give_one_back(batch_turn::now);
  };
  if (auto batch = repeat_until_there_is_room(state_->memory, decode, make_room)) return std::move(*batch);
  throw memory_exceeded("An event does not fit into the memory limit of " +
                        std::to_string(state_->memory.limit()) + " bytes, of which " +
                        std::to_string(state_->memory.used()) +
                        " are in use; let go of events and columns, or raise the limit");
}

/// Leaves half of the first batch for the next turn; false if it is a single event.
bool event_reader::split(batch_plan& plan) {
  if (plan.events.size() < 2) return false;
  auto rest = std::make_shared<task>();
  rest->plan.segment = plan.segment;
  const auto half = plan.events.begin() + static_cast<std::ptrdiff_t>(plan.events.size() / 2);
  std::vector<std::uint32_t> first(plan.events.begin(), half), second(half, plan.events.end());
  if (is_backward()) first.swap(second);
  rest->plan.stored_bytes = plan.stored_bytes / plan.events.size() * second.size();
  rest->plan.events = std::move(second);
  const std::uint64_t put_off = rest->plan.stored_bytes;
  if (!ahead_.empty()) ahead_.insert(ahead_.begin() + 1, std::move(rest));  // the first place is its own
  plan.events = std::move(first);
  plan.stored_bytes -= put_off;
  return true;
}

/// Drops the last batch that was decoded ahead. It is decoded again when its turn comes.
bool event_reader::drop_one_ahead() {
  for (auto one = ahead_.rbegin(); one != ahead_.rend(); ++one) {
    if ((*one)->begin_ahead()) (*one)->set_undone();  // the pool might come to it too late
    std::unique_lock lock((*one)->mutex);
    (*one)->done.wait(lock, [&] { return (*one)->state != progress::waiting; });
    if (!(*one)->batch) continue;
    (*one)->batch.reset();
    (*one)->state = progress::no_memory;
    return true;
  }
  return false;
}

/// The batch of the next event; null at the end.
std::shared_ptr<event_batch> event_reader::batch_in_turn() {
  if (in_turn_ && place_ < in_turn_->plan.events.size()) {
    if (auto batch = in_turn_->batch_if_there()) return batch;
    put_back_the_rest();
  }
  return next_batch();
}

/// Another reading needed the memory: what was not handed out yet is decoded again, in two halves, since
/// all of it takes more than the memory for one of several readings.
void event_reader::put_back_the_rest() {
  ahead_.push_front(in_turn_);
  batch_plan& plan = in_turn_->plan;
  const std::uint64_t of_event = plan.stored_bytes / plan.events.size();
  const auto handed_out = static_cast<std::ptrdiff_t>(place_);
  if (is_backward())
    plan.events.erase(plan.events.end() - handed_out, plan.events.end());
  else
    plan.events.erase(plan.events.begin(), plan.events.begin() + handed_out);
  plan.stored_bytes = of_event * plan.events.size();
  done_bytes_ -= plan.stored_bytes;
  in_turn_->end_turn();
  in_turn_.reset();
  split(plan);
}

std::shared_ptr<event_batch> event_reader::next_batch() {
  if (in_turn_) in_turn_->end_turn();
  in_turn_.reset();
  place_ = 0;
  top_up();
  if (ahead_.empty()) return nullptr;
  // It stays in its place until it is decoded: whatever is thrown, reading continues here.
  const std::shared_ptr<task> first = ahead_.front();
  auto batch = take_batch(*first);
  ahead_.pop_front();
  in_turn_ = first;
  done_bytes_ += first->plan.stored_bytes;
  first->begin_turn(batch);
  list(first);
  const auto stored = static_cast<double>(std::max<std::uint64_t>(first->plan.stored_bytes, 1));
  decoded_a_stored_byte_ = std::max(1.0, static_cast<double>(batch->decoded_bytes()) / stored);
  top_up();
  report_progress();
  return batch;
}

std::optional<event> event_reader::next() {
  const stop_scope scope(options_.stop);
  stop_scope::check();
  const memory_budget::at_work at_work(state_->memory);
  if (is_settled_) return std::nullopt;
  const std::shared_ptr<event_batch> batch = batch_in_turn();
  if (!batch) {
    report_progress();
    settle();
    return std::nullopt;
  }
  const std::size_t index = is_backward() ? batch->size() - 1 - place_ : place_;
  ++place_;
  return hand_out(batch, index);
}

event event_reader::hand_out(const std::shared_ptr<event_batch>& batch, std::size_t index) {
  for (const event_batch::duplicate& duplicate : batch->duplicates())
    if (duplicate.event == index)
      state_->ledgers.record_duplicates(ledger_, duplicate.channel, duplicate.channel,
                                        {&duplicate.where, 1});
  const auto record = [&](bool only_missing) {
    for (std::size_t channel = 0; channel < state_->channels.size(); ++channel) {
      const event_batch::cell& cell = batch->cell_at(index, channel);
      if (cell.block == event_batch::cell::none || cell.status != value_status::ok) continue;
      const event_batch::block& block = batch->block_at(cell.block);
      if (!only_missing || is_missing(block.status))
        state_->ledgers.record(ledger_, channel, channel, block.where, block.status);
    }
  };
  // A strict policy throws for a missing value: then nothing of this event counts as delivered.
  if (state_->options.damage.largest_missing_share <= 0) record(true);
  record(false);
  event one;
  one.batch_ = batch;
  one.index_ = index;
  one.id_ = batch->id(index);
  return one;
}

}  // namespace ravo::detail
