// Standard output, kept apart: what the tool prints goes where the caller looks, what libraries print
// to standard output does not get in between. Their words are kept for error messages, or shown on
// standard error when asked for.
#ifndef RAVO_TOOL_OUTPUT_H
#define RAVO_TOOL_OUTPUT_H

#include <cstdio>
#include <string>
#include <string_view>

#include "common/escaping.h"

namespace ravo::tool {

class output {
 public:
  /// Takes standard output over. From here on, printf and std::cout reach the keeping place.
  output();
  ~output();
  output(const output&) = delete;
  output& operator=(const output&) = delete;

  /// Prints as fmt::print, with each text among the arguments escaped.
  template <class... Values>
  void format(fmt::format_string<escaped_type<Values>...> form, const Values&... values) {
    print(shown<Values...>(form, values...));
  }
  /// For questions about the terminal.
  int descriptor() const;
  /// One line, escaped, without blanks at its end, which columns leave behind.
  void print_line(std::string line);
  /// The same of a drawing, whose colours stay.
  void print_drawn_line(std::string line);
  /// What is the tool's own, or JSON, as it is: lines with their ends, pictures with their colours.
  void print(std::string_view text);
  /// Hands everything printed so far to the system; throws data_failure when it cannot be written. A
  /// reader that went away (a closed pipe) is no failure: false, and there is no point in going on.
  bool flush();

  /// From here on, libraries print to standard error.
  void show_library_output();
  /// The last lines that libraries have printed, and forgets them.
  std::string take_library_output();
  /// Forgets what libraries have printed when it has become much.
  void bound_library_output();

  /// Whether the tool prints to a terminal.
  bool is_terminal() const { return terminal_; }

  // Escape sequences; empty when output is no terminal or colour is not wanted (NO_COLOR).
  as_it_is bold() const { return {colour_ ? "\033[1m" : ""}; }
  as_it_is dim() const { return {colour_ ? "\033[2m" : ""}; }
  as_it_is plain() const { return {colour_ ? "\033[0m" : ""}; }

 private:
  std::FILE* file_ = nullptr;
  int kept_ = -1;  // memory file that stands for standard output
  bool terminal_ = false;
  bool colour_ = false;
};

}  // namespace ravo::tool

#endif
