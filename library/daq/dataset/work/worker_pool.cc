#include "work/worker_pool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <new>
#include <system_error>

#include "work/stop_scope.h"

namespace ravo::detail {
namespace {

using clock = std::chrono::steady_clock;

constexpr auto between_polls = std::chrono::milliseconds(20);

/// Most waits here are shorter than waking a sleeping thread takes.
template <class Condition>
void wait_awake_for(Condition condition) {
  const auto until = clock::now() + std::chrono::microseconds(50);
  while (!condition() && clock::now() < until) std::this_thread::yield();
}

}  // namespace

worker_pool::worker_pool(std::size_t threads) {
  try {
    threads_.reserve(threads);
    for (std::size_t i = 1; i < threads; ++i) threads_.emplace_back([this] { serve(); });
  } catch (const std::bad_alloc&) {
  } catch (const std::system_error&) {
    // Fewer threads than asked for are slower, but no reason to fail.
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
    tasks_.push_back([task = std::move(task), stop = stop_scope::token()] {
      const stop_scope scope(stop);
      task();
    });
    waiting_ = tasks_.size();
  }
  wake_.notify_one();
}

void worker_pool::serve() {
  for (;;) {
    wait_awake_for([this] { return waiting_ != 0; });
    std::function<void()> task;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return ended_ || !tasks_.empty(); });
      if (ended_) return;
      task = std::move(tasks_.front());
      tasks_.pop_front();
      waiting_ = tasks_.size();
    }
    task();
  }
}

namespace {

/// One call of run(): what its caller and the helping threads share. A helper may come too late, when the
/// call is over and its work no longer exists: then nothing is left to do.
class shared_work {
 public:
  shared_work(std::size_t count, const std::function<void(std::size_t)>& work)
      : count_(count), work_(work) {}

  void help() {
    {
      const std::lock_guard lock(mutex_);
      ++helpers_;
    }
    while (do_next()) continue;
    const std::lock_guard lock(mutex_);
    if (--helpers_ == 0) done_.notify_all();
  }

  /// False: there was nothing left to do.
  bool do_next() {
    const std::size_t number = next_++;
    if (number >= count_ || failed_) return false;
    try {
      work_(number);
    } catch (...) {
      note_failure();
    }
    return true;
  }

  void note_failure() {
    const std::lock_guard lock(mutex_);
    if (!failure_) failure_ = std::current_exception();
    failed_ = true;
  }

  /// Whether all helpers are done, after waiting up to `longest` for them.
  bool is_over_within(std::chrono::milliseconds longest) {
    wait_awake_for([this] { return helpers_ == 0; });
    std::unique_lock lock(mutex_);
    return done_.wait_for(lock, longest, [this] { return helpers_ == 0; });
  }

  bool failed() const { return failed_; }
  void rethrow() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  const std::size_t count_;
  const std::function<void(std::size_t)>& work_;
  std::atomic<std::size_t> next_{0};
  std::atomic<bool> failed_{false};
  std::mutex mutex_;  ///< guards what follows
  std::condition_variable done_;
  std::atomic<std::size_t> helpers_ = 0;  ///< changed with the lock held
  std::exception_ptr failure_;
};

}  // namespace

/// The turn of one thread to run something.
class worker_pool::turn {
 public:
  turn(worker_pool& pool, const std::function<void()>& poll) : pool_(pool) {
    const auto caller = std::this_thread::get_id();
    std::unique_lock lock(pool_.mutex_);
    while (pool_.runs_ != 0 && pool_.runner_ != caller) {
      if (pool_.turn_.wait_for(lock, between_polls) == std::cv_status::no_timeout || !poll) continue;
      lock.unlock();
      poll();
      lock.lock();
    }
    pool_.runner_ = caller;
    ++pool_.runs_;
  }
  ~turn() {
    {
      const std::lock_guard lock(pool_.mutex_);
      if (--pool_.runs_ != 0) return;
    }
    pool_.turn_.notify_one();
  }
  turn(const turn&) = delete;
  turn& operator=(const turn&) = delete;

 private:
  worker_pool& pool_;
};

void worker_pool::run(std::size_t count, std::size_t workers, const std::function<void(std::size_t)>& work,
                      const std::function<void()>& poll) {
  const turn own(*this, poll);
  const auto shared = std::make_shared<shared_work>(count, work);
  const std::size_t used = std::min({count, workers, size()});
  for (std::size_t i = 1; i < used; ++i) try {
      add([shared] { shared->help(); });
    } catch (...) {
      break;  // fewer are slower, but no reason to fail
    }
  const auto poll_now = [&] {
    if (!poll || shared->failed()) return;
    try {
      poll();
    } catch (...) {
      shared->note_failure();
    }
  };
  auto polled = clock::now();
  while (shared->do_next())
    if (clock::now() - polled >= between_polls) {
      poll_now();
      polled = clock::now();
    }
  while (!shared->is_over_within(between_polls)) poll_now();
  shared->rethrow();
}

}  // namespace ravo::detail
