// Times as people write them, read with a fixed "now". The moments were computed with date(1).
#include "ravo_dataset/time_grammar.h"

#include <gtest/gtest.h>

namespace {

using namespace ravo;

// Saturday 2025-03-01T08:00:00.25Z; in Berlin 09:00, in Auckland already 21:00.
constexpr time_stamp now{1740816000, 250000};

time_context at_now(const char* zone = "UTC") { return {now, *time_zone::named(zone), {}}; }

void expect_time(const char* text, const time_context& context, std::uint32_t seconds,
                 std::uint32_t microseconds = 0) {
  const time_reading read = read_time(text, context);
  ASSERT_TRUE(read.time) << text << " " << read.problem;
  EXPECT_EQ(read.time->timeup, seconds) << text;
  EXPECT_EQ(read.time->timelow, microseconds) << text;
}

void expect_problem(const char* text, const time_context& context, const char* problem) {
  const time_reading read = read_time(text, context);
  EXPECT_FALSE(read.time) << text;
  EXPECT_EQ(read.problem, problem) << text;
}

TEST(TimeGrammar, ReadsDatesAndSeconds) {
  const time_context utc = at_now();
  expect_time("0", utc, 0);
  expect_time("1740816000", utc, 1740816000);
  expect_time("1740816000.25", utc, 1740816000, 250000);
  expect_time("4294967295.999999", utc, 4294967295u, 999999);
  expect_time("1970-01-01", utc, 0);
  expect_time("2025-03-01", utc, 1740787200);
  expect_time("2025-03-01T08:00", utc, 1740816000);
  expect_time("2025-03-01 08:00:07", utc, 1740816007);
  expect_time("2025-03-01T08:00:07Z", utc, 1740816007);
  expect_time("2025-03-01T08:00:07.104512Z", utc, 1740816007, 104512);
  expect_time("2025-03-01T09:00:07.104512+01:00", utc, 1740816007, 104512);
  expect_time("2025-02-28T21:30-1030", utc, 1740816000);
  expect_time("2024-02-29T23:59:59.5", utc, 1709251199, 500000);
}

TEST(TimeGrammar, RefusesWhatIsNoTime) {
  for (const char* text : {"",
                           " ",
                           "noon",
                           "1.",
                           "1.1234567",
                           "1 ",
                           "4294967296",
                           "2025-3-1",
                           "2025-02-29",
                           "2025-13-01",
                           "2025-03-01T",
                           "2025-03-01T8:00",
                           "2025-03-01T24:00",
                           "2025-03-01T08:60",
                           "2025-03-01T08:00:60",
                           "2025-03-01T08:00:00.",
                           "2025-03-01T08:00ZZ",
                           "2025-03-01T08:00+1:00",
                           "2025-03-01T08:00+16:00",
                           "-",
                           "+",
                           "-5",
                           "-5m",
                           "-min",
                           "-5 min",
                           "-1h-5min",
                           "--5min",
                           "-5minutes",
                           "5min",
                           "-1.5h",
                           "-99999999999s",
                           "today08:30",
                           "today ",
                           "today 8:30",
                           "today 24:00",
                           "yesterday noon",
                           "Today",
                           "tomorrow",
                           "yesterdays",
                           "now ",
                           "now-5min",
                           "14:",
                           "14:5",
                           "24:00",
                           "14:05Z",
                           "today 14:05Z"})
    expect_problem(
        text, at_now(),
        "is no time; write 2025-03-01T08:00:00.5Z, 'yesterday 14:00', -5min or seconds since 1970");
}

TEST(TimeGrammar, RefusesTimesThatNoStampCanSay) {
  for (const char* text : {"1969-12-31", "2200-01-01", "1970-01-01T00:00+00:01", "-30000d", "-4294967295d",
                           "-4294967295d4294967295d4294967295d"})
    expect_problem(text, at_now(), "lies outside the years 1970 to 2106, which time stamps can say");
}

TEST(TimeGrammar, CountsBackFromNow) {
  const time_context utc = at_now();
  expect_time("now", utc, 1740816000, 250000);
  expect_time("-0s", utc, 1740816000, 250000);
  expect_time("-90s", utc, 1740816000 - 90, 250000);
  expect_time("-5min", utc, 1740816000 - 300, 250000);
  expect_time("-2h", utc, 1740816000 - 7200, 250000);
  expect_time("-1d", utc, 1740816000 - 86400, 250000);
  expect_time("-1h30min", utc, 1740816000 - 5400, 250000);
  expect_time("-1d2h3min4s", utc, 1740816000 - 86400 - 7200 - 180 - 4, 250000);
}

TEST(TimeGrammar, CountsOnFromTheBeginningOfTheWindow) {
  time_context end = at_now();
  expect_problem("+5min", end, "counts from the beginning of a window, and there is no window here");
  end.from_name = "--from";
  expect_problem("+5min", end, "counts from --from, which is not given");
  end.from = time_stamp{1740700000, 500000};
  expect_time("+5min", end, 1740700300, 500000);
  expect_time("+1d", end, 1740786400, 500000);
  end.from = time_stamp{4294967000, 0};
  expect_problem("+5min", end, "lies outside the years 1970 to 2106, which time stamps can say");
}

TEST(TimeGrammar, KnowsTodayAndYesterdayInTheZone) {
  expect_time("today", at_now(), 1740787200);
  expect_time("today 08:30", at_now(), 1740817800);
  expect_time("yesterday", at_now(), 1740700800);
  expect_time("yesterday 14:00", at_now(), 1740751200);
  expect_time("yesterday 14:00:05.5", at_now(), 1740751205, 500000);
  expect_time("today", at_now("Europe/Berlin"), 1740783600);
  expect_time("yesterday 14:00", at_now("Europe/Berlin"), 1740747600);
  expect_time("today 08:30", at_now("+01:00"), 1740814200);
  // Five minutes ahead of midnight in Auckland (+13:00), which is 10:55 in UTC.
  const time_context late{{1740826500, 0}, *time_zone::named("Pacific/Auckland"), {}};
  expect_time("today", late, 1740740400);
  expect_time("yesterday", late, 1740740400 - 86400);
  const time_context next_day{{1740826800, 0}, *time_zone::named("Pacific/Auckland"), {}};
  expect_time("today", next_day, 1740826800);
}

TEST(TimeGrammar, TakesAClockForTheDayOfTheWindowsBeginning) {
  time_context end = at_now("Europe/Berlin");
  expect_time("14:05", end, 1740834300);
  end.from = read_time("yesterday 14:00", end).time;
  expect_time("14:05", end, 1740747900);
  // 2025-02-10T23:30Z is the eleventh in Berlin already.
  end.from = time_stamp{1739230200, 0};
  expect_time("14:05", end, 1739279100);
}

TEST(TimeGrammar, ReadsTimesOfDayInTheZone) {
  const time_context berlin = at_now("Europe/Berlin");
  expect_time("2025-03-01T09:00", berlin, 1740816000);
  expect_time("2025-07-01T10:00", berlin, 1751356800);
  expect_time("2025-07-01T08:00Z", berlin, 1751356800);
  expect_time("2025-07-01T10:00+02:00", berlin, 1751356800);
  expect_time("2025-07-01", berlin, 1751320800);
  expect_time("1740816000", berlin, 1740816000);
  expect_time("2025-03-01T04:30", at_now("-03:30"), 1740816000);
}

TEST(TimeGrammar, CrossesTheChangeOfClocks) {
  const time_context berlin = at_now("Europe/Berlin");
  expect_time("2025-03-30T01:59:59.5", berlin, 1743296399, 500000);
  expect_time("2025-03-30T03:00", berlin, 1743296400);
  expect_time("2025-10-26T01:59:59", berlin, 1761436799);
  expect_time("2025-10-26T03:00", berlin, 1761444000);
  // 22:00 of the day that has 23 hours: a day of a span still has 24, but yesterday is the calendar's.
  const time_context after_change{{1743364800, 0}, *time_zone::named("Europe/Berlin"), {}};
  expect_time("-1d", after_change, 1743278400);
  expect_time("yesterday 22:00", after_change, 1743282000);
  expect_time("today", after_change, 1743289200);
}

TEST(TimeGrammar, SaysThatATimeNeverWas) {
  expect_problem(
      "2025-03-30T02:30", at_now("Europe/Berlin"),
      "is a time that never was in Europe/Berlin: clocks are put forward over 2025-03-30T02:30:00");
  expect_problem(
      "2025-03-30 02:00", at_now("Europe/Berlin"),
      "is a time that never was in Europe/Berlin: clocks are put forward over 2025-03-30T02:00:00");
}

TEST(TimeGrammar, SaysThatATimeWasTwice) {
  expect_problem(
      "2025-10-26T02:30", at_now("Europe/Berlin"),
      "was twice in Europe/Berlin, where clocks are put back; write 2025-10-26T02:30:00+02:00 for the "
      "first time or 2025-10-26T02:30:00+01:00");
  expect_time("2025-10-26T02:30:00+02:00", at_now("Europe/Berlin"), 1761438600);
  expect_time("2025-10-26T02:30:00+01:00", at_now("Europe/Berlin"), 1761442200);
}

}  // namespace
