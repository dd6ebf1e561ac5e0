// ravo catalog: builds, lists and asks a catalogue as a process, over the demo's raw files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

// The demo's files are new: without the reader's switch they would count as still growing.
class Catalog : public testing::Test {
 protected:
  Catalog() { setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1); }
  ~Catalog() override { unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME"); }

  process_result build(std::vector<std::string> more = {}) const {
    std::vector<std::string> arguments = {"catalog", "build", demo().folder.path().string(), "--into",
                                          directory()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_tool(arguments);
  }
  process_result find(std::vector<std::string> more) const {
    std::vector<std::string> arguments = {"catalog", "find", directory()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_tool(arguments);
  }
  std::string directory() const { return folder_.file("cat"); }

  temporary_folder folder_;
};

std::string both_files() { return demo().files[0] + "\n" + demo().files[1] + "\n"; }

TEST_F(Catalog, BuildSaysWhatItDid) {
  process_result result = build();
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, directory() + ": 2 files of 1 run, 2 opened, 0 still growing\n");
  result = build({"--json"});
  EXPECT_EQ(json_lines(result.out).at(0), json({{"catalogue", directory()},
                                                {"files", 2},
                                                {"runs", 1},
                                                {"opened", 0},
                                                {"growing", 0},
                                                {"left_out", 0},
                                                {"problems", json::array()}}));
}

TEST_F(Catalog, BuildTakesFreshFilesAsGrowing) {
  unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
  const temporary_folder fresh;
  for (const std::string& file : demo().files)
    std::filesystem::copy_file(file, fresh.path() / std::filesystem::path(file).filename());
  const process_result built =
      run_tool({"catalog", "build", fresh.path().string(), "--into", directory(), "--json"});
  EXPECT_EQ(json_lines(built.out).at(0)["growing"], 2);
  const process_result found = find({"--run", "1"});
  EXPECT_EQ(found.exit_code, 1);
  EXPECT_EQ(found.err, "ravo: " + directory() +
                           ": the catalogue knows no complete files of run 1 of experiment linac, "
                           "stream main; --growing gives those that may still grow\n");
  EXPECT_EQ(find({"--run", "1", "--growing"}).exit_code, 0);
}

TEST_F(Catalog, BuildNamesABrokenFileAndTakesTheOthers) {
  const temporary_folder raw;
  std::filesystem::copy_file(demo().files[0],
                             raw.path() / std::filesystem::path(demo().files[0]).filename());
  const unsigned char nonsense[] = {'n', 'o'};
  const std::string broken = raw.write("linac_main_run1_file9_20250301T090000Z.raw", nonsense);
  const process_result result = run_tool({"catalog", "build", raw.path().string(), "--into", directory()});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr("ravo: " + broken + ": "));
  EXPECT_THAT(result.err, HasSubstr("ravo: " + directory() + ": what is named above is left out\n"));
  EXPECT_EQ(result.out, directory() + ": 1 file of 1 run, 1 opened, 0 still growing, 1 left out\n");
  EXPECT_EQ(find({"--run", "1"}).exit_code, 0);
}

TEST_F(Catalog, BuildRefusesAFolderThatIsNotThere) {
  const process_result result = run_tool({"catalog", "build", folder_.file("none"), "--into", directory()});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: " + folder_.file("none") + ": No such file or directory\n");
}

TEST_F(Catalog, ListShowsTheRuns) {
  build();
  const process_result result = run_tool({"catalog", "list", directory(), "--json"});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  const auto runs = json_lines(result.out);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0]["experiment"], "linac");
  EXPECT_EQ(runs[0]["stream"], "main");
  EXPECT_EQ(runs[0]["run"], 1);
  EXPECT_EQ(runs[0]["files"], 2);
  EXPECT_EQ(runs[0]["growing"], 0);
  EXPECT_EQ(runs[0]["start"], "2025-03-01T08:00:00.001234Z");
  EXPECT_EQ(runs[0]["bytes"],
            std::filesystem::file_size(demo().files[0]) + std::filesystem::file_size(demo().files[1]));
  const process_result table = run_tool({"catalog", "list", directory()});
  for (const char* text : {"experiment", "linac", "main", "2025-03-01T08:00:00.001234Z"})
    EXPECT_THAT(table.out, HasSubstr(text));
  const process_result nothing = run_tool({"catalog", "list", directory(), "--stream", "fast"});
  EXPECT_EQ(nothing.exit_code, 1);
  EXPECT_EQ(nothing.out, "");
  EXPECT_EQ(nothing.err, "ravo: " + directory() + ": no run is catalogued there\n");
}

