// What a fuzz target demands in addition to not crashing: a sentence that has to hold, or else the process
// ends, which both the fuzzer and the replay take for a finding; and memory that can be read.
#ifndef RAVO_FUZZ_EXPECT_H
#define RAVO_FUZZ_EXPECT_H

#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace ravo::fuzz {

inline void expect(bool holds, const char* sentence) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", sentence);
  std::abort();
}

/// Reads memory that the library has returned; a sanitizer sees whether all of it may be read.
inline void touch(const void* memory, std::size_t size) {
  const auto* const bytes = static_cast<const volatile unsigned char*>(memory);
  for (std::size_t i = 0; i < size; ++i) static_cast<void>(bytes[i]);
}

}  // namespace ravo::fuzz

#endif
