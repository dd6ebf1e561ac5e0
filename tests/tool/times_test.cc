// Times as the tool prints them.
#include "common/times.h"

#include <gtest/gtest.h>

namespace {

using namespace ravo::tool;

TEST(Times, AreWrittenInFull) {
  EXPECT_EQ(format_time({1740816007, 104512}), "2025-03-01T08:00:07.104512Z");
  EXPECT_EQ(format_time({0, 0}), "1970-01-01T00:00:00.000000Z");
}

TEST(Times, WithTooManyMicrosecondsAreWrittenAsTheyAreAndNotAsATime) {
  EXPECT_EQ(format_time({1740816007, 999'999}), "2025-03-01T08:00:07.999999Z");
  EXPECT_EQ(format_time({1740816007, 1'000'000}), "2025-03-01T08:00:07Z+1000000us");
  EXPECT_EQ(format_time({1740816007, 4'294'967'295}), "2025-03-01T08:00:07Z+4294967295us");
}

TEST(Times, SpansHaveTheUnitThatSuits) {
  EXPECT_EQ(format_span(350e3), "350 ms");
  EXPECT_EQ(format_span(12.5e6), "12.5 s");
  EXPECT_EQ(format_span(200e6), "3 min 20 s");
  EXPECT_EQ(format_span(7500e6), "2 h 5 min");
}

}  // namespace
