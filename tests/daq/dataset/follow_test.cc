// Following sets that grow: what is handed over is what a dataset of all files delivers afterwards,
// whatever the order in which files are closed, as long as none is late. The truth is that dataset.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "growing_sets.h"
#include "seen_events.h"

namespace {

using namespace ravo;
using namespace ravo::test;

struct followed {
  std::vector<seen_event> events;
  std::size_t late = 0, not_yet_recorded = 0, hand_overs = 0;
  read_ledger ledger;
};

followed follow_all(follower& following) {
  followed all;
  std::optional<time_stamp> last;
  while (const auto one = following.next()) {
    all.events.push_back(see(**one, one->labels()));
    all.late += one->is_late() ? 1 : 0;
    for (std::size_t i = 0; i < one->labels().size(); ++i)
      all.not_yet_recorded += one->is_not_yet_recorded(i) ? 1 : 0;
    const auto now = following.watermark();
    if (!last || microseconds(*last) != microseconds(*now)) ++all.hand_overs;
    last = now;
  }
  all.ledger = following.ledger();
  return all;
}

/// Files of one stream in any order; each some time after its last event.
template <class layout>
double close_in_odd_order(growing_set<layout>& set, growing_world& world) {
  double last = 0;
  const bool has_visible_files = set.random.chance(2);
  for (const auto& of_stream : set.files)
    for (const auto& file : of_stream) {
      const double begun = file.begin / 1000.0, closed = file.end / 1000.0 + set.random.below(60) / 4.0;
      world.write_between(has_visible_files ? begun : closed, closed, file.name, file.bytes);
      last = std::max(last, closed);
    }
  return last;
}

template <class layout>
selection random_selection(growing_set<layout>& set) {
  selection wanted;
  if (set.random.chance(2)) wanted.slow = slow_policy::hold;
  if (wanted.slow == slow_policy::hold && set.random.chance(2))
    wanted.max_age = 500'000 * (1 + set.random.below(4));
  if (set.random.chance(3)) wanted.channels = {"A*", "*1"};
  const unsigned join = set.random.below(5);
  if (join == 0) wanted.join = join_policy::all;
  if (join == 1) {
    wanted.join = join_policy::with;
    wanted.join_channel = "A0";
  }
  if (set.random.chance(4)) wanted.synch = synch_mode::by_time;
  if (set.random.chance(4)) wanted.step = 2 + set.random.below(3);
  if (set.random.chance(4)) wanted.from = time_stamp{noon + set.random.below(3), 0};
  if (set.random.chance(4)) wanted.to = time_stamp{noon + 3 + set.random.below(8), 0};
  if (set.random.chance(6)) wanted.first_event = 1000 + set.random.below(20);
  return wanted;
}

template <class layout>
void expect_same_as_afterwards(unsigned seed) {
  SCOPED_TRACE(seed);
  growing_set<layout> set(seed);
  growing_world world;
  const double last = close_in_odd_order(set, world);
  selection wanted = random_selection(set);
  wanted.files = {world.folder()};
  // Channels that only a later file has would change which events all channels have.
  if (wanted.join == join_policy::all) wanted.channels = {"A*"};
  follow_options options;
  options.clock = world.clock();
  options.poll = 1;
  options.silence = 1000;
  options.end_after = last + 1;
  options.streams = set.streams;
  options.reading.threads = 1 + seed % 3;
  follower following(wanted, options);
  followed seen;
  ASSERT_NO_THROW(seen = follow_all(following));
  world.pass(last);
  const dataset whole = dataset::open(wanted, options.reading);
  const std::vector<seen_event> expected = events_of(whole);
  EXPECT_EQ(seen.late, 0u);
  EXPECT_THAT(following.late_files(), testing::IsEmpty());
  ASSERT_EQ(seen.events.size(), expected.size()) << wanted.to_text();
  for (std::size_t i = 0; i < expected.size(); ++i)
    ASSERT_EQ(seen.events[i], expected[i]) << wanted.to_text();
  expect_equal_ledgers(seen.ledger, whole.ledger());
}

TEST(Follow, DeliversWhatIsReadAfterwards) {
  for (unsigned seed = 1; seed <= sets_to_try(100) && !HasFatalFailure(); ++seed)
    expect_same_as_afterwards<layout_2010>(seed);
}

TEST(Follow, DeliversWhatIsReadAfterwardsOfOlderFiles) {
  for (unsigned seed = 1; seed <= sets_to_try(40) && !HasFatalFailure(); ++seed)
    expect_same_as_afterwards<layout_2009>(seed);
}

}  // namespace
