// ravo verify: what it prints, where, and with which exit code.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>

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

TEST(Verify, ReportsAFindingInALine) {
  const files damaged({"flipped-bit@2"});
  const process_result result = damaged.verify();
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out,
              AllOf(StartsWith(raw_files(damaged.folder.path()).at(1) +
                               ": LINAC/BPM/001: the block cannot be inflated (zlib answers "),
                    ContainsRegex(", at event 10000[0-9]+, offset [0-9]+; copy the file again; "),
                    HasSubstr("[block.inflate]\n"),
                    EndsWith(": 1 damaged, 0 odd (of the files: 1 good, 0 odd, 1 damaged)\n")));
}

TEST(Verify, EndsByTheWorstFinding) {
  EXPECT_EQ(files({"missing-event@1"}).verify().exit_code, 3);
  EXPECT_EQ(files({"missing-event@1", "pointer-data@2"}).verify().exit_code, 1);
}

TEST(Verify, ReportsAFileThatCannotBeReadAsAFinding) {
  const process_result result = run_tool({"verify", "/nowhere/a.raw"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.out,
              StartsWith("/nowhere/a.raw: the file cannot be read (No such file or directory)"));
}

TEST(Verify, ReportsAFolderWithoutRawFiles) {
  const temporary_folder folder;
  const process_result result = run_tool({"verify", folder.path().string()});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, AllOf(StartsWith(folder.path().string() +
                                           ": the folder has nothing that can be checked (it holds no .raw "
                                           "file); "),
                                HasSubstr("[folder.unreadable]\n0 files, "),
                                EndsWith(": 1 damaged, 0 odd (of the files: 0 good, 0 odd, 0 damaged)\n")));
  const auto found = findings_of(run_tool({"verify", folder.path().string(), "--json"}));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].at("file"), folder.path().string());
  EXPECT_EQ(found[0].at("kind"), "folder.unreadable");
}

TEST(Verify, QuickChecksHeadsAlone) {
  const files damaged({"flipped-bit@1", "length-block@2"});
  const process_result result = damaged.verify({"--quick"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.out, AllOf(HasSubstr("[block.length]"),
                                HasSubstr("good blocks by their heads: 1 damaged, 0 odd (")));
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
  EXPECT_EQ(lines[1].at("files"), 2);
  EXPECT_EQ(lines[1].at("files_to_check"), 2);
  EXPECT_EQ(lines[1].at("good_files"), 1);
  EXPECT_EQ(lines[1].at("odd_files"), 0);
  EXPECT_EQ(lines[1].at("damaged_files"), 1);
  EXPECT_EQ(lines[1].at("unread_files"), 0);
  EXPECT_EQ(lines[1].at("interrupted"), false);
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

// Files of two runs and their catalogue, in which every file is complete whatever its age.
class VerifyRuns : public testing::Test {
 protected:
  VerifyRuns() { setenv(take_fresh_files, "1", 1); }
  ~VerifyRuns() override { unsetenv(take_fresh_files); }

  process_result build() {
    return run_tool({"catalog", "build", two_runs.folder.path().string(), "--into", catalogue});
  }
  process_result verify(const std::string& run, const std::vector<std::string>& options = {}) {
    std::vector<std::string> all = {"verify", "--run", run, "--catalog", catalogue};
    all.insert(all.end(), options.begin(), options.end());
    return run_tool(all);
  }
  std::vector<std::string> kinds(const std::string& run) {
    std::vector<std::string> found;
    for (const json& one : findings_of(verify(run, {"--json"}))) found.push_back(one.at("kind"));
    return found;
  }

  static constexpr const char* take_fresh_files = "RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME";
  const files two_runs{{}, {"--runs", "2"}};
  const std::vector<std::string> paths = raw_files(two_runs.folder.path());
  const std::string catalogue = two_runs.folder.file("cat");
};

TEST_F(VerifyRuns, AreFoundInACatalogue) {
  ASSERT_EQ(build().exit_code, 0);
  std::filesystem::resize_file(paths.at(2), std::filesystem::file_size(paths.at(2)) - 4);
  EXPECT_EQ(verify("1").exit_code, 0);
  EXPECT_THAT(verify("1").out, StartsWith("2 files, "));
  EXPECT_EQ(verify("2").exit_code, 1);
  EXPECT_THAT(verify("1-2").out, AllOf(HasSubstr("[file.reference]"), HasSubstr("4 files, ")));
}

TEST_F(VerifyRuns, WithoutAnyOfThemTheCatalogueIsNamedAndWhatItHas) {
  ASSERT_EQ(build().exit_code, 0);
  const process_result none = verify("7");
  EXPECT_EQ(none.exit_code, 1);
  EXPECT_EQ(none.out, "");
  EXPECT_EQ(none.err,
            "ravo: " + catalogue +
                ": the catalogue knows no run 7 of experiment linac, stream main; it knows 1 to 2, the "
                "nearest is 2\n");
  EXPECT_THAT(verify("0").err, HasSubstr("no run 0 of experiment linac, stream main; it knows 1 to 2, the "
                                         "nearest is 1\n"));
  EXPECT_THAT(verify("5-2147483647", {}).err, HasSubstr("are more than "));
  EXPECT_THAT(verify("5-9").err, HasSubstr("knows none of the runs 5 to 9 of "));
  EXPECT_THAT(
      verify("1", {"--stream", "other"}).err,
      HasSubstr("knows no run 1, nor any run of experiment linac, stream other; `ravo catalog list`"));
}

TEST_F(VerifyRuns, OfWhichTheCatalogueLacksOneAreOdd) {
  ASSERT_EQ(build().exit_code, 0);
  const process_result result = verify("2-4");
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.out, StartsWith(catalogue + ": the catalogue does not know a run (run 3), x 2; "));
  EXPECT_THAT(result.out, HasSubstr("2 files, "));
}

TEST_F(VerifyRuns, HaveAlsoTheFilesThatTheBuilderLeftOut) {
  std::filesystem::resize_file(paths.at(1), std::filesystem::file_size(paths.at(1)) - 4);
  ASSERT_EQ(build().exit_code, 1);
  const auto found = findings_of(verify("1", {"--json"}));
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].at("kind"), "run.file_left_out");
  EXPECT_EQ(found[0].at("file"), paths[1]);
  EXPECT_EQ(found[0].at("severity"), "odd");
  EXPECT_EQ(found[1].at("kind"), "file.reference");
  EXPECT_EQ(found[1].at("file"), paths[1]);
  EXPECT_EQ(verify("1").exit_code, 1);
  EXPECT_EQ(verify("2").exit_code, 0);
}

