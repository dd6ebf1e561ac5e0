// Spans of time as the tool prints them.
#include "common/times.h"

#include <gtest/gtest.h>

namespace {

using namespace ravo::tool;

TEST(Times, SpansHaveTheUnitThatSuits) {
  EXPECT_EQ(format_span(350e3), "350 ms");
  EXPECT_EQ(format_span(12.5e6), "12.5 s");
  EXPECT_EQ(format_span(200e6), "3 min 20 s");
  EXPECT_EQ(format_span(7500e6), "2 h 5 min");
}

}  // namespace
