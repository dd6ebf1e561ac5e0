// Ctrl-C ends `ravo verify` at once, with the totals of what was checked,
// before the first file and between files. A pipe stops the tool at the
// moment at which it is interrupted, so that nothing depends on speed.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tool_run.h"

namespace {

using namespace ravo::test;

std::string rest_of(int pipe) {
  std::string text;
  char part[4096];
  for (ssize_t got; (got = read(pipe, part, sizeof part)) > 0;)
    text.append(part, static_cast<std::size_t>(got));
  return text;
}

class VerifyInterrupt : public testing::Test {
 protected:
  VerifyInterrupt() { EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0); }

  temporary_folder folder;
  const std::string pipe = folder.file("pipe");
};

TEST_F(VerifyInterrupt, EndsItBeforeAFileIsReported) {
  started_process tool({RAVO_TOOL, "verify", demo().files[0], "--json", "--expect", pipe});
  const int list = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);  // waits until the tool reads it
  ASSERT_GE(list, 0);
  ASSERT_EQ(kill(tool.id(), SIGINT), 0);
  const std::string channel = "NO/SUCH/CHANNEL\n";
  ASSERT_EQ(write(list, channel.data(), channel.size()), static_cast<ssize_t>(channel.size()));
  close(list);
  const process_result result = tool.wait();
  EXPECT_EQ(result.exit_code, 130);
  EXPECT_EQ(result.signal, 0);
  const auto totals = json_lines(result.out).back();
  EXPECT_EQ(totals.at("interrupted"), true);
  EXPECT_EQ(totals.at("files"), 0);
  EXPECT_EQ(totals.at("files_to_check"), 1);
  EXPECT_EQ(result.err, "");
}

TEST_F(VerifyInterrupt, EndsItBetweenFiles) {
  // The findings in the files before the last one are more than a pipe
  // holds: as long as nobody reads it, the tool cannot reach the last file.
  std::vector<std::string> arguments = {"/bin/sh", "-c", "exec \"$0\" \"$@\" >'" + pipe + "'", RAVO_TOOL,
                                        "verify"};
  constexpr int files = 4000;
  for (int i = 0; i < files; ++i) arguments.push_back("/nowhere/" + std::to_string(i) + ".raw");
  arguments.push_back(demo().files[0]);
  started_process tool(arguments);
  const int out = open(pipe.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(out, 0);
  char first = 0;
  ASSERT_EQ(read(out, &first, 1), 1);
  ASSERT_EQ(kill(tool.id(), SIGINT), 0);
  const std::string text = rest_of(out);
  close(out);
  const process_result result = tool.wait();
  EXPECT_EQ(result.exit_code, 130);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(text, testing::StartsWith("nowhere/0.raw: the file cannot be read "));
  EXPECT_THAT(text, testing::Not(testing::HasSubstr("/nowhere/3999.raw")));
  // The totals are of what was checked: as many files as there are lines before them.
  const std::string findings = text.substr(0, text.rfind('\n', text.size() - 2) + 1);
  std::string totals = text.substr(findings.size());
  std::erase(totals, ',');
  const std::string checked = std::to_string(std::count(findings.begin(), findings.end(), '\n'));
  EXPECT_EQ(totals, "interrupted after " + checked + " of 4001 files 0 events 0 good blocks: " + checked +
                        " damaged 0 odd (of the files: 0 good 0 odd 0 damaged " + checked + " not read)\n");
}

}  // namespace