TEST_F(VerifyRuns, AreReportedWhenTheirCatalogueFileIsDamaged) {
  ASSERT_EQ(build().exit_code, 0);
  const std::string file = catalogue + "/linac/main/runs/0/run1.xml";
  std::filesystem::resize_file(file, 100);
  const auto found = findings_of(verify("1", {"--json"}));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].at("kind"), "catalogue.damaged");
  EXPECT_EQ(found[0].at("file"), file);
  EXPECT_EQ(verify("1").exit_code, 1);
  EXPECT_THAT(kinds("2"), testing::IsEmpty());
}

TEST_F(VerifyRuns, AreNotCheckedWhereTheyMayStillGrow) {
  ASSERT_EQ(build().exit_code, 0);
  const std::string file = catalogue + "/linac/main/runs/0/run1.xml";
  const auto bytes = read_file(file);
  std::string text(bytes.begin(), bytes.end());
  const std::size_t place = text.find("complete=\"yes\"");
  ASSERT_NE(place, std::string::npos);
  std::ofstream(file, std::ios::binary) << text.replace(place, 14, "complete=\"no\"");
  // Every readable file counts as complete here, and is
  // checked as it is now, whatever its state in the catalogue.
  EXPECT_EQ(verify("1").exit_code, 0);
  unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
  const process_result result = verify("1");
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.out, StartsWith(paths[0] + ": the file may still be written (by the catalogue); "));
  EXPECT_EQ(verify("2").exit_code, 0);
}

TEST_F(VerifyRuns, OfWhichThereAreTwoCopiesAreOdd) {
  std::filesystem::create_directory(two_runs.folder.path() / "copy");
  const auto copy = two_runs.folder.path() / "copy" / std::filesystem::path(paths[0]).filename();
  std::filesystem::copy_file(paths[0], copy);
  const process_result result = two_runs.verify();
  EXPECT_EQ(result.exit_code, 3);
  EXPECT_THAT(result.out, StartsWith(paths[0] +
                                     ": another file has the same run and the same file number "
                                     "(file 1 of run 1 of linac_main, as " +
                                     copy.string() + "); "));
}

TEST(Verify, DoesNotMissChannelsOfAFileThatCannotBeRead) {
  const files good;
  const std::string list = good.folder.file("channels.txt");
  ASSERT_EQ(good.verify({"--learn", list}).exit_code, 0);
  for (const std::string& file : raw_files(good.folder.path()))
    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 4);
  for (const json& one : findings_of(good.verify({"--expect", list, "--json"})))
    EXPECT_EQ(one.at("kind"), "file.reference");
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
