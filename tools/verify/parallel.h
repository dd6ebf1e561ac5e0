// Runs independent pieces of work on a few threads, among them the caller's,
// which calls a function now and then while it waits for the others.
#ifndef RAVO_VERIFY_PARALLEL_H
#define RAVO_VERIFY_PARALLEL_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace ravo::checks {

/// Long pieces of work may throw this when they see that another one has failed: it is never reported.
struct work_is_over {};

/// Calls work(0) to work(count - 1), each once. What a piece throws ends the work and is
/// thrown again when no thread runs any more; meanwhile `is_over` lets the pieces know.
/// If no more threads can be started, the existing ones do everything. The caller calls
/// `attend` now and then while only others work; what that throws ends the work too.
template <class Work, class Attend>
void in_parallel(unsigned threads, std::size_t count, const Work& work, const Attend& attend,
                 std::atomic<bool>& is_over) {
  constexpr std::chrono::milliseconds between{50};
  std::atomic<std::size_t> next{0};
  std::mutex guard;  // for `failure` and `working`
  std::condition_variable one_has_ended;
  std::exception_ptr failure;
  std::size_t working = 0;  // other threads
  const auto do_or_end = [&](const auto& step) {
    try {
      step();
    } catch (...) {
      const std::lock_guard<std::mutex> lock(guard);
      if (!failure) failure = std::current_exception();
      is_over = true;
    }
  };
  const auto take_pieces = [&] {
    for (std::size_t i = next++; i < count && !is_over; i = next++) do_or_end([&] { work(i); });
  };
  const auto take_pieces_as_another = [&] {
    take_pieces();
    const std::lock_guard<std::mutex> lock(guard);
    --working;
    one_has_ended.notify_one();
  };
  {
    std::vector<std::jthread> others;
    others.reserve(threads);
    for (unsigned i = 1; i < threads && i < count; ++i) {
      std::unique_lock<std::mutex> lock(guard);
      try {
        others.emplace_back(take_pieces_as_another);
        ++working;
      } catch (const std::exception&) {
        break;
      }
    }
    take_pieces();
    std::unique_lock<std::mutex> lock(guard);
    while (!one_has_ended.wait_for(lock, between, [&] { return working == 0; })) {
      lock.unlock();
      if (!is_over) do_or_end(attend);
      lock.lock();
    }
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace ravo::checks

#endif
