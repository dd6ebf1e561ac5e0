// Time zones: by offset and by name, with the days on which
// clocks change. The moments were computed with date(1).
#include "ravo_dataset/time_zone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

using namespace ravo;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t hour = 3600;

// 2025-03-30T01:00:00Z and 2025-10-26T01:00:00Z: Europe/Berlin goes to summer time and back.
constexpr std::int64_t to_summer = 1743296400;
constexpr std::int64_t to_winter = 1761440400;

TEST(TimeZone, OffsetsAreReadInEveryForm) {
  EXPECT_EQ(parse_offset("+01:00"), hour);
  EXPECT_EQ(parse_offset("-03:30"), -3 * hour - 1800);
  EXPECT_EQ(parse_offset("+0530"), 5 * hour + 1800);
  EXPECT_EQ(parse_offset("+02"), 2 * hour);
  EXPECT_EQ(parse_offset("-9"), -9 * hour);
  EXPECT_EQ(parse_offset("+15:59"), 16 * hour - 60);
  EXPECT_EQ(parse_offset("+00:00"), 0);
}

TEST(TimeZone, OffsetsThatMakeNoSenseAreRefused) {
  for (const char* text : {"", "+", "1", "01:00", "+1:00", "+01:0", "+01:", "+:0100", "+01:60", "+16:00",
                           "+010", "+01000", "+01:00:00", "+ 1", "+1h", "++1"})
    EXPECT_FALSE(parse_offset(text)) << text;
}

TEST(TimeZone, OffsetsAreWrittenWithHoursAndMinutes) {
  EXPECT_EQ(format_offset(hour), "+01:00");
  EXPECT_EQ(format_offset(-3 * hour - 1800), "-03:30");
  EXPECT_EQ(format_offset(0), "+00:00");
}

TEST(TimeZone, IsUtcUnlessNamed) {
  EXPECT_EQ(time_zone().name(), "UTC");
  EXPECT_EQ(time_zone().offset_at(to_summer), 0);
  EXPECT_THAT(time_zone().moments_of(to_summer), ElementsAre(to_summer));
  EXPECT_EQ(time_zone::named("Z")->offset_at(to_winter), 0);
}

TEST(TimeZone, OfAnOffsetHoldsItAllYear) {
  const auto zone = time_zone::named("-03:30");
  ASSERT_TRUE(zone);
  EXPECT_EQ(zone->offset_at(to_summer), -3 * hour - 1800);
  EXPECT_THAT(zone->moments_of(to_winter), ElementsAre(to_winter + 3 * hour + 1800));
}

TEST(TimeZone, KnowsWhenClocksAreChanged) {
  const auto berlin = time_zone::named("Europe/Berlin");
  ASSERT_TRUE(berlin);
  EXPECT_EQ(berlin->name(), "Europe/Berlin");
  EXPECT_EQ(berlin->offset_at(to_summer - 1), hour);
  EXPECT_EQ(berlin->offset_at(to_summer), 2 * hour);
  EXPECT_EQ(berlin->offset_at(to_winter - 1), 2 * hour);
  EXPECT_EQ(berlin->offset_at(to_winter), hour);
}

TEST(TimeZone, AShownTimeIsOneMomentOnMostDays) {
  const auto berlin = time_zone::named("Europe/Berlin");
  EXPECT_THAT(berlin->moments_of(1740816000 + hour), ElementsAre(1740816000));
  EXPECT_THAT(berlin->moments_of(1751356800 + 2 * hour), ElementsAre(1751356800));
}

TEST(TimeZone, AShownTimeThatClocksLeaveOutIsNoMoment) {
  const auto berlin = time_zone::named("Europe/Berlin");
  const std::int64_t shows_two = to_summer + hour;
  EXPECT_THAT(berlin->moments_of(shows_two - 1), ElementsAre(to_summer - 1));
  EXPECT_THAT(berlin->moments_of(shows_two), IsEmpty());
  EXPECT_THAT(berlin->moments_of(shows_two + hour - 1), IsEmpty());
  EXPECT_THAT(berlin->moments_of(shows_two + hour), ElementsAre(to_summer));
}

TEST(TimeZone, AShownTimeThatClocksRepeatIsTwoMoments) {
  const auto berlin = time_zone::named("Europe/Berlin");
  const std::int64_t shows_two = to_winter + hour;
  EXPECT_THAT(berlin->moments_of(shows_two - 1), ElementsAre(to_winter - hour - 1));
  EXPECT_THAT(berlin->moments_of(shows_two), ElementsAre(to_winter - hour, to_winter));
  EXPECT_THAT(berlin->moments_of(shows_two + hour - 1), ElementsAre(to_winter - 1, to_winter + hour - 1));
  EXPECT_THAT(berlin->moments_of(shows_two + hour), ElementsAre(to_winter + hour));
}

TEST(TimeZone, OfTheSouthAndOfHalfHoursIsRight) {
  // 2025-04-05T15:00Z: Lord Howe goes back by half an hour, from +11:00 to +10:30.
  const auto lord_howe = time_zone::named("Australia/Lord_Howe");
  ASSERT_TRUE(lord_howe);
  constexpr std::int64_t change = 1743865200;
  EXPECT_EQ(lord_howe->offset_at(change - 1), 11 * hour);
  EXPECT_EQ(lord_howe->offset_at(change), 10 * hour + 1800);
  EXPECT_THAT(lord_howe->moments_of(change + 11 * hour - 900), ElementsAre(change - 900, change + 900));
}

TEST(TimeZone, NamesOfNoZoneAreRefused) {
  for (const char* text :
       {"", "Mars/Olympus", "Europe", "Europe/", "/etc/passwd", "../zoneinfo/Europe/Berlin",
        "Europe/../Europe/Berlin", "CET-1CEST", "zone.tab", "Europe/Berlin ", ":Europe/Berlin"})
    EXPECT_FALSE(time_zone::named(text)) << text;
}

TEST(TimeZone, LeavesTheProcesssZoneAsItWas) {
  const auto berlin = time_zone::named("Europe/Berlin");
  setenv("TZ", "UTC+5", 1);
  tzset();
  EXPECT_EQ(berlin->offset_at(to_winter), hour);
  EXPECT_STREQ(std::getenv("TZ"), "UTC+5");
  EXPECT_EQ(timezone, 5 * hour);
  unsetenv("TZ");
  tzset();
  EXPECT_EQ(berlin->offset_at(to_winter), hour);
  EXPECT_EQ(std::getenv("TZ"), nullptr);
}

}  // namespace
