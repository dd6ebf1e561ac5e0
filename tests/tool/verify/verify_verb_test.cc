// ravo verify: what it prints, where, and with which exit code.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// Two small files in a folder of their own, with these faults.
struct files {
  explicit files(const std::vector<std::string>& faults = {},
                 const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments = {"simulate", folder.path().string(), "--events",
                                          "30",       "--channels",           "20"};
    for (const std::string& one : faults) arguments.insert(arguments.end(), {"--fault", one});
    arguments.insert(arguments.end(), options.begin(), options.end());
    const process_result made = run_tool(arguments);
    EXPECT_EQ(made.exit_code, 0) << made.err;
  }
  process_result verify(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"verify", folder.path().string()});
    return run_tool(options);
  }
  temporary_folder folder;
};

std::vector<json> findings_of(const process_result& result) {
  std::vector<json> lines = json_lines(result.out);
  EXPECT_FALSE(lines.empty());
  if (!lines.empty()) lines.pop_back();
  return lines;
}

TEST(Verify, SaysOfGoodFilesThatNothingWasFound) {
  const process_result result = files().verify();
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, ContainsRegex("^2 files, [0-9]+ events, [0-9]+ good blocks: nothing found\n$"));
}

TEST(Verify, TellsAFindingInALine) {
  const files damaged({"flipped-bit@2"});
  const process_result result = damaged.verify();
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out,
              AllOf(StartsWith(raw_files(damaged.folder.path()).at(1) +
                               ": LINAC/BPM/001: the block cannot be inflated (zlib answers "),
                    ContainsRegex(", at event 10000[0-9]+, offset [0-9]+; copy the file again; "),
                    HasSubstr("[block.inflate]\n"), EndsWith(": 1 damaged, 0 odd\n")));
}

TEST(Verify, EndsByTheWorstFinding) {
  EXPECT_EQ(files({"missing-event@1"}).verify().exit_code, 3);
  EXPECT_EQ(files({"missing-event@1", "pointer-data@2"}).verify().exit_code, 1);
}

TEST(Verify, TellsAFileThatCannotBeReadAsAFinding) {
  const process_result result = run_tool({"verify", "/nowhere/a.raw"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.out,
              StartsWith("/nowhere/a.raw: the file cannot be read (No such file or directory)"));
}

TEST(Verify, TellsAFolderWithoutRawFiles) {
  const temporary_folder folder;
  const process_result result = run_tool({"verify", folder.path().string()});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: " + folder.path().string() + ": holds no .raw file\n");
}

TEST(Verify, QuickLooksAtHeadsAlone) {
  const files damaged({"flipped-bit@1", "length-block@2"});
  const process_result result = damaged.verify({"--quick"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.out, AllOf(HasSubstr("[block.length]"),
                                HasSubstr("good blocks by their heads: 1 damaged, 0 odd\n")));
}

TEST(Verify, PrintsJsonLinesAndTheTotals) {
  const process_result result = files({"original-longer@1"}).verify({"--json"});
  EXPECT_EQ(result.exit_code, 1);
  const std::vector<json> lines = json_lines(result.out);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].at("kind"), "block.original_length");
  EXPECT_EQ(lines[0].at("severity"), "damaged");
  EXPECT_EQ(lines[0].at("count"), 1);
  EXPECT_EQ(lines[1].at("files"), 2);
  EXPECT_EQ(lines[1].at("damaged"), 1);
  EXPECT_EQ(lines[1].at("odd"), 0);
  EXPECT_EQ(lines[1].at("quick"), false);
  EXPECT_GT(lines[1].at("blocks"), 100);
}

TEST(Verify, LearnsChannelsAndMissesThem) {
  const files good, lacking({"absent-channel"});
  const std::string list = good.folder.file("channels.txt");
  ASSERT_EQ(good.verify({"--learn", list}).exit_code, 0);
  EXPECT_EQ(good.verify({"--expect", list}).exit_code, 0);
  EXPECT_EQ(lacking.verify().exit_code, 0);
  const process_result result = lacking.verify({"--expect", list, "--json"});
  EXPECT_EQ(result.exit_code, 3);
  const auto found = findings_of(result);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].at("kind"), "channel.absent");
  EXPECT_EQ(found[0].at("channel"), "LINAC/BPM/001");
  EXPECT_EQ(found[0].at("detail"), "run 1 of linac_main");
  EXPECT_TRUE(found[0].at("file").is_null());
}

TEST(Verify, LearnsNothingFromDamagedFiles) {
  const files damaged({"lost-tail@1"});
  const std::string list = damaged.folder.file("channels.txt");
  const process_result result = damaged.verify({"--learn", list});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr("--learn: the files are damaged, so nothing was learned"));
  EXPECT_FALSE(std::filesystem::exists(list));
}

TEST(Verify, RefusesAListThatIsNotThere) {
  const process_result result = files().verify({"--expect", "/nowhere/list.txt"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "ravo: /nowhere/list.txt: No such file or directory\n");
}

TEST(Verify, FindsTheFilesOfARunInACatalogue) {
  const files two_runs({"pointer-data@3"}, {"--runs", "2"});
  const std::string catalogue = two_runs.folder.file("cat");
  ASSERT_EQ(setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1), 0);
  const process_result built =
      run_tool({"catalog", "build", two_runs.folder.path().string(), "--into", catalogue});
  unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
  ASSERT_EQ(built.exit_code, 0) << built.err;
  const auto verify_run = [&](const std::string& run) {
    return run_tool({"verify", "--run", run, "--catalog", catalogue});
  };
  EXPECT_EQ(verify_run("1").exit_code, 0);
  EXPECT_THAT(verify_run("1").out, StartsWith("2 files, "));
  EXPECT_EQ(verify_run("2").exit_code, 1);
  EXPECT_THAT(verify_run("1-2").out, AllOf(HasSubstr("[pointer.data]"), HasSubstr("4 files, ")));
  const process_result none = verify_run("7");
  EXPECT_EQ(none.exit_code, 1);
  EXPECT_EQ(none.err,
            "ravo: " + catalogue +
                ": the catalogue knows no complete files of run 7 of experiment linac, stream main\n");
}

TEST(Verify, RefusesCommandLinesThatMakeNoSense) {
  const auto refusal = [](const std::vector<std::string>& arguments) {
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.out, "");
    return result.err;
  };
  EXPECT_EQ(refusal({"verify"}),
            "ravo: say what to check: files or folders, or --run N[-M] of a catalogue\n");
  EXPECT_EQ(refusal({"verify", "a.raw", "--run", "1"}), "ravo: --run is for checks without PATH\n");
  EXPECT_THAT(refusal({"verify", "--run", "x"}), HasSubstr("--run: 'x' is no run"));
  EXPECT_THAT(refusal({"verify", "a.raw", "--threads", "0"}), HasSubstr("is no number from 1 to 64"));
}

TEST(Verify, HelpTeaches) {
  const process_result result = run_tool({"verify", "--help"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, AllOf(HasSubstr("ravo verify demo --quick"), HasSubstr("--learn channels.txt"),
                                HasSubstr("Exit codes: 0 nothing found, 3 only what is odd, 1 damage")));
}

}  // namespace
