// Events and blocks for which a file contradicts itself: its event headers and its event index, the
// dictionary's data types and a block, two entries that name one event or one block. No reading gets such a
// value as good, and the others are as they were.
#include "damaged_file.h"

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class Disputed : public damaged_file<layout> {
 protected:
  std::size_t header() const { return this->file.at.at("events") + 8 + this->damaged * 36; }
  std::size_t indexed() const { return this->file.at.at("index") + 8 + 32 + this->damaged * 16; }

  static std::uint64_t disputed(const read_ledger& ledger, const std::string& channel) {
    for (const channel_ledger& one : ledger.channels)
      if (one.channel == channel)
        return one.missing[static_cast<std::size_t>(missing_cause::event_disputed)];
    return 0;
  }

  /// Both channels' values of the event have no value, in events and columns alike, under what the header
  /// says.
  void expect_disputed(const bytes& built, const ravo_time_id& id) {
    const std::string path = this->folder.write("a.raw", built.vector());
    const dataset data = dataset::open(of_files({path}));
    event_range events = data.events();
    std::size_t seen = 0, good = 0;
    for (const event& one : events) {
      const bool is_it = one.number() == id.event_number && one.time().timeup == id.time.timeup &&
                         one.time().timelow == id.time.timelow;
      for (const char* channel : {"GOOD", "BAD"}) {
        EXPECT_EQ(one[channel].status(), is_it ? value_status::event_disputed : value_status::ok)
            << one.number();
        EXPECT_EQ(one[channel].bytes().empty(), is_it);
      }
      ++(is_it ? seen : good);
    }
    EXPECT_EQ(seen, 1u);
    EXPECT_EQ(good, 5u);
    const read_ledger ledger = events.ledger();
    EXPECT_TRUE(ledger.is_balanced());
    EXPECT_EQ(disputed(ledger, "BAD"), 1u);
    EXPECT_EQ(ledger.missing(), 2u);
    EXPECT_THAT(ledger.to_text(), HasSubstr("1 event disputed"));
    const column_data column = data.column("BAD");
    EXPECT_EQ(std::count(column.status.begin(), column.status.end(), value_status::event_disputed), 1);
    EXPECT_EQ(column.ledger.missing(), 1u);
    channel_digest by_event;
    for (event_range again = data.events(); const event& one : again) by_event.add(one["BAD"]);
    EXPECT_EQ(data.digest()[*data.find_channel("BAD")].digest, by_event);
    dataset_options strict;
    strict.damage = damage_policy::strict();
    EXPECT_THROW(dataset::open(of_files({path}), strict).column("GOOD"), missing_data);
  }
  ravo_time_id good_id() const {
    const handmade_event& event = this->file.events[this->damaged];
    return {event.number, {event.seconds, event.microseconds}};
  }
};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Disputed, layouts);

TYPED_TEST(Disputed, ANumberThatTheIndexDoesNotHave) {
  bytes built = this->file.build();
  built.set_u32(this->header() + 8, 5000);
  this->expect_disputed(built, {5000, this->good_id().time});
}

TYPED_TEST(Disputed, ATimeThatTheIndexDoesNotHave) {
  for (const std::size_t word : {16u, 20u}) {
    bytes built = this->file.build();
    built.set_u32(this->header() + word, built.word(this->header() + word) + 1);
    const time_stamp time{built.word(this->header() + 16), built.word(this->header() + 20)};
    this->expect_disputed(built, {this->good_id().event_number, time});
  }
}

TYPED_TEST(Disputed, ATypeThatTheIndexDoesNotHave) {
  bytes built = this->file.build();
  built.set_u32(this->header() + 12, RAVO_EV_IMAGE);
  this->expect_disputed(built, this->good_id());
}

TYPED_TEST(Disputed, AHeaderThatTheIndexLacks) {
  for (const std::size_t word : {0u, 4u, 8u, 12u}) {
    bytes built = this->file.build();
    built.set_u32(this->indexed() + word, built.word(this->indexed() + word) ^ 4u);
    this->expect_disputed(built, this->good_id());
  }
}

