// Pointers that lead elsewhere: their target decides what happens to the value, and the classic reader
// skips the same ones.
#include "damaged_file.h"

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class Misdirected : public damaged_file<layout> {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Misdirected, layouts);

TYPED_TEST(Misdirected, APointerAfterTheBasketIsATruncatedBlock) {
  bytes built = this->file.build();
  built.set_u32(this->at_pointer(TestFixture::pointer::subheader),
                static_cast<std::uint32_t>(built.size()));
  this->expect_status(value_status::truncated, this->folder.write("a.raw", built.vector()));
}

// The front end may know the channel by another name.
TYPED_TEST(Misdirected, ABlockOfANameThatNoChannelHasIsDecoded) {
  for (const char* name : {"FRONT_END/7", "", "BAD2"}) {
    bytes built = this->file.build();
    for (const auto& block : this->places_of_blocks(built)) this->rename(built, block, name);
    const std::string path = this->folder.write("a.raw", built.vector());
    this->expect_all(path);
    const auto classic = this->read_classic_of({path});
    ASSERT_EQ(classic.size(), 6u) << name;
    for (const classic_event& one : classic) EXPECT_EQ(one.size(), 2u) << name;
  }
}

TYPED_TEST(Misdirected, ABlockOfAnotherChannelIsPassedOver) {
  bytes built = this->file.build();
  this->rename(built, this->places_of_blocks(built)[this->damaged], "GOOD");
  this->expect_status(value_status::misdirected, this->folder.write("a.raw", built.vector()));
}

// Longer names are in the dictionary whole, and in blocks as far as there is room.
TEST(Misdirected, ABlockOfTheOlderGenerationHasRoomForTheBeginningOfAName) {
  const std::string first = std::string(31, 'N') + "/FIRST", second = std::string(31, 'M') + "/SECOND";
  handmade_file_of<layout_2009> file;
  for (std::uint32_t i = 0; i < 2; ++i) file.events.push_back(event_at(1 + i, i * 100));
  file.channels = {numbers_at<layout_2009>(first.substr(0, 31), {{0, 1}, {1, 2}}),
                   numbers_at<layout_2009>(second.substr(0, 31), {{0, 3}, {1, 4}})};
  bytes built = file.build();
  for (std::size_t i = 0; i < 2; ++i) {
    const std::string& name = i == 0 ? first : second;
    std::memcpy(built.data() + file.at.at("dictionary") + 8 + i * 96 + 4, name.data(), name.size());
  }
  const std::size_t block = file.at.at(first.substr(0, 31)) + 8;
  std::memset(built.data() + block, 'M', 31);  // the beginning of the other channel's
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({folder.write("a.raw", built.vector())}));
  const column_data column = data.column(first);
  EXPECT_EQ(column.status[0], value_status::misdirected);
  EXPECT_EQ(column.status[1], value_status::ok);
  EXPECT_EQ(data.column(second).ledger.missing(), 0u);
}

TYPED_TEST(Misdirected, APointerIntoTheMiddleOfAServerBlockIsPassedOver) {
  bytes built = this->file.build();
  const std::size_t at = this->at_pointer(TestFixture::pointer::server_block);
  built.set_u32(at, built.word(at) + 4);
  const std::string path = this->folder.write("a.raw", built.vector());
  this->expect_status(value_status::misdirected, path);
  this->expect_passed_over(path, {{1004, 1}});
}

TYPED_TEST(Misdirected, APointerAfterTheServerBlocksIsATruncatedBlock) {
  bytes built = this->file.build();
  built.set_u32(this->at_pointer(TestFixture::pointer::server_block),
                static_cast<std::uint32_t>(this->file.at.at("GOOD")));
  this->expect_status(value_status::truncated, this->folder.write("a.raw", built.vector()));
}

TYPED_TEST(Misdirected, APointerIntoTheMiddleOfAnEventHeaderBelongsToNoEvent) {
  bytes built = this->file.build();
  const std::size_t at = this->at_pointer(TestFixture::pointer::event_header);
  built.set_u32(at, built.word(at) + 4);
  const std::string path = this->folder.write("a.raw", built.vector());
  this->expect_no_event(path, 1, 0);
}

TYPED_TEST(Misdirected, AnEventHeaderWithoutItsMarkerTakesItsEventAlong) {
  bytes built = this->file.build();
  built.set_u32(this->file.at.at("events") + 8 + this->damaged * 36, 0x12345678u);
  const std::string path = this->folder.write("a.raw", built.vector());
  this->expect_no_event(path, 1, 1);
  // Only the table-access library compares markers: the classic readers do not.
  EXPECT_EQ(this->read_classic_of({path}).size(), 6u);
}

TYPED_TEST(Misdirected, AnEventNumberThatNoEventHasTakesItsEventAlong) {
  bytes built = this->file.build();
  built.set_u32(this->file.at.at("events") + 8 + this->damaged * 36 + 8, RAVO_EVENT_NUMBER_UNDECODED);
  const std::string path = this->folder.write("a.raw", built.vector());
  this->expect_no_event(path, 1, 1);
  this->expect_passed_over(path, {{1004, 0}, {1004, 1}});
}

TYPED_TEST(Misdirected, AnEntryWithoutAnEventHeaderBelongsToNoEvent) {
  bytes built = this->file.build();
  built.set_u32(this->at_pointer(TestFixture::pointer::event_header), 7);
  this->expect_no_event(this->folder.write("a.raw", built.vector()), 1, 0);
}

}  // namespace
