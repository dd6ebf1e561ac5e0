// The answer key of a simulation as a file: a JSON line for each block that was written, as a
// reader will return it. Everything in a line is computed from the simulator's bytes alone.
#ifndef RAVO_TOOL_ANSWER_KEY_H
#define RAVO_TOOL_ANSWER_KEY_H

#include <string>

#include "common/whole_file.h"
#include "simulator/writing.h"

namespace ravo::tool {

class answer_key {
 public:
  /// Begins the file; throws whole_file_failure if it cannot be written.
  explicit answer_key(const std::string& path) : file_(path) {}
  void add(const simulator::answer& put_in);
  /// Gives the complete file its name; throws whole_file_failure if part of it could not be written.
  void close() { file_.publish(); }

 private:
  whole_file file_;
};

}  // namespace ravo::tool

#endif
