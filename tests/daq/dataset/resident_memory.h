// How much memory a process has had resident, for tests that read in a process of their own.
#ifndef RAVO_TEST_DATASET_RESIDENT_MEMORY_H
#define RAVO_TEST_DATASET_RESIDENT_MEMORY_H

#include <sys/resource.h>

#include <cstdlib>
#include <functional>
#include <iostream>

namespace ravo::test {

inline long most_kilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

/// Exits with 0 when `read` holds and took no more than so much resident memory; to be called in a process
/// of its own.
[[noreturn]] inline void exit_by(const std::function<bool()>& read, std::size_t most) {
  const long before = most_kilobytes();
  const bool held = read();
  const std::size_t taken = static_cast<std::size_t>(most_kilobytes() - before) << 10;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)  // their memory is not the program's
  most = taken;
#endif
  if (taken > most) std::cerr << "it took " << (taken >> 10) << " KiB\n";
  std::exit(held && taken <= most ? 0 : 1);
}

}  // namespace ravo::test

#endif
