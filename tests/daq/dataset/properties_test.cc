// What has to hold for any selection of any set, tried over generated ones: slices of events are slices of
// their list, slow values and their ages are those of a search by brute force, every way of reading has the
// same digest, and ledgers balance.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "slow_sets.h"

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class Any : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Any, layouts);

TYPED_TEST(Any, SlowValueIsTheOneThatItsPolicyFindsAndAsOldAsItIs) {
  unsigned held = 0, stale = 0, newer = 0;
  for (unsigned seed = 1; seed <= sets_to_try(60); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const slow_set all = make_slow_set<TypeParam>(folder, random);
    if (all.updates.empty()) continue;
    selection wanted = of_files(all.files, {"FAST", "SLOW"});
    wanted.synch = synch_mode::by_number;
    wanted.join = join_policy::with;
    wanted.join_channel = "FAST";
    wanted.slow = random.chance(2) ? slow_policy::hold : slow_policy::nearest;
    if (random.chance(2)) wanted.max_age = random.below(1000) * 1000u;
    const dataset data = dataset::open(wanted);
    event_options options;
    if (random.chance(2)) options.order = event_order::backward;
    column_options rows;
    rows.rows = column_rows::events;
    const column_data column = data.column("SLOW", rows);
    ASSERT_EQ(column.size(), all.events.size());
    std::size_t n = 0;
    for (event_range events = data.events(options); const event& one : events) {
      const std::size_t row = options.order == event_order::backward ? all.events.size() - 1 - n : n;
      ++n;
      const std::int64_t now = all.events[row];
      ASSERT_EQ(milliseconds(one.time()), now);
      // An update of the event itself: the same number, up to 30 ms later. Else the last one before, or the
      // nearer of that and the next; of two that are equally near the older.
      const slow_set::update *own = nullptr, *before = nullptr, *after = nullptr;
      for (const auto& update : all.updates) {
        if (update.time >= now && update.time <= now + 30) own = &update;
        if (update.time < now) before = &update;
        if (update.time > now + 30 && after == nullptr) after = &update;
      }
      const slow_set::update* chosen = own != nullptr ? own : before;
      const bool may_be_newer = own == nullptr && wanted.slow == slow_policy::nearest && after != nullptr;
      if (may_be_newer && (before == nullptr || after->time - now < now - before->time)) chosen = after;
      const value seen = one["SLOW"];
      ASSERT_EQ(column.status[row], seen.status());
      if (chosen == nullptr) {
        ASSERT_EQ(seen.status(), value_status::not_recorded);
        ASSERT_TRUE(std::isnan(column.values<float>()[row]));
        continue;
      }
      ASSERT_EQ(static_cast<float>(seen.scalar()), chosen->content);
      ASSERT_EQ(column.values<float>()[row], chosen->content);
      if (chosen == own) {
        ASSERT_EQ(seen.status(), value_status::ok);
        ASSERT_EQ(seen.age(), 0);
        continue;
      }
      const std::int64_t age = (now - chosen->time) * 1000;
      ASSERT_EQ(seen.age(), age);
      ASSERT_EQ(column.ages[row], age);
      const bool is_stale = wanted.max_age && std::abs(age) > static_cast<std::int64_t>(*wanted.max_age);
      ASSERT_EQ(seen.status(), is_stale ? value_status::stale : value_status::held);
      ++(is_stale ? stale : held);
      newer += age < 0 ? 1 : 0;
    }
    ASSERT_EQ(n, all.events.size());
    ASSERT_TRUE(data.ledger().is_balanced());
    ASSERT_EQ(data.ledger().missing(), 0u);
  }
  EXPECT_GT(held, 20u);
  EXPECT_GT(stale, 20u);
  EXPECT_GT(newer, 20u);
}

TYPED_TEST(Any, SliceOfEventsIsASliceOfTheirList) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 500);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, true, harms::no);
    selection wanted = of_files(all.files, all.channels);
    wanted.step = 1 + random.below(3);
    read_progress last;
    dataset_options how;
    how.threads = 1 + random.below(3);
    const dataset data = dataset::open(wanted, how);
    const std::vector<std::uint32_t> list = numbers_of(data.events());
    ASSERT_EQ(list.size(), data.size());
    for (int slice = 0; slice < 6; ++slice) {
      event_options options;
      options.progress = [&last](const read_progress& now) { last = now; };
      options.first = random.below(static_cast<unsigned>(list.size()) + 3);
      if (random.chance(2)) options.count = random.below(static_cast<unsigned>(list.size()) + 3);
      options.step = 1 + random.below(4);
      if (random.chance(8)) options.step = static_cast<std::size_t>(-1) - random.below(3);
      if (random.chance(8)) options.first = static_cast<std::size_t>(-1) - random.below(3);
      if (random.chance(2)) options.order = event_order::backward;
      std::vector<std::uint32_t> expected;
      for (std::size_t i = options.first; i < list.size(); i += options.step) {
        if (options.count && expected.size() == *options.count) break;
        expected.push_back(list[i]);
        if (options.step > list.size()) break;
      }
      if (options.order == event_order::backward) std::reverse(expected.begin(), expected.end());
      last = {};
      ASSERT_EQ(numbers_of(data.events(options)), expected);
      ASSERT_EQ(last.done_bytes, last.total_bytes);
      ASSERT_EQ(last.total_bytes > 0, !expected.empty());
    }
    for (const std::uint32_t number : list) ASSERT_EQ(data.at(number)->number(), number);
  }
}

TYPED_TEST(Any, WayOfReadingHasTheSameDigest) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 900);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, !random.chance(3), harms::all);
    selection wanted = of_files(all.files, all.channels);
    wanted.step = 1 + random.below(2);
    std::vector<std::string> expected;
    for (const std::size_t threads : {1u, 4u}) {
      dataset_options how;
      how.threads = threads;
      const dataset data = dataset::open(wanted, how);
      std::vector<channel_digest> by_event(all.channels.size());
      event_options order;
      order.order = threads == 1 ? event_order::forward : event_order::backward;
      for (event_range events = data.events(order); const event& one : events)
        for (std::size_t channel = 0; channel < by_event.size(); ++channel)
          by_event[channel].add(one[channel]);
      const std::vector<named_digest> at_once = data.digest();
      column_options with_digest;
      with_digest.with_digest = true;
      for (std::size_t channel = 0; channel < by_event.size(); ++channel) {
        if (expected.size() == channel) expected.push_back(by_event[channel].to_text());
        ASSERT_EQ(by_event[channel].to_text(), expected[channel]);
        ASSERT_EQ(at_once[channel].digest.to_text(), expected[channel]);
        ASSERT_EQ(data.column(all.channels[channel], with_digest).digest->to_text(), expected[channel]);
      }
      ASSERT_TRUE(data.ledger().is_balanced());
    }
  }
}

}  // namespace
