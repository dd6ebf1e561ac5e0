// What `ravo read --json --checksum` says of every channel against what `ravo simulate` put in, in either
// way of reading.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <utility>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;

using block_name = std::pair<unsigned, std::string>;  // event, channel

std::map<block_name, json> key_by_block(const demo_data& data) {
  std::map<block_name, json> blocks;
  for (const json& line : data.key) blocks[{line.at("event"), line.at("channel")}] = line;
  return blocks;
}

void expect_equal_members(const json& read, const json& known) {
  ASSERT_EQ(read.size(), known.size());
  for (std::size_t i = 0; i < known.size(); ++i)
    for (const char* field : {"count", "mean", "min", "max"})
      EXPECT_EQ(read[i].at(field), known[i].at(field)) << field;
}

struct reading_way {
  std::string generation;
  std::string mode;
  bool is_classic;
};

class AnswerKey : public testing::TestWithParam<reading_way> {};

TEST_P(AnswerKey, ReadEqualsItChannelByChannel) {
  const demo_data& data = demo_of(GetParam().generation);
  std::map<block_name, json> missing = key_by_block(data);
  ASSERT_GT(missing.size(), 1500u);
  std::vector<std::string> arguments = {"--channel",  "*",      "--json",
                                        "--checksum", "--mode", GetParam().mode};
  if (GetParam().is_classic) arguments.push_back("--classic");
  const process_result result = read_demo(arguments, data);
  ASSERT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.err, "");
  for (const json& event : event_lines(result.out)) {
    EXPECT_EQ(event.at("generation"), GetParam().generation);
    for (const json& channel : event.at("channels")) {
      if (channel.at("held").get<bool>()) continue;
      const auto known = missing.find({channel.at("event"), channel.at("channel")});
      ASSERT_NE(known, missing.end()) << channel;
      for (const char* field : {"time", "dtype", "bytes", "crc32"})
        EXPECT_EQ(channel.at(field), known->second.at(field)) << field << " of " << channel;
      if (known->second.contains("members"))
        expect_equal_members(channel.at("members"), known->second.at("members"));
      missing.erase(known);
      if (HasFailure()) return;
    }
  }
  EXPECT_TRUE(missing.empty()) << missing.begin()->second;
}

INSTANTIATE_TEST_SUITE_P(
    GenerationsAndSynchModes, AnswerKey,
    testing::Values(reading_way{"current", "evid", false}, reading_way{"current", "time", false},
                    reading_way{"older", "evid", false}, reading_way{"older", "time", false},
                    reading_way{"current", "evid", true}, reading_way{"current", "time", true},
                    reading_way{"older", "evid", true}, reading_way{"older", "time", true}),
    [](const testing::TestParamInfo<reading_way>& tested) {
      return tested.param.generation + "_" + tested.param.mode +
             (tested.param.is_classic ? "_classic" : "");
    });

TEST(AnswerKeyLines, NameEveryKindOfBlock) {
  std::set<std::string> stored;
  for (const json& line : demo().key) stored.insert(line.at("stored_dtype"));
  for (const char* dtype :
       {"RAVO_BLOCK_BPM_2010", "RAVO_BLOCK_TOROID_2010", "RAVO_BLOCK_RF_250K_2010",
        "RAVO_BLOCK_GENERIC_SPECT", "RAVO_BLOCK_ENERGY_2010", "RAVO_BLOCK_IMAGE", "RAVO_BLOCK_IMAGE_EXT",
        "RAVO_BLOCK_IMG_ROI1", "RAVO_BLOCK_NAME_VALUE", "RAVO_BLOCK_NAME_VALUE_STRING",
        "RAVO_UPD_BLOCK_2010", "RAVO_ENV_BLOCK", "RAVO_BOR_BLOCK_2010", "RAVO_EOR_BLOCK_2010"})
    EXPECT_TRUE(stored.contains(dtype)) << dtype;
}

TEST(AnswerKeyLines, NameTheTypesOfTheOlderGeneration) {
  std::set<std::string> stored;
  for (const json& line : demo_of("older").key) stored.insert(line.at("stored_dtype"));
  for (const char* dtype : {"RAVO_BLOCK_BPM", "RAVO_BLOCK_TOROID", "RAVO_BLOCK_RF_250K",
                            "RAVO_BLOCK_ENERGY", "RAVO_BLOCK_GENERIC_SPECT", "RAVO_BLOCK_IMAGE",
                            "RAVO_UPD_BLOCK", "RAVO_ENV_BLOCK", "RAVO_BOR_BLOCK", "RAVO_EOR_BLOCK"})
    EXPECT_TRUE(stored.contains(dtype)) << dtype;
}

TEST(AnswerKeyLines, SayThatSlowDataAreDeliveredAsUpdates) {
  for (const json& line : demo().key) {
    const std::string stored = line.at("stored_dtype");
    if (stored != "RAVO_ENV_BLOCK" && stored != "RAVO_BOR_BLOCK_2010" && stored != "RAVO_EOR_BLOCK_2010")
      continue;
    EXPECT_EQ(line.at("dtype"), "RAVO_UPD_BLOCK_2010");
    EXPECT_EQ(line.at("bytes"), 272);
  }
}

}  // namespace
