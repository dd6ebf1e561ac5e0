// ravo simulate: the same seed gives the same bytes, and options do what they say.
#include <gtest/gtest.h>

#include <set>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;

// The files of a small simulation with these further options, by name, with their bytes.
std::map<std::string, std::vector<unsigned char>> simulate(const std::vector<std::string>& options) {
  const temporary_folder folder;
  std::vector<std::string> all = {"simulate", folder.path().string(), "--events", "10", "--channels", "20"};
  all.insert(all.end(), options.begin(), options.end());
  const process_result result = run_tool(all);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  std::map<std::string, std::vector<unsigned char>> files;
  for (const std::string& file : raw_files(folder.path()))
    files[std::filesystem::path(file).filename().string()] = read_file(file);
  return files;
}

TEST(Simulate, TheSameSeedGivesTheSameBytes) {
  EXPECT_EQ(simulate({"--seed", "5"}), simulate({"--seed", "5"}));
}

TEST(Simulate, AnotherSeedGivesOtherBytes) {
  const auto one = simulate({"--seed", "5"}), other = simulate({"--seed", "6"});
  ASSERT_EQ(one.size(), other.size());
  EXPECT_NE(one.begin()->second, other.begin()->second);
}

TEST(Simulate, WritesTheFilesOfEveryRun) {
  const auto files = simulate({"--files", "3", "--runs", "2", "--first-run", "41", "--experiment", "ring"});
  std::set<std::string> beginnings;
  for (const auto& [name, bytes] : files) beginnings.insert(name.substr(0, name.find("_2025")));
  EXPECT_EQ(beginnings, (std::set<std::string>{"ring_main_run41_file1", "ring_main_run41_file2",
                                               "ring_main_run41_file3", "ring_main_run42_file1",
                                               "ring_main_run42_file2", "ring_main_run42_file3"}));
}

TEST(Simulate, NamesTheFirstFileByTheStartTime) {
  EXPECT_TRUE(
      simulate({"--start", "2024-02-29T12:30:00Z"}).contains("linac_main_run1_file1_20240229T123000Z.raw"));
}

TEST(Simulate, MakesExactlySoManyChannels) {
  for (const char* count : {"20", "33", "200"}) {
    const temporary_folder folder;
    ASSERT_EQ(
        run_tool({"simulate", folder.path().string(), "--files", "1", "--events", "2", "--channels", count})
            .exit_code,
        0);
    const process_result channels = run_tool({"channels", "--json", raw_files(folder.path()).at(0)});
    EXPECT_EQ(json_lines(channels.out).size(), std::stoul(count));
  }
}

TEST(Simulate, StoresAllCompressibleChannelsAsAsked) {
  for (const auto& [word, stored] :
       {std::pair("none", "plain"), std::pair("zlib", "zlib"), std::pair("lzo", "lzo1x")}) {
    const temporary_folder folder;
    ASSERT_EQ(run_tool({"simulate", folder.path().string(), "--files", "1", "--events", "20",
                        "--compression", word})
                  .exit_code,
              0);
    const process_result channels =
        run_tool({"channels", "--json", raw_files(folder.path()).at(0), "-m", "*/BPM/*"});
    for (const json& line : json_lines(channels.out)) EXPECT_EQ(line.at("stored"), stored);
  }
}

TEST(Simulate, MakesItsFolderAndListsTheFiles) {
  const temporary_folder folder;
  const std::string inner = folder.file("a/b");
  const process_result result = run_tool({"simulate", inner, "--events", "2", "--json"});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  std::vector<std::string> listed;
  for (const json& line : json_lines(result.out)) {
    listed.push_back(line.at("file"));
    EXPECT_EQ(line.at("bytes"), std::filesystem::file_size(listed.back()));
  }
  EXPECT_EQ(listed, raw_files(inner));
}

TEST(Simulate, DistinguishesIrregularChannels) {
  std::map<std::string, std::set<unsigned>> events;
  for (const json& line : demo().key) events[line.at("channel")].insert(line.at("event").get<unsigned>());
  EXPECT_EQ(events["LINAC/BPM/001"].size(), 80u);
  EXPECT_EQ(events["LINAC/BPM/HALF_RATE"].size(), 40u);
  EXPECT_LT(events["LINAC/TOROID/GAPS"].size(), 60u);
  EXPECT_EQ(events["LINAC/RF/LATE"].size(), 40u);
  EXPECT_EQ(*events["LINAC/RF/LATE"].begin(), 1000041u);
  EXPECT_FALSE(events.contains("LINAC/TOROID/SPARE"));
  EXPECT_EQ(events["LINAC/RUN/BEGIN"], std::set<unsigned>{1000000u});
  EXPECT_EQ(events["LINAC/RUN/END"], std::set<unsigned>{1000081u});
}

}  // namespace
