// ravo digest: independent of the threads, the way of reading and the
// division into files; different if a byte, a status or an event differs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "key_lines.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;

using digests = std::map<std::string, std::pair<std::string, std::uint64_t>>;

digests digests_of(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "digest");
  arguments.push_back("--json");
  const process_result result = run_tool(arguments);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.err, "");
  digests all;
  for (const json& line : event_lines(result.out))
    all[line.at("channel")] = {line.at("digest"), line.at("values")};
  return all;
}

class Digest : public testing::TestWithParam<const char*> {
 protected:
  const demo_data& data = demo_of(GetParam());
  const std::string folder = data.folder.path().string();
};
INSTANTIATE_TEST_SUITE_P(Generations, Digest, testing::Values("current", "older"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

TEST_P(Digest, IsOfAllValuesOfEachChannel) {
  const digests all = digests_of({folder});
  for (const std::string& channel : channels_of(data)) {
    ASSERT_TRUE(all.contains(channel)) << channel;
    EXPECT_EQ(all.at(channel).first.size(), 32u);
    EXPECT_EQ(all.at(channel).second, key_of(data, channel).size()) << channel;
  }
}

TEST_P(Digest, DoesNotDependOnThreads) {
  const digests one = digests_of({folder, "--threads", "1"});
  EXPECT_EQ(one.size(), 30u);
  EXPECT_EQ(digests_of({folder, "--threads", "3"}), one);
}

TEST_P(Digest, IsThatOfWhatTheReaderDelivers) {
  digests all = digests_of({folder, "-c", "*"});
  std::erase_if(all, [](const auto& one) { return one.second.second == 0; });
  EXPECT_EQ(digests_of({data.files[0], data.files[1], "-c", "*", "--classic"}), all);
}

TEST_P(Digest, OfAMemberIsThatOfTheReadersMember) {
  EXPECT_EQ(digests_of({folder, "-c", "LINAC/BPM/001:1"}),
            digests_of({data.files[0], data.files[1], "-c", "LINAC/BPM/001:1", "--classic"}));
}

TEST_P(Digest, IsAnotherOneOfOtherEvents) {
  const digests all = digests_of({folder, "-c", "LINAC/BPM/001"});
  const digests fewer = digests_of({folder, "-c", "LINAC/BPM/001", "--first-event", "1000002"});
  EXPECT_NE(all.at("LINAC/BPM/001").first, fewer.at("LINAC/BPM/001").first);
}

TEST_P(Digest, ShowsWhichChannelIsDamaged) {
  const auto simulate = [&](const temporary_folder& into, const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {
        "simulate", into.path().string(), "--files", "1", "--events", "20", "--channels",
        "20",       "--generation",       GetParam()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(run_tool(arguments).exit_code, 0);
    return digests_of({into.path().string()});
  };
  const temporary_folder sound_folder, damaged_folder;
  const digests sound = simulate(sound_folder, {}),
                damaged = simulate(damaged_folder, {"--fault", "flipped-bit"});
  std::size_t differ = 0;
  for (const auto& [channel, digest] : sound) differ += damaged.at(channel) != digest ? 1 : 0;
  EXPECT_EQ(differ, 1u);
}

TEST_P(Digest, IsALineAChannelForPeople) {
  const process_result result = run_tool({"digest", folder, "-c", "LINAC/BPM/00[12]"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out,
              testing::MatchesRegex("[0-9a-f]+ +80  LINAC/BPM/001\n[0-9a-f]+ +80  LINAC/BPM/002\n"));
  EXPECT_EQ(result.err, "selection: linac/main file=" + folder +
                            " chan=LINAC/BPM/00[12]\n"
                            "ledger: 160 values expected = 160 delivered + 0 missing\n");
}

TEST_P(Digest, OfTheReaderNeedsChannels) {
  const process_result result = run_tool({"digest", folder, "--classic"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err, "ravo: --classic: --channel is required; -c '*' is all channels\n");
}

// For lists and generic spectra the type does not say how many members
// a block has: the members that were asked for are read all the same.
TEST_P(Digest, OfAMemberIsItsOwnHoweverItIsStored) {
  const std::vector<std::string> labels = {"LINAC/SPECTRUM/001:0", "LINAC/SPECTRUM/001:1",
                                           "LINAC/STATUS/001:0", "LINAC/STATUS/001:2", "LINAC/BPM/001:1"};
  std::vector<digests> of_stored;
  for (const char* compression : {"none", "zlib", "lzo"}) {
    const temporary_folder stored;
    const std::string path = stored.path().string();
    const process_result made = run_tool({"simulate", path, "--files", "1", "--channels", "40", "--events",
                                          "20", "--generation", GetParam(), "--compression", compression});
    ASSERT_EQ(made.exit_code, 0) << made.err;
    std::vector<std::string> arguments = {path};
    for (const std::string& label : labels) arguments.insert(arguments.end(), {"-c", label});
    of_stored.push_back(digests_of(arguments));
  }
  EXPECT_EQ(of_stored[0], of_stored[1]);
  EXPECT_EQ(of_stored[0], of_stored[2]);
  EXPECT_EQ(of_stored[0].size(), labels.size());
  EXPECT_NE(of_stored[0].at(labels[0]), of_stored[0].at(labels[1]));
  EXPECT_NE(of_stored[0].at(labels[2]), of_stored[0].at(labels[3]));
}

}  // namespace
