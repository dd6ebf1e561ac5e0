#include "read/column_workers.h"

#include <algorithm>
#include <utility>

namespace ravo::detail {

void column_progress::report(std::uint64_t done) const {
  if (!report_) return;
  reported_ = std::max(reported_, done);
  if (before_ != nullptr)
    report_({before_->done_bytes + reported_, before_->total_bytes});
  else
    report_({reported_, total_});
}

void column_workers::read(const std::vector<column_pass>& passes) {
  std::uint64_t stored = 0;
  for (const column_pass& pass : passes)
    for (const column_chunk& chunk : *pass.chunks) stored += chunk.stored;
  done_ = progress_.total() - stored;
  run(passes, true);
}

void column_workers::look(const std::vector<column_pass>& passes) {
  done_ = 0;
  run(passes, false);
}

void column_workers::run(const std::vector<column_pass>& passes, bool counts) {
  std::vector<piece> pieces;
  for (const column_pass& pass : passes)
    for (std::size_t i = 0; i < pass.chunks->size(); ++i) pieces.push_back({&pass, i});
  const auto segment_of = [](const piece& one) { return (*one.pass->chunks)[one.chunk].segment; };
  if (passes.size() > 1)
    std::stable_sort(pieces.begin(), pieces.end(),
                     [&](const piece& a, const piece& b) { return segment_of(a) < segment_of(b); });
  const auto read_one = [&](std::size_t number) {
    const piece& next = pieces[number];
    if (next.pass->is_over()) return;
    stop_scope::check();
    const memory_budget::at_work at_work(state_.memory);
    turn_.run([&](on_full how) { read_in_turn(next, how); });
    if (counts) done_ += (*next.pass->chunks)[next.chunk].stored;
  };
  const auto poll = [this] {
    stop_scope::check();
    progress_.report(done_);
  };
  state_.pool.run(pieces.size(), state_.pool.size(), read_one, poll);
  free_.clear();
  stop_scope::check();  // a stop during the last chunks left blocks unread
  if (std::none_of(passes.begin(), passes.end(), [](const column_pass& pass) { return pass.is_over(); }))
    progress_.report(done_);
}

void column_workers::read_in_turn(const piece& next, on_full how) {
  const std::size_t of_segment = (*next.pass->chunks)[next.chunk].segment;
  if (how == on_full::wait) {
    stop_scope::check();
    {
      const std::lock_guard lock(mutex_);
      free_.clear();
    }
    const auto part = state_.timeline.get(of_segment, how);
    block_memory memory(state_.memory, what_, how);
    return next.pass->read(next.chunk, *part, memory);
  }
  // Before the buffers, since aligning may need their memory.
  const auto part = state_.timeline.get(of_segment, how);
  auto memory = take_memory();
  next.pass->read(next.chunk, *part, *memory);
  give(std::move(memory));
}

std::unique_ptr<block_memory> column_workers::take_memory() {
  const std::lock_guard lock(mutex_);
  if (free_.empty()) return std::make_unique<block_memory>(state_.memory, what_, on_full::refuse);
  auto memory = std::move(free_.back());
  free_.pop_back();
  return memory;
}

void column_workers::give(std::unique_ptr<block_memory> memory) {
  memory->set_how(on_full::refuse);
  const std::lock_guard lock(mutex_);  // a worker that waits counts itself before it clears the list
  if (!turn_.is_waited_for()) free_.push_back(std::move(memory));
}

}  // namespace ravo::detail
