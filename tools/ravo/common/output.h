// Standard output, kept apart: what the tool prints goes to the caller's
// output, and nothing that libraries print to standard output gets in between.
// Their text is kept for error messages, or shown on standard error on request.
#ifndef RAVO_TOOL_OUTPUT_H
#define RAVO_TOOL_OUTPUT_H

#include <cstdio>
#include <string>
#include <string_view>

#include "shared/escaping.h"

namespace ravo::tool {

/// How a verb prints: for people, or one JSON object per line.
enum class print_form { table, lines };

class output {
 public:
  /// Takes over standard output. From here on, printf and std::cout write to a memory file.
  output();
  ~output();
  output(const output&) = delete;
  output& operator=(const output&) = delete;

  /// Prints like fmt::print, with each text among the arguments escaped.
  template <class... Values>
  void format(fmt::format_string<escaped_type<Values>...> form, const Values&... values) {
    print(shown<Values...>(form, values...));
  }
  /// For queries about the terminal.
  int descriptor() const;
  /// Prints one line, escaped, without the blanks that columns leave at its end.
  void print_line(std::string line);
  /// The same for a drawing, whose colours stay.
  void print_drawn_line(std::string line);
  /// Prints JSON or text of the tool's own unchanged: lines with their ends, pictures with their colours.
  void print(std::string_view text);
  /// Writes everything printed so far; throws data_failure if it cannot be written. A reader that
  /// went away (a closed pipe) is not a failure: returns false, and there is no point in going on.
  bool flush();

  /// From here on, libraries print to standard error.
  void show_library_output();
  /// Returns the last lines that libraries have printed, and discards them.
  std::string take_library_output();
  /// Discards what libraries have printed once it exceeds a limit.
  void bound_library_output();

  /// Whether the tool prints to a terminal.
  bool is_terminal() const { return terminal_; }

  // Escape sequences; empty if output is not a terminal or colour is not wanted (NO_COLOR).
  as_it_is bold() const { return {colour_ ? "\033[1m" : ""}; }
  as_it_is dim() const { return {colour_ ? "\033[2m" : ""}; }
  as_it_is plain() const { return {colour_ ? "\033[0m" : ""}; }

 private:
  std::FILE* file_ = nullptr;
  int kept_ = -1;  // memory file that takes the place of standard output
  bool terminal_ = false;
  bool colour_ = false;
};

}  // namespace ravo::tool

#endif
