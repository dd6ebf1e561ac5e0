// What verbs of the dataset layer are asked to read: selections as a
// text, as words, as options, folders; and the text that they print.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "key_lines.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class Selection : public testing::TestWithParam<const char*> {
 protected:
  const demo_data& data = demo_of(GetParam());
  const std::string folder = data.folder.path().string();

  std::string read(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "read");
    arguments.push_back("--json");
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result.out;
  }
};
INSTANTIATE_TEST_SUITE_P(Generations, Selection, testing::Values("current", "older"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

TEST_P(Selection, IsReadAsAText) {
  const std::string out =
      read({"file=" + folder + " chan=LINAC/BPM/001,LINAC/ENERGY/001 event=1000010-1000020 step=5"});
  EXPECT_THAT(event_numbers(out), ElementsAre(1000010, 1000015, 1000020));
  for (const json& event : event_lines(out)) {
    ASSERT_EQ(event.at("channels").size(), 2u);
    EXPECT_EQ(event.at("channels")[0].at("channel"), "LINAC/BPM/001");
    EXPECT_EQ(event.at("channels")[1].at("channel"), "LINAC/ENERGY/001");
  }
}

TEST_P(Selection, IsTheSameAsWordsAndAsOptions) {
  const std::string text = read({"file=" + folder + " chan=LINAC/BPM/* event=1000010-1000020 step=5"});
  EXPECT_EQ(read({"file=" + folder, "chan=LINAC/BPM/*", "event=1000010-1000020", "step=5"}), text);
  EXPECT_EQ(without_closing(read({folder, "-c", "LINAC/BPM/*", "--first-event", "1000010", "--last-event",
                                  "1000020", "--step", "5"})),
            without_closing(text));
}

TEST_P(Selection, IsPrintedBackSoThatItReadsTheSame) {
  const std::string out = read({folder, "-c", "LINAC/BPM/001:1", "-c", "LINAC/MAGNET/001", "--from",
                                "2025-03-01T08:00:01", "--to", "+2s", "--step", "3", "--mode", "time"});
  const std::string text = closing_of(out).at("selection");
  EXPECT_THAT(text, HasSubstr("slow=hold"));
  EXPECT_EQ(read({text}), out);
}

TEST_P(Selection, GivesWayToOptions) {
  EXPECT_EQ(event_numbers(read(
                {"file=" + folder + " chan=LINAC/BPM/001 step=2 event=1000001-1000020", "--step", "10"})),
            (std::vector<unsigned>{1000001, 1000011}));
}

TEST_P(Selection, OfAFolderIsThatOfItsFiles) {
  EXPECT_EQ(without_closing(read({folder, "-c", "*"})),
            without_closing(read({data.files[0], data.files[1], "-c", "*"})));
}

TEST_P(Selection, TakesRegularExpressions) {
  const std::string out =
      read({folder, "-c", "~LINAC/(BPM|RF)/00[12]", "--first-event", "1000010", "--last-event", "1000010"});
  std::vector<std::string> names;
  const json event = event_lines(out).at(0);
  for (const json& channel : event.at("channels")) names.push_back(channel.at("channel"));
  EXPECT_THAT(names, ElementsAre("LINAC/BPM/001", "LINAC/BPM/002", "LINAC/RF/001", "LINAC/RF/002"));
}

TEST_P(Selection, JoinsAsItSays) {
  std::set<unsigned> both;
  for (const auto& [event, line] : key_of(data, "LINAC/BPM/HALF_RATE"))
    if (key_of(data, "LINAC/TOROID/GAPS").contains(event)) both.insert(event);
  const auto all = event_numbers(
      read({folder, "-c", "LINAC/BPM/HALF_RATE", "-c", "LINAC/TOROID/GAPS", "--join", "all"}));
  EXPECT_EQ(std::set<unsigned>(all.begin(), all.end()), both);
  const auto with = event_numbers(read({folder, "-c", "LINAC/BPM/HALF_RATE", "-c", "LINAC/TOROID/GAPS",
                                        "--join", "with:LINAC/BPM/HALF_RATE"}));
  EXPECT_EQ(with.size(), key_of(data, "LINAC/BPM/HALF_RATE").size());
}

// A text means the same wherever it is read; options show the last value of a slow channel.
TEST_P(Selection, OfATextHoldsSlowValuesOnlyWhenItSaysSo) {
  const std::string text = "file=" + folder + " chan=LINAC/BPM/001,LINAC/MAGNET/001 event=1000001-1000003";
  const auto held = [&](const std::string& out) {
    std::size_t count = 0;
    for (const json& event : event_lines(out))
      for (const json& channel : event.at("channels")) count += channel.at("held").get<bool>() ? 1 : 0;
    return count;
  };
  EXPECT_EQ(held(read({text})), 0u);
  EXPECT_EQ(held(read({text + " slow=hold"})), 2u);
  EXPECT_EQ(held(read({text, "--slow", "hold"})), 2u);
}

TEST_P(Selection, MarksHeldValuesThatAreTooOld) {
  const std::string out =
      read({folder, "-c", "LINAC/BPM/001", "-c", "LINAC/MAGNET/001", "--max-age", "600ms"});
  std::size_t stale = 0, held = 0;
  for (const json& event : event_lines(out))
    for (const json& channel : event.at("channels")) {
      if (!channel.at("held").get<bool>()) continue;
      const bool is_old = channel.at("age_us").get<long long>() > 600000;
      EXPECT_EQ(channel.at("value_status"), is_old ? "stale" : "held");
      EXPECT_TRUE(channel.contains("value"));
      (is_old ? stale : held) += 1;
    }
  EXPECT_GT(stale, 20u);
  EXPECT_GT(held, 15u);
  const process_result table = run_tool({"read", folder, "-c", "LINAC/BPM/001", "-c", "LINAC/MAGNET/001",
                                         "--max-age", "600ms", "--limit", "10"});
  EXPECT_THAT(table.out, HasSubstr("  (held)\n"));
  EXPECT_THAT(table.out, testing::ContainsRegex("  \\(stale, [0-9]+ ms\\)\n"));
}

TEST_P(Selection, IsPrintedToPeopleAfterTheEventsWithTheLedger) {
  const process_result result =
      run_tool({"read", "file=" + folder + " chan=LINAC/BPM/001,LINAC/BPM/002 event=1000007"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.err, "selection: linac/main file=" + folder +
                            " chan=LINAC/BPM/001,LINAC/BPM/002 event=1000007\n"
                            "ledger: 2 values expected = 2 delivered + 0 missing\n");
}

// In another directory a relative path would be another file.
TEST_P(Selection, IsPrintedWithPathsThatHoldAnywhere) {
  const auto run = [&](const std::string& arguments) {
    return run_process({"/bin/sh", "-c",
                        "cd '" + data.folder.path().parent_path().string() +
                            "' && RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME=1 '" RAVO_TOOL "' " + arguments});
  };
  const std::string name = data.folder.path().filename().string();
  const std::string all = " chan=LINAC/BPM/001 event=1000007";
  EXPECT_THAT(run("read 'file=" + name + all + "'").err,
              StartsWith("selection: linac/main file=" + folder + all + "\n"));
  EXPECT_THAT(run("read ./" + name + "/../" + name + " -c LINAC/BPM/001 --slow none").err,
              StartsWith("selection: linac/main file=" + folder + " chan=LINAC/BPM/001\n"));
  const process_result by_run = run("plan --json 'run=1 catalog=none data=" + name + ":other" + all + "'");
  EXPECT_EQ(by_run.exit_code, 0) << by_run.err;
  const std::string parent = data.folder.path().parent_path().string();
  EXPECT_EQ(closing_of(by_run.out).at("selection"),
            "linac/main run=1 catalog=" + parent + "/none data=" + folder + ":" + parent + "/other" + all);
}

TEST_P(Selection, OfARunIsFoundInTheCatalogue) {
  const temporary_folder catalogue;
  const std::vector<std::string> at_once = {"/usr/bin/env", "RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME=1",
                                            RAVO_TOOL};
  const auto run = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), at_once.begin(), at_once.end());
    return run_process(arguments);
  };
  ASSERT_EQ(run({"catalog", "build", folder, "--into", catalogue.file("cat")}).exit_code, 0);
  const std::string expected = without_closing(read({folder, "-c", "LINAC/BPM/001"}));
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"linac/main run=1 catalog=" + catalogue.file("cat") +
                                 " chan=LINAC/BPM/001"},
        {"linac/main", "run=1", "catalog=" + catalogue.file("cat"), "chan=LINAC/BPM/001"},
        {"run=1", "chan=LINAC/BPM/001", "--data", folder},
        {"from=2025-03-01T08:00:00Z", "to=2025-03-01T09:00:00Z", "data=" + folder, "chan=LINAC/BPM/001"}}) {
    std::vector<std::string> arguments = {"read", "--json"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    const process_result result = run(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(without_closing(result.out), expected) << words[0];
  }
}

// ---- wrong ones, by each verb ------------------------------------------------------------------------

class WrongSelection : public testing::TestWithParam<const char*> {
 protected:
  process_result run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), GetParam());
    return run_tool(arguments);
  }
  const std::string folder = demo().folder.path().string();
};
INSTANTIATE_TEST_SUITE_P(Verbs, WrongSelection, testing::Values("read", "plan", "digest", "stat"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

TEST_P(WrongSelection, NamesTheWordThatCannotBeRead) {
  const process_result result = run({"file=" + folder + " chan=LINAC/BPM/001 stpe=2"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, StartsWith("ravo: \"stpe=2\" cannot be read: the keys are run, file, chan, "));
}

TEST_P(WrongSelection, NamesTheNearestChannels) {
  const process_result result = run({"file=" + folder + " chan=LINAC/BMP/001"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err,
              StartsWith("ravo: no channel matches \"LINAC/BMP/001\"; did you mean LINAC/BPM/001, "));
}

TEST_P(WrongSelection, NamesAFileThatIsNotThere) {
  const process_result result = run({demo().files[0], folder + "/none.raw", "-c", "LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "ravo: " + folder + "/none.raw: No such file or directory\n");
}

TEST_P(WrongSelection, SaysThatNothingSaysWhatToRead) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"-c", "X"}, std::vector<std::string>{"chan=X"}}) {
    const process_result result = run(arguments);
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ravo: say what to read: FILES, or --run N[-M], or --from TIME and --to TIME\n");
  }
}

TEST_P(WrongSelection, RefusesLimitsThatMakeNoSense) {
  const std::vector<std::pair<std::vector<std::string>, const char*>> lines = {
      {{"--max-missing", "2"}, "--max-missing: '2' is no share; write 0.01, or 1%"},
      {{"--max-missing", "nan"}, "--max-missing: 'nan' is no share; write 0.01, or 1%"},
      {{"--max-missing", "-1%"}, "--max-missing: '-1%' is no share; write 0.01, or 1%"},
      {{"--max-missing", "5%%"}, "--max-missing: '5%%' is no share; write 0.01, or 1%"},
      {{"--memory", "0"}, "--memory: '0' is no amount of memory; write 512M, or 2G"},
      {{"--memory", "5T"}, "--memory: '5T' is no amount of memory; write 512M, or 2G"},
      {{"--memory", "99999999999999999G"},
       "--memory: '99999999999999999G' is no amount of memory; write 512M, or 2G"}};
  for (const auto& [added, message] : lines) {
    std::vector<std::string> arguments = {folder, "-c", "LINAC/BPM/001"};
    arguments.insert(arguments.end(), added.begin(), added.end());
    const process_result result = run(arguments);
    EXPECT_EQ(result.exit_code, 2) << message;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, std::string("ravo: ") + message + "\n");
  }
}

TEST_P(WrongSelection, IsOneWithoutAName) {
  const process_result result = run({folder, "-c", ""});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err, "ravo: --channel: '' is no name of a channel\n");
}

