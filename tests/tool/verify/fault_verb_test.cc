// ravo simulate --fault: the texts that it accepts, and the answer key that it writes beside the files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

process_result simulate(const temporary_folder& folder, const std::vector<std::string>& options) {
  std::vector<std::string> all = {"simulate", folder.path().string(), "--events", "20", "--channels", "20"};
  all.insert(all.end(), options.begin(), options.end());
  return run_tool(all);
}

TEST(SimulateFault, ListsItsKinds) {
  const process_result text = run_tool({"simulate", "--fault", "list"});
  EXPECT_EQ(text.exit_code, 0);
  EXPECT_THAT(text.out, HasSubstr("\nflipped-bit                a bit is turned over in a zlib block\n"));
  std::set<std::string> kinds;
  for (const json& line : json_lines(run_tool({"simulate", "--fault", "list", "--json"}).out)) {
    kinds.insert(line.at("fault"));
    EXPECT_NE(line.at("what"), "");
  }
  EXPECT_GT(kinds.size(), 80u);
  EXPECT_TRUE(kinds.contains("shifted-channel"));
}

TEST(SimulateFault, WritesWhatIsToBeFoundBesideTheFile) {
  for (const char* generation : {"current", "older"}) {
    const temporary_folder folder;
    ASSERT_EQ(simulate(folder, {"--generation", generation, "--fault", "wrong-members@2"}).exit_code, 0);
    const std::vector<std::string> files = raw_files(folder.path());
    EXPECT_FALSE(std::filesystem::exists(files.at(0) + ".expected.json"));
    const auto bytes = read_file(files.at(1) + ".expected.json");
    const std::vector<json> expected = json_lines(std::string(bytes.begin(), bytes.end()));
    std::vector<json> found = json_lines(run_tool({"verify", folder.path().string(), "--json"}).out);
    ASSERT_EQ(expected.size(), 1u);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].at("file"), files[1]);
    for (const char* member : {"kind", "channel", "event", "offset", "count"})
      EXPECT_EQ(found[0].at(member), expected[0].at(member)) << member;
  }
}

TEST(SimulateFault, DamagesTheFirstFileUnlessSaid) {
  const temporary_folder folder;
  ASSERT_EQ(simulate(folder, {"--fault", "lost-tail"}).exit_code, 0);
  EXPECT_TRUE(std::filesystem::exists(raw_files(folder.path()).at(0) + ".expected.json"));
}

TEST(SimulateFault, ListsWhatBelongsToNoFileForAll) {
  const temporary_folder folder;
  ASSERT_EQ(simulate(folder, {"--fault", "absent-channel"}).exit_code, 0);
  const auto bytes = read_file(folder.file("all.expected.json"));
  EXPECT_THAT(std::string(bytes.begin(), bytes.end()), StartsWith("{\"kind\":\"channel.absent\""));
}

TEST(SimulateFault, LeavesNoKeyOfFilesThatAreGone) {
  const temporary_folder folder;
  ASSERT_EQ(simulate(folder, {"--fault", "lost-tail@1", "--fault", "absent-channel@2"}).exit_code, 0);
  const std::vector<std::string> files = raw_files(folder.path());
  ASSERT_TRUE(std::filesystem::exists(files.at(0) + ".expected.json"));
  for (const std::string& file : files) std::filesystem::remove(file);
  ASSERT_EQ(simulate(folder, {"--fault", "lost-tail@2"}).exit_code, 0);
  EXPECT_FALSE(std::filesystem::exists(files[0] + ".expected.json"));
  EXPECT_TRUE(std::filesystem::exists(files[1] + ".expected.json"));
  EXPECT_FALSE(std::filesystem::exists(folder.file("all.expected.json")));
}

TEST(SimulateFault, ListsAlsoWhatIsMissingBeforeAFile) {
  const temporary_folder folder;
  ASSERT_EQ(
      simulate(folder, {"--files", "3", "--fault", "missing-file@2", "--fault", "lost-tail@3"}).exit_code,
      0);
  const std::vector<std::string> files = raw_files(folder.path());
  ASSERT_EQ(files.size(), 2u);
  const auto bytes = read_file(files[1] + ".expected.json");
  std::set<std::string> expected, found;
  for (const json& line : json_lines(std::string(bytes.begin(), bytes.end())))
    expected.insert(line.at("kind"));
  for (const json& line : json_lines(run_tool({"verify", folder.path().string(), "--json"}).out))
    if (line.contains("kind")) found.insert(line.at("kind"));
  EXPECT_EQ(expected, (std::set<std::string>{"file.reference", "run.file_missing"}));
  EXPECT_EQ(found, expected);
}

TEST(SimulateFault, RefusesWhatItCannotDo) {
  const auto refusal = [](const std::vector<std::string>& options, int code) {
    const temporary_folder folder;
    const process_result result = simulate(folder, options);
    EXPECT_EQ(result.exit_code, code);
    return result.err;
  };
  EXPECT_EQ(refusal({"--fault", "flipedbit"}, 2),
            "ravo: --fault: there is no kind 'flipedbit'; did you mean flipped-bit?\n");
  EXPECT_THAT(refusal({"--fault", "xyzzy"}, 2), HasSubstr("`ravo simulate --fault list` lists them"));
  for (const char* text : {"hole@0", "hole@3", "hole@", "hole@x", "hole@1x", "hole@-1", "hole@99999999999"})
    EXPECT_EQ(refusal({"--fault", text}, 2),
              std::string("ravo: --fault: '") + text +
                  "': after the '@' comes the number of a file, from 1 to 2\n");
  EXPECT_THAT(refusal({"--fault", "hole@1", "--fault", "empty"}, 2),
              HasSubstr("file 1 would be damaged twice: hole and empty"));
  EXPECT_THAT(refusal({"--fault", "flipped-bit", "--compression", "none"}, 1),
              testing::AllOf(HasSubstr("no channel of the file can be damaged in this way"),
                             HasSubstr("; the files were written, and none is damaged")));
  EXPECT_THAT(refusal({"--fault", "missing-file@2"}, 1), HasSubstr("only a file between two others"));
  EXPECT_THAT(refusal({"--files", "4", "--fault", "missing-file@2", "--fault", "missing-file@3"}, 1),
              HasSubstr("only a file between two others"));
}

TEST(Simulate, StillNeedsAFolder) {
  const process_result result = run_tool({"simulate"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_THAT(result.err, HasSubstr("DIR is required"));
}

}  // namespace
