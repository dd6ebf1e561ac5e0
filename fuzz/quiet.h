// Silences the library: its lines on standard output and its messages through std::cerr are made, as for a
// user, and discarded. The output of sanitizers and of the fuzzer is not affected.
#ifndef RAVO_FUZZ_QUIET_H
#define RAVO_FUZZ_QUIET_H

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <streambuf>

namespace ravo::fuzz {

/// Discards everything.
class forgetful_buffer : public std::streambuf {
  int_type overflow(int_type character) override { return traits_type::not_eof(character); }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

/// Takes effect once, at the first input of a target that makes the library print.
inline void be_quiet() {
  // Never destroyed: the streams flush into it when the process ends.
  static forgetful_buffer& nowhere = *new forgetful_buffer;
  static const bool done = [] {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
    std::cout.rdbuf(&nowhere);
    std::cerr.rdbuf(&nowhere);
    return true;
  }();
  static_cast<void>(done);
}

}  // namespace ravo::fuzz

#endif