TEST_F(Catalog, ListNamesADamagedFile) {
  build();
  const std::string run = directory() + "/linac/main/runs/0/run1.xml";
  std::filesystem::resize_file(run, 0);
  const process_result result = run_tool({"catalog", "list", directory(), "--json"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("ravo: " + run + " is passed over: it is empty\n"));
}

TEST_F(Catalog, FindNamesTheFilesOfARun) {
  build();
  EXPECT_EQ(find({"--run", "1"}).out, both_files());
  EXPECT_EQ(find({"--run", "0-5"}).out, both_files());
  const auto lines = json_lines(find({"--run", "1", "--json"}).out);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0]["file"], demo().files[0]);
  EXPECT_EQ(lines[0]["catalogue"], directory() + "/linac/main/runs/0/run1.xml");
}

TEST_F(Catalog, FindNamesTheFilesOfAPeriod) {
  build();
  EXPECT_EQ(find({"--period", "2025-03-01T08:00:00", "2025-03-01T08:00:02"}).out, demo().files[0] + "\n");
  EXPECT_EQ(find({"--period", "2025-03-01T08:00:07", "+1h"}).out, demo().files[1] + "\n");
  EXPECT_EQ(find({"--period", "2025-03-01T09:00:07", "+1h", "--tz", "+01:00"}).out, demo().files[1] + "\n");
}

TEST_F(Catalog, FindSaysWhenThereIsNothing) {
  build();
  const process_result result = find({"--run", "2"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "ravo: " + directory() +
                            ": the catalogue knows no files of run 2 of experiment linac, stream main\n");
}

TEST_F(Catalog, FindPassesOnWhatTheLookUpSaysOfDamage) {
  build();
  const std::string run = directory() + "/linac/main/runs/0/run1.xml";
  std::filesystem::resize_file(run, 0);
  EXPECT_THAT(find({"--run", "1"}).err,
              testing::StartsWith("Run catalogue: " + run + " is passed over: it is empty\nravo: "));
}

TEST_F(Catalog, ReadNamesWhatItPassesOverAndFindsTheFilesByTheirNames) {
  build();
  const std::string run = directory() + "/linac/main/runs/0/run1.xml";
  std::filesystem::resize_file(run, 0);
  const std::string message =
      "ravo: Run catalogue: " + run + " is passed over: it is empty; build the catalogue again\n";
  for (const char* how : {"--explain", "--classic", "--json"}) {
    const process_result result =
        run_tool({"read", "--run", "1", "--catalog", directory(), "--data", demo().folder.path().string(),
                  "--channel", "LINAC/BPM/001", how});
    EXPECT_EQ(result.exit_code, 0) << how << result.err;
    EXPECT_THAT(result.err, HasSubstr(message)) << how;
    EXPECT_THAT(result.out, testing::Not(testing::IsEmpty())) << how;
  }
}

TEST_F(Catalog, RefusesCommandLinesThatMakeNoSense) {
  struct wrong_line {
    std::vector<std::string> arguments;
    const char* message;
  };
  const wrong_line wrong[] = {
      {{}, "ravo: say what to find: --run N[-M] or --period TIME TIME\n"},
      {{"--run", "seven"}, "ravo: --run: 'seven' is no run; write 1207, or 1207-1210 for several\n"},
      {{"--run", "9-7"}, "ravo: --run: '9-7' is no run; write 1207, or 1207-1210 for several\n"},
      {{"--run", "7-"}, "ravo: --run: '7-' is no run; write 1207, or 1207-1210 for several\n"},
      {{"--run", "0-2000000000"}, "ravo: --run: '0-2000000000' are more than 1000000 runs\n"},
      {{"--period", "9", "8"}, "ravo: --period: 9 is after 8\n"},
      {{"--run", "1", "--period", "1", "2"},
       "ravo: --run excludes --period\nTry `ravo catalog --help`.\n"}};
  for (const wrong_line& line : wrong) {
    const process_result result = find(line.arguments);
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.err, line.message);
  }
  EXPECT_EQ(run_tool({"catalog"}).err, "ravo: say what to do with a catalogue: build, list or find\n");
  EXPECT_EQ(run_tool({"catalog"}).exit_code, 2);
  EXPECT_EQ(run_tool({"catalog", "biuld"}).exit_code, 2);
  EXPECT_EQ(run_tool({"catalog", "build", "x"}).exit_code, 2);
}

TEST_F(Catalog, HelpOfEachPartTeachesByExamples) {
  for (const std::string part : {"build", "list", "find"}) {
    const process_result result = run_tool({"catalog", part, "--help"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.out, HasSubstr("Usage: ravo catalog " + part));
    EXPECT_THAT(result.out, HasSubstr("Examples:\n  ravo catalog " + part));
    EXPECT_THAT(result.out, HasSubstr("--json"));
  }
}

}  // namespace
