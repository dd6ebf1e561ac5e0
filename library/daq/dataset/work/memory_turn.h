// Which thread may wait for memory. Threads that held memory while they wait would wait for one another. So
// any thread first does its work without waiting; if memory is refused, it drops all that it has, and the
// work is done again: of the workers of a column by one at a time, which may wait; for a batch of events by
// the thread that needs it, repeatedly, with a wait in between.
#ifndef RAVO_DATASET_MEMORY_TURN_H
#define RAVO_DATASET_MEMORY_TURN_H

#include <atomic>
#include <mutex>
#include <optional>

#include "work/memory_budget.h"

namespace ravo::detail {

/// The turn of the workers of one reading to wait for memory.
class memory_turn {
 public:
  /// Calls work(on_full::refuse). If that throws memory_refused, or if another worker already waits, calls
  /// work(on_full::wait) once no other worker has its turn.
  template <class Work>
  void run(const Work& work) {
    if (!is_waited_for()) {
      try {
        return work(on_full::refuse);
      } catch (const memory_refused&) {
      }
    }
    const counted waiting(waiting_);
    const std::lock_guard lock(turn_);
    work(on_full::wait);
  }

  /// Whether a worker waits for its turn or has it: then the others keep nothing for later.
  bool is_waited_for() const { return waiting_ != 0; }

 private:
  struct counted {
    explicit counted(std::atomic<int>& all) : count(all) { ++count; }
    ~counted() { --count; }
    std::atomic<int>& count;
  };

  std::atomic<int> waiting_{0};
  std::mutex turn_;
};

/// Repeats work that does not wait for memory until it is no longer refused, and returns its result. In
/// between `make_room` frees what it can, and returns false if nothing is left to free: only then this
/// waits. Returns `nullopt` when the wait is over and the work was refused once more.
template <class Work, class MakeRoom>
auto repeat_until_there_is_room(memory_budget& budget, const Work& work, const MakeRoom& make_room)
    -> std::optional<decltype(work())> {
  constexpr int pauses = 25;  // the work is tried again every half a second in any case
  memory_wait wait(budget, memory_wait::until::work_succeeds);
  for (bool is_last = false;;) {
    try {
      return work();
    } catch (const memory_refused&) {
    }
    wait.begin_anew();  // what the work itself gave back does not count
    for (int i = 0; !make_room(); ++i) {
      if (is_last) return std::nullopt;
      // Memory may have come back while the work was tried: try once more.
      is_last = wait.is_over();
      if (is_last || i == pauses || wait.pause()) break;
    }
  }
}

}  // namespace ravo::detail

#endif