TEST_P(WrongSelection, IsOneOfFilesAndRuns) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{folder, "run=1"}, {"file=" + folder + " run=1"}}) {
    const process_result result = run(words);
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ravo: run= is for requests without FILES\n");
  }
}

TEST_P(WrongSelection, IsOneOfMoreRunsThanAnybodyMeans) {
  const process_result result = run({"run=1-2147483647 chan=LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err, "ravo: run=1-2147483647 are more than 1000000 runs\n");
}

TEST_P(WrongSelection, IsOneThatEndsBeforeItBegins) {
  const process_result result = run({"file=" + folder + " chan=LINAC/BPM/001 from=20 to=10"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err,
            "ravo: --from 1970-01-01T00:00:20.000000Z is after --to 1970-01-01T00:00:10.000000Z\n");
}

TEST_P(WrongSelection, IsOneWithAnAgeOfValuesThatAreNotHeld) {
  const process_result result = run({"file=" + folder + " chan=LINAC/BPM/001 max_age=2s"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "ravo: --max-age says how old a held value may be: it needs --slow hold or nearest\n");
}

TEST_P(WrongSelection, OfNoEventsIsNoFailure) {
  const process_result result = run({folder, "-c", "LINAC/BPM/001", "--first-event", "2000000", "--json"});
  EXPECT_EQ(result.exit_code, 0);
  const json closing = closing_of(result.out);
  EXPECT_EQ(closing.at("end"), "complete");
  EXPECT_EQ(closing.at("ledger").at("expected"), 0);
}

TEST_P(WrongSelection, OfAMemberThatIsNotThereNamesTheMembers) {
  const process_result result = run({folder, "-c", "LINAC/BPM/001:7"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "ravo: LINAC/BPM/001 has no member 7; it has 0 X, 1 Y, 2 CHARGE\n");
}

}  // namespace
