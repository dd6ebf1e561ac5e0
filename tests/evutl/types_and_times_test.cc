// Event types, time stamps and the event clock.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "ravo_evutl.h"

namespace {

TEST(EventTypes, BeginAndEndOfRunEnvironmentAndUpdateAreSlow) {
  for (int type = -2; type < 40; ++type)
    EXPECT_EQ(is_slow_event(type), type == 2 || type == 3 || type == 4 || type == 5) << type;
}

TEST(EventTypes, HaveAStructure) {
  for (int type = -2; type < 40; ++type) {
    int expected = RAVO_EV_STRUCT_LOCAL;
    if (type < 0 || type > 31)
      expected = RAVO_EV_STRUCT_UNKNOWN;
    else if (type == 0)
      expected = RAVO_EV_STRUCT_UNDEF;
    else if (type >= 2 && type <= 5)
      expected = RAVO_EV_STRUCT_GLOBAL;
    else if (type == 20 || type == 27)
      expected = RAVO_EV_STRUCT_ML;
    EXPECT_EQ(get_event_struct_type(type), expected) << type;
  }
}

TEST(EventTypes, HaveNames) {
  const char* names[] = {"RAVO_EV_HB",       "RAVO_EV_NORMAL",
                         "RAVO_EV_BOR",      "RAVO_EV_EOR",
                         "RAVO_EV_ENV",      "RAVO_EV_UPD",
                         "RAVO_EV_IMAGE",    "RAVO_EV_WS",
                         "RAVO_EV_MCP",      "RAVO_EV_WSS",
                         "RAVO_EV_BL1",      "RAVO_EV_BL2",
                         "RAVO_EV_BL3",      "RAVO_EV_PG0",
                         "RAVO_EV_PG1",      "RAVO_EV_PG2",
                         "RAVO_EV_GMD",      "RAVO_EV_PHOTEN",
                         "RAVO_EV_PHOTWL",   "RAVO_EV_BEAM_ENERGY",
                         "RAVO_EV_LLRF_ML",  "RAVO_EV_BEAM_ENERGY_BYPASS",
                         "RAVO_EV_SPECTR_1", "RAVO_EV_SPECTR_2",
                         "RAVO_EV_SPECTR_3", "RAVO_EV_SPECTR_4",
                         "RAVO_EV_SPECTR_5", "RAVO_EV_TOROID_ML",
                         "RAVO_EV_28",       "RAVO_EV_29",
                         "RAVO_EV_30",       "RAVO_EV_31"};
  for (int type = 0; type < 32; ++type) EXPECT_STREQ(event_name_itoa(type), names[type]);
  EXPECT_STREQ(event_name_itoa(32), "UNKNOWN");
  EXPECT_STREQ(event_name_itoa(-1), "UNKNOWN");
}

TEST(TimeStamps, AreEqualWhenBothWordsAre) {
  const time_stamp a{10, 20}, b{10, 21}, c{11, 20}, d{10, 20};
  EXPECT_TRUE(ravo_time_stamp_eq(&a, &d));
  EXPECT_FALSE(ravo_time_stamp_eq(&a, &b));
  EXPECT_FALSE(ravo_time_stamp_eq(&a, &c));
  EXPECT_FALSE(ravo_time_stamp_eq(&a, nullptr));
  EXPECT_FALSE(ravo_time_stamp_eq(nullptr, &a));
}

struct comparison {
  time_stamp a, b;
  double tolerance;
  bool within;
  int sign;
  double difference;
};

TEST(TimeStamps, LieWithinATolerance) {
  constexpr std::uint32_t last = 0xffffffff;
  const comparison cases[] = {
      {{10, 0}, {10, 0}, 0, true, 0, 0},
      {{10, 0}, {10, 5}, 5, true, 0, 5},
      {{10, 5}, {10, 0}, 5, true, 0, 5},
      {{10, 0}, {10, 6}, 5, false, -1, 6},
      {{10, 6}, {10, 0}, 5, false, 1, 6},
      {{9, 999999}, {10, 0}, 1, true, 0, 1},
      {{9, 999999}, {10, 0}, 0.5, false, -1, 1},
      {{10, 1}, {9, 999999}, 1.5, false, 1, 2},
      {{last, 999999}, {0, 0}, 1e6, false, 1, 4294967295999999.0},
      {{0, 0}, {last, 999999}, 4294967295999999.0, true, 0, 4294967295999999.0},
      {{0, 0}, {last, 999999}, 4294967295999998.0, false, -1, 4294967295999999.0},
      {{10, 0}, {10, 0}, -1, true, 0, 0},
      {{10, 0}, {10, 1}, -1, false, -1, 1},
      {{10, 1}, {10, 0}, std::numeric_limits<double>::quiet_NaN(), false, 1, 1},
      {{10, 1}, {20, 0}, std::numeric_limits<double>::infinity(), true, 0, 9999999},
  };
  for (const comparison& one : cases) {
    int sign = 99;
    double difference = -1;
    EXPECT_EQ(ravo_time_stamp_eq(&one.a, &one.b, one.tolerance, &sign, &difference), one.within);
    EXPECT_EQ(sign, one.sign);
    EXPECT_EQ(difference, one.difference);
    EXPECT_EQ(ravo_time_stamp_eq(&one.a, &one.b, one.tolerance, nullptr, nullptr), one.within);
  }
}

TEST(TimeStamps, AreNotWithinAnythingWhenOneIsMissing) {
  const time_stamp a{1, 2};
  int sign = 99;
  double difference = 99;
  EXPECT_FALSE(ravo_time_stamp_eq(&a, nullptr, 1e9, &sign, &difference));
  EXPECT_EQ(sign, 0);
  EXPECT_EQ(difference, 0);
}

// Leaves the process without an event clock, before and after.
class EventClock : public testing::Test {
 protected:
  EventClock() { forget(); }
  ~EventClock() override { forget(); }

