// Ctrl-C and closed pipes: the tool ends quietly and leaves no partial files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tool_run.h"

namespace {

using namespace ravo::test;

TEST(Signals, AClosedPipeEndsItQuietly) {
  const process_result result = run_process(
      {"/bin/sh", "-c",
       "'" RAVO_TOOL "' read '" + demo().files[0] + "' --json -c 'LINAC/*' | head -n 1 | wc -l"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.out, "1\n");
  EXPECT_EQ(result.err, "");
}

TEST(Signals, InterruptEndsItQuietlyAndLeavesNoFile) {
  // The answer key goes into a pipe: its first line shows that the work has begun.
  const temporary_folder folder;
  const std::string pipe = folder.file("key");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  started_process tool(
      {RAVO_TOOL, "simulate", folder.path().string(), "--events", "1000000", "--answer-key", pipe});
  const int key = open(pipe.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(key, 0);
  char part[4096];
  ASSERT_GT(read(key, part, sizeof part), 0);
  ASSERT_EQ(kill(tool.id(), SIGINT), 0);
  while (read(key, part, sizeof part) > 0) {
  }
  close(key);
  const process_result result = tool.wait();
  EXPECT_EQ(result.exit_code, 130);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(raw_files(folder.path()).empty());
}

}  // namespace
