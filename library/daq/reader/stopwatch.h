// Measures elapsed time for the timing lines of debug levels below 0.
#ifndef RAVO_DAQ_READER_STOPWATCH_H
#define RAVO_DAQ_READER_STOPWATCH_H

#include <chrono>

namespace ravo {

/// Starts when it is constructed.
class stopwatch {
 public:
  double microseconds() const {
    return std::chrono::duration<double, std::micro>(clock::now() - start_).count();
  }
  double milliseconds() const { return microseconds() / 1000.0; }

 private:
  using clock = std::chrono::steady_clock;
  clock::time_point start_ = clock::now();
};

}  // namespace ravo

#endif
