// Events of a dataset: order, slices, single events, limits, joins and slow values.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::ElementsAre;
using testing::HasSubstr;

std::int64_t microseconds_of(const time_stamp& time) {
  return std::int64_t{time.timeup} * 1'000'000 + time.timelow;
}

template <class layout>
class Events : public testing::Test {
 protected:
  // Ten events a tenth of a second apart, in two files; FAST has all, HALF every second, SLOW an update at
  // events 102 and 107.
  Events() {
    for (std::uint32_t file = 0; file < 2; ++file) {
      handmade_file_of<layout> made;
      std::vector<std::pair<std::size_t, float>> fast, half;
      handmade_channel slow("SLOW");
      slow.ev_mask = 1u << RAVO_EV_UPD;
      for (std::uint32_t i = 0; i < 5; ++i) {
        const std::uint32_t number = 101 + file * 5 + i;
        const std::uint32_t time = (file * 5 + i) * 100;
        made.events.push_back(event_at(number, time));
        fast.emplace_back(made.events.size() - 1, static_cast<float>(number));
        if (number % 2 == 0) half.emplace_back(made.events.size() - 1, static_cast<float>(number) + 0.5f);
        if (number != 102 && number != 107) continue;
        made.events.push_back(event_at(number, time, RAVO_EV_UPD));
        slow.blocks.push_back(
            update_of(layout{}, made.events.size() - 1, static_cast<float>(number) * 10, noon));
      }
      made.channels = {numbers_at<layout>("FAST", fast, 1), numbers_at<layout>("HALF", half, 2), slow};
      files.push_back(write(folder, "part" + std::to_string(file) + ".raw", made));
    }
  }

  dataset open(const std::string& more = "", dataset_options options = {}) const {
    selection wanted = selection::parse(more);
    wanted.files = files;
    if (wanted.channels.empty()) wanted.channels = {"FAST", "HALF", "SLOW"};
    return dataset::open(wanted, std::move(options));
  }

  temporary_folder folder;
  std::vector<std::string> files;
};

using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Events, layouts);

TYPED_TEST(Events, ComeInOrderWithTheirValues) {
  const dataset data = this->open();
  EXPECT_EQ(data.size(), 10u);
  std::uint32_t expected = 101;
  for (event_range events = data.events(); const event& one : events) {
    EXPECT_EQ(one.number(), expected);
    EXPECT_EQ(one["FAST"].scalar(), expected);
    EXPECT_EQ(one["FAST"].spectrum().values.size(), 1u);
    EXPECT_EQ(one["HALF"].status(), expected % 2 == 0 ? value_status::ok : value_status::not_recorded);
    EXPECT_EQ(one["SLOW"].has_value(), expected == 102 || expected == 107);
    ++expected;
  }
  EXPECT_EQ(expected, 111u);
}

TYPED_TEST(Events, ComeBackwardToo) {
  event_options backward;
  backward.order = event_order::backward;
  EXPECT_THAT(numbers_of(this->open().events(backward)),
              ElementsAre(110, 109, 108, 107, 106, 105, 104, 103, 102, 101));
}

TYPED_TEST(Events, AreSlicedInBothOrders) {
  event_options slice;
  slice.first = 2;
  slice.step = 3;
  EXPECT_THAT(numbers_of(this->open().events(slice)), ElementsAre(103, 106, 109));
  slice.count = 2;
  EXPECT_THAT(numbers_of(this->open().events(slice)), ElementsAre(103, 106));
  slice.order = event_order::backward;
  EXPECT_THAT(numbers_of(this->open().events(slice)), ElementsAre(106, 103));
  slice.first = 10;
  EXPECT_THAT(numbers_of(this->open().events(slice)), ElementsAre());
  slice = {};
  slice.count = 0;
  EXPECT_THAT(numbers_of(this->open().events(slice)), ElementsAre());
}

TYPED_TEST(Events, AreListedAsTheyCome) {
  for (const char* text : {"", "chan=SLOW", "event=104-108", "event=104-108 step=2", "step=3 limit=3",
                           "join=all chan=FAST,HALF", "slow=hold chan=SLOW", "from=1700000002"}) {
    const dataset data = this->open(text);
    const std::vector<ravo_time_id> listed = data.event_ids();
    EXPECT_EQ(listed.size(), data.size()) << text;
    std::size_t i = 0;
    for (event_range events = data.events(); const event& one : events) {
      ASSERT_LT(i, listed.size()) << text;
      EXPECT_EQ(listed[i].event_number, one.number()) << text;
      EXPECT_EQ(microseconds_of(listed[i++].time), microseconds_of(one.time())) << text;
    }
    EXPECT_EQ(i, listed.size()) << text;
  }
}

