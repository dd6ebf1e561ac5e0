#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "event.h"
#include "process_bound.h"

namespace ravo::python {
namespace {

constexpr std::size_t most_at_once = 64;
/// A fetch that has taken so long returns what it has.
constexpr std::chrono::milliseconds longest_fetch{2};

}  // namespace

event_handle::event_handle(event&& read) : data(process_bound(std::move(read))) {}

event_iterator::event_iterator(std::shared_ptr<dataset> from, event_options options,
                               progress_callback progress)
    : from_(std::move(from)),
      options_(std::move(options)),
      progress_(std::move(progress)),
      fetched_(process_bound(std::deque<event>())) {
  options_.stop = stop_.get_token();
  if (progress_) {
    options_.progress = [this](const read_progress& now) {
      if (report_) report_(now);
    };
  }
}

void event_iterator::check_process() const {
  if (process_ == getpid()) return;
  throw std::runtime_error(
      "This reading of events began before the process was forked and ends there; call events() in the "
      "child");
}

/// Whether that was the end.
bool event_iterator::fetch_some(const reading_controls& controls) {
  const std::stop_callback forward(controls.stop, [this] { stop_.request_stop(); });
  report_ = controls.progress;
  const auto begun = std::chrono::steady_clock::now();
  try {
    if (!range_) range_ = process_bound(from_->events(options_));
    for (std::size_t count = 0; count < most_; ++count) {
      if (count > 0 && std::chrono::steady_clock::now() - begun > longest_fetch) break;
      std::optional<event> next = range_->next();
      if (!next) return true;
      fetched_->push_back(std::move(*next));
    }
  } catch (const memory_exceeded&) {
    if (fetched_->empty()) throw;  // else those that are fetched may be in the way
  } catch (...) {
    thrown_ = std::current_exception();
  }
  return false;
}

void event_iterator::fetch() {
  try {
    has_ended_ = run_interruptible(
        [this](const reading_controls& controls) { return fetch_some(controls); }, progress_);
  } catch (...) {
    has_ended_ = stop_.stop_requested();
    if (has_ended_) fetched_->clear();
    throw;
  }
  most_ = std::min(2 * most_, most_at_once);
}

std::optional<event_handle> event_iterator::next() {
  check_process();
  if (fetched_->empty() && !has_ended_ && !thrown_) fetch();
  if (fetched_->empty() && thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  if (fetched_->empty()) return std::nullopt;
  event_handle made(std::move(fetched_->front()));
  fetched_->pop_front();
  return made;
}

read_ledger event_iterator::ledger() const {
  check_process();
  return range_ ? range_->ledger() : read_ledger{};
}

}  // namespace ravo::python
