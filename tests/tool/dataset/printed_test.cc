// The closing lines of a reading describe what was printed: even if Ctrl-C
// or a policy ends it, or if only a part was asked for. And the selection
// that it prints gives the same values again, whatever option was used.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <regex>

#include "key_lines.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

// ---- Ctrl-C

struct interrupted_run {
  process_result process;
  std::string out;
};

/// Runs the tool into a pipe that is not read after its first bytes until Ctrl-C was
/// pressed: it must print much more than a pipe holds, so that it waits for its reader.
interrupted_run interrupt_while_printing(const std::string& arguments) {
  const temporary_folder folder;
  const std::string pipe = folder.file("out");
  if (mkfifo(pipe.c_str(), 0600) != 0) throw std::runtime_error("no pipe");
  started_process tool({"/bin/sh", "-c", "exec '" RAVO_TOOL "' " + arguments + " >'" + pipe + "'"});
  const int out = open(pipe.c_str(), O_RDONLY | O_CLOEXEC);
  interrupted_run run;
  char part[4096];
  const auto read_some = [&] {
    const ssize_t got = read(out, part, sizeof part);
    if (got > 0) run.out.append(part, static_cast<std::size_t>(got));
    return got > 0;
  };
  read_some();
  kill(tool.id(), SIGINT);
  while (read_some()) {
  }
  close(out);
  run.process = tool.wait();
  return run;
}

/// A simulation with more rows than a pipe holds: the numbers of many spectra.
struct long_run {
  temporary_folder folder;
  std::string path = folder.path().string();
  long_run() { run_tool({"simulate", path, "--files", "2", "--events", "1500", "--channels", "20"}); }
};
const long_run& a_long_run() {
  static const long_run data;
  return data;
}

class Interrupted : public testing::TestWithParam<const char*> {};

TEST_P(Interrupted, ReadingCountsWhatItPrinted) {
  const interrupted_run run =
      interrupt_while_printing("read '" + a_long_run().path + "' --json " + GetParam());
  EXPECT_EQ(run.process.exit_code, 130);
  EXPECT_EQ(run.process.err, "");
  const json closing = closing_of(run.out);
  std::uint64_t printed = 0;
  for (const json& line : event_lines(run.out))
    printed += line.contains("channels") ? line.at("channels").size() : 1;
  EXPECT_EQ(closing.at("end"), "interrupted");
  EXPECT_GT(printed, 0u);
  EXPECT_LT(printed, 3000u);
  EXPECT_EQ(closing.at("ledger").at("delivered"), printed);
  EXPECT_EQ(closing.at("ledger").at("expected"), printed);
  if (closing.contains("column")) {
    EXPECT_EQ(closing.at("column").at("printed"), printed);
  }
}

std::string name_of_way(const testing::TestParamInfo<const char*>& tested) {
  const std::string arguments = tested.param;
  if (arguments.find("--every-event") != std::string::npos) return "AColumnOfEveryEvent";
  return arguments.starts_with("--column") ? "AColumn" : "Events";
}
INSTANTIATE_TEST_SUITE_P(Ways, Interrupted,
                         testing::Values("--column LINAC/RF/001 --values",
                                         "--column LINAC/RF/001 --values --every-event -c LINAC/BPM/001",
                                         "-c LINAC/RF/001"),
                         name_of_way);

TEST(InterruptedForPeople, ColumnCountsWhatItPrinted) {
  const interrupted_run run =
      interrupt_while_printing("read '" + a_long_run().path + "' --values --column LINAC/ENERGY/001:0");
  const auto rows = std::count(run.out.begin(), run.out.end(), '\n') - 1;
  EXPECT_THAT(run.process.err, HasSubstr("ledger: " + std::to_string(rows) + " values expected = " +
                                         std::to_string(rows) + " delivered + 0 missing\n"));
}

// ---- policies and limits

TEST(Printed, RowsOfALimitAreAllThatIsCounted) {
  const process_result result = run_tool(
      {"read", demo().folder.path().string(), "--column", "LINAC/BPM/001", "--json", "--limit", "7"});
  const json closing = closing_of(result.out);
  EXPECT_EQ(event_lines(result.out).size(), 7u);
  EXPECT_EQ(closing.at("ledger").at("expected"), 7);
  EXPECT_EQ(closing.at("ledger").at("delivered"), 7);
}

class OfDamage : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(OfDamage, NothingIsCountedAsDeliveredThatWasNotPrinted) {
  const temporary_folder folder;
  const std::string path = folder.path().string();
  run_tool({"simulate", path, "--events", "40", "--channels", "20", "--fault", "flipped-bit"});
  std::vector<std::string> arguments = {"read", path, "--json"};
  arguments.insert(arguments.end(), GetParam().begin(), GetParam().end());
  const process_result result = run_tool(arguments);
  EXPECT_EQ(result.exit_code, 1);
  std::uint64_t printed = 0;
  for (const json& line : event_lines(result.out))
    printed += line.contains("channels") ? line.at("channels").size() : 1;
  const json ledger = closing_of(result.out).at("ledger");
  EXPECT_EQ(ledger.at("delivered"), printed);
  EXPECT_GE(ledger.at("missing"), 1);
  EXPECT_EQ(ledger.at("expected"), ledger.at("delivered").get<int>() + ledger.at("missing").get<int>());
}

INSTANTIATE_TEST_SUITE_P(
    Policies, OfDamage,
    testing::Values(std::vector<std::string>{"--strict", "-c", "LINAC/ENERGY/001", "-c", "LINAC/BPM/001"},
                    std::vector<std::string>{"--strict", "--column", "LINAC/BPM/001"},
                    std::vector<std::string>{"--max-missing", "1%", "--column", "LINAC/BPM/001"}));

