#include "worker_pool.h"

#include <algorithm>
#include <chrono>

namespace ravo::datasets {

worker_pool::worker_pool(std::size_t threads) {
  threads_.reserve(std::max<std::size_t>(threads, 1));
  try {
    for (std::size_t i = 0; i < threads || i == 0; ++i) threads_.emplace_back([this] { serve(); });
  } catch (...) {
    // Fewer threads than asked for are slower, and no reason to fail; none at all is.
    if (threads_.empty()) throw;
  }
}

worker_pool::~worker_pool() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    tasks_.clear();
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void worker_pool::add(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_one();
}

void worker_pool::serve() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return ended_ || !tasks_.empty(); });
    if (ended_) return;
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
  }
}

void worker_pool::run(std::size_t count, std::size_t workers, const std::function<void(std::size_t)>& work,
                      const std::function<void()>& look) {
  struct shared {
    std::atomic<std::size_t> next{0};
    std::atomic<bool> failed{false};
    std::mutex mutex;  // guards running and failure
    std::condition_variable done;
    std::size_t running = 0;
    std::exception_ptr failure;
  };
  shared state;
  const auto note_failure = [&state] {
    const std::lock_guard lock(state.mutex);
    if (!state.failure) state.failure = std::current_exception();
    state.failed = true;
  };
  const std::size_t used = std::min({count, std::max<std::size_t>(workers, 1), size()});
  state.running = used;
  const auto serve_this = [&] {
    try {
      for (std::size_t n = state.next++; n < count && !state.failed; n = state.next++) work(n);
    } catch (...) {
      note_failure();
    }
    const std::lock_guard lock(state.mutex);
    if (--state.running == 0) state.done.notify_all();
  };
  for (std::size_t i = 0; i < used; ++i) try {
      add(serve_this);
    } catch (...) {
      // Those that were added work on what is on this stack, and do all of the work if there is one.
      if (i == 0) throw;
      const std::lock_guard lock(state.mutex);
      state.running -= used - i;
      break;
    }
  for (;;) {
    {
      std::unique_lock lock(state.mutex);
      if (state.done.wait_for(lock, std::chrono::milliseconds(look ? 20 : 1000),
                              [&state] { return state.running == 0; }))
        break;
    }
    if (!look || state.failed) continue;
    try {
      look();
    } catch (...) {
      note_failure();
    }
  }
  if (state.failure) std::rethrow_exception(state.failure);
}

}  // namespace ravo::datasets
