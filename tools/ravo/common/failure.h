// How the tool's verbs fail: each kind of failure has its exit code.
#ifndef RAVO_TOOL_FAILURE_H
#define RAVO_TOOL_FAILURE_H

#include <stdexcept>
#include <string>

#include "shared/escaping.h"

namespace ravo::tool {

inline constexpr int exit_fine = 0;
inline constexpr int exit_data = 1;           ///< a file or its data do not allow what was asked
inline constexpr int exit_usage = 2;          ///< the command line makes no sense
inline constexpr int exit_odd = 3;            ///< a check found something odd, and nothing worse
inline constexpr int exit_interrupted = 130;  ///< Ctrl-C, as shells report it

/// A message of several lines: the caller must escape the names in it one by one.
struct several_lines {
  std::string text;
};

/// A file or its data do not allow what was asked;
/// what() names the file and the reason, ready to print.
struct data_failure : std::runtime_error {
  explicit data_failure(const std::string& text) : std::runtime_error(printable(text)) {}
  explicit data_failure(const several_lines& message) : std::runtime_error(printable_lines(message.text)) {}
};

/// The command line makes no sense; what() names the part of it that is wrong, ready to print.
struct usage_failure : std::runtime_error {
  explicit usage_failure(const std::string& text) : std::runtime_error(printable(text)) {}
  explicit usage_failure(const several_lines& message)
      : std::runtime_error(printable_lines(message.text)) {}
};

/// The verb has printed everything; only the exit code is left.
struct verdict : std::exception {
  explicit verdict(int code) : exit_code(code) {}
  int exit_code;
};

/// The user asked to stop.
struct interrupted : std::exception {};

}  // namespace ravo::tool

#endif
