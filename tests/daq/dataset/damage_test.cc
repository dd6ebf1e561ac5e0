// Damage by name, and the effect of each: its status, its line in the ledger, and that nothing else
// suffers.
#include <unistd.h>

#include <algorithm>

#include "damaged_file.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::ElementsAre;

template <class layout>
class Damage : public damaged_file<layout> {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Damage, layouts);

TYPED_TEST(Damage, OfTheChecksumIsDistinguishedFromOtherDamage) {
  bytes built = this->file.build();
  const std::size_t block = this->file.at.at("BAD") + this->size_of_blocks();
  const std::size_t stream = block + TypeParam::subhead + 12;
  const std::size_t length = compress_zlib(this->bad_block().payload).size();
  built.data()[stream + length - 1] ^= 0x55;
  this->expect_status(value_status::bad_checksum, this->folder.write("a.raw", built.vector()));
}

TYPED_TEST(Damage, OfTheStreamCannotBeInflated) {
  bytes built = this->file.build();
  const std::size_t stream = this->file.at.at("BAD") + this->size_of_blocks() + TypeParam::subhead + 12;
  for (std::size_t i = 2; i < 12; ++i) built.data()[stream + i] = 0xff;
  this->expect_status(value_status::cannot_inflate, this->folder.write("a.raw", built.vector()));
}

TYPED_TEST(Damage, OfTheStatedLengthCannotBeInflated) {
  this->bad_block().orig_length = 5000;
  this->expect_status(value_status::cannot_inflate, write(this->folder, "a.raw", this->file));
}

TYPED_TEST(Damage, AnUnknownCompressorCannotBeInflated) {
  this->bad_block().zip_flags = 4;
  this->expect_status(value_status::cannot_inflate, write(this->folder, "a.raw", this->file));
}

TYPED_TEST(Damage, ALengthBeyondTheBasketIsATruncatedBlock) {
  this->bad_block().zipp_length = 1u << 24;
  this->expect_status(value_status::truncated, write(this->folder, "a.raw", this->file));
}

TYPED_TEST(Damage, APayloadThatIsNotOfItsTypeCannotBeConverted) {
  this->bad_block().payload.set_i32(4, 301);  // samples
  this->expect_status(value_status::cannot_convert, write(this->folder, "a.raw", this->file));
}

// The classic reader's worker ends here, and loses what it would have decoded.
TYPED_TEST(Damage, OfAHeldValueIsReportedAtEveryEventAndCountedAtItsOwn) {
  // An update with the second of four events, whose data are said to lie elsewhere than after its
  // subheader.
  handmade_file_of<TypeParam> slow_file;
  std::vector<std::pair<std::size_t, float>> fast;
  for (std::uint32_t i = 0; i < 4; ++i) {
    fast.emplace_back(i, static_cast<float>(i));
    slow_file.events.push_back(event_at(1 + i, i * 100));
  }
  slow_file.events.push_back(event_at(2, 100, RAVO_EV_UPD));
  handmade_channel slow("SLOW");
  slow.ev_mask = 1u << RAVO_EV_UPD;
  slow.blocks.push_back(update_of(TypeParam{}, 4, 7, noon));
  slow_file.channels = {numbers_at<TypeParam>("FAST", fast), slow};
  bytes built = slow_file.build();
  built.set_u32(slow_file.at.at("pointers") + 12 + 4 * 16 + 12, static_cast<std::uint32_t>(built.size()));
  selection wanted = of_files({this->folder.write("slow.raw", built.vector())}, {"FAST", "SLOW"});
  wanted.slow = slow_policy::hold;
  const dataset data = dataset::open(wanted);
  channel_digest by_event;
  event_range events = data.events();
  for (const event& one : events) {
    const value seen = one["SLOW"];
    EXPECT_EQ(seen.status(), one.number() < 2 ? value_status::not_recorded : value_status::misdirected);
    EXPECT_EQ(seen.is_held(), one.number() > 2);
    by_event.add(seen);
  }
  EXPECT_EQ(by_event.values(), 1u);
  EXPECT_EQ(data.digest()[1].digest, by_event);
  EXPECT_EQ(events.ledger().channels[1].expected, 1u);
  EXPECT_EQ(events.ledger().channels[1].missing_total(), 1u);
}

TYPED_TEST(Damage, ABlockThatIsLongerThanItsPlaceIsReadAgain) {
  // The next block's pointer points into the damaged one: what lies between is less than the block.
  bytes built = this->file.build();
  const std::size_t entry = this->file.at.at("pointers") + 12 + (6 + this->damaged + 1) * 16 + 8;
  built.set_u32(entry, built.word(entry - 16) + 64);
  const dataset data = dataset::open(of_files({this->folder.write("a.raw", built.vector())}, {"BAD"}));
  const column_data column = data.column("BAD");
  EXPECT_EQ(column.status[this->damaged], value_status::ok);
  EXPECT_NE(column.status[this->damaged + 1], value_status::ok);
  EXPECT_EQ(column.row<float>(this->damaged)[299], 3299.0f);
}

