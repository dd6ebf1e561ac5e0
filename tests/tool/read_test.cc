// ravo read: windows, members, patterns, both modes, and its output,
// over files of both generations and in both ways of reading.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

class Read : public testing::TestWithParam<const char*> {
 protected:
  const demo_data& data() const { return demo_of(generation()); }
  std::string generation() const { return is_older() ? "older" : "current"; }
  bool is_older() const { return std::string(GetParam()).starts_with("older"); }
  bool is_classic() const { return std::string(GetParam()).ends_with("classic"); }

  // The arguments, with the way of reading among them.
  std::vector<std::string> in_this_way(std::vector<std::string> arguments) const {
    if (is_classic()) arguments.push_back("--classic");
    return arguments;
  }
  process_result read(const std::vector<std::string>& arguments) const {
    return read_demo(in_this_way(arguments), data());
  }

  std::vector<unsigned> events_read(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--json", "-c", "LINAC/BPM/001"});
    const process_result result = read(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return event_numbers(result.out);
  }

  std::string time_of_event(unsigned number) const {
    for (const json& line : data().key)
      if (line.at("event") == number && line.at("channel") == "LINAC/BPM/001") return line.at("time");
    return "";
  }
};

class ClassicRead : public Read {};
class DatasetRead : public Read {};

constexpr auto name_of_way = [](const testing::TestParamInfo<const char*>& tested) {
  return std::string(tested.param);
};
INSTANTIATE_TEST_SUITE_P(GenerationsAndWays, Read,
                         testing::Values("current", "older", "current_classic", "older_classic"),
                         name_of_way);
INSTANTIATE_TEST_SUITE_P(Generations, ClassicRead, testing::Values("current_classic", "older_classic"),
                         name_of_way);
INSTANTIATE_TEST_SUITE_P(Generations, DatasetRead, testing::Values("current", "older"), name_of_way);

std::vector<unsigned> range(unsigned first, unsigned last) {
  std::vector<unsigned> numbers;
  for (unsigned number = first; number <= last; ++number) numbers.push_back(number);
  return numbers;
}

TEST_P(Read, WithoutAWindowReadsAllEvents) { EXPECT_EQ(events_read({}), range(1000001, 1000080)); }

TEST_P(Read, TakesFilesInAnyOrderAndTwice) {
  const process_result result = run_tool(in_this_way(
      {"read", data().files[1], data().files[0], data().files[1], "--json", "-c", "LINAC/BPM/001"}));
  EXPECT_EQ(event_numbers(result.out), range(1000001, 1000080));
}

TEST_P(Read, FindsABareNameInTheFolderWhereItRuns) {
  const std::string name = std::filesystem::path(data().files[0]).filename().string();
  const process_result result =
      run_process({"/bin/sh", "-c",
                   "cd '" + data().folder.path().string() + "' && '" RAVO_TOOL "' read " + name +
                       " --json -c LINAC/BPM/001 --limit 1" + (is_classic() ? " --classic" : "")});
  EXPECT_EQ(event_numbers(result.out), range(1000001, 1000001)) << result.err;
}

TEST_P(Read, KeepsTheEventWindowInBothModes) {
  for (const char* mode : {"evid", "time"})
    EXPECT_EQ(events_read({"--first-event", "1000038", "--last-event", "1000043", "--mode", mode}),
              range(1000038, 1000043));
}

TEST_P(Read, KeepsTheTimeWindowInBothModes) {
  for (const char* mode : {"evid", "time"})
    EXPECT_EQ(
        events_read({"--from", time_of_event(1000038), "--to", time_of_event(1000043), "--mode", mode}),
        range(1000038, 1000043));
}

TEST_P(Read, TakesTimesAsSeconds) {
  EXPECT_EQ(events_read({"--from", "1740816003.0", "--to", "1740816003.35"}), range(1000030, 1000033));
}

TEST_P(Read, HoldsEventAndTimeWindowTogether) {
  EXPECT_EQ(events_read({"--first-event", "1000010", "--to", time_of_event(1000012)}),
            range(1000010, 1000012));
  EXPECT_EQ(events_read({"--last-event", "1000012", "--from", time_of_event(1000010)}),
            range(1000010, 1000012));
}

TEST_P(Read, StopsAtTheLimit) { EXPECT_EQ(events_read({"--limit", "3"}), range(1000001, 1000003)); }

TEST_P(Read, SaysWhenNoEventLiesInTheWindow) {
  for (const std::vector<std::string>& window :
       {std::vector<std::string>{"--first-event", "2000000"},
        std::vector<std::string>{"--from", "2031-01-01"}, std::vector<std::string>{"--to", "2001-01-01"}}) {
    std::vector<std::string> arguments = window;
    arguments.insert(arguments.end(), {"-c", "LINAC/BPM/001"});
    const process_result result = read(arguments);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.out, "");
    const std::string closing = result.err.substr(result.err.find('\n') + 1);
    const std::string there =
        is_classic() ? "" : "; the files have events 1000000 to 1000081, of 2025-03-01T08:0";
    EXPECT_THAT(result.err,
                testing::StartsWith("ravo: no event of these channels lies in the window" + there));
    if (is_classic())
      EXPECT_EQ(closing, "");
    else
      EXPECT_THAT(closing, testing::AllOf(testing::StartsWith("selection: "),
                                          testing::EndsWith("ledger: 0 values expected = 0 delivered + 0 "
                                                            "missing\n")));
  }
}

