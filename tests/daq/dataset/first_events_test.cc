// Selections that end after a number of events, and ledgers of a column's first rows: over generated sets,
// with damage and with events that two files have, each is compared with the whole of the same set.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <tuple>

#include "generated_sets.h"

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class First : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(First, layouts);

/// An event as far as it can be compared: its number, and what its channels have.
struct seen_event {
  std::uint32_t number;
  std::vector<std::pair<value_status, std::vector<std::byte>>> values;
  bool operator==(const seen_event&) const = default;
};

std::vector<seen_event> events_of(const dataset& data, const event_options& options = {}) {
  std::vector<seen_event> all;
  for (event_range events = data.events(options); const event& one : events) {
    seen_event& seen = all.emplace_back();
    seen.number = one.number();
    for (std::size_t i = 0; i < one.channels(); ++i) {
      const auto bytes = one[i].bytes();
      seen.values.emplace_back(one[i].status(), std::vector<std::byte>(bytes.begin(), bytes.end()));
    }
  }
  return all;
}

/// A set that may have its first file twice: then the channels have second entries of its events.
template <class layout>
generated make_set(generator& random, const temporary_folder& folder, harms which) {
  generated all = random.make<layout>(folder, true, which);
  if (random.chance(2)) return all;
  const std::string copy = folder.file("copy.raw");
  std::filesystem::copy_file(all.files[0], copy);
  all.files.push_back(copy);
  return all;
}

void expect_equal(const read_ledger& a, const read_ledger& b) {
  ASSERT_EQ(a.channels.size(), b.channels.size());
  for (std::size_t i = 0; i < a.channels.size(); ++i) {
    ASSERT_TRUE(a.channels[i].is_balanced());
    ASSERT_EQ(a.channels[i].channel, b.channels[i].channel);
    ASSERT_EQ(a.channels[i].expected, b.channels[i].expected);
    ASSERT_EQ(a.channels[i].delivered, b.channels[i].delivered);
    ASSERT_EQ(a.channels[i].missing, b.channels[i].missing);
  }
  std::multiset<std::tuple<std::string, std::uint64_t, missing_cause>> of_a, of_b;
  for (const missing_value& one : a.values) of_a.emplace(one.file, one.offset, one.cause);
  for (const missing_value& one : b.values) of_b.emplace(one.file, one.offset, one.cause);
  ASSERT_EQ(of_a, of_b);
}

TYPED_TEST(First, EventsOfASelectionAreThoseOfTheWholeOne) {
  for (unsigned seed = 1; seed <= sets_to_try(60); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 2000);
    const temporary_folder folder;
    const generated all = make_set<TypeParam>(random, folder, harms::all);
    selection wanted = of_files(all.files, all.channels);
    wanted.step = 1 + random.below(3);
    const std::vector<seen_event> whole = events_of(dataset::open(wanted));
    wanted.limit = 1 + random.below(static_cast<unsigned>(whole.size()) + 2);
    std::vector<seen_event> expected(
        whole.begin(), whole.begin() + std::min<std::ptrdiff_t>(*wanted.limit, std::ssize(whole)));
    const dataset data = dataset::open(selection::parse(wanted.to_text()));
    ASSERT_EQ(data.size(), expected.size());
    ASSERT_EQ(data.plan().events, expected.size());
    ASSERT_EQ(events_of(data), expected);
    event_options slice;
    slice.first = random.below(4);
    slice.step = 1 + random.below(3);
    slice.order = event_order::backward;
    std::vector<seen_event> sliced;
    for (std::size_t i = slice.first; i < expected.size(); i += slice.step) sliced.push_back(expected[i]);
    std::reverse(sliced.begin(), sliced.end());
    ASSERT_EQ(events_of(data, slice), sliced);

    const auto digests = data.digest();
    for (std::size_t channel = 0; channel < all.channels.size(); ++channel) {
      channel_digest by_event;
      for (event_range events = data.events(); const event& one : events) by_event.add(one[channel]);
      ASSERT_EQ(digests[channel].digest.to_text(), by_event.to_text());
      std::vector<std::uint32_t> numbers, of_events;
      for (const seen_event& one : expected)
        if (one.values[channel].first != value_status::not_recorded) numbers.push_back(one.number);
      for (const seen_event& one : expected) of_events.push_back(one.number);
      ASSERT_EQ(data.column(all.channels[channel]).numbers, numbers);
      ASSERT_EQ(data.plan().channels[channel].values, numbers.size());
      column_options every_event;
      every_event.rows = column_rows::events;
      ASSERT_EQ(data.column(all.channels[channel], every_event).numbers, of_events);
    }
  }
}

TYPED_TEST(First, RowsOfAColumnHaveTheAccountOfAReadingThatEndsThere) {
  unsigned missing = 0, of_second = 0;
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 3000);
    const temporary_folder folder;
    const generated all = make_set<TypeParam>(random, folder, harms::all);
    selection wanted = of_files(all.files, {all.channels[0]});
    column_options options;
    if (random.chance(2)) options.rows = column_rows::events;
    const column_data whole = dataset::open(wanted).column(all.channels[0], options);
    expect_equal(whole.ledger_of_rows(whole.size()), whole.ledger);
    ASSERT_EQ(whole.ledger_of_rows(0).expected(), 0u);
    for (std::uint32_t rows = 1; rows < whole.size(); ++rows) {
      wanted.limit = rows;
      const dataset part = dataset::open(wanted);
      const read_ledger account = whole.ledger_of_rows(rows);
      expect_equal(account, part.column(all.channels[0], options).ledger);
      event_range events = part.events();
      while (events.next()) {
      }
      expect_equal(account, events.ledger());
      missing += account.missing() > 0 ? 1 : 0;
      of_second +=
          account.channels[0].missing[static_cast<std::size_t>(missing_cause::second_of_event)] > 0;
    }
  }
  EXPECT_GT(missing, 20u);
  EXPECT_GT(of_second, 20u);
}

}  // namespace
