// The answer key of a simulation as a file: a JSON line for each block that was written, as a
// reader will return it. Everything in a line is computed from the simulator's bytes alone.
#ifndef RAVO_SIMULATOR_ANSWER_KEY_H
#define RAVO_SIMULATOR_ANSWER_KEY_H

#include <string>

#include "shared/whole_file.h"
#include "writing.h"

namespace ravo::simulator {

class answer_key {
 public:
  /// Begins the file; throws whole_file_failure if it cannot be written.
  explicit answer_key(const std::string& path) : file_(path) {}
  void add(const answer& put_in);
  /// Gives the complete file its name; throws whole_file_failure if part of it could not be written.
  void close() { file_.publish(); }

 private:
  whole_file file_;
};

}  // namespace ravo::simulator

#endif
