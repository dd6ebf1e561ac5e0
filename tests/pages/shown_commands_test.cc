// A page that shows something else than is printed is noticed: tests of the comparison that the tests of
// our pages rely on.
#include "shown_commands.h"

#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace {

using namespace ravo::test;

bool agrees(const std::string& shown, const std::string& printed, shown_as form = shown_as::lines) {
  return !difference({"", shown, form, 1}, printed).has_value();
}

TEST(ShownCommands, AreThoseOfConsoleAndShellBlocks) {
  const auto commands = commands_of(
      "text\n```console\n$ a \\\n  b\nx\ny\n$ c\n```\n```\n$ no\n```\n```sh\nd\ne\n```\n```console "
      "folded\n$ f\nz\n```\n");
  ASSERT_EQ(commands.size(), 4u);
  EXPECT_EQ(commands[0].command, "a \\\n  b");
  EXPECT_EQ(commands[0].below, "x\ny\n");
  EXPECT_EQ(commands[0].line, 3);
  EXPECT_EQ(commands[1].command, "c");
  EXPECT_EQ(commands[2].command, "d\ne\n");
  EXPECT_EQ(commands[2].form, shown_as::nothing);
  EXPECT_EQ(commands[3].form, shown_as::folded);
}

TEST(ShownCommands, AreComparedLineByLine) {
  EXPECT_TRUE(agrees("a\nb\n", "a\nb\n"));
  EXPECT_FALSE(agrees("a\nb\n", "a\n"));
  EXPECT_FALSE(agrees("a\n", "a\nb\n"));
  EXPECT_FALSE(agrees("a b\n", "a  b\n"));
  EXPECT_FALSE(agrees("", "a\n"));
}

TEST(ShownCommands, MayLeaveOutWhatDotsStandFor) {
  EXPECT_TRUE(agrees("a\n  ...\nd\n", "a\nb\nc\nd\n"));
  EXPECT_TRUE(agrees("...\n", ""));
  EXPECT_FALSE(agrees("a\n...\nd\n", "a\nb\n"));
  EXPECT_TRUE(agrees("a...d...f\n", "abcdef\n"));
  EXPECT_FALSE(agrees("a...d\n", "abcde\n"));
}

TEST(ShownCommands, MayBeFolded) {
  EXPECT_TRUE(agrees("{\"a\":1,\n \"b\":...}\n", "{\"a\":1,\"b\":2}\n", shown_as::folded));
  EXPECT_FALSE(agrees("{\"a\":1,\n \"b\":...}\n", "{\"a\":2,\"b\":2}\n", shown_as::folded));
}

TEST(ShownCommands, ShowAFailureByItsMessage) {
  EXPECT_TRUE((shown_command{"", "x\nravo: a: b\n"}).shows_failure());
  EXPECT_FALSE((shown_command{"", "x ravo: a\n"}).shows_failure());
}

TEST(ShownCommands, RunInOneShell) {
  const temporary_folder folder;
  const auto came = run_in_one_shell(
      commands_of("```console\n$ export A=3\n$ echo $A; ls; echo no >&2\n$ false\n$ echo $?\n```\n"),
      folder.path());
  ASSERT_EQ(came.size(), 4u);
  EXPECT_EQ(came[1].printed, "3\nno\n");
  EXPECT_EQ(came[2].exit_code, 1);
  EXPECT_EQ(came[3].printed, "1\n");
}

}  // namespace
