// Captures what the process writes to standard output (printf, std::cout and write alike) while the
// object lives. Not for use by two tests at the same time in one process.
#ifndef RAVO_TEST_CAPTURED_OUTPUT_H
#define RAVO_TEST_CAPTURED_OUTPUT_H

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>
#include <string>

namespace ravo::test {

class captured_output {
 public:
  captured_output() {
    flush();
    char name[] = "/tmp/ravo_output_XXXXXX";
    file_ = mkstemp(name);
    if (file_ < 0) throw std::runtime_error("no temporary file for standard output");
    unlink(name);
    kept_ = dup(STDOUT_FILENO);
    if (kept_ < 0 || dup2(file_, STDOUT_FILENO) < 0)
      throw std::runtime_error("standard output cannot be redirected");
  }
  ~captured_output() {
    restore();
    close(file_);
  }
  captured_output(const captured_output&) = delete;
  captured_output& operator=(const captured_output&) = delete;

  /// All that has been written so far; capture goes on.
  std::string text() {
    flush();
    std::string all;
    char part[4096];
    off_t at = 0;
    for (ssize_t got; (got = pread(file_, part, sizeof part, at)) > 0; at += got)
      all.append(part, static_cast<std::size_t>(got));
    return all;
  }

  /// Ends the capture early and returns all that was written.
  std::string stop() {
    std::string all = text();
    restore();
    return all;
  }

 private:
  static void flush() {
    std::cout.flush();
    fflush(stdout);
  }
  void restore() {
    if (kept_ < 0) return;
    flush();
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
    kept_ = -1;
  }

  int file_ = -1;
  int kept_ = -1;
};

}  // namespace ravo::test

#endif