  static unsigned number_at(std::uint32_t seconds, std::uint32_t microseconds) {
    const time_stamp time{seconds, microseconds};
    return ravo_get_event_id(&time);
  }

 private:
  static void forget() {
    unsetenv("RAVO_EVENT_CLOCK_EPOCH");
    unsetenv("RAVO_EVENT_CLOCK_RATE");
    ravo_set_event_clock(0, 0);
  }
};

TEST_F(EventClock, KnowsNoNumberUntilItIsSet) {
  EXPECT_EQ(number_at(1767225600, 0), 0u);
  EXPECT_EQ(ravo_get_event_id(nullptr), 0u);
}

TEST_F(EventClock, CountsFromTheEpochAtTheRate) {
  ravo_set_event_clock(1767225600, 10);
  EXPECT_EQ(number_at(1767225600, 100000), 1u);
  EXPECT_EQ(number_at(1767225601, 0), 10u);
  EXPECT_EQ(number_at(1767225700, 300000), 1003u);
}

TEST_F(EventClock, TakesTheNearestEvent) {
  ravo_set_event_clock(1767225600, 10);
  EXPECT_EQ(number_at(1767225601, 40000), 10u);
  EXPECT_EQ(number_at(1767225600, 960000), 10u);
}

TEST_F(EventClock, KnowsNoNumberOutsideTheNumbers) {
  ravo_set_event_clock(1767225600, 10);
  EXPECT_EQ(number_at(1767225600, 0), 0u);
  EXPECT_EQ(number_at(1767225599, 0), 0u);
  ravo_set_event_clock(0, 1000);
  EXPECT_EQ(number_at(4294967, 294000), 4294967294u);
  EXPECT_EQ(number_at(4294967, 295000), 0u);
  EXPECT_EQ(number_at(4294968, 0), 0u);
}

TEST_F(EventClock, ComesFromTheEnvironmentWhenBothAreThere) {
  setenv("RAVO_EVENT_CLOCK_EPOCH", "1767225600.5", 1);
  EXPECT_EQ(number_at(1767225601, 0), 0u);
  setenv("RAVO_EVENT_CLOCK_RATE", "10", 1);
  EXPECT_EQ(number_at(1767225601, 0), 5u);
}

TEST_F(EventClock, IgnoresAnEnvironmentThatIsNoClock) {
  setenv("RAVO_EVENT_CLOCK_EPOCH", "0", 1);
  for (const char* rate : {"", "ten", "10 Hz", "0", "-5", "nan", "inf"}) {
    setenv("RAVO_EVENT_CLOCK_RATE", rate, 1);
    EXPECT_EQ(number_at(1000, 0), 0u) << rate;
  }
}

TEST_F(EventClock, PrefersTheSettingOfTheProgram) {
  setenv("RAVO_EVENT_CLOCK_EPOCH", "0", 1);
  setenv("RAVO_EVENT_CLOCK_RATE", "1", 1);
  ravo_set_event_clock(0, 2);
  EXPECT_EQ(number_at(100, 0), 200u);
  ravo_set_event_clock(0, -1);
  EXPECT_EQ(number_at(100, 0), 100u);
}

TEST_F(EventClock, MayBeSetWhileOtherThreadsReadIt) {
  ravo_set_event_clock(0, 1);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([i] {
      for (int round = 0; round < 200; ++round) {
        if (i == 0) ravo_set_event_clock(0, 1 + round % 2);
        const unsigned number = number_at(100, 0);
        EXPECT_TRUE(number == 100 || number == 200) << number;
      }
    });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
