// Times of the raw format, against dates that everybody can look up.
#include "format/time.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ravo {

bool operator==(const calendar_date& a, const calendar_date& b) {
  return a.year == b.year && a.month == b.month && a.day == b.day;
}

namespace {

constexpr std::uint32_t last_second = 0xFFFFFFFF;

using testing::Eq;
using testing::Optional;

MATCHER_P2(IsTime, seconds, microseconds, "") {
  return arg.timeup == static_cast<std::uint32_t>(seconds) &&
         arg.timelow == static_cast<std::uint32_t>(microseconds);
}

TEST(Time, IsWrittenInUtcWithMicroseconds) {
  EXPECT_EQ(time_text({0, 0}), "1970-01-01T00:00:00.000000Z");
  EXPECT_EQ(time_text({951782400, 5}), "2000-02-29T00:00:00.000005Z");
  EXPECT_EQ(time_text({1740816000, 104512}), "2025-03-01T08:00:00.104512Z");
  EXPECT_EQ(time_text({last_second, 999999}), "2106-02-07T06:28:15.999999Z");
}

TEST(Time, WithTooManyMicrosecondsIsNotWrittenAsATime) {
  EXPECT_EQ(time_text({1740816000, 1000000}), "2025-03-01T08:00:00Z+1000000us");
  EXPECT_EQ(time_text({1740816000, 4294967295}), "2025-03-01T08:00:00Z+4294967295us");
}

TEST(Time, BeforeTheEpochIsWrittenToo) {
  EXPECT_EQ(second_text(-1), "1969-12-31T23:59:59");
  EXPECT_EQ(second_text(-86400), "1969-12-31T00:00:00");
  EXPECT_EQ(second_text(-86401), "1969-12-30T23:59:59");
}

TEST(Time, IsReadInExactlyItsForm) {
  constexpr const char* form = "YYYY-MM-DDThh:mm:ss.ffffffZ";
  EXPECT_THAT(read_time_as(form, "2025-03-01T08:00:00.104512Z"), Optional(IsTime(1740816000, 104512)));
  EXPECT_THAT(read_time_as("YYYYMMDDThhmmssZ", "20250301T080000Z"), Optional(IsTime(1740816000, 0)));
  for (const char* text :
       {"", "2025-03-01T08:00:00.10451Z", "2025-03-01T08:00:00.1045120Z", "2025-03-01T08:00:00,104512Z",
        "2025-03-01t08:00:00.104512Z", "2025-03-01T08:00:00.104512z", "2025-03-01T08:00:00.10451xZ",
        "2025-03-01T08:00:00.-04512Z", " 025-03-01T08:00:00.104512Z", "20250301T080000Z"})
    EXPECT_FALSE(read_time_as(form, text)) << text;
}

TEST(Time, ThatDoesNotExistIsNotRead) {
  constexpr const char* form = "YYYYMMDDThhmmssZ";
  for (const char* text : {"20250229T000000Z", "20251301T000000Z", "20250001T000000Z", "20250100T000000Z",
                           "20250132T000000Z", "20250101T240000Z", "20250101T006000Z", "20250101T000060Z"})
    EXPECT_FALSE(read_time_as(form, text)) << text;
}

TEST(Time, ThatAStampCannotSayIsNotRead) {
  constexpr const char* form = "YYYYMMDDThhmmssZ";
  EXPECT_FALSE(read_time_as(form, "19691231T235959Z"));
  EXPECT_THAT(read_time_as(form, "19700101T000000Z"), Optional(IsTime(0, 0)));
  EXPECT_THAT(read_time_as(form, "21060207T062815Z"), Optional(IsTime(last_second, 0)));
  EXPECT_FALSE(read_time_as(form, "21060207T062816Z"));
  EXPECT_FALSE(read_time_as(form, "00000101T000000Z"));
  EXPECT_FALSE(read_time_as(form, "99991231T235959Z"));
}

TEST(Time, IsReadAsItIsWritten) {
  for (std::int64_t second = 0; second <= last_second; second += 7'654'321) {
    const time_stamp time{static_cast<std::uint32_t>(second),
                          static_cast<std::uint32_t>(second % 1'000'000)};
    EXPECT_THAT(read_time_as("YYYY-MM-DDThh:mm:ss.ffffffZ", time_text(time)),
                Optional(IsTime(time.timeup, time.timelow)));
  }
}

TEST(Time, OfMicrosecondsEndsWhereStampsEnd) {
  EXPECT_THAT(time_at(0), Optional(IsTime(0, 0)));
  EXPECT_THAT(time_at(1'740'816'000'104'512), Optional(IsTime(1740816000, 104512)));
  EXPECT_THAT(time_at(4'294'967'295'999'999), Optional(IsTime(last_second, 999999)));
  EXPECT_FALSE(time_at(4'294'967'296'000'000));
  EXPECT_FALSE(time_at(-1));
}

TEST(Time, InMicrosecondsIsExactAsADouble) {
  EXPECT_EQ(in_microseconds({last_second, 999999}), 4'294'967'295'999'999);
  EXPECT_EQ(static_cast<std::int64_t>(static_cast<double>(in_microseconds({last_second, 999999}))),
            in_microseconds({last_second, 999999}));
  EXPECT_EQ(in_microseconds({1, 4294967295}), 4'295'967'295);
}

TEST(Time, OrderGoesBySecondsFirst) {
  EXPECT_TRUE(is_before({1, 999999}, {2, 0}));
  EXPECT_TRUE(is_before({1, 1}, {1, 2}));
  EXPECT_FALSE(is_before({1, 2}, {1, 2}));
  EXPECT_TRUE(is_before({1, 5'000'000}, {2, 0}));
  EXPECT_TRUE(is_same({1, 2}, {1, 2}));
  EXPECT_FALSE(is_same({1, 2}, {1, 3}));
}

TEST(Date, OfADayIsThatOfTheCalendar) {
  EXPECT_EQ(date_of(0), (calendar_date{1970, 1, 1}));
  EXPECT_EQ(date_of(-1), (calendar_date{1969, 12, 31}));
  EXPECT_EQ(date_of(11016), (calendar_date{2000, 2, 29}));
  EXPECT_THAT(day_of({2000, 2, 29}), Optional(Eq(11016)));
  EXPECT_FALSE(day_of({1900, 2, 29}));
  EXPECT_FALSE(day_of({2025, 4, 31}));
  EXPECT_EQ(date_text(11016), "2000-02-29");
}

}  // namespace
}  // namespace ravo
