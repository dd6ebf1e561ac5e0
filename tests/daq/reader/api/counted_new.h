// Counts what a thread allocates by new, and lets one of its allocations fail. A program that includes this
// header (in one source file) puts its own operators in place of the standard ones: all of them, so that
// what one gives another may take.
#ifndef RAVO_TEST_COUNTED_NEW_H
#define RAVO_TEST_COUNTED_NEW_H

#include <cstddef>
#include <cstdlib>
#include <new>

namespace ravo::test {

struct counted_new {
  static inline thread_local long made = 0;        ///< by the calling thread so far
  static inline thread_local long successes = -1;  ///< so many more, then one fails; -1: none
  static void* take(std::size_t size) noexcept {
    ++made;
    if (successes >= 0 && successes-- == 0) return nullptr;
    return std::malloc(size > 0 ? size : 1);
  }
  static void* take_or_throw(std::size_t size) {
    if (void* memory = take(size)) return memory;
    throw std::bad_alloc();
  }
};

}  // namespace ravo::test

void* operator new(std::size_t size) { return ravo::test::counted_new::take_or_throw(size); }
void* operator new[](std::size_t size) { return ravo::test::counted_new::take_or_throw(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return ravo::test::counted_new::take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return ravo::test::counted_new::take(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

#endif
