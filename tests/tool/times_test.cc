// Times as people write them.
#include "times.h"

#include <gtest/gtest.h>

namespace {

using namespace ravo::tool;

void expect_time(const char* text, std::uint32_t seconds, std::uint32_t microseconds) {
  const auto time = parse_time(text);
  ASSERT_TRUE(time) << text;
  EXPECT_EQ(time->timeup, seconds) << text;
  EXPECT_EQ(time->timelow, microseconds) << text;
}

TEST(Times, AreReadInEveryForm) {
  expect_time("0", 0, 0);
  expect_time("1740816000", 1740816000, 0);
  expect_time("1740816000.25", 1740816000, 250000);
  expect_time("4294967295.999999", 4294967295u, 999999);
  expect_time("1970-01-01", 0, 0);
  expect_time("2025-03-01", 1740787200, 0);
  expect_time("2025-03-01T08:00", 1740816000, 0);
  expect_time("2025-03-01 08:00:07", 1740816007, 0);
  expect_time("2025-03-01T08:00:07Z", 1740816007, 0);
  expect_time("2025-03-01T08:00:07.104512Z", 1740816007, 104512);
  expect_time("2024-02-29T23:59:59.5", 1709251199, 500000);
}

TEST(Times, ThatMakeNoSenseAreRefused) {
  for (const char* text : {"",
                           " ",
                           "noon",
                           "-1",
                           "4294967296",
                           "1.",
                           "1.1234567",
                           "1 ",
                           "2025-3-1",
                           "2025-02-29",
                           "2025-13-01",
                           "2025-03-01T",
                           "2025-03-01T8:00",
                           "2025-03-01T24:00",
                           "2025-03-01T08:60",
                           "2025-03-01T08:00:60",
                           "2025-03-01T08:00:00.",
                           "2025-03-01T08:00:00+01:00",
                           "2025-03-01T08:00ZZ",
                           "1969-12-31",
                           "2200-01-01"})
    EXPECT_FALSE(parse_time(text)) << text;
}

TEST(Times, AreWrittenInFull) {
  EXPECT_EQ(format_time({1740816007, 104512}), "2025-03-01T08:00:07.104512Z");
  EXPECT_EQ(format_time({0, 0}), "1970-01-01T00:00:00.000000Z");
}

TEST(Times, SpansHaveTheUnitThatSuits) {
  EXPECT_EQ(format_span(350e3), "350 ms");
  EXPECT_EQ(format_span(12.5e6), "12.5 s");
  EXPECT_EQ(format_span(200e6), "3 min 20 s");
  EXPECT_EQ(format_span(7500e6), "2 h 5 min");
}

}  // namespace
