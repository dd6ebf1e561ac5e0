// Makes the reading layers run out of memory at a chosen moment: a program that includes this header
// puts its own two functions in place of the library's, which count, and fail on demand. It links the
// reader's private parts: in a shared library they cannot be replaced.
#ifndef RAVO_TEST_FAILING_ALLOCATION_H
#define RAVO_TEST_FAILING_ALLOCATION_H

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace ravo::test {

/// While it lives, the allocation after `successes` more fails, and only that one.
class failing_allocation {
 public:
  explicit failing_allocation(long successes) { remaining = successes; }
  ~failing_allocation() { remaining = -1; }
  failing_allocation(const failing_allocation&) = delete;
  failing_allocation& operator=(const failing_allocation&) = delete;

  /// Whether the failing allocation has come.
  static bool happened() { return remaining == -1; }
  /// Whether the allocation that is being asked for fails.
  static bool is_due(std::size_t size) {
    ++asked;
    std::size_t most = largest;
    while (size > most && !largest.compare_exchange_weak(most, size)) {
    }
    long left = remaining;
    while (left >= 0 && !remaining.compare_exchange_weak(left, left - 1)) {
    }
    return left == 0;
  }

  static inline std::atomic<long> remaining{-1};      ///< -1: none fails
  static inline std::atomic<long> asked{0};           ///< all allocations so far
  static inline std::atomic<std::size_t> largest{0};  ///< the largest size asked for so far
};

}  // namespace ravo::test

namespace ravo {

// Emitted although nothing here calls them: the library does.
[[gnu::used]] inline void* allocate(std::size_t size) {
  return test::failing_allocation::is_due(size) ? nullptr : std::malloc(size);
}

[[gnu::used]] inline void* reallocate(void* memory, std::size_t size) {
  return test::failing_allocation::is_due(size) ? nullptr : std::realloc(memory, size);
}

}  // namespace ravo

#endif
