// What is held when the newest slow value may be in a missing file: it is never reported as the last one.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using enum value_status;

template <class layout>
class SlowValues : public testing::Test {
 protected:
  // Four files of two events each, two seconds from one to the next, with their times in their names
  // (22:13:20 is noon of the other tests). An update with the first event of the first and of the third
  // one: 10 and 50.
  SlowValues() {
    for (std::uint32_t number = 0; number < 4; ++number) {
      auto made = file(number);
      files.push_back(write(folder, name_of(number), made));
    }
  }

  static std::string name_of(std::uint32_t file) {
    return "linac_main_run1_file" + std::to_string(file + 1) + "_20231114T2213" +
           std::to_string(20 + file * 2) + "Z.raw";
  }

  static handmade_file_of<layout> file(std::uint32_t file) {
    handmade_file_of<layout> made;
    const std::uint32_t number = 1 + file * 2, time = file * 2000;
    made.events = {event_at(number, time + 100), event_at(number + 1, time + 1100),
                   event_at(number, time + 100, RAVO_EV_UPD)};
    made.channels = {numbers_at<layout>("FAST", {{0, 1.0f}, {1, 2.0f}})};
    if (file % 2 != 0) return made;
    handmade_channel slow("SLOW");
    slow.ev_mask = 1u << RAVO_EV_UPD;
    slow.blocks.push_back(update_of(layout{}, 2, static_cast<float>(number) * 10, noon));
    made.channels.push_back(slow);
    return made;
  }

  selection wanted(slow_policy policy) const {
    selection what = of_files(files, {"FAST", "SLOW"});
    what.slow = policy;
    what.join = join_policy::with;
    what.join_channel = "FAST";
    return what;
  }

  /// The same by events, forward and backward, and as a column.
  static void expect(const dataset& data, const std::vector<value_status>& statuses,
                     const std::vector<float>& values, const std::vector<std::int64_t>& seconds) {
    column_options rows;
    rows.rows = column_rows::events;
    rows.with_digest = true;
    const column_data column = data.column("SLOW", rows);
    EXPECT_EQ(column.status, statuses);
    std::size_t n = 0;
    channel_digest digest;
    event_range events = data.events();
    for (const event& one : events) {
      digest.add(one["SLOW"]);
      ASSERT_LT(n, statuses.size());
      SCOPED_TRACE(one.number());
      const value slow = one["SLOW"];
      EXPECT_EQ(slow.status(), statuses[n]);
      if (slow.has_value()) {
        EXPECT_EQ(slow.scalar(), values[n]);
        EXPECT_EQ(column.values<float>()[n], values[n]);
        EXPECT_EQ(slow.age(), seconds[n] * 1000000);
        EXPECT_EQ(column.ages[n], seconds[n] * 1000000);
      } else {
        EXPECT_TRUE(slow.bytes().empty());
        EXPECT_TRUE(slow.is_held() || slow.status() == not_recorded);
        EXPECT_TRUE(std::isnan(column.values<float>()[n]));
      }
      ++n;
    }
    EXPECT_EQ(n, statuses.size());
    EXPECT_EQ(column.digest, digest);
    EXPECT_EQ(column.ledger.expected(), events.ledger().of("SLOW").expected);
    EXPECT_EQ(column.ledger.delivered(), events.ledger().of("SLOW").delivered);
    EXPECT_TRUE(data.ledger().is_balanced());
  }

  void spoil(std::size_t file) {
    std::filesystem::resize_file(files[file], std::filesystem::file_size(files[file]) / 2);
  }

  temporary_folder folder;
  std::vector<std::string> files;
};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(SlowValues, layouts);

TYPED_TEST(SlowValues, OfSoundFilesAreHeld) {
  this->expect(dataset::open(this->wanted(slow_policy::hold)), {ok, held, held, held, ok, held, held, held},
               {10, 10, 10, 10, 50, 50, 50, 50}, {0, 1, 2, 3, 0, 1, 2, 3});
}

TYPED_TEST(SlowValues, FromBeforeARefusedFileAreStaleAfterIt) {
  this->spoil(2);
  this->expect(dataset::open(this->wanted(slow_policy::hold)), {ok, held, held, held, stale, stale},
               {10, 10, 10, 10, 10, 10}, {0, 1, 2, 3, 6, 7});
}