TEST_P(Read, WidensAPatternInTheOrderOfTheFilesOrOfNames) {
  const process_result result =
      read({"-c", "LINAC/T*/00[12]", "--json", "--first-event", "1000010", "--limit", "1"});
  const json event = event_lines(result.out).at(0);
  std::vector<std::string> names;
  for (const json& channel : event.at("channels")) names.push_back(channel.at("channel"));
  if (is_classic())
    EXPECT_THAT(names, ElementsAre("LINAC/TOROID/001", "LINAC/TOROID/002", "LINAC/TEMPERATURE/001"));
  else
    EXPECT_THAT(names, ElementsAre("LINAC/TEMPERATURE/001", "LINAC/TOROID/001", "LINAC/TOROID/002"));
}

TEST_P(Read, TakesAChannelNamedTwiceOnce) {
  const process_result result =
      read({"-c", "LINAC/BPM/001", "-c", "LINAC/BPM/001", "-c", "LINAC/BPM/*1", "--json", "--limit", "1"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(event_lines(result.out).at(0).at("channels").size(), 1u);
}

TEST_P(Read, TakesChannelsBeforeBetweenAndAfterTheFiles) {
  const std::string first = data().files[0], second = data().files[1];
  const std::vector<std::vector<std::string>> lines = {
      {"read", "-c", "LINAC/BPM/001", "--channel", "LINAC/BPM/002", "--json", first, second},
      {"read", first, second, "--channel", "LINAC/BPM/001", "-c", "LINAC/BPM/002", "--json"},
      {"read", "-c", "LINAC/BPM/001", first, "-c", "LINAC/BPM/002", second, "--json"},
      {"read", first, "--channel=LINAC/BPM/001", second, "--channel=LINAC/BPM/002", "--json"}};
  const process_result expected = run_tool(in_this_way(lines[0]));
  EXPECT_EQ(event_numbers(expected.out), range(1000001, 1000080)) << expected.err;
  EXPECT_EQ(event_lines(expected.out).at(0).at("channels").size(), 2u);
  for (const std::vector<std::string>& line : lines)
    EXPECT_EQ(run_tool(in_this_way(line)).out, expected.out) << line[1];
}

TEST_P(Read, CutsAMember) {
  const json whole = event_lines(read({"-c", "LINAC/BPM/001", "--json", "--limit", "1"}).out).at(0);
  const json member = event_lines(read({"-c", "LINAC/BPM/001:1", "--json", "--limit", "1"}).out).at(0);
  EXPECT_EQ(member["channels"][0]["channel"], "LINAC/BPM/001:1");
  ASSERT_EQ(member["channels"][0]["members"].size(), 1u);
  EXPECT_EQ(member["channels"][0]["members"][0], whole["channels"][0]["members"][1]);
  EXPECT_EQ(member["channels"][0]["members"][0]["name"], "Y");
}

TEST_P(Read, HoldsTheLastValueOfASlowChannel) {
  const process_result result =
      read({"-c", "LINAC/RUN/BEGIN", "-c", "LINAC/BPM/001", "--json", "--limit", "2"});
  const auto events = event_lines(result.out);
  EXPECT_EQ(events.at(0)["channels"].size(), 1u);
  EXPECT_EQ(events.at(0)["channels"][0]["held"], false);
  EXPECT_EQ(events.at(1)["event"], 1000001);
  EXPECT_EQ(events.at(1)["channels"][0]["held"], true);
  EXPECT_EQ(events.at(1)["channels"][0]["event"], 1000000);
  EXPECT_EQ(events.at(1)["channels"][0]["value"], 1.0);
  EXPECT_EQ(events.at(1)["channels"][1]["held"], false);
}

TEST_P(Read, ShowsEveryKindToPeople) {
  const process_result result = read({"-c", "*", "--first-event", "1000020", "--limit", "1"});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  EXPECT_THAT(result.out, testing::StartsWith("event 1000020  " + time_of_event(1000020) +
                                              (is_older() ? "  (older generation)\n" : "\n")));
  for (const char* text :
       {"LINAC/BPM/001", "CHARGE", "mean", " nC\n", "MeV\n", "64 x 48 pixels of 1 byte",
        "48 x 40 pixels of 2 bytes", "LASER_ENERGY=", "\"feedback active\"", " degC  at "})
    EXPECT_THAT(result.out, HasSubstr(text));
  EXPECT_THAT(result.out, testing::Not(HasSubstr("\033"))) << "colour is for terminals";
}

TEST_P(Read, PrintsAScalarAsItsValue) {
  const json event = event_lines(read({"-c", "LINAC/ENERGY/001", "--json", "--limit", "1"}).out).at(0);
  EXPECT_EQ(event["channels"][0]["value"], event["channels"][0]["members"][0]["mean"]);
}

// Fifty events a second: neighbours are closer than the tolerance for ten.
TEST_P(Read, ByTimeStepsAsTheEventsDo) {
  const temporary_folder folder;
  const process_result made = run_tool({"simulate", folder.path().string(), "--rate", "50", "--files", "1",
                                        "--events", "20", "--generation", generation()});
  ASSERT_EQ(made.exit_code, 0);
  const std::string file = raw_files(folder.path()).at(0);
  const process_result all =
      run_tool(in_this_way({"read", file, "-c", "LINAC/BPM/001", "--mode", "time", "--json"}));
  EXPECT_EQ(all.exit_code, 0) << all.err;
  EXPECT_EQ(event_numbers(all.out), range(1000001, 1000020));
}

TEST_P(ClassicRead, RefusesAToleranceThatReachesTheNextEvent) {
  const process_result result = read({"-c", "LINAC/BPM/001", "--mode", "time", "--tolerance", "120"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err,
              testing::MatchesRegex(
                  "ravo: --tolerance: 120 ms is not smaller than the distance of events, [0-9.]+ ms\n"));
}

TEST_P(ClassicRead, KeepsTheLibrarysWordsOutOfItsOutput) {
  const process_result quiet = read({"-c", "LINAC/BPM/001", "--json", "--limit", "2"});
  const process_result loud = read({"-c", "LINAC/BPM/001", "--json", "--limit", "2", "--debug", "2"});
  EXPECT_EQ(quiet.err, "");
  EXPECT_EQ(loud.out, quiet.out);
  EXPECT_THAT(loud.err, HasSubstr("reader.get_data()"));
}

TEST_P(ClassicRead, SuggestsNamesForAnUnknownChannel) {
  const process_result result = read({"-c", "LINAC/BPM/HALFRATE"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(
      result.err,
      "ravo: channel LINAC/BPM/HALFRATE is in none of the files; did you mean LINAC/BPM/HALF_RATE?\n");
}

TEST_P(ClassicRead, PointsToTheListWhenNoNameIsNear) {
  const process_result result = read({"-c", "SOMETHING/ELSE/ENTIRELY/0815"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(
      result.err,
      "ravo: channel SOMETHING/ELSE/ENTIRELY/0815 is in none of the files; `ravo channels FILE` lists "
      "those that are\n");
}

TEST_P(ClassicRead, RefusesAPatternWithoutAMatch) {
  const process_result result = read({"-c", "RING/*"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: no channel of the files matches RING/*; `ravo channels FILE` lists them\n");
}

TEST_P(Read, RefusesAMemberThatIsNotThere) {
  const process_result result = read({"-c", "LINAC/BPM/001:3"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: LINAC/BPM/001 has no member 3; it has 0 X, 1 Y, 2 CHARGE\n");
  const process_result camera = read({"-c", "LINAC/CAMERA/001:1"});
  EXPECT_EQ(camera.exit_code, 1);
  EXPECT_EQ(camera.err, "ravo: LINAC/CAMERA/001 has a single member: ask for it without ':1'\n");
}

TEST_P(ClassicRead, RefusesTheOnlyMember) {
  const process_result camera = read({"-c", "LINAC/CAMERA/001:0"});
  EXPECT_EQ(camera.exit_code, 1);
  EXPECT_EQ(camera.err, "ravo: LINAC/CAMERA/001 has a single member: ask for it without ':0'\n");
}

TEST_P(ClassicRead, RefusesWhatOnlyTheDatasetLayerCan) {
  const std::vector<std::pair<std::vector<std::string>, const char*>> options = {
      {{"--step", "2"}, "a step of events"},
      {{"--join", "all"}, "a join of channels"},
      {{"--max-age", "3s"}, "an age of held values"},
      {{"--slow", "none"}, "--slow"},
      {{"--strict"}, "--strict"},
      {{"--max-missing", "1%"}, "--max-missing"},
      {{"--memory", "1G"}, "--memory"},
      {{"--threads", "2"}, "--threads"},
      {{"--column", "X"}, "--column"},
      {{"-c", "~LINAC.*"}, "a regular expression for channels"}};
  for (const auto& [added, what] : options) {
    std::vector<std::string> arguments = {"-c", "LINAC/BPM/001"};
    arguments.insert(arguments.end(), added.begin(), added.end());
    const process_result result = read(arguments);
    EXPECT_EQ(result.exit_code, 2) << what;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, std::string("ravo: ") + what + " is not for --classic\n");
  }
}

TEST_P(DatasetRead, NamesTheNearestChannelsOfAnUnknownOne) {
  const process_result result = read({"-c", "LINAC/BPM/HALFRATE"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err,
              testing::StartsWith("ravo: no channel matches \"LINAC/BPM/HALFRATE\"; did you mean "
                                  "LINAC/BPM/HALF_RATE?\n"));
  for (const std::string far : {"RING/*", "NOPE"})
    EXPECT_THAT(
        read({"-c", far}).err,
        testing::StartsWith("ravo: no channel matches \"" + far +
                            "\"; the files have 30 channels, none of a name like it; `ravo channels "
                            "FILE` lists them\n"));
  EXPECT_THAT(
      read({"-c", "LINAC/BMP/*"}).err,
      testing::StartsWith("ravo: no channel matches \"LINAC/BMP/*\"; did you mean LINAC/BPM/001, "));
}

TEST_P(DatasetRead, TakesAWrongRegularExpressionForAWrongCommandLine) {
  const process_result result = read({"-c", "~LINAC/(BPM"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_THAT(result.err, testing::StartsWith("ravo: \"~LINAC/(BPM\" is no regular expression: "));
}

// A wide tolerance makes one event of two; the ledger says which values that costs.
TEST_P(DatasetRead, CountsWhatATooWideToleranceCosts) {
  const process_result result = read(
      {"-c", "LINAC/BPM/001", "--mode", "time", "--tolerance", "120", "--last-event", "1000010", "--json"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  const json ledger = closing_of(result.out).at("ledger");
  EXPECT_EQ(ledger.at("delivered"), event_numbers(result.out).size());
  EXPECT_GT(ledger.at("missing"), 0);
  EXPECT_EQ(ledger.at("channels")[0].at("missing").at("second_of_an_event"), ledger.at("missing"));
}

TEST_P(DatasetRead, KeepsStandardErrorEmptyWithJson) {
  const process_result result = read({"-c", "LINAC/BPM/001", "--json", "--limit", "2"});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(closing_of(result.out).at("events"), 2);
}

}  // namespace