TYPED_TEST(Damage, OfEveryValueIsCountedAndTheFirstOfEachCauseIsListed) {
  // More values are missing for one reason than are listed; the one of another reason comes last.
  handmade_file_of<TypeParam> large;
  handmade_channel channel("BAD");
  const std::size_t blocks = read_ledger::most_listed + 100;
  for (std::size_t i = 0; i <= blocks; ++i) {
    large.events.push_back(
        event_at(static_cast<std::uint32_t>(1 + i), static_cast<std::uint32_t>(i * 100)));
    handmade_block block = zipped(scalar<TypeParam>(i, 1), RAVO_ZIP_ZLIB);
    if (i < blocks) block.zip_flags = 4;
    if (i == blocks) block.zipp_length = 1u << 24;
    channel.blocks.push_back(block);
  }
  large.channels = {channel};
  dataset_options options;
  options.threads = 2;
  const dataset data = dataset::open(of_files({write(this->folder, "a.raw", large)}), options);
  event_range events = data.events();
  for (const event& one : events) (void)one;
  for (const read_ledger& ledger : {events.ledger(), data.column("BAD").ledger, data.ledger()}) {
    EXPECT_TRUE(ledger.is_balanced());
    EXPECT_LE(ledger.values.size(), read_ledger::most_listed + 1);
    const auto listed = [&](missing_cause cause) {
      return std::count_if(ledger.values.begin(), ledger.values.end(),
                           [&](const missing_value& one) { return one.cause == cause; });
    };
    EXPECT_GE(listed(missing_cause::cannot_inflate), 999);
    EXPECT_EQ(listed(missing_cause::truncated), 1);
  }
  EXPECT_EQ(events.ledger().missing(), blocks + 1);
}

TYPED_TEST(Damage, AnotherKindOfDataChangesTheTypeOfTheColumnsValueOnly) {
  handmade_block text;
  text.event = this->damaged;
  text.dtype = RAVO_BLOCK_NAME_VALUE_STRING;
  text.payload.text("beam off", 12);
  this->bad_block() = text;
  const dataset data = dataset::open(of_files({write(this->folder, "a.raw", this->file)}));
  const column_data column = data.column("BAD");
  EXPECT_EQ(column.status[this->damaged], value_status::type_changed);
  EXPECT_EQ(column.ledger.channels[0].missing[static_cast<std::size_t>(missing_cause::type_changed)], 1u);
  EXPECT_EQ((*data.at(1004))["BAD"].text(), "beam off");
  EXPECT_EQ((*data.at(1004))["BAD"].status(), value_status::ok);
}

TYPED_TEST(Damage, AnotherLengthMakesTheColumnRagged) {
  handmade_block longer = this->wave(this->damaged);
  longer.payload = spectrum<TypeParam>({{1, 2, 3, 4, 5}});
  this->bad_block() = longer;
  const dataset data = dataset::open(of_files({write(this->folder, "a.raw", this->file)}));
  column_options with_digest;
  with_digest.with_digest = true;
  const column_data column = data.column("BAD", with_digest);
  ASSERT_TRUE(column.is_ragged());
  EXPECT_EQ(column.row<float>(this->damaged).size(), 5u);
  EXPECT_EQ(column.row<float>(this->damaged)[4], 5.0f);
  EXPECT_EQ(column.shapes[this->damaged][2], 5u);
  EXPECT_EQ(column.row<float>(5)[0], 5000.0f);
  EXPECT_EQ(column.ledger.expected(), 6u);
  EXPECT_EQ(column.ledger.delivered(), 6u);
  EXPECT_EQ(column.digest, data.digest()[*data.find_channel("BAD")].digest);
  // The caller's memory is for rows of one shape.
  std::vector<std::byte> memory(data.layout("BAD").bytes());
  column_options into;
  into.into = memory;
  const column_data fixed = data.column("BAD", into);
  EXPECT_EQ(fixed.status[this->damaged], value_status::type_changed);
  EXPECT_EQ(fixed.row<float>(5)[0], 5000.0f);
  EXPECT_EQ(static_cast<const void*>(fixed.bytes().data()), memory.data());
  into.into = std::span(memory).first(100);
  EXPECT_THROW(data.column("BAD", into), selection_error);
}

