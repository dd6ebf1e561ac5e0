// Channels with the stamps of other events, from stamps written by hand.
#include "shift.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated_files.h"

namespace {

using namespace ravo::checks;
using ravo::test::lines_of;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr double period = 100'000;

// Ten good blocks of events 1 to 10; block n is at offset 100 n.
std::vector<stamp> good_stamps() {
  std::vector<stamp> stamps;
  for (std::uint32_t i = 1; i <= 10; ++i) stamps.push_back({i, 100u * i, period, 50.0, 0, {}});
  return stamps;
}

std::vector<std::string> check(const std::vector<stamp>& stamps, double usual_delay = 40) {
  usual_times usual;
  usual.delay = usual_delay;
  finding_list findings;
  find_shifts("C", stamps, usual, findings);
  return lines_of(findings.list());
}

TEST(Shift, IsNotSeenInGoodStamps) { EXPECT_THAT(check(good_stamps()), IsEmpty()); }

TEST(Shift, IsSeenWhereAServersTimeIsNearerToAnotherEvent) {
  auto stamps = good_stamps();
  for (std::size_t i = 6; i < 10; ++i) stamps[i].delay = 50 - period;
  EXPECT_THAT(check(stamps), ElementsAre("- channel.shifted C 7 700 x4"));
}

TEST(Shift, IsSeenAlsoWhenItIsThereFromTheBeginning) {
  auto stamps = good_stamps();
  for (stamp& one : stamps) one.delay = 50 + 2 * period;
  EXPECT_THAT(check(stamps), ElementsAre("- channel.shifted C 1 100 x10"));
}

TEST(Shift, IsNotSeenInADelayOfLessThanHalfAnEvent) {
  auto stamps = good_stamps();
  stamps[5].delay = 0.45 * period;
  EXPECT_THAT(check(stamps), IsEmpty());
  stamps[5].delay = 0.55 * period;
  EXPECT_THAT(check(stamps), ElementsAre("- channel.shifted C 6 600 x1"));
}

TEST(Shift, IsSeenInPulseNumbersThatLeaveTheirCourse) {
  auto stamps = good_stamps();
  for (stamp& one : stamps) one.pulse = 5000;  // servers may count from anywhere
  EXPECT_THAT(check(stamps), IsEmpty());
  stamps[8].pulse = stamps[9].pulse = 4999;
  EXPECT_THAT(check(stamps), ElementsAre("- channel.shifted C 9 900 x2"));
}

TEST(Shift, IsNotSeenWhereAServerDoesNotCountWithTheEvents) {
  auto stamps = good_stamps();
  for (std::size_t i = 0; i < stamps.size(); ++i) stamps[i].pulse = static_cast<std::int64_t>(i * i);
  EXPECT_THAT(check(stamps), IsEmpty());
}

TEST(Shift, IsSeenInTheNumbersOfFrames) {
  auto stamps = good_stamps();
  for (stamp& one : stamps) one.frame = 0;
  stamps[3].frame = 1;
  EXPECT_THAT(check(stamps), ElementsAre("- channel.shifted C 4 400 x1"));
}

TEST(Shift, IsSeenWhereHalfOfTheNumbersAreOff) {
  auto stamps = good_stamps();
  for (stamp& one : stamps) one.frame = 0;
  for (std::size_t i = 1; i < 10; i += 2) stamps[i].frame = -1;
  EXPECT_THAT(check(stamps), ElementsAre("- channel.shifted C 2 200 x5"));
  for (std::size_t i = 2; i < 10; i += 4) stamps[i].frame = 1;
  stamps[9].frame = 2;  // four of ten are off by -1, three are not, and three by something else
  EXPECT_THAT(check(stamps), ElementsAre("- channel.shifted C 1 100 x6"));
}

TEST(Shift, IsNotSeenInNumbersThatAgreeByAccident) {
  auto stamps = good_stamps();
  for (std::size_t i = 0; i < 10; ++i) stamps[i].frame = static_cast<std::int64_t>(i);
  stamps[1].frame = stamps[2].frame = 0;  // three of ten
  EXPECT_THAT(check(stamps), IsEmpty());
}

TEST(Shift, NeedsAClockAndASpacingToBeSeenInTimes) {
  auto stamps = good_stamps();
  for (stamp& one : stamps) one.delay.reset();
  EXPECT_THAT(check(stamps), IsEmpty());
  stamps = good_stamps();
  for (stamp& one : stamps) {
    one.delay = 10 * period;
    one.spacing = 0;
  }
  EXPECT_THAT(check(stamps), IsEmpty());
}

TEST(UsualTimes, AreMedians) {
  file_map map;
  type_entry type{RAVO_EV_NORMAL, 0, {}, {}};
  for (std::uint32_t i = 0; i < 9; ++i) {
    const time_stamp time{100 + i + (i > 4 ? 1000u : 0u), 0};  // a pause in the middle
    type.events.push_back({time, i + 1, 0});
    map.events.push_back({i + 1, RAVO_EV_NORMAL, time, 0, 1});
    map.servers.push_back({{time.timeup, i == 3 ? 900'000u : 30u}, 0, 0, 0, i});
  }
  map.types.push_back(type);
  map.servers_belong = true;
  const usual_times usual = find_usual_times(map);
  EXPECT_EQ(usual.spacing[RAVO_EV_NORMAL], 1e6);
  EXPECT_EQ(usual.delay, 30);
  EXPECT_EQ(usual.spacing[RAVO_EV_IMAGE], 0);
}

TEST(Stamp, OfAServerWithoutClockHasNoDelay) {
  const event_entry event{12, RAVO_EV_NORMAL, {100, 0}, 0, 1};
  usual_times usual;
  usual.spacing[RAVO_EV_NORMAL] = period;
  EXPECT_FALSE(make_stamp(event, {{0, 0}, 0, 3, 0}, 0, usual).delay);
  const stamp made = make_stamp(event, {{100, 70}, 0, 3, 0}, 77, usual);
  EXPECT_EQ(made.delay, 70);
  EXPECT_EQ(made.pulse, -9);
  EXPECT_EQ(made.spacing, period);
  EXPECT_EQ(made.offset, 77u);
}

}  // namespace