TYPED_TEST(Events, AreLimitedByNumberTimeAndStep) {
  EXPECT_THAT(numbers_of(this->open("event=104-108").events()), ElementsAre(104, 105, 106, 107, 108));
  EXPECT_THAT(numbers_of(this->open("event=104-108 step=2").events()), ElementsAre(104, 106, 108));
  EXPECT_EQ(this->open("event=104-108 step=2").size(), 3u);
  EXPECT_THAT(numbers_of(this->open("from=1700000000.25 to=1700000000.5").events()),
              ElementsAre(104, 105, 106));
  EXPECT_THAT(numbers_of(this->open("from=1700000002").events()), ElementsAre());
  EXPECT_THAT(numbers_of(this->open("step=4").events()), ElementsAre(101, 105, 109));
}

TYPED_TEST(Events, AreFoundByNumberAndByTime) {
  const dataset data = this->open();
  EXPECT_EQ((*data.at(107))["FAST"].scalar(), 107);
  EXPECT_EQ((*data.at(107))["SLOW"].scalar(), 1070);
  EXPECT_FALSE(data.at(111));
  EXPECT_FALSE(data.at(100));
  EXPECT_EQ(data.at(time_stamp{noon, 320000})->number(), 104u);
  EXPECT_EQ(data.at(time_stamp{noon, 350001})->number(), 105u);
  EXPECT_FALSE(data.at(time_stamp{noon, 960000}));
  EXPECT_FALSE(this->open("event=104-").at(103));
}

TYPED_TEST(Events, AreJoinedAsIsAsked) {
  EXPECT_THAT(numbers_of(this->open("join=all chan=FAST,HALF").events()),
              ElementsAre(102, 104, 106, 108, 110));
  EXPECT_THAT(numbers_of(this->open("join=all").events()), ElementsAre(102));
  EXPECT_THAT(numbers_of(this->open("join=all slow=hold").events()), ElementsAre(102, 104, 106, 108, 110));
  EXPECT_THAT(numbers_of(this->open("join=with:SLOW").events()), ElementsAre(102, 107));
  EXPECT_THROW(this->open("join=with:OTHER"), selection_error);
}

TYPED_TEST(Events, HoldSlowValuesWithTheirAge) {
  event_range events = this->open("slow=hold max_age=300ms").events();
  for (const event& one : events) {
    const value slow = one["SLOW"];
    const std::uint32_t from = one.number() < 107 ? 102 : 107;
    const auto age = static_cast<std::int64_t>(one.number() - from) * 100000;
    if (one.number() < 102) {
      EXPECT_EQ(slow.status(), value_status::not_recorded);
      continue;
    }
    EXPECT_EQ(slow.status(), age == 0        ? value_status::ok
                             : age <= 300000 ? value_status::held
                                             : value_status::stale);
    EXPECT_EQ(slow.age(), age);
    EXPECT_EQ(slow.is_held(), age != 0);
    EXPECT_EQ(slow.scalar(), from * 10.0);
    EXPECT_EQ(slow.update().status, 3);
    EXPECT_EQ(slow.update().property, "SLOW");
    EXPECT_EQ(slow.recorded_with().event_number, from);
  }
  // Held values do not count as values of the file: each was delivered once.
  EXPECT_EQ(events.ledger().expected(), 17u);
}

TYPED_TEST(Events, HoldValuesFromBeforeTheLimits) {
  const dataset data = this->open("slow=hold event=104-105");
  for (event_range events = data.events(); const event& one : events) EXPECT_EQ(one["SLOW"].scalar(), 1020);
  const dataset later = this->open("slow=hold from=1700000000.55 chan=FAST,SLOW");  // the second file only
  EXPECT_EQ((*later.at(107))["SLOW"].scalar(), 1070);
  const dataset second_file = this->open("slow=hold from=1700000000.5 to=1700000000.5 chan=FAST,SLOW");
  EXPECT_EQ((*second_file.at(106))["SLOW"].scalar(), 1020);
}

TYPED_TEST(Events, TakeTheNearestSlowValueWhenAsked) {
  const dataset data = this->open("slow=nearest");
  EXPECT_EQ((*data.at(101))["SLOW"].scalar(), 1020);
  EXPECT_EQ((*data.at(101))["SLOW"].age(), -100000);
  EXPECT_EQ((*data.at(104))["SLOW"].scalar(), 1020);
  EXPECT_EQ((*data.at(105))["SLOW"].scalar(), 1070);
  EXPECT_EQ((*data.at(110))["SLOW"].scalar(), 1070);
}