TYPED_TEST(SlowValues, FromAfterARefusedFileAreHeld) {
  this->spoil(1);
  this->expect(dataset::open(this->wanted(slow_policy::hold)), {ok, held, ok, held, held, held},
               {10, 10, 50, 50, 50, 50}, {0, 1, 0, 1, 2, 3});
}

TYPED_TEST(SlowValues, AreMissingWhereTheFirstOneMayBeInARefusedFile) {
  this->spoil(0);
  this->expect(dataset::open(this->wanted(slow_policy::hold)),
               {file_missing, file_missing, ok, held, held, held}, {0, 0, 50, 50, 50, 50},
               {0, 0, 0, 1, 2, 3});
}

TYPED_TEST(SlowValues, AreStaleBesideARefusedFileWhoseNameHasNoTime) {
  selection what = this->wanted(slow_policy::hold);
  what.files.push_back(this->folder.write("x.raw", std::vector<unsigned char>(5000, 7)));
  this->expect(dataset::open(what), {ok, stale, stale, stale, ok, stale, stale, stale},
               {10, 10, 10, 10, 50, 50, 50, 50}, {0, 1, 2, 3, 0, 1, 2, 3});
}

TYPED_TEST(SlowValues, OfFilesThatGoAfterwardsAreNotReplacedByOlderOnes) {
  dataset_options options;
  options.open_files = 1;
  options.threads = 1;  // so that it is the last file that stays open
  const dataset data = dataset::open(this->wanted(slow_policy::hold), options);
  std::filesystem::remove(this->files[1]);  // which has none, and
  std::filesystem::remove(this->files[2]);  // which has the last one
  this->expect(data, {ok, held, stale, stale}, {10, 10, 10, 10}, {0, 1, 6, 7});
}

TYPED_TEST(SlowValues, ThatAreNearestAreStaleWhereANearerOneMayBeMissing) {
  this->expect(dataset::open(this->wanted(slow_policy::nearest)),
               {ok, held, held, held, ok, held, held, held}, {10, 10, 10, 50, 50, 50, 50, 50},
               {0, 1, 2, -1, 0, 1, 2, 3});
  this->spoil(2);  // it begins 1.9 s after the third event
  this->expect(dataset::open(this->wanted(slow_policy::nearest)), {ok, held, stale, stale, stale, stale},
               {10, 10, 10, 10, 10, 10}, {0, 1, 2, 3, 6, 7});
}

// The second of three updates has no valid event header, so that its time is unknown: some time
// between the two others.
TYPED_TEST(SlowValues, AreStaleWhereOneWithoutAnEventMayBeTheLast) {
  handmade_file_of<TypeParam> made;
  std::vector<std::pair<std::size_t, float>> fast;
  handmade_channel slow("SLOW");
  slow.ev_mask = 1u << RAVO_EV_UPD;
  for (std::uint32_t i = 0; i < 6; ++i) {
    fast.emplace_back(made.events.size(), 1.0f);
    made.events.push_back(event_at(i + 1, i * 1000));
    if (i % 2 != 0) continue;
    made.events.push_back(event_at(i + 1, i * 1000, RAVO_EV_UPD));
    slow.blocks.push_back(
        update_of(TypeParam{}, made.events.size() - 1, static_cast<float>(i + 1) * 10, noon));
  }
  made.channels = {numbers_at<TypeParam>("FAST", fast), slow};
  bytes built = made.build();
  // Six entries are reserved for each channel, of four words; the first word leads to the event header.
  const std::size_t second = made.at.at("pointers") + 12 + (6 + 1) * 16;
  built.set_u32(second, built.word(second) + 4);
  selection what = this->wanted(slow_policy::hold);
  what.files = {this->folder.write("one.raw", built.vector())};
  const dataset data = dataset::open(what);
  this->expect(data, {ok, stale, stale, stale, ok, held}, {10, 10, 10, 10, 50, 50}, {0, 1, 2, 3, 0, 1});
  EXPECT_GT(data.ledger().of("SLOW").missing[static_cast<std::size_t>(missing_cause::no_event_header)], 0u);
}

