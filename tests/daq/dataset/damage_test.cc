// Damage by name, and what each does: its status, its line in the ledger, and that nothing else suffers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>

#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::ElementsAre;
using testing::HasSubstr;

template <class layout>
class Damage : public testing::Test {
 protected:
  static constexpr std::size_t damaged = 3;  // of six events

  // Six events of two channels of some length; the fourth block of BAD is what a test makes of it.
  Damage() {
    for (std::uint32_t i = 0; i < 6; ++i) file.events.push_back(event_at(1001 + i, i * 100));
    handmade_channel good("GOOD"), bad("BAD");
    for (std::size_t i = 0; i < 6; ++i) {
      good.blocks.push_back(zipped(wave(i), RAVO_ZIP_ZLIB));
      bad.blocks.push_back(zipped(wave(i), RAVO_ZIP_ZLIB));
    }
    file.channels = {good, bad};
  }

  static handmade_block wave(std::size_t event) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < 300; ++i) samples.push_back(static_cast<float>(event * 1000 + i));
    handmade_block block;
    block.event = event;
    block.dtype = layout::single_type;
    block.payload = spectrum<layout>({samples});
    return block;
  }
  handmade_block& bad_block() { return file.channels[1].blocks[damaged]; }

  /// From the beginning of BAD's basket to the damaged block.
  std::size_t size_of_blocks() {
    std::size_t size = 8;
    for (std::size_t i = 0; i < damaged; ++i)
      size += (layout::subhead + 12 + compress_zlib(file.channels[1].blocks[i].payload).size() + 3) / 4 * 4;
    return size;
  }

  /// Every way of reading says the same of the damaged value, and gives all others.
  void expect_status(value_status expected, const std::string& path) {
    const dataset data = dataset::open(of_files({path}));
    const std::size_t bad = *data.find_channel("BAD"), good = *data.find_channel("GOOD");
    event_range events = data.events();
    std::size_t n = 0;
    for (const event& one : events) {
      EXPECT_EQ(one[good].status(), value_status::ok);
      EXPECT_EQ(one[bad].status(), n == damaged ? expected : value_status::ok) << n;
      if (n == damaged) {
        EXPECT_TRUE(one[bad].bytes().empty());
        EXPECT_EQ(one[bad].kind(), value_kind::none);
      } else {
        EXPECT_EQ(one[bad].number(), static_cast<double>(n) * 1000);
      }
      ++n;
    }
    EXPECT_EQ(n, 6u);
    expect_ledger(events.ledger(), expected, path);
    const column_data column = data.column("BAD");
    ASSERT_EQ(column.size(), 6u);
    for (std::size_t row = 0; row < 6; ++row) {
      EXPECT_EQ(column.status[row], row == damaged ? expected : value_status::ok);
      for (const float number : column.row<float>(row)) ASSERT_EQ(std::isnan(number), row == damaged);
    }
    expect_ledger(column.ledger, expected, path);
    EXPECT_EQ(data.column("GOOD").ledger.missing(), 0u);
    channel_digest by_event;
    for (event_range again = data.events(); const event& one : again) by_event.add(one[bad]);
    EXPECT_EQ(data.digest()[bad].digest, by_event);
    dataset_options strict;
    strict.damage = damage_policy::strict();
    const dataset careful = dataset::open(of_files({path}), strict);
    EXPECT_NO_THROW(careful.column("GOOD"));
    EXPECT_THROW(careful.column("BAD"), missing_data);
    EXPECT_THROW(numbers_of(careful.events()), missing_data);
  }

  static void expect_ledger(const read_ledger& ledger, value_status status, const std::string& path) {
    EXPECT_TRUE(ledger.is_balanced());
    EXPECT_EQ(ledger.missing(), 1u);
    ASSERT_EQ(ledger.values.size(), 1u);
    EXPECT_EQ(ledger.values[0].channel, "BAD");
    EXPECT_EQ(ledger.values[0].file, path);
    EXPECT_EQ(ledger.values[0].event.event_number, 1001 + damaged);
    EXPECT_STREQ(missing_cause_text(ledger.values[0].cause), value_status_text(status));
    EXPECT_THAT(ledger.to_text(),
                HasSubstr("BAD: expected 6, delivered 5, 1 " + std::string(value_status_text(status))));
  }

  temporary_folder folder;
  handmade_file_of<layout> file;
};

using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Damage, layouts);

TYPED_TEST(Damage, OfTheChecksumIsToldFromOtherDamage) {
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

TYPED_TEST(Damage, APointerBehindTheBasketIsATruncatedBlock) {
  bytes built = this->file.build();
  // Row 1 (of BAD), six entries a row, 16 bytes each; the subheader's offset is the third word.
  built.set_u32(this->file.at.at("pointers") + 12 + (6 + this->damaged) * 16 + 8,
                static_cast<std::uint32_t>(built.size()));
  this->expect_status(value_status::truncated, this->folder.write("a.raw", built.vector()));
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

TYPED_TEST(Damage, AnEntryWithoutAnEventHeaderBelongsToNoEvent) {
  bytes built = this->file.build();
  built.set_u32(this->file.at.at("pointers") + 12 + (6 + this->damaged) * 16, 7);
  const dataset data = dataset::open(of_files({this->folder.write("a.raw", built.vector())}));
  const column_data column = data.column("BAD");
  EXPECT_EQ(column.size(), 5u);
  EXPECT_TRUE(column.ledger.is_balanced());
  EXPECT_EQ(column.ledger.expected(), 6u);
  EXPECT_EQ(column.ledger.channels[0].missing[static_cast<std::size_t>(missing_cause::no_event_header)],
            1u);
  event_range events = data.events();
  for (const event& one : events) (void)one;
  EXPECT_EQ(events.ledger().missing(), 1u);
  EXPECT_TRUE(events.ledger().is_balanced());
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
  EXPECT_EQ(data.files()[1].problem, "it is no raw file of either generation, or was cut short");
  EXPECT_EQ(data.files()[2].problem, "it cannot be opened");
  EXPECT_EQ(data.ledger().files.size(), 2u);
  dataset_options strict;
  strict.damage = damage_policy::strict();
  EXPECT_THROW(dataset::open(of_files({good, junk}), strict), missing_data);
  EXPECT_THROW(dataset::open(of_files({junk})), missing_data);
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