TYPED_TEST(Damage, TwoEntriesOfOneEventGiveOneValueAndALineInTheLedger) {
  this->file.channels[1].blocks[4].event = this->damaged;
  const dataset data = dataset::open(of_files({write(this->folder, "a.raw", this->file)}));
  const column_data column = data.column("BAD");
  EXPECT_THAT(column.numbers, ElementsAre(1001, 1002, 1003, 1004, 1006));
  EXPECT_EQ(column.row<float>(3)[0], 3000.0f);
  EXPECT_EQ(column.ledger.channels[0].missing[static_cast<std::size_t>(missing_cause::second_of_event)],
            1u);
  EXPECT_TRUE(column.ledger.is_balanced());
}

TYPED_TEST(Damage, AFileThatIsCutShortAfterwardsIsMissingOrTruncatedNeverFatal) {
  const std::string path = write(this->folder, "a.raw", this->file);
  const dataset data = dataset::open(of_files({path}));
  EXPECT_EQ(data.size(), 6u);  // aligned while it was whole
  ASSERT_EQ(::truncate(path.c_str(), 500), 0);
  const column_data column = data.column("BAD");
  EXPECT_EQ(column.ledger.delivered() + column.ledger.missing(), 6u);
  EXPECT_EQ(column.ledger.delivered(), 0u);
}

TYPED_TEST(Damage, AFileThatIsNoRawFileIsNamedAndTheOthersAreRead) {
  const std::string good = write(this->folder, "a.raw", this->file);
  const std::string junk = this->folder.write("b.raw", std::vector<unsigned char>(5000, 7));
  const std::string gone = this->folder.file("c.raw");
  const dataset data = dataset::open(of_files({good, junk, gone}));
  EXPECT_EQ(data.size(), 6u);
  ASSERT_EQ(data.files().size(), 3u);
  EXPECT_EQ(data.files()[0].refusal, file_refusal::none);
  EXPECT_EQ(data.files()[1].refusal, file_refusal::not_a_raw_file);
  EXPECT_EQ(data.files()[2].refusal, file_refusal::missing);
  EXPECT_EQ(data.files()[1].problem, "it is no raw file of either generation, or was cut short");
  EXPECT_EQ(data.files()[2].problem, "it cannot be opened: No such file or directory");
  EXPECT_EQ(data.ledger().files.size(), 2u);
  dataset_options strict;
  strict.damage = damage_policy::strict();
  EXPECT_THROW(dataset::open(of_files({good, junk}), strict), missing_data);
  // How many of the values were in a refused file is unknown, so that no share can be guaranteed.
  dataset_options limited;
  limited.damage.largest_missing_share = 0.99;
  EXPECT_THROW(dataset::open(of_files({good, junk}), limited), missing_data);
  EXPECT_THROW(dataset::open(of_files({good, gone}), limited), missing_data);
  EXPECT_NO_THROW(dataset::open(of_files({good}), limited));
  try {
    dataset::open(of_files({junk}));
    FAIL();
  } catch (const file_left_out& error) {
    EXPECT_EQ(error.file.path, junk);
    EXPECT_EQ(error.file.reason, file_refusal::not_a_raw_file);
  }
}

TYPED_TEST(Damage, AmongOthersAFileWhoseIndexHasNoEventsIsNamed) {
  const std::string good = write(this->folder, "a.raw", this->file);
  auto bytes = this->file.build().vector();
  const std::size_t events_of_type = this->file.at["index"] + 8 + 28;
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(events_of_type), 4,
              static_cast<unsigned char>(0));
  const std::string empty = this->folder.write("b.raw", bytes);
  const dataset data = dataset::open(of_files({good, empty}));
  EXPECT_EQ(data.size(), 6u);
  ASSERT_EQ(data.ledger().files.size(), 1u);
  EXPECT_EQ(data.ledger().files[0].path, empty);
  EXPECT_EQ(data.ledger().files[0].reason, file_refusal::damaged_tables);
  EXPECT_EQ(data.ledger().files[0].problem, "its event index has no events, and its channels have");
}

TYPED_TEST(Damage, PoliciesAllowAShare) {
  this->bad_block().zip_flags = 4;
  const std::string path = write(this->folder, "a.raw", this->file);
  const auto with = [&](double share) {
    dataset_options options;
    options.damage.largest_missing_share = share;
    return dataset::open(of_files({path}, {"BAD"}), options);
  };
  EXPECT_NO_THROW(with(0.2).column("BAD"));
  EXPECT_THROW(with(0.1).column("BAD"), missing_data);
  EXPECT_NO_THROW(numbers_of(with(0.2).events()));
  EXPECT_THROW(numbers_of(with(0.1).events()), missing_data);
}

}  // namespace