// The number of one event becomes that of the next: the next keeps its values and its time.
TYPED_TEST(Disputed, ANumberThatAnotherEventHasTakesNothingFromIt) {
  bytes built = this->file.build();
  built.set_u32(this->header() + 8, 1005);
  const dataset data = dataset::open(of_files({this->folder.write("a.raw", built.vector())}));
  event_range events = data.events();
  std::size_t n = 0;
  for (const event& one : events) {
    const std::size_t event = n < this->damaged ? n : n + 1;
    EXPECT_EQ(one["BAD"].scalar(), static_cast<double>(event) * 1000);
    EXPECT_EQ(one.time().timelow, event * 100000);
    ++n;
  }
  EXPECT_EQ(n, 5u);
  EXPECT_EQ(this->disputed(events.ledger(), "BAD"), 1u);
  EXPECT_TRUE(events.ledger().is_balanced());
  const column_data column = data.column("BAD");
  EXPECT_EQ(column.size(), 5u);
  EXPECT_EQ(this->disputed(column.ledger, "BAD"), 1u);
}

TYPED_TEST(Disputed, TwoEntriesThatLeadToOneHeaderAndToTwoServerBlocks) {
  bytes built = this->file.build();
  const std::size_t at = this->at_pointer(TestFixture::pointer::event_header);
  built.set_u32(at, built.word(at + 16));
  const dataset data = dataset::open(of_files({this->folder.write("a.raw", built.vector())}, {"BAD"}));
  const column_data column = data.column("BAD");
  EXPECT_THAT(column.numbers, testing::ElementsAre(1001, 1002, 1003, 1005, 1006));
  EXPECT_EQ(column.status[3], value_status::event_disputed);
  EXPECT_EQ(this->disputed(column.ledger, "BAD"), 2u);
  EXPECT_TRUE(column.ledger.is_balanced());
}

TYPED_TEST(Disputed, OfTwoEntriesThatLeadToOneBlockTheOneWhoseDataFollowHasIt) {
  bytes built = this->file.build();
  const std::size_t at = this->at_pointer(TestFixture::pointer::subheader);
  built.set_u32(at, built.word(at + 16));
  const dataset data = dataset::open(of_files({this->folder.write("a.raw", built.vector())}, {"BAD"}));
  const column_data column = data.column("BAD");
  ASSERT_EQ(column.size(), 6u);
  for (std::size_t row = 0; row < 6; ++row) {
    EXPECT_EQ(column.status[row], row == this->damaged ? value_status::misdirected : value_status::ok);
    if (row != this->damaged) {
      EXPECT_EQ(column.row<float>(row)[0], static_cast<float>(row) * 1000);
    }
  }
}

// Only types below 32 have a bit, and a mask of 0 says nothing.
TYPED_TEST(Disputed, ADataTypeThatTheDictionaryExcludes) {
  const std::uint32_t own = static_cast<std::uint32_t>(TypeParam::single_type);
  const std::uint32_t bit = own < 32 ? 1u << own : 0;
  struct {
    std::uint32_t mask;
    bool is_excluded;
  } const cases[] = {{0, false}, {bit | 1u << 13, false}, {1u << 13, own < 32}, {0xffffffffu, false}};
  for (const auto& [mask, is_excluded] : cases) {
    this->file.channels[1].dtype_mask = mask;
    const dataset data = dataset::open(of_files({write(this->folder, "a.raw", this->file)}));
    const column_data column = data.column("BAD");
    ASSERT_EQ(column.size(), 6u);
    for (const value_status status : column.status)
      EXPECT_EQ(status, is_excluded ? value_status::event_disputed : value_status::ok) << mask;
    for (event_range events = data.events(); const event& one : events)
      EXPECT_EQ(one["BAD"].status(), is_excluded ? value_status::event_disputed : value_status::ok);
    EXPECT_EQ(this->disputed(column.ledger, "BAD"), is_excluded ? 6u : 0u);
  }
}

TYPED_TEST(Disputed, AFileWhoseEventIndexIsDamagedIsRefusedAlsoWhenItIsTheOnlyOne) {
  bytes built = this->file.build();
  built.set_u32(this->file.at.at("index"), 0x12345678);
  try {
    dataset::open(of_files({this->folder.write("a.raw", built.vector())}));
    ADD_FAILURE() << "it is read";
  } catch (const missing_data& error) {
    EXPECT_THAT(error.what(), HasSubstr("its event index is damaged"));
  }
}

// ---- slow values

