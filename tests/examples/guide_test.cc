// Runs the commands of docs/guide.md, one after the other in one folder, as a reader would: what the guide
// shows below a command must be printed by it, line by line; "..." stands for lines that are left out.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "process.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;

struct shown_command {
  std::string command;
  std::vector<std::string> lines;  ///< below it
};

// The commands of the blocks that are marked as a console's.
std::vector<shown_command> commands_of(const std::string& path) {
  std::vector<shown_command> commands;
  std::ifstream guide(path);
  bool is_console = false;
  for (std::string line; std::getline(guide, line);) {
    if (line.starts_with("```")) {
      is_console = line == "```console";
    } else if (is_console && line.starts_with("$ ")) {
      commands.push_back({line.substr(2), {}});
    } else if (is_console && !commands.empty()) {
      if (commands.back().command.ends_with('\\') && commands.back().lines.empty())
        commands.back().command += "\n" + line;
      else
        commands.back().lines.push_back(line);
    }
  }
  return commands;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Whether the lines were printed in this order, and, where no "..." stands between them, without others
// between.
testing::AssertionResult are_shown(const std::vector<std::string>& shown,
                                   const std::vector<std::string>& printed) {
  std::size_t next = 0;
  bool may_skip = false;
  for (const std::string& line : shown) {
    if (line == "...") {
      may_skip = true;
      continue;
    }
    while (may_skip && next < printed.size() && printed[next] != line) ++next;
    if (next >= printed.size() || printed[next] != line)
      return testing::AssertionFailure() << "is not printed where the guide has it: " << line;
    ++next;
    may_skip = false;
  }
  if (!may_skip && next < printed.size())
    return testing::AssertionFailure() << "is printed behind the last: " << printed[next];
  return testing::AssertionSuccess();
}

TEST(Guide, ShowsWhatItsCommandsPrint) {
  const temporary_folder folder;
  const std::vector<shown_command> commands = commands_of(RAVO_GUIDE);
  ASSERT_GT(commands.size(), 5u);
  // A reader of the guide comes back to older files; those of the test are seconds old.
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  const std::string prelude =
      "cd '" + folder.path().string() + "' && PATH='" RAVO_TOOL_FOLDER ":" RAVO_EXAMPLES "':\"$PATH\" && ";
  for (const shown_command& shown : commands) {
    SCOPED_TRACE(shown.command);
    const process_result result = run_process({"/bin/sh", "-c", prelude + shown.command});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    EXPECT_TRUE(are_shown(shown.lines, lines_of(result.out))) << result.out;
  }
}

}  // namespace
