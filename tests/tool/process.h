// Starts a program and reports its result. It waits for the program, and for nothing else.
#ifndef RAVO_TEST_PROCESS_H
#define RAVO_TEST_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace ravo::test {

struct process_result {
  int exit_code = -1;       ///< -1: ended by a signal
  int signal = 0;           ///< 0: none
  long most_kilobytes = 0;  ///< resident, at any time
  std::string out;
  std::string err;
};

/// Runs the program to its end. The first argument is its path.
process_result run_process(const std::vector<std::string>& arguments);

/// A program that runs in parallel with the test.
class started_process {
 public:
  explicit started_process(const std::vector<std::string>& arguments);
  ~started_process();
  started_process(const started_process&) = delete;
  started_process& operator=(const started_process&) = delete;

  pid_t id() const { return id_; }
  /// Waits for its end.
  process_result wait();

 private:
  pid_t id_ = -1;
  int out_ = -1;  // files that the outputs go to
  int err_ = -1;
};

}  // namespace ravo::test

#endif
