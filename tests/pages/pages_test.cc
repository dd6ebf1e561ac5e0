// Runs the commands of the pages, one after another in an empty folder, as a reader would: the text
// that a page shows below a command must be what the command prints. /home/me on a page is that folder.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "shown_commands.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;

std::string with_home(std::string printed, const std::string& folder) {
  for (std::size_t at = 0; (at = printed.find(folder, at)) != printed.npos;)
    printed.replace(at, folder.size(), "/home/me");
  return printed;
}

class Page : public testing::TestWithParam<const char*> {};

TEST_P(Page, ShowsWhatItsCommandsPrint) {
  std::ifstream stream(std::string(RAVO_DOCS) + "/" + GetParam());
  const std::vector<shown_command> commands = commands_of({std::istreambuf_iterator<char>(stream), {}});
  ASSERT_GT(commands.size(), 2u);
  const temporary_folder home;
  setenv("HOME", home.path().c_str(), 1);
  setenv("PATH", (RAVO_TOOL_FOLDER ":" RAVO_EXAMPLES ":" + std::string(getenv("PATH"))).c_str(), 1);
  // A reader of the page comes back to older files; the files of the test are seconds old.
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);

  const std::vector<command_outcome> outcomes = run_in_one_shell(commands, home.path());
  for (std::size_t n = 0; n < commands.size(); ++n) {
    const shown_command& shown = commands[n];
    SCOPED_TRACE(std::string(GetParam()) + ":" + std::to_string(shown.line) + ": " + shown.command);
    const bool asks_for_code = n + 1 < commands.size() && commands[n + 1].command == "echo $?";
    if (!asks_for_code) {
      EXPECT_EQ(outcomes[n].exit_code != 0, shown.shows_failure()) << outcomes[n].exit_code;
    }
    const std::string printed = with_home(outcomes[n].printed, home.path().string());
    if (const auto problem = difference(shown, printed))
      ADD_FAILURE() << *problem << "\n--- printed:\n" << printed;
  }
}

INSTANTIATE_TEST_SUITE_P(All, Page, testing::Values("dataset.md", "guide.md", "tool.md"),
                         [](const auto& page) {
                           const std::string name = page.param;
                           return name.substr(0, name.find('.'));
                         });

}  // namespace
