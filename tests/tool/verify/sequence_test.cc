// The sequence of events of a type, from lists written by hand.
#include "sequence.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated_files.h"

namespace {

using namespace ravo::checks;
using ravo::test::lines_of;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t entry_offset = 1000;

// Events of a type with these numbers, a second apart;
// the entry is at offset 1000, its events from 1032 on.
type_entry make_type(const std::vector<std::uint32_t>& numbers, int type = RAVO_EV_NORMAL,
                     std::uint32_t first_second = 100) {
  type_entry made{type, entry_offset, {}, {}};
  for (const std::uint32_t number : numbers)
    made.events.push_back({{first_second + static_cast<std::uint32_t>(made.events.size()), 0}, number, 0});
  made.head.event_type = type;
  if (numbers.empty()) return made;
  made.head.event_time_first = made.events.front().time;
  made.head.event_time_last = made.events.back().time;
  made.head.event_number_first = numbers.front();
  made.head.event_number_last = numbers.back();
  made.head.length = static_cast<std::int32_t>(numbers.size());
  return made;
}

std::vector<std::string> check(const type_entry& type) {
  finding_list findings;
  check_sequence(type, findings);
  return lines_of(findings.list());
}

std::vector<std::string> check_both(const type_entry& before, const type_entry& here) {
  finding_list ignored, findings;
  check_succession(check_sequence(before, ignored), check_sequence(here, ignored), findings);
  return lines_of(findings.list());
}

TEST(EventSequence, IsGoodWithAnyStep) {
  EXPECT_THAT(check(make_type({1, 2, 3, 4, 5, 6})), IsEmpty());
  EXPECT_THAT(check(make_type({10, 20, 30, 40, 50, 60})), IsEmpty());
  EXPECT_THAT(check(make_type({})), IsEmpty());
  EXPECT_THAT(check(make_type({7})), IsEmpty());
}

TEST(EventSequence, LacksNumbersWhereTheStepIsLarger) {
  EXPECT_THAT(check(make_type({1, 2, 3, 4, 5, 9, 10, 11})), ElementsAre("- event.missing - 6 1112 x3"));
  EXPECT_THAT(check(make_type({10, 20, 30, 40, 70, 80, 90})), ElementsAre("- event.missing - 50 1096 x2"));
}

TEST(EventSequence, CountsTheNumbersOfSeveralGaps) {
  EXPECT_THAT(check(make_type({1, 2, 3, 4, 6, 7, 8, 9, 10, 13, 14, 15})),
              ElementsAre("- event.missing - 5 1096 x3"));
}

TEST(EventSequence, IsNotMissedWhereEventsComeWhenTheyCome) {
  EXPECT_THAT(check(make_type({1, 5, 6, 13, 40, 41, 77})), IsEmpty());
  EXPECT_THAT(check(make_type({1, 2, 3, 4, 5, 9, 10, 11}, RAVO_EV_UPD)), IsEmpty());
  EXPECT_THAT(check(make_type({1, 2, 9})), IsEmpty());  // too few to know
}

TEST(EventSequence, PassesOverEventsWithoutNumber) {
  EXPECT_THAT(check(make_type({0, 0, 0, 1, 2, 3, 4, 5})), IsEmpty());
  EXPECT_THAT(check(make_type({1, 2, 0, 3, 4, 5, 6})), IsEmpty());
}

TEST(EventSequence, ReportsNumbersThatComeTwice) {
  EXPECT_THAT(check(make_type({1, 2, 2, 3, 4, 5, 6})), ElementsAre("- event.duplicate - 2 1064 x1"));
  EXPECT_THAT(check(make_type({1, 2, 3, 2, 4, 5, 6})), ElementsAre("- event.duplicate - 2 1080 x1"));
  EXPECT_THAT(check(make_type({5, 5, 5})), ElementsAre("- event.duplicate - 5 1048 x2"));
}

TEST(EventSequence, ReportsACounterThatJumpsBackAndMissesNothingThen) {
  EXPECT_THAT(check(make_type({101, 102, 103, 104, 105, 106, 107, 1, 2})),
              ElementsAre("- event.number_back - 1 1144 x1"));
}

TEST(EventSequence, ReportsTimeThatGoesBack) {
  type_entry type = make_type({1, 2, 3, 4, 5, 6});
  type.events[3].time = {101, 999'999};
  EXPECT_THAT(check(type), ElementsAre("- event.time_back - 4 1080 x1"));
}

TEST(EventSequence, TakesEqualTimesAndManyMicrosecondsAsTheyAre) {
  type_entry type = make_type({1, 2, 3, 4, 5, 6});
  type.events[3].time = type.events[2].time;
  type.events[4].time = {102, 2'000'000};
  EXPECT_THAT(check(type), IsEmpty());
}

TEST(EventSequence, HoldsTheLimitsAgainstTheEvents) {
  for (int limit = 0; limit < 4; ++limit) {
    type_entry type = make_type({1, 2, 3});
    if (limit == 0) ++type.head.event_number_first;
    if (limit == 1) ++type.head.event_number_last;
    if (limit == 2) ++type.head.event_time_first.timelow;
    if (limit == 3) --type.head.event_time_last.timeup;
    EXPECT_THAT(check(type), ElementsAre("- index.limits - - 1000 x1")) << limit;
  }
}

TEST(EventSuccession, IsGoodWhereNumbersGoOn) {
  EXPECT_THAT(check_both(make_type({1, 2, 3, 4, 5, 6}), make_type({7, 8, 9, 10, 11}, RAVO_EV_NORMAL, 200)),
              IsEmpty());
}

TEST(EventSuccession, LacksNumbersBetweenFiles) {
  EXPECT_THAT(
      check_both(make_type({1, 2, 3, 4, 5, 6}), make_type({9, 10, 11, 12, 13}, RAVO_EV_NORMAL, 200)),
      ElementsAre("- event.missing - 7 1032 x2"));
}

TEST(EventSuccession, ReportsNumbersOfBothFilesTimeAndCounterThatGoBack) {
  EXPECT_THAT(check_both(make_type({1, 2, 3, 4, 5, 6}), make_type({5, 6, 7, 8, 9}, RAVO_EV_NORMAL, 200)),
              ElementsAre("- event.duplicate - 5 1032 x2"));
  EXPECT_THAT(
      check_both(make_type({11, 12, 13, 14, 15, 16}), make_type({17, 18, 19, 20, 21}, RAVO_EV_NORMAL, 50)),
      ElementsAre("- event.time_back - 17 1032 x1"));
  EXPECT_THAT(
      check_both(make_type({11, 12, 13, 14, 15, 16}), make_type({1, 2, 3, 4, 5}, RAVO_EV_NORMAL, 200)),
      ElementsAre("- event.number_back - 1 1032 x1"));
}

TEST(EventSuccession, MissesNothingAfterACounterThatJumpedBack) {
  EXPECT_THAT(
      check_both(make_type({11, 12, 13, 14, 15, 1}), make_type({20, 21, 22, 23, 24}, RAVO_EV_NORMAL, 200)),
      IsEmpty());
}

}  // namespace