template <class layout>
class SlowValuesAstray : public testing::Test {
 protected:
  // Updates of the values 10, 20, ... 50 with every second of ten events.
  SlowValuesAstray() {
    std::vector<std::pair<std::size_t, float>> fast;
    handmade_channel slow("SLOW");
    slow.ev_mask = 1u << RAVO_EV_UPD;
    for (std::uint32_t i = 0; i < 10; ++i) {
      file.events.push_back(event_at(1 + i, i * 100, i % 2 == 0 ? RAVO_EV_UPD : RAVO_EV_NORMAL));
      if (i % 2 == 0)
        slow.blocks.push_back(update_of(layout{}, i, static_cast<float>(i) * 5 + 10, noon + i));
      else
        fast.emplace_back(i, static_cast<float>(i));
    }
    file.channels = {numbers_at<layout>("FAST", fast), slow};
  }
  std::size_t word_of_entry(std::size_t entry, std::size_t word) {
    return file.at.at("pointers") + 12 + (5 + entry) * 16 + word * 4;
  }
  std::vector<value_status> status_of(const bytes& built, slow_policy how = slow_policy::none) {
    selection wanted = of_files({folder.write("a.raw", built.vector())}, {"FAST", "SLOW"});
    wanted.slow = how;
    std::vector<value_status> all;
    const dataset data = dataset::open(wanted);
    for (event_range events = data.events(); const event& one : events) {
      const value seen = one["SLOW"];
      if (seen.status() == value_status::ok || seen.status() == value_status::held) {
        EXPECT_EQ(seen.scalar(), ((one.number() - 1) / 2) * 10 + 10);
      }
      all.push_back(seen.status());
    }
    return all;
  }

  temporary_folder folder;
  handmade_file_of<layout> file;
};
TYPED_TEST_SUITE(SlowValuesAstray, layouts);

TYPED_TEST(SlowValuesAstray, AValueIsOnlyAfterItsSubheader) {
  const bytes good = this->file.build();
  const std::size_t at = this->word_of_entry(1, 3);
  std::vector<std::uint32_t> places{good.word(at - 16), good.word(at + 16),
                                    good.word(at - 4),  0,
                                    0xffffffffu,        static_cast<std::uint32_t>(good.size())};
  for (const int shift : {-16, -8, -4, -2, -1, 1, 2, 4, 8, 16})
    places.push_back(good.word(at) + static_cast<std::uint32_t>(shift));
  for (const std::uint32_t place : places) {
    bytes built = good;
    built.set_u32(at, place);
    const std::vector<value_status> seen = this->status_of(built);
    ASSERT_EQ(seen.size(), 10u);
    for (std::size_t i = 0; i < 10; i += 2)
      EXPECT_EQ(seen[i], i == 2 ? value_status::misdirected : value_status::ok) << place;
  }
}

TYPED_TEST(SlowValuesAstray, AValueLiesInItsBlock) {
  const bytes good = this->file.build();
  const std::size_t length = good.word(this->word_of_entry(1, 2)) + TypeParam::subhead - 4;
  const std::uint32_t right = good.word(length);
  for (const std::uint32_t wrong : {right - 1, right - 4, 0u, 0x80000000u, 0xffffffffu}) {
    bytes built = good;
    built.set_u32(length, wrong);
    EXPECT_EQ(this->status_of(built)[2], value_status::misdirected) << wrong;
  }
  bytes built = good;
  built.set_u32(length, right + 4);
  EXPECT_EQ(this->status_of(built)[2], value_status::ok);
}

// The time of the value is disputed too: none is held where that may have been the last one.
TYPED_TEST(SlowValuesAstray, NothingIsHeldForSureAroundAValueWhoseEventIsDisputed) {
  bytes built = this->file.build();
  const std::size_t header = this->file.at.at("events") + 8 + 4 * 36;
  built.set_u32(header + 8, 9);  // the third update says that it is the ninth event
  built.set_u32(header + 20, 8 * 100000);
  const std::vector<value_status> seen = this->status_of(built, slow_policy::hold);
  const value_status ok = value_status::ok, held = value_status::held, stale = value_status::stale;
  // Event 5 has no channel any more; event 6 lies where the value may have been.
  EXPECT_EQ(seen, (std::vector<value_status>{ok, held, ok, stale, stale, ok, held, ok, held}));
}

}  // namespace