TYPED_TEST(Events, OutliveTheDatasetAndTheRange) {
  std::optional<event> kept;
  {
    const dataset data = this->open();
    kept = *data.events().next();
  }
  EXPECT_EQ(kept->number(), 101u);
  EXPECT_EQ((*kept)["FAST"].scalar(), 101);
}

TYPED_TEST(Events, MayBeLeftEarlyAndReadSeveralTimesAtOnce) {
  const dataset data = this->open();
  event_range first = data.events();
  event_range second = data.events();
  EXPECT_EQ(first.next()->number(), 101u);
  EXPECT_EQ(second.next()->number(), 101u);
  EXPECT_EQ(first.next()->number(), 102u);
}

TYPED_TEST(Events, GiveColumnsWithARowForEachEvent) {
  column_options rows;
  rows.rows = column_rows::events;
  const dataset data = this->open("slow=hold max_age=300ms");
  const column_data slow = data.column("SLOW", rows);
  ASSERT_EQ(slow.size(), 10u);
  using enum value_status;
  EXPECT_THAT(slow.status, ElementsAre(not_recorded, ok, held, held, held, stale, ok, held, held, held));
  EXPECT_THAT(slow.ages, ElementsAre(0, 0, 100000, 200000, 300000, 400000, 0, 100000, 200000, 300000));
  EXPECT_TRUE(std::isnan(slow.values<float>()[0]));
  for (std::size_t i = 1; i < 10; ++i) EXPECT_EQ(slow.values<float>()[i], i < 6 ? 1020.0f : 1070.0f);
  const column_data half = data.column("HALF", rows);
  EXPECT_THAT(half.status, ElementsAre(not_recorded, ok, not_recorded, ok, not_recorded, ok, not_recorded,
                                       ok, not_recorded, ok));
  EXPECT_EQ(half.values<float>()[1], 102.5f);
  EXPECT_TRUE(std::isnan(half.values<float>()[2]));
  EXPECT_EQ(half.ledger.expected(), 5u);
  const column_data held_from_before = this->open("slow=hold event=104-105").column("SLOW", rows);
  EXPECT_THAT(held_from_before.status, ElementsAre(held, held));
  EXPECT_EQ(held_from_before.values<float>()[1], 1020.0f);
}

TYPED_TEST(Events, ArePlannedBeforeTheyAreRead) {
  const dataset data = this->open("step=2");
  const read_plan plan = data.plan();
  EXPECT_EQ(plan.files, 2u);
  EXPECT_EQ(plan.events, 5u);
  ASSERT_EQ(plan.channels.size(), 3u);
  EXPECT_EQ(plan.channels[0].values, 5u);
  EXPECT_EQ(plan.channels[1].values, 0u);
  EXPECT_EQ(plan.channels[2].values, 1u);  // of event 107, the fourth of every second one
  EXPECT_EQ(plan.channels[0].decoded_bytes, 5 * spectrum<TypeParam>({{1.0f}}).size());
  EXPECT_GT(plan.stored_bytes, 0u);
  EXPECT_LE(plan.peak_bytes_of_events, dataset_options{}.memory_limit);
}

TYPED_TEST(Events, NameTheNearestChannelsOfAnUnknownOne) {
  try {
    this->open("chan=FATS");
    FAIL();
  } catch (const selection_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("No channel matches \"FATS\"; did you mean FAST?"));
  }
  EXPECT_THROW(this->open("chan=X*"), selection_error);
  EXPECT_THROW(this->open("chan=~[").size(), selection_error);
}

TYPED_TEST(Events, FindChannelsByGlobsAndExpressions) {
  const auto labels = [&](const std::string& text) {
    std::vector<std::string> found;
    const dataset data = this->open(text);
    for (const dataset_channel& channel : data.channels()) found.push_back(channel.label);
    return found;
  };
  EXPECT_THAT(labels("chan=*"), ElementsAre("FAST", "HALF", "SLOW"));
  EXPECT_THAT(labels("chan=[HS]*"), ElementsAre("HALF", "SLOW"));
  EXPECT_THAT(labels("chan=\"~.*(LF|ST)\""), ElementsAre("FAST", "HALF"));
  EXPECT_THAT(labels("chan=SLOW,*,FAST:0"), ElementsAre("SLOW", "FAST", "HALF", "FAST:0"));
  EXPECT_TRUE(this->open().channels()[2].is_slow);
  EXPECT_FALSE(this->open().channels()[0].is_slow);
}

}  // namespace