// ---- the selection that is printed

/// How an option of `read` is tried.
struct tried_option {
  std::vector<std::string> arguments;  ///< with what it needs; empty: it prints no selection
  std::vector<std::string> again;      ///< options that say how values are printed, not which
};

const std::string window = "2025-03-01T08:00:01";

std::map<std::string, tried_option> tried_options(const std::string& catalogue, const std::string& files) {
  const std::vector<std::string> channels = {files, "-c", "LINAC/BPM/001", "-c", "LINAC/MAGNET/001"};
  const auto with = [&](std::vector<std::string> more) {
    more.insert(more.begin(), channels.begin(), channels.end());
    return more;
  };
  const auto by_run = [&](std::vector<std::string> more) {
    more.insert(more.begin(), {"--run", "1", "--catalog", catalogue, "-c", "LINAC/BPM/001"});
    return more;
  };
  const std::vector<std::string> column = {"--column", "LINAC/RF/001"};
  const auto of_column = [&](std::vector<std::string> more) {
    more.insert(more.begin(), {files, "--column", "LINAC/RF/001"});
    return more;
  };
  return {
      {"--help", {}},
      {"--explain", {}},
      {"--classic", {}},
      {"--debug", {}},
      {"--json", {with({}), {}}},
      {"--channel", {with({"--channel", "LINAC/RF/001:1", "-c", "~LINAC/(ENERGY|TOROID)/.*"}), {}}},
      {"--column", {of_column({}), column}},
      {"--every-event",
       {of_column({"--every-event", "-c", "LINAC/BPM/001"}),
        {"--every-event", "--column", "LINAC/RF/001"}}},
      {"--values", {of_column({"--values", "--limit", "3"}), {"--values", "--column", "LINAC/RF/001"}}},
      {"--checksum", {with({"--checksum"}), {"--checksum"}}},
      {"--run", {by_run({}), {}}},
      {"--experiment", {by_run({"--experiment", "linac"}), {}}},
      {"--stream", {by_run({"--stream", "main"}), {}}},
      {"--catalog", {by_run({}), {}}},
      {"--data", {by_run({"--data", files}), {}}},
      {"--first-event", {with({"--first-event", "1000007"}), {}}},
      {"--last-event", {with({"--last-event", "1000007"}), {}}},
      {"--from", {with({"--from", window}), {}}},
      {"--to", {with({"--to", window + ".5"}), {}}},
      {"--tz", {with({"--from", "2025-03-01T09:00:01", "--to", "+1s", "--tz", "+01:00"}), {}}},
      {"--step", {with({"--step", "3"}), {}}},
      {"--limit", {with({"--limit", "3", "--step", "2"}), {}}},
      {"--mode", {with({"--mode", "time"}), {}}},
      {"--tolerance", {with({"--mode", "time", "--tolerance", "120"}), {}}},
      {"--join", {with({"--join", "with:LINAC/MAGNET/001"}), {}}},
      {"--slow", {with({"--slow", "nearest"}), {}}},
      {"--max-age", {with({"--max-age", "300ms"}), {}}},
      {"--strict", {with({"--strict"}), {}}},
      {"--max-missing", {with({"--max-missing", "1%"}), {}}},
      {"--memory", {with({"--memory", "64M"}), {}}},
      {"--threads", {with({"--threads", "1"}), {}}},
      {"--max-block", {with({"--max-block", "64M"}), {}}},
  };
}

TEST(PrintedSelection, GivesTheSameValuesAgainWhateverOptionWasUsed) {
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  const temporary_folder folder;
  const std::string catalogue = folder.file("catalogue"), files = demo().folder.path().string();
  ASSERT_EQ(run_tool({"catalog", "build", files, "--into", catalogue}).exit_code, 0);
  const std::map<std::string, tried_option> all = tried_options(catalogue, files);
  const std::string help = run_tool({"read", "--help"}).out;
  const std::regex an_option("^  (-\\w,)?(--[a-z-]+)", std::regex::multiline);
  std::size_t tried = 0;
  for (std::sregex_iterator one(help.begin(), help.end(), an_option), end; one != end; ++one) {
    const std::string name = (*one)[2];
    SCOPED_TRACE(name);
    const auto option = all.find(name);
    ASSERT_NE(option, all.end()) << "say above how this option is tried";
    if (option->second.arguments.empty()) continue;
    const auto read = [&](std::vector<std::string> arguments) {
      arguments.insert(arguments.begin(), "read");
      arguments.push_back("--json");
      process_result result = run_tool(arguments);
      EXPECT_EQ(result.exit_code, 0) << result.err;
      return result.out;
    };
    const std::string first = read(option->second.arguments);
    ASSERT_NE(without_closing(first), "");
    std::vector<std::string> printed = option->second.again;
    printed.push_back(closing_of(first).at("selection"));
    EXPECT_EQ(read(printed), first);
    ++tried;
  }
  EXPECT_GT(tried, 20u);
}

// ---- columns beside channels

TEST(Column, NeedsNoChannelOfItsName) {
  const std::string folder = demo().folder.path().string();
  const auto rows = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"read", folder, "--json", "--column", "LINAC/RF/001"});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return without_closing(result.out);
  };
  const std::string alone = rows({});
  EXPECT_EQ(event_lines(alone).size(), key_of(demo(), "LINAC/RF/001").size());
  EXPECT_EQ(rows({"-c", "LINAC/BPM/001"}), alone);
  EXPECT_EQ(rows({"-c", "LINAC/BPM/001", "-c", "LINAC/RF/001"}), alone);
  EXPECT_EQ(rows({"-c", "LINAC/RF/*"}), alone);
  EXPECT_EQ(rows({"-c", "LINAC/RF/001:1"}), alone);
}

}  // namespace
