// Help, version, and command lines that make no sense: exact exit codes and messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;

TEST(Help, OfTheToolNamesTheVerbsAndTheExitCodes) {
  const process_result result = run_tool({"--help"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, HasSubstr("--version"));
  EXPECT_THAT(
      result.out,
      testing::EndsWith("Exit codes: 0 fine, 1 a file or its data do not allow it, 2 the command line "
                        "makes no sense, 3 a check found\nnothing worse than what is odd, 130 ended by "
                        "Ctrl-C.\n"));
  EXPECT_THAT(verbs_of_the_tool(), testing::IsSupersetOf({"simulate", "info", "read", "show", "verify"}));
}

TEST(Help, OfEachVerbTeachesByExamples) {
  for (const std::string& verb : verbs_of_the_tool()) {
    SCOPED_TRACE(verb);
    const process_result result = run_tool({verb, "--help"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("Usage: ravo " + verb));
    EXPECT_THAT(result.out, HasSubstr("Examples:\n  ravo " + verb));
    EXPECT_THAT(result.out, HasSubstr("--json"));
  }
}

TEST(Help, VersionIsOneLine) {
  const process_result result = run_tool({"--version"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, testing::MatchesRegex("ravo [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

struct wrong_line {
  const char* name;
  std::vector<std::string> arguments;
  const char* message;
};

class WrongCommandLine : public testing::TestWithParam<wrong_line> {};

TEST_P(WrongCommandLine, EndsWithCode2AndSaysWhatIsWrong) {
  const process_result result = run_tool(GetParam().arguments);
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, GetParam().message);
}

const char* const file = "linac_main_run1_file1_20250301T080000Z.raw";

INSTANTIATE_TEST_SUITE_P(
    Lines, WrongCommandLine,
    testing::Values(
        wrong_line{
            "Nothing",
            {},
            "ravo: say what to do: simulate, info, channels, descr, index, headers, read, plan, digest, "
            "stat, show, catalog, verify or convert\nTry `ravo "
            "--help`.\n"},
        wrong_line{"UnknownVerb",
                   {"raed"},
                   "ravo: there is no verb 'raed'; did you mean read?\nTry `ravo --help`.\n"},
        wrong_line{"StrangeVerb",
                   {"xyzzy"},
                   "ravo: there is no verb 'xyzzy'; there are simulate, info, channels, descr, index, "
                   "headers, read, plan, digest, stat, show, catalog, verify and "
                   "convert\nTry `ravo --help`.\n"},
        wrong_line{
            "OptionBeforeVerb",
            {"--fast"},
            "ravo: '--fast' is no option of ravo itself; options follow the verb\nTry `ravo --help`.\n"},
        wrong_line{
            "MisspeltOption",
            {"read", file, "--chanel", "X"},
            "ravo: there is no option '--chanel'; did you mean --channel?\nTry `ravo read --help`.\n"},
        wrong_line{"StrangeOption",
                   {"info", file, "--xyzzy=1"},
                   "ravo: there is no option '--xyzzy'; --help lists those that are there\nTry `ravo info "
                   "--help`.\n"},
        wrong_line{"NoFile", {"info"}, "ravo: FILE is required\nTry `ravo info --help`.\n"},
        wrong_line{"HeadersOfNoChannel",
                   {"headers", file},
                   "ravo: CHANNEL is required\nTry `ravo headers --help`.\n"},
        wrong_line{"NoEventType",
                   {"index", file, "--type", "nrmal"},
                   "ravo: --type: there is no event type 'nrmal'; did you mean NORMAL?\n"},
        wrong_line{"AnEventTypeTooFar",
                   {"index", file, "--type", "32"},
                   "ravo: --type: there is no event type '32'; NORMAL is one, or a number from 0 to 31\n"},
        wrong_line{"NegativeIndexLimit",
                   {"index", file, "--limit", "-1"},
                   "ravo: --limit: '-1' is negative\nTry `ravo index --help`.\n"},
        wrong_line{"NoFolder", {"simulate"}, "ravo: DIR is required\nTry `ravo simulate --help`.\n"},
        wrong_line{"NoPlaceForConversions",
                   {"convert", file},
                   "ravo: --into is required\nTry `ravo convert --help`.\n"},
        wrong_line{"NothingToConvert",
                   {"convert", "--into", "d"},
                   "ravo: OLD is required\nTry `ravo convert --help`.\n"},
        wrong_line{"NoChannel",
                   {"read", file},
                   "ravo: --channel is required; `ravo channels FILE` lists the channels of a file\n"},
        wrong_line{"NothingToRead",
                   {"read", "-c", "X"},
                   "ravo: say what to read: FILES, or --run N[-M], or --from TIME and --to TIME\n"},
        wrong_line{"AnEndWithoutABeginning",
                   {"read", "-c", "X", "--to", "now"},
                   "ravo: say what to read: FILES, or --run N[-M], or --from TIME and --to TIME\n"},
        wrong_line{"FilesAndARun",
                   {"read", file, "-c", "X", "--run", "7"},
                   "ravo: --run is for requests without FILES\n"},
        wrong_line{"FilesAndAFolder",
                   {"read", file, "-c", "X", "--data", "d"},
                   "ravo: --data is for requests without FILES\n"},
        wrong_line{"FilesToBeExplained",
                   {"read", file, "--explain"},
                   "ravo: --explain is for requests without FILES\n"},
        wrong_line{"NoRun",
                   {"read", "-c", "X", "--run", "first"},
                   "ravo: --run: 'first' is no run; write 1207, or 1207-1210 for several\n"},
        wrong_line{"RunZero",
                   {"read", "-c", "X", "--run", "0"},
                   "ravo: --run: '0': runs that can be asked for count from 1\n"},
        wrong_line{"RunsTurnedRound",
                   {"read", "-c", "X", "--run", "9-8"},
                   "ravo: --run: '9-8' is no run; write 1207, or 1207-1210 for several\n"},
        wrong_line{"HalfARange",
                   {"read", "-c", "X", "--run", "9-"},
                   "ravo: --run: '9-' is no run; write 1207, or 1207-1210 for several\n"},
        wrong_line{"TooManyRuns",
                   {"read", "-c", "X", "--run", "1-2147483647"},
                   "ravo: --run: '1-2147483647' are more than 1000000 runs\n"},
        wrong_line{"APeriodAheadOfNow",
                   {"read", "-c", "X", "--from", "2106-01-01"},
                   "ravo: --from 2106-01-01 is after --to now\n"},
        wrong_line{"ALongExperiment",
                   {"read", "-c", "X", "--run", "1", "-e", "abcdefghijklmnopqrstuvwxyz012345"},
                   "ravo: --experiment: longer than the 31 letters that a request can hold\n"},
        wrong_line{"ChannelWithoutName",
                   {"read", file, "-c"},
                   "ravo: --channel: 1 required NAME missing\nTry `ravo read --help`.\n"},
        wrong_line{"NegativeLimit",
                   {"read", file, "-c", "X", "--limit", "-3"},
                   "ravo: --limit: '-3' is negative\nTry `ravo read --help`.\n"},
        wrong_line{"UnknownMode",
                   {"read", file, "-c", "X", "--mode", "both"},
                   "ravo: --mode: both not in {evid,time}\nTry `ravo read --help`.\n"},
        wrong_line{
            "BadTime",
            {"read", file, "-c", "X", "--from", "noon"},
            "ravo: --from: 'noon' is no time; write 2025-03-01T08:00:00.5Z, 'yesterday 14:00', -5min "
            "or seconds since 1970\n"},
        wrong_line{
            "UnknownZone",
            {"read", file, "-c", "X", "--tz", "Mars/Olympus"},
            "ravo: --tz: 'Mars/Olympus' is no time zone that this machine knows; write +01:00 or a name "
            "such as Europe/Berlin\n"},
        wrong_line{
            "ATimeThatNeverWas",
            {"read", file, "-c", "X", "--from", "2025-03-30 02:30", "--tz", "Europe/Berlin"},
            "ravo: --from: '2025-03-30 02:30' is a time that never was in Europe/Berlin: clocks are put "
            "forward over 2025-03-30T02:30:00\n"},
        wrong_line{
            "ATimeThatWasTwice",
            {"read", file, "-c", "X", "--to", "2025-10-26 02:30", "--tz", "Europe/Berlin"},
            "ravo: --to: '2025-10-26 02:30' was twice in Europe/Berlin, where clocks are put back; write "
            "2025-10-26T02:30:00+02:00 for the first time or 2025-10-26T02:30:00+01:00\n"},
        wrong_line{"ASpanBehindNothing",
                   {"read", file, "-c", "X", "--to", "+5min"},
                   "ravo: --to: '+5min' counts from --from, which is not given\n"},
        wrong_line{
            "BadStart",
            {"simulate", "d", "--start", "soon"},
            "ravo: --start: 'soon' is no time; write 2025-03-01T08:00:00.5Z, 'yesterday 14:00', -5min or "
            "seconds since 1970\n"},
        wrong_line{"EventsTurnedRound",
                   {"read", file, "-c", "X", "--first-event", "9", "--last-event", "8"},
                   "ravo: --first-event 9 is after --last-event 8\n"},
        wrong_line{"TimesTurnedRound",
                   {"read", file, "-c", "X", "--from", "9", "--to", "8"},
                   "ravo: --from 9 is after --to 8\n"},
        wrong_line{"NoEvents",
                   {"simulate", "d", "--events", "0"},
                   "ravo: --events: '0' is no number from 1 to 10000000\nTry `ravo simulate --help`.\n"},
        wrong_line{"TooFewChannels",
                   {"simulate", "d", "--channels", "3"},
                   "ravo: --channels: '3' is no number from 20 to 20000\nTry `ravo simulate --help`.\n"},
        wrong_line{"BothWaysToCount",
                   {"simulate", "d", "--channels", "30", "--bpms", "3"},
                   "ravo: --channels excludes --bpms\nTry `ravo simulate --help`.\n"},
        wrong_line{"TooManyEvents",
                   {"simulate", "d", "--files", "100000", "--events", "10000000"},
                   "ravo: so many runs, files and events leave the range of event numbers\n"},
        wrong_line{"TooLate",
                   {"simulate", "d", "--start", "4294967290"},
                   "ravo: the last event would be later than a time stamp can say\n"}),
    [](const testing::TestParamInfo<wrong_line>& tested) { return std::string(tested.param.name); });

}  // namespace
