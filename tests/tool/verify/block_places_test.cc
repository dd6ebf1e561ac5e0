// Which blocks of a channel are out of place, checked against every order of a few blocks.
#include "block_places.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <map>

namespace {

using ravo::checks::block_places;
using ravo::checks::judge_places;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::size_t> events_of(const std::vector<ravo::checks::repeated_place>& repeated) {
  std::vector<std::size_t> events;
  for (const auto& one : repeated) events.push_back(one.event);
  return events;
}

TEST(BlockPlaces, AreGoodBackToBack) {
  for (const std::vector<std::uint32_t>& good :
       {std::vector<std::uint32_t>{}, {7}, {7, 9}, {0, 1, 2, 0xffffffff}}) {
    EXPECT_THAT(judge_places(good).displaced, IsEmpty());
    EXPECT_THAT(judge_places(good).repeated, IsEmpty());
  }
}

TEST(BlockPlaces, AreNamedWhereTwoAreSwapped) {
  const block_places places = judge_places({1, 2, 6, 4, 5, 3, 7});
  EXPECT_THAT(places.displaced, ElementsAre(2, 5));
  EXPECT_THAT(places.repeated, IsEmpty());
}

TEST(BlockPlaces, AreNamedOnceWhereAllAreRotated) {
  EXPECT_THAT(judge_places({2, 3, 4, 5, 1}).displaced, ElementsAre(4));
  EXPECT_THAT(judge_places({5, 1, 2, 3, 4}).displaced, ElementsAre(0));
}

TEST(BlockPlaces, BelongToTheEventThatTheNeighboursLetExpect) {
  for (const auto& [offsets, wrong, owner] :
       {std::tuple<std::vector<std::uint32_t>, std::size_t, std::size_t>{{1, 2, 1, 4, 5}, 2, 0},
        {{1, 5, 3, 4, 5}, 1, 4},
        {{1, 2, 2, 4}, 2, 1}}) {
    const block_places places = judge_places(offsets);
    EXPECT_THAT(places.displaced, IsEmpty());
    ASSERT_EQ(places.repeated.size(), 1u);
    EXPECT_EQ(places.repeated[0].event, wrong);
    EXPECT_EQ(places.repeated[0].same_as, owner);
  }
}

// The length of the longest rising list, by trying every choice.
std::size_t longest_rise(const std::vector<std::uint32_t>& offsets) {
  std::size_t most = 0;
  for (std::uint32_t choice = 0; choice < 1u << offsets.size(); ++choice) {
    std::vector<std::uint32_t> chosen;
    for (std::size_t i = 0; i < offsets.size(); ++i)
      if ((choice >> i & 1) != 0) chosen.push_back(offsets[i]);
    if (std::is_sorted(chosen.begin(), chosen.end(), std::less_equal<>()))
      most = std::max(most, chosen.size());
  }
  return most;
}

TEST(Falling, LeavesAsFewOutAsPossible) {
  using ravo::checks::find_falling;
  EXPECT_THAT(find_falling({}), IsEmpty());
  EXPECT_THAT(find_falling({-3, 1, 1, 2}), IsEmpty());
  EXPECT_THAT(find_falling({1, 9, 3, 3, 2, 9}), ElementsAre(1, 4));
  EXPECT_THAT(find_falling({5, 5, 5, 4}), ElementsAre(3));
}

TEST(BlockPlaces, NameAsFewAsPossibleWhateverTheOrder) {
  constexpr std::size_t events = 6;
  constexpr std::uint32_t places = 6;
  std::vector<std::uint32_t> offsets(events);
  for (std::uint32_t order = 0; order < 46656; ++order) {  // 6 to the power of 6
    for (std::uint32_t i = 0, rest = order; i < events; ++i, rest /= places) offsets[i] = rest % places;
    const block_places found = judge_places(offsets);
    const std::vector<std::size_t> repeated = events_of(found.repeated);
    ASSERT_TRUE(std::is_sorted(repeated.begin(), repeated.end()));
    ASSERT_TRUE(std::is_sorted(found.displaced.begin(), found.displaced.end()));
    ASSERT_EQ(repeated.size() + found.displaced.size(), events - longest_rise(offsets));
    // The others rise, and with the displaced ones have each place once.
    std::map<std::uint32_t, int> owners;
    std::vector<std::uint32_t> left;
    for (std::size_t i = 0; i < events; ++i) {
      const bool is_repeated = std::binary_search(repeated.begin(), repeated.end(), i);
      const bool is_displaced = std::binary_search(found.displaced.begin(), found.displaced.end(), i);
      ASSERT_FALSE(is_repeated && is_displaced);
      if (!is_repeated) ++owners[offsets[i]];
      if (!is_repeated && !is_displaced) left.push_back(offsets[i]);
    }
    ASSERT_TRUE(std::is_sorted(left.begin(), left.end(), std::less_equal<>()));
    for (const auto& [place, count] : owners) ASSERT_EQ(count, 1) << place;
    for (const auto& one : found.repeated) {
      ASSERT_EQ(offsets[one.event], offsets[one.same_as]);
      ASSERT_FALSE(std::binary_search(repeated.begin(), repeated.end(), one.same_as));
    }
  }
}

}  // namespace