// The only update of the third file is of no event: it is newer than that of the first one also for the
// events of the fourth file, and nearer to those from when it may have been.
TYPED_TEST(SlowValues, AreStaleAfterAFileWhoseOnlyOneIsWithoutAnEvent) {
  auto third = this->file(2);
  bytes built = third.build();
  const std::size_t row = third.at.at("pointers") + 12 + 2 * 16;  // after the two entries of the other
  built.set_u32(row, built.word(row) + 4);
  this->files[2] = this->folder.write(this->name_of(2), built.vector());
  this->expect(dataset::open(this->wanted(slow_policy::hold)),
               {ok, held, held, held, stale, stale, stale, stale}, {10, 10, 10, 10, 10, 10, 10, 10},
               {0, 1, 2, 3, 4, 5, 6, 7});
  this->expect(dataset::open(this->wanted(slow_policy::nearest)),
               {ok, held, stale, stale, stale, stale, stale, stale}, {10, 10, 10, 10, 10, 10, 10, 10},
               {0, 1, 2, 3, 4, 5, 6, 7});
}

// The update of the first file is of no event, and older than that of the third one.
TYPED_TEST(SlowValues, AreHeldAfterANewerOneThanThatWithoutAnEvent) {
  auto first = this->file(0);
  bytes built = first.build();
  const std::size_t row = first.at.at("pointers") + 12 + 2 * 16;
  built.set_u32(row, built.word(row) + 4);
  this->files[0] = this->folder.write(this->name_of(0), built.vector());
  this->expect(dataset::open(this->wanted(slow_policy::hold)),
               {file_missing, file_missing, file_missing, file_missing, ok, held, held, held},
               {0, 0, 0, 0, 50, 50, 50, 50}, {0, 0, 0, 0, 0, 1, 2, 3});
}

// Of two files that overlap in time the first one's last update is of no event: it is from some time of
// that file, and older than the update of the other one.
TYPED_TEST(SlowValues, AreHeldAfterTheTimeOfAFileWhoseLastOneIsWithoutAnEvent) {
  handmade_file_of<TypeParam> first, second;
  first.events = {event_at(1, 0),    event_at(2, 1000),           event_at(3, 2000),
                  event_at(6, 5000), event_at(1, 0, RAVO_EV_UPD), event_at(3, 2000, RAVO_EV_UPD)};
  second.events = {event_at(5, 4000), event_at(7, 6000), event_at(8, 7000), event_at(7, 6000, RAVO_EV_UPD)};
  handmade_channel slow("SLOW");
  slow.ev_mask = 1u << RAVO_EV_UPD;
  handmade_channel slow_of_second = slow;
  slow.blocks = {update_of(TypeParam{}, 4, 10, noon), update_of(TypeParam{}, 5, 30, noon)};
  slow_of_second.blocks = {update_of(TypeParam{}, 3, 70, noon)};
  first.channels = {numbers_at<TypeParam>("FAST", {{0, 1.0f}, {1, 2.0f}, {2, 3.0f}}),
                    numbers_at<TypeParam>("OTHER", {{3, 6.0f}}), slow};
  second.channels = {numbers_at<TypeParam>("FAST", {{0, 5.0f}, {1, 7.0f}, {2, 8.0f}}), slow_of_second};
  bytes built = first.build();
  const std::size_t row = first.at.at("pointers") + 12 + (2 * 3 + 1) * 16;  // three entries are reserved
  built.set_u32(row, built.word(row) + 4);
  selection what = this->wanted(slow_policy::hold);
  what.files = {this->folder.write("first.raw", built.vector()), write(this->folder, "second.raw", second)};
  this->expect(dataset::open(what), {ok, stale, stale, stale, ok, held}, {10, 10, 10, 10, 70, 70},
               {0, 1, 2, 4, 0, 1});
}

TYPED_TEST(SlowValues, WithAnAgeButNoPolicyAreRefused) {
  selection what = this->wanted(slow_policy::none);
  what.max_age = 1000;
  EXPECT_THROW(dataset::open(what), selection_error);
}

}  // namespace
