// Pointers that lead elsewhere: what they lead to decides what becomes of the value, and the classic reader
// passes over the same ones.
#include "damaged_file.h"

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class Misdirected : public damaged_file<layout> {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Misdirected, layouts);

TYPED_TEST(Misdirected, APointerBehindTheBasketIsATruncatedBlock) {
  bytes built = this->file.build();
  built.set_u32(this->at_pointer(TestFixture::pointer::subheader),
                static_cast<std::uint32_t>(built.size()));
  this->expect_status(value_status::truncated, this->folder.write("a.raw", built.vector()));
}

TYPED_TEST(Misdirected, ABlockOfAnotherNameIsPassedOver) {
  bytes built = this->file.build();
  built.data()[this->file.at.at("BAD") + this->size_of_blocks() + 2] = 'X';
  const std::string path = this->folder.write("a.raw", built.vector());
  this->expect_status(value_status::misdirected, path);
  this->expect_passed_over(path, {{1004, 1}});
}

TYPED_TEST(Misdirected, APointerIntoTheMiddleOfAServerBlockIsPassedOver) {
  bytes built = this->file.build();
  const std::size_t at = this->at_pointer(TestFixture::pointer::server_block);
  built.set_u32(at, built.word(at) + 4);
  const std::string path = this->folder.write("a.raw", built.vector());
  this->expect_status(value_status::misdirected, path);
  this->expect_passed_over(path, {{1004, 1}});
}

TYPED_TEST(Misdirected, APointerBehindTheServerBlocksIsATruncatedBlock) {
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
  this->expect_passed_over(path, {{1004, 1}});
}

TYPED_TEST(Misdirected, AnEventHeaderWithoutItsMarkerTakesItsEventAlong) {
  bytes built = this->file.build();
  built.set_u32(this->file.at.at("events") + 8 + this->damaged * 36, 0x12345678u);
  const std::string path = this->folder.write("a.raw", built.vector());
  this->expect_no_event(path, 1, 1);
  this->expect_passed_over(path, {{1004, 0}, {1004, 1}});
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
