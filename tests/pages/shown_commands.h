// The commands of a page with the output shown below them, and whether they
// print that output. It knows the form of our pages, and nothing of the tool.
#ifndef RAVO_TEST_SHOWN_COMMANDS_H
#define RAVO_TEST_SHOWN_COMMANDS_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ravo::test {

/// How the text below a command is compared with what the command prints.
enum class shown_as {
  lines,   ///< line by line
  folded,  ///< broken into more lines than were printed: white space does not count
  nothing  ///< nothing is shown: only the command counts
};

struct shown_command {
  std::string command;
  std::string below;  ///< lines, each with its end
  shown_as form = shown_as::lines;
  int line = 0;  ///< of the page, from 1

  /// Whether a failure is what the page shows: a message of the tool.
  bool shows_failure() const;
};

/// The commands of a page in their order: of blocks marked `console`, lines after `$ ` with what follows
/// them; of blocks marked `sh`, the whole block as one command.
std::vector<shown_command> commands_of(const std::string& page);

/// The first line of a page's text that was not printed, or the first printed one that the page lacks;
/// nothing when the two agree. In what is shown, `...` matches any lines where it is alone on its line,
/// and any characters elsewhere.
std::optional<std::string> difference(const shown_command& shown, const std::string& printed);

/// The result of a command.
struct command_outcome {
  int exit_code = -1;
  std::string printed;  ///< standard output, then standard error
};

/// Runs the commands one after another, by one shell in one folder, as a reader of the page would.
std::vector<command_outcome> run_in_one_shell(const std::vector<shown_command>& commands,
                                              const std::filesystem::path& folder);

}  // namespace ravo::test

#endif
