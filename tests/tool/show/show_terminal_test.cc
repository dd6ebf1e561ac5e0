// `ravo show` in a terminal: the layout, what fits into the
// columns, and what changes when standard output is a terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string shown(std::vector<std::string> arguments, const std::string& generation = "current") {
  arguments.insert(arguments.begin(), {"show", demo_of(generation).files[0]});
  const process_result result = run_tool(arguments);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return result.out;
}

// The number of letters in a line: bytes that do not continue one.
std::size_t letters_in(const std::string& line) {
  std::size_t count = 0;
  for (const char byte : line) count += (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
  return count;
}

// Runs the tool with a terminal of so many columns for its output.
std::string in_terminal(int columns, std::vector<std::string> environment,
                        std::vector<std::string> arguments) {
  std::vector<std::string> words{"/usr/bin/env", "-u", "COLORTERM", "-u", "NO_COLOR"};
  words.insert(words.end(), environment.begin(), environment.end());
  words.insert(words.end(), {RAVO_TOOL, "show", demo().files[0]});
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  winsize size{24, static_cast<unsigned short>(columns), 0, 0};
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child < 0) throw std::runtime_error("no terminal can be had");
  if (child == 0) {
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  std::string text;
  char part[4096];
  // Reading a terminal whose other side is closed gives an error, not an end of file.
  for (ssize_t got; (got = read(terminal, part, sizeof part)) > 0;)
    text.append(part, static_cast<std::size_t>(got));
  close(terminal);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << text;
  return text;
}

TEST(ShowText, HasALineForEveryChannel) {
  const std::string text = shown({"-n", "1000020"});
  const auto lines = lines_of(text);
  EXPECT_THAT(lines.at(0), testing::StartsWith(
                               "event 1000020  2025-03-01T08:00:02.001531Z  NORMAL, IMAGE, UPD, ENV  of "));
  EXPECT_THAT(text, HasSubstr("  LINAC/BPM/001 "));
  EXPECT_THAT(text, HasSubstr("64 values  "));
  EXPECT_THAT(text, HasSubstr("  ENERGY     1000.157 MeV\n"));
  EXPECT_THAT(text, HasSubstr("64 x 48 pixels of 1 byte, 0 (black) to 195 (white), frame 20\n"));
  EXPECT_THAT(text, HasSubstr("19.5 A  CURRENT.SET  at 2025-03-01T08:00:02.013531Z\n"));
  EXPECT_THAT(text, HasSubstr("(held, of event 1000018)"));
  EXPECT_THAT(text, HasSubstr("\"feedback active\"\n"));
  EXPECT_THAT(text, HasSubstr("3 values  state of the linac\n"));
  EXPECT_THAT(text, Not(HasSubstr("LINAC/TOROID/SPARE")));
  for (const std::string& line : lines) EXPECT_FALSE(line.ends_with(' ')) << line;
}

TEST(ShowText, SaysThatAFileIsOlder) {
  EXPECT_THAT(lines_of(shown({}, "older")).at(0), testing::EndsWith("  (older generation)"));
  EXPECT_THAT(lines_of(shown({})).at(0), Not(HasSubstr("generation")));
}

TEST(ShowText, DrawsAPlotOfEachMemberOverItsAxis) {
  const std::string text = shown({"-n", "1000020", "-c", "LINAC/RF/001"});
  EXPECT_THAT(text, HasSubstr("LINAC/RF/001  BLOCK_RF_250K_2010  field of a cavity\n"));
  EXPECT_THAT(text, HasSubstr("  AMPLITUDE  512 values  "));
  EXPECT_THAT(text, HasSubstr("  PHASE  512 values  "));
  EXPECT_THAT(text, HasSubstr("┤"));
  EXPECT_THAT(text, HasSubstr("└"));
  EXPECT_THAT(text, HasSubstr("    time, us: from 0 by "));
}

TEST(ShowText, CountsTheGroupsOfASpectrum) {
  EXPECT_THAT(shown({"-n", "1000020", "-c", "LINAC/SPECTRUM/001"}), HasSubstr("288 values in 3 groups  "));
  EXPECT_THAT(shown({"-n", "1000020", "-c", "LINAC/SPECTRUM/001"}), HasSubstr(", groups by "));
}

TEST(ShowText, KeepsToItsColumns) {
  for (const int width : {40, 80, 133}) {
    const std::string text = shown({"-n", "1000020", "-c", "LINAC/BPM/001", "-c", "LINAC/CAMERA/001",
                                    "--width", std::to_string(width)});
    std::size_t widest = 0;
    for (const std::string& line : lines_of(text))
      if (line.find("┤") != std::string::npos || line.find("│") != std::string::npos ||
          line.find("└") != std::string::npos) {
        EXPECT_LE(letters_in(line), static_cast<std::size_t>(width)) << line;
        widest = std::max(widest, letters_in(line));
      }
    EXPECT_EQ(widest, static_cast<std::size_t>(width));
  }
}

TEST(ShowText, CanDoWithAscii) {
  const std::string text =
      shown({"-n", "1000020", "-c", "LINAC/BPM/001", "-c", "LINAC/CAMERA/001", "--ascii"});
  for (const char byte : text) ASSERT_TRUE(byte == '\n' || (byte >= ' ' && byte <= '~'));
  EXPECT_THAT(text, HasSubstr("@"));
  const std::string overview = shown({"-n", "1000020", "--ascii"});
  for (const char byte : overview) ASSERT_TRUE(byte == '\n' || (byte >= ' ' && byte <= '~'));
}

TEST(ShowText, HasNoEscapesWhereThereIsNoTerminal) {
  EXPECT_THAT(shown({"-n", "1000020", "-c", "*"}), Not(HasSubstr("\033")));
}

TEST(ShowText, PutsNamedValuesIntoATable) {
  EXPECT_THAT(shown({"-n", "1000020", "-c", "LINAC/STATUS/001"}),
              HasSubstr("  state of the linac\n"
                        "  BUNCHES                    64\n"
                        "  LASER_ENERGY            50.41\n"
                        "  REPETITION_RATE            10\n"));
}

TEST(ShowTerminal, DrawsImagesInTheColoursThatItHas) {
  const std::vector<std::string> camera{"-n", "1000020", "-c", "LINAC/CAMERA/001"};
  const std::string deep = in_terminal(80, {"TERM=xterm", "COLORTERM=truecolor"}, camera);
  EXPECT_THAT(deep, HasSubstr("\033[38;2;0;0;0m\033[48;2;0;0;0m▀"));
  EXPECT_THAT(deep, HasSubstr("\033[38;2;255;255;255m"));
  const std::string palette = in_terminal(80, {"TERM=xterm-256color"}, camera);
  EXPECT_THAT(palette, HasSubstr("\033[38;5;16m\033[48;5;16m▀"));
  EXPECT_THAT(palette, Not(HasSubstr("[38;2;")));
  const std::string plain = in_terminal(80, {"TERM=xterm"}, camera);
  EXPECT_THAT(plain, Not(HasSubstr("▀")));
  EXPECT_THAT(plain, HasSubstr("@@"));
}

TEST(ShowTerminal, HasNoColoursWhereNobodyWantsThem) {
  const std::vector<std::string> camera{"-n", "1000020", "-c", "LINAC/CAMERA/001"};
  EXPECT_THAT(in_terminal(80, {"TERM=xterm", "COLORTERM=truecolor", "NO_COLOR=1"}, camera),
              Not(HasSubstr("\033")));
  EXPECT_THAT(in_terminal(80, {"TERM=dumb", "COLORTERM=truecolor"}, camera), Not(HasSubstr("\033")));
}

TEST(ShowTerminal, FillsTheColumnsOfTheTerminal) {
  std::size_t widest = 0;
  for (const std::string& line :
       lines_of(in_terminal(101, {"TERM=dumb"}, {"-n", "1000020", "-c", "LINAC/TOROID/001"})))
    if (line.find("└") != std::string::npos) widest = letters_in(line.substr(0, line.find('\r')));
  EXPECT_EQ(widest, 101u);
}

}  // namespace
