// Does a number of independent pieces of work with a few threads, the caller's among them.
#ifndef RAVO_VERIFY_PARALLEL_H
#define RAVO_VERIFY_PARALLEL_H

#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace ravo::verify {

/// Calls work(0) to work(count - 1), each once. What a piece throws ends the work and is thrown again when
/// no thread runs any more. Where no thread is to be had, those that are there do it all.
template <class Work>
void in_parallel(unsigned threads, std::size_t count, const Work& work) {
  std::atomic<std::size_t> next{0};
  std::atomic<bool> is_over{false};
  std::mutex guard;  // of `failure`
  std::exception_ptr failure;
  const auto take_pieces = [&] {
    for (std::size_t i = next++; i < count && !is_over; i = next++) try {
        work(i);
      } catch (...) {
        const std::lock_guard<std::mutex> lock(guard);
        if (!failure) failure = std::current_exception();
        is_over = true;
      }
  };
  {
    std::vector<std::jthread> others;
    try {
      for (unsigned i = 1; i < threads && i < count; ++i) others.emplace_back(take_pieces);
    } catch (const std::system_error&) {
    }
    take_pieces();
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace ravo::verify

#endif
