// Names of types as people write and see them.
#include "common/type_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/failure.h"
#include "ravo_raw_format.h"

namespace {

using namespace ravo::tool;

TEST(TypeNames, AreWithoutTheirPrefix) {
  EXPECT_EQ(event_type_name(RAVO_EV_NORMAL), "NORMAL");
  EXPECT_EQ(event_type_name(31), "31");
  EXPECT_EQ(event_type_name(32), "32");
  EXPECT_EQ(event_type_name(-1), "-1");
  EXPECT_EQ(data_type_name(RAVO_BLOCK_BPM_2010), "BLOCK_BPM_2010");
  EXPECT_EQ(data_type_name(RAVO_BLOCK_BPM_2010 | 39 << 16), "BLOCK_BPM_2010");
  EXPECT_EQ(data_type_name(1000), "1000");
  EXPECT_THAT(event_type_names(1u << 2 | 1u << 31), testing::ElementsAre("BOR", "31"));
  EXPECT_THAT(event_type_names(0), testing::IsEmpty());
}

TEST(TypeNames, OfEventsAreReadInEveryForm) {
  for (const char* text : {"ENV", "env", "RAVO_EV_ENV", "ravo_ev_env", "4"})
    EXPECT_EQ(event_type_of(text), 4) << text;
  for (int type = 0; type < RAVO_EV_EVMAX; ++type) EXPECT_EQ(event_type_of(event_type_name(type)), type);
}

TEST(TypeNames, OfNoEventsAreRefused) {
  for (const char* text : {"", "-1", "32", "4x", "RAVO_EV_", "NOTHING_LIKE_THAT"})
    EXPECT_THROW(event_type_of(text), usage_failure) << text;
}

}  // namespace
