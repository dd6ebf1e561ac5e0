// How the verbs of the dataset layer handle damage: values that say why they are missing,
// the ledger, and exit codes by policy. The simulator damages the files and says where.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "key_lines.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

// Two files of forty events, of which a fault damages the first.
struct damaged_data {
  damaged_data(const std::string& generation, const std::string& fault) {
    const process_result made =
        run_tool({"simulate", folder.path().string(), "--files", "2", "--events", "40", "--channels", "20",
                  "--generation", generation, "--fault", fault});
    if (made.exit_code != 0) throw std::runtime_error(made.err);
    files = raw_files(folder.path());
    const std::vector<unsigned char> bytes = read_file(files.at(0) + ".expected.json");
    const auto lines = json_lines(std::string(bytes.begin(), bytes.end()));
    for (const json& line : lines)
      if (line.contains("event")) expected = line;
  }
  temporary_folder folder;
  std::vector<std::string> files;
  json expected;  // the finding that names channel and event
};

// One bit of a compressed block is flipped.
class MissingValue : public testing::TestWithParam<const char*> {
 protected:
  MissingValue() : channel(data.expected.at("channel")), event(data.expected.at("event")) {}

  process_result run(const std::string& verb, const std::vector<std::string>& more) const {
    std::vector<std::string> arguments = {verb, data.folder.path().string(), "-c", channel,
                                          "-c", "LINAC/ENERGY/001"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_tool(arguments);
  }
  void expect_in_ledger(const json& closing) const {
    const json& ledger = closing.at("ledger");
    EXPECT_EQ(ledger.at("missing"), 1);
    EXPECT_EQ(ledger.at("expected"), ledger.at("delivered").get<int>() + 1);
    ASSERT_EQ(ledger.at("values").size(), 1u);
    const json& value = ledger.at("values")[0];
    EXPECT_EQ(value.at("channel"), channel);
    EXPECT_EQ(value.at("event"), event);
    EXPECT_EQ(value.at("file"), data.files[0]);
    EXPECT_EQ(value.at("offset"), data.expected.at("offset"));
    EXPECT_THAT(value.at("cause").get<std::string>(), testing::AnyOf("bad_checksum", "cannot_inflate"));
  }

  const damaged_data data{GetParam(), "flipped-bit"};
  const std::string channel;
  const unsigned event;
};
INSTANTIATE_TEST_SUITE_P(Generations, MissingValue, testing::Values("current", "older"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

TEST_P(MissingValue, SaysWhyInItsEvent) {
  const process_result result = run("read", {"--json"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  std::size_t missing = 0;
  for (const json& one : event_lines(result.out)) {
    ASSERT_EQ(one.at("channels").size(), 2u);
    const json& value = one.at("channels")[0];
    ASSERT_EQ(value.at("channel"), channel);
    EXPECT_EQ(one.at("channels")[1].at("value_status"), "ok");
    if (value.at("value_status") == "ok") {
      EXPECT_TRUE(value.contains("members"));
      continue;
    }
    ++missing;
    EXPECT_EQ(one.at("event"), event);
    EXPECT_TRUE(value.contains("problem"));
    EXPECT_FALSE(value.contains("members"));
    EXPECT_FALSE(value.contains("value"));
  }
  EXPECT_EQ(missing, 1u);
  EXPECT_EQ(closing_of(result.out).at("end"), "complete");
  expect_in_ledger(closing_of(result.out));
}

TEST_P(MissingValue, IsShownToPeople) {
  const process_result result = run("read", {});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out,
              testing::ContainsRegex("  " + channel + " +no data: (bad checksum|cannot inflate)\n"));
  EXPECT_THAT(result.err, HasSubstr(" delivered + 1 missing\n  " + channel + ": 1 of "));
  EXPECT_THAT(result.err, HasSubstr(" event " + std::to_string(event) + ": "));
  EXPECT_THAT(result.err, HasSubstr(data.files[0] + " at "));
}

TEST_P(MissingValue, IsARowOfItsColumn) {
  const process_result result = run("read", {"--column", channel, "--json"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  const std::vector<json> rows = event_lines(result.out);
  for (const json& row : rows) {
    EXPECT_EQ(row.at("value_status") != "ok", row.at("event") == event);
    EXPECT_EQ(row.contains("members"), row.at("event") != event);
  }
  expect_in_ledger(closing_of(result.out));
  EXPECT_THAT(run("read", {"--column", channel}).out,
              testing::ContainsRegex(" +" + std::to_string(event) +
                                     "  [-0-9T:.]+Z  (bad checksum|cannot inflate) +-\n"));
}

TEST_P(MissingValue, EndsAStrictReadingWithCode1) {
  for (const std::string verb : {"read", "digest", "stat"}) {
    const process_result result = run(verb, {"--strict", "--json"});
    EXPECT_EQ(result.exit_code, 1) << verb;
    EXPECT_THAT(result.err, StartsWith("ravo: a value of " + channel + " is missing (")) << verb;
    EXPECT_THAT(result.err, HasSubstr("event " + std::to_string(event) + " in " + data.files[0])) << verb;
    EXPECT_EQ(closing_of(result.out).at("end"), "missing_data") << verb;
  }
  const process_result column = run("read", {"--strict", "--column", channel});
  EXPECT_EQ(column.exit_code, 1);
  EXPECT_EQ(column.out, "");
}

TEST_P(MissingValue, CountsAgainstTheShareThatMayBeMissing) {
  for (const std::string verb : {"read", "digest", "stat"}) {
    EXPECT_EQ(run(verb, {"--max-missing", "10%"}).exit_code, 0) << verb;
    const process_result refused = run(verb, {"--max-missing", "0.001", "--json"});
    EXPECT_EQ(refused.exit_code, 1) << verb;
    EXPECT_THAT(refused.err, StartsWith("ravo: 1 of ")) << verb;
    EXPECT_THAT(refused.err, testing::EndsWith(" values are missing, more than the policy allows\n"))
        << verb;
    EXPECT_EQ(closing_of(refused.out).at("end"), "missing_data") << verb;
  }
}

TEST_P(MissingValue, StrictAndAShareExcludeEachOther) {
  const process_result result = run("read", {"--max-missing", "10%", "--strict"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_THAT(result.err, HasSubstr("excludes"));
}

TEST_P(MissingValue, IsCountedByStat) {
  for (const json& row : event_lines(run("stat", {"--json"}).out))
    EXPECT_EQ(row.at("missing"), row.at("channel") == channel ? 1 : 0);
}

TEST_P(MissingValue, DoesNotConcernAPlan) {
  const process_result result = run("plan", {"--strict"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

// A slow value that cannot be read is missing at its own event; at events
// where it would be held, it says why it is missing, and is not counted again.
TEST(MissingSlowValue, IsNotThereWhereItWouldBeHeld) {
  const damaged_data data("current", "compressed-update");
  const std::string channel = data.expected.at("channel");
  const unsigned event = data.expected.at("event");
  const std::vector<std::string> arguments = {"read", data.folder.path().string(), "-c", channel,
                                              "-c",   "LINAC/ENERGY/001"};
  std::vector<std::string> with_json = arguments;
  with_json.push_back("--json");
  const process_result result = run_tool(with_json);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  std::size_t own = 0, held = 0;
  for (const json& one : event_lines(result.out))
    for (const json& value : one.at("channels")) {
      if (value.at("channel") != channel || value.at("event") != event) continue;
      EXPECT_FALSE(value.contains("value"));
      EXPECT_TRUE(value.contains("problem"));
      (value.at("held").get<bool>() ? held : own) += 1;
    }
  EXPECT_EQ(own, 1u);
  EXPECT_GT(held, 0u);
  EXPECT_EQ(closing_of(result.out).at("ledger").at("missing"), 1);
  EXPECT_THAT(run_tool(arguments).out,
              testing::ContainsRegex(channel + " +no data: [a-z ]+  \\(held\\)\n"));
  const process_result stat = run_tool({"stat", data.folder.path().string(), "-c", channel, "--slow",
                                        "hold", "-c", "LINAC/ENERGY/001", "--json"});
  for (const json& row : event_lines(stat.out))
    EXPECT_EQ(row.at("missing"), row.at("channel") == channel ? 1 : 0);
}

// ---- files -------------------------------------------------------------------------------------------

TEST(MissingFile, IsLeftOutAndReported) {
  const damaged_data data("current", "truncated");
  const std::string folder = data.folder.path().string();
  for (const std::string verb : {"read", "plan", "digest", "stat"}) {
    const process_result lenient = run_tool({verb, folder, "-c", "LINAC/BPM/001", "--json"});
    EXPECT_EQ(lenient.exit_code, 0) << lenient.err;
    const json files = closing_of(lenient.out).at("ledger").at("files");
    ASSERT_EQ(files.size(), 1u) << verb;
    EXPECT_EQ(files[0].at("file"), data.files[0]);
    EXPECT_EQ(files[0].at("reason"), "not_a_raw_file");
    EXPECT_THAT(files[0].at("problem").get<std::string>(),
                HasSubstr("it begins like a raw file, so its end is missing or damaged"));
    const process_result table = run_tool({verb, folder, "-c", "LINAC/BPM/001"});
    EXPECT_THAT(table.err, HasSubstr("\n  left out: " + data.files[0] + ": not a readable raw file: "))
        << verb;
    const process_result strict = run_tool({verb, folder, "-c", "LINAC/BPM/001", "--strict"});
    EXPECT_EQ(strict.exit_code, 1);
    EXPECT_EQ(strict.out, "");
    EXPECT_THAT(strict.err, StartsWith("ravo: " + data.files[0] + ": not a readable raw file: ")) << verb;
    // The number of its values is not known, so any limit below 100 % counts as exceeded.
    const process_result limited = run_tool({verb, folder, "-c", "LINAC/BPM/001", "--max-missing", "99%"});
    EXPECT_EQ(limited.exit_code, 1) << verb;
    EXPECT_EQ(limited.err, strict.err) << verb;
    EXPECT_EQ(run_tool({verb, folder, "-c", "LINAC/BPM/001", "--max-missing", "1"}).exit_code, 0) << verb;
  }
  EXPECT_EQ(event_numbers(run_tool({"read", folder, "-c", "LINAC/BPM/001", "--json"}).out).size(), 40u);
}

TEST(MissingFile, OfWhichThereIsNoOtherIsRefused) {
  const damaged_data data("current", "truncated");
  const process_result result = run_tool({"read", data.files[0], "-c", "LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, StartsWith("ravo: " + data.files[0] + ": not a readable raw file: "));
}

// A file of the run catalogue is missing, and nothing was ever recorded in two of the runs.
TEST(MissingFile, ThatTheCatalogueListsIsReported) {
  const temporary_folder place;
  const std::string data = place.file("data"), catalogue = place.file("catalogue");
  const auto run = [](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(),
                     {"/usr/bin/env", "RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME=1", RAVO_TOOL});
    return run_process(arguments);
  };
  ASSERT_EQ(run({"simulate", data, "--files", "3", "--events", "5", "--channels", "20"}).exit_code, 0);
  ASSERT_EQ(run({"catalog", "build", data, "--into", catalogue}).exit_code, 0);
  const std::string gone = raw_files(data).at(1);
  std::filesystem::remove(gone);
  const std::string reason = gone + ": the run catalogue lists it, and it is not in the data folders";
  const std::string runs =
      "ravo: No files are found of runs 2-3: the run catalogue has none with events; build it again if "
      "some have come since\n";
  for (const std::string verb : {"read", "plan", "digest", "stat"}) {
    const std::vector<std::string> asked = {verb,      "--run", "1-3",          "--catalog",
                                            catalogue, "-c",    "LINAC/BPM/001"};
    const auto with = [&](const char* more) {
      std::vector<std::string> arguments = asked;
      arguments.push_back(more);
      return run(arguments);
    };
    const process_result table = run(asked);
    EXPECT_EQ(table.exit_code, 0) << verb;
    EXPECT_THAT(table.err, StartsWith(runs)) << verb;
    EXPECT_THAT(table.err, HasSubstr("\n  left out: " + reason + "\n")) << verb;
    const process_result lines = with("--json");
    EXPECT_EQ(lines.err, runs) << verb;
    const json ledger = closing_of(lines.out).at("ledger");
    EXPECT_EQ(ledger.at("files").at(0).at("reason"), "missing") << verb;
    EXPECT_EQ(ledger.at("files").at(0).at("problem"), reason) << verb;
    EXPECT_EQ(ledger.at("problems").size(), 1u) << verb;
    EXPECT_EQ(with("--strict").exit_code, 1) << verb;
    EXPECT_EQ(with("--max-missing=50%").exit_code, 1) << verb;
  }
}

// ---- memory and Ctrl-C -------------------------------------------------------------------------------

TEST(TooLittleMemory, IsSaidWithExitCode1) {
  const process_result result =
      run_tool({"read", demo().files[0], "-c", "LINAC/BPM/001", "--memory", "4k", "--json"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, testing::ContainsRegex("^ravo: .*memory"));
  EXPECT_EQ(closing_of(result.out).at("end"), "memory_exceeded");
}

// The output goes into a pipe that holds much less than all
// of it: the tool is still printing when it is interrupted.
TEST(Interrupt, EndsAReadingWithTheLedgerOfWhatWasDelivered) {
  const temporary_folder folder;
  const std::string pipe = folder.file("out");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  started_process tool({"/bin/sh", "-c",
                        "exec '" RAVO_TOOL "' read '" + demo().folder.path().string() +
                            "' -c '*' --json --checksum > '" + pipe + "'"});
  const int lines = open(pipe.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(lines, 0);
  std::string out;
  char part[4096];
  ssize_t got = read(lines, part, sizeof part);
  ASSERT_GT(got, 0);
  out.append(part, static_cast<std::size_t>(got));
  ASSERT_EQ(kill(tool.id(), SIGINT), 0);
  while ((got = read(lines, part, sizeof part)) > 0) out.append(part, static_cast<std::size_t>(got));
  close(lines);
  const process_result result = tool.wait();
  EXPECT_EQ(result.exit_code, 130);
  EXPECT_EQ(result.err, "");
  const json closing = closing_of(out);
  EXPECT_EQ(closing.at("end"), "interrupted");
  std::size_t delivered = 0;
  const std::vector<json> events = event_lines(out);
  EXPECT_LT(events.size(), 82u);
  for (const json& event : events)
    for (const json& channel : event.at("channels")) delivered += channel.at("held").get<bool>() ? 0 : 1;
  EXPECT_EQ(closing.at("ledger").at("delivered"), delivered);
  EXPECT_EQ(closing.at("events"), events.size());
}

}  // namespace
