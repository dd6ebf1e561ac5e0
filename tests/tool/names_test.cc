// Patterns and near names.
#include "common/names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace ravo::tool;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<std::string> names = {"LINAC/BPM/001", "LINAC/BPM/002", "LINAC/ENERGY/001", "RING/TUNE"};

TEST(Names, NearOnesComeNearestFirst) {
  EXPECT_THAT(near_names("LINAC/BPM/02", names), ElementsAre("LINAC/BPM/002", "LINAC/BPM/001"));
  EXPECT_THAT(near_names("linac/bpm/001", names), testing::Contains("LINAC/BPM/001"));
  EXPECT_THAT(near_names("tune", names), ElementsAre("RING/TUNE"));
  EXPECT_THAT(near_names("ENERGY", names), ElementsAre("LINAC/ENERGY/001"));
}

TEST(Names, FarOnesAreNotSuggested) {
  EXPECT_THAT(near_names("TEMPERATURE", names), IsEmpty());
  EXPECT_THAT(near_names("", {}), IsEmpty());
}

TEST(Names, PatternsMatchAsInAShell) {
  EXPECT_TRUE(is_pattern("LINAC/*"));
  EXPECT_FALSE(is_pattern("LINAC/BPM/001"));
  EXPECT_TRUE(matches("LINAC/*", "LINAC/BPM/001"));
  EXPECT_TRUE(matches("*/00[12]", "LINAC/BPM/002"));
  EXPECT_FALSE(matches("LINAC/BPM/00?", "LINAC/BPM/0011"));
}

TEST(Names, AreJoinedAsASentenceHasThem) {
  EXPECT_EQ(join_or({"a"}), "a");
  EXPECT_EQ(join_or({"a", "b"}), "a or b");
  EXPECT_EQ(join_or({"a", "b", "c"}), "a, b or c");
}

}  // namespace
