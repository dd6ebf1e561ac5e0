// The worked examples of docs/raw-format.md, which another writer could have written:
// their parts are in another order than ours. And damage that no simulated file can have.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "generation_name.h"
#include "packed_file.h"
#include "simulated_files.h"
#include "small_file.h"

namespace {

using namespace ravo::test;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

template <class layout>
class ForeignFile : public testing::Test {
 protected:
  std::vector<std::string> check() {
    return lines_of(findings_of({folder.write("f.raw", file.content.vector())}));
  }
  // LINAC/NOTE has no description in these files.
  std::string known() const {
    return "f.raw description.missing LINAC/NOTE - " +
           std::to_string(file.dictionary + 8 + layout::dictionary_entry) + " x1";
  }

  void give_name(std::size_t block, const std::string& name) {
    std::memset(file.content.data() + block, 0, layout::block_name);
    std::memcpy(file.content.data() + block, name.data(), name.size());
  }

  temporary_folder folder;
  small_file file = small_file_like(layout{});
};

using layouts = testing::Types<layout_2009, layout_2010>;
TYPED_TEST_SUITE(ForeignFile, layouts, generation_name);

TYPED_TEST(ForeignFile, IsGood) { EXPECT_THAT(this->check(), ElementsAre(this->known())); }

TYPED_TEST(ForeignFile, HasABasketThatReachesIntoTheNext) {
  // Two channels with one basket: the second row leads to the first channel's basket.
  const std::uint32_t row = this->file.pointers + 12 + 2 * 16;
  for (const std::uint32_t word : {0u, 4u, 8u, 12u})
    this->file.content.set_u32(row + word, this->file.content.word(this->file.pointers + 12 + word));
  EXPECT_THAT(this->check(),
              UnorderedElementsAre(
                  this->known(),
                  "f.raw table.overlap LINAC/NOTE - " + std::to_string(this->file.bpm_basket) + " x1",
                  "f.raw block.name LINAC/NOTE 1000 " + std::to_string(this->file.bpm_block[0]) + " x1"));
}

// The front end may know a channel by a name of its own: all of its blocks have it, or one.
TYPED_TEST(ForeignFile, HasBlocksOfANameThatNoChannelHas) {
  const std::string kind = "f.raw block.foreign_name LINAC/BPM1 ";
  for (const char* name : {"FRONT_END/7", "", "LINAC/BPM", "LINAC/BPM1/X"}) {
    SCOPED_TRACE(name);
    this->file = small_file_like(TypeParam{});
    this->give_name(this->file.bpm_block[1], name);
    EXPECT_THAT(this->check(),
                UnorderedElementsAre(this->known(),
                                     kind + "1001 " + std::to_string(this->file.bpm_block[1]) + " x1"));
    this->give_name(this->file.bpm_block[0], name);
    EXPECT_THAT(this->check(),
                UnorderedElementsAre(this->known(),
                                     kind + "1000 " + std::to_string(this->file.bpm_block[0]) + " x2"));
  }
}

// Such a block is checked like any other: its head, its data, and where the one before it ends.
TYPED_TEST(ForeignFile, HasDamageInABlockOfANameThatNoChannelHas) {
  constexpr auto head = static_cast<std::uint32_t>(TypeParam::subhead);
  const std::uint32_t first = this->file.bpm_block[0], second = this->file.bpm_block[1];
  struct damage {
    std::uint32_t word, value;
    std::vector<std::string> found;
  };
  const std::string in_first = " LINAC/BPM1 1000 " + std::to_string(first) + " x1",
                    in_second = " LINAC/BPM1 1001 " + std::to_string(second) + " x1",
                    name = "f.raw block.foreign_name" + in_second;
  for (const damage& one : {damage{second + head - 12, 59, {"f.raw block.type" + in_second}},
                            damage{second + head - 4, head - 1, {"f.raw block.length" + in_second}},
                            damage{second + head, 99, {name, "f.raw block.convert" + in_second}},
                            damage{first + head - 4, head + 32, {name, "f.raw block.length" + in_first}}}) {
    SCOPED_TRACE(one.found.back());
    this->file = small_file_like(TypeParam{});
    this->give_name(second, "FRONT_END/7");
    this->file.content.set_u32(one.word, one.value);
    std::vector<std::string> expected = one.found;
    expected.push_back(this->known());
    EXPECT_THAT(this->check(), UnorderedElementsAreArray(expected));
  }
}

TYPED_TEST(ForeignFile, HasABlockOfTheNameOfAnotherChannel) {
  this->give_name(this->file.bpm_block[1], "LINAC/NOTE");
  EXPECT_THAT(this->check(),
              UnorderedElementsAre(this->known(), "f.raw block.name LINAC/BPM1 1001 " +
                                                      std::to_string(this->file.bpm_block[1]) + " x1"));
}

TYPED_TEST(ForeignFile, IsReportedWithAReferenceTableOfTheOtherGeneration) {
  const bool is_older = TypeParam::reference_marker == layout_2009::reference_marker;
  this->file.content.set_u32(this->file.reference,
                             is_older ? layout_2010::reference_marker : layout_2009::reference_marker);
  const auto lines = this->check();
  EXPECT_THAT(lines, testing::Contains(testing::HasSubstr(" file.signature ")));
  EXPECT_GT(lines.size(), 1u);
}

TYPED_TEST(ForeignFile, HasNoEvents) {
  // Both rows are emptied, and there are no types and
  // no headers: what is left is a file of channels.
  bytes& content = this->file.content;
  for (std::uint32_t i = 0; i < 16; ++i) content.set_u32(this->file.pointers + 12 + 4 * i, 0);
  content.set_u32(this->file.event_index + 4, 0);
  for (std::uint32_t type = 0; type < 32; ++type) content.set_u32(this->file.reference + 12 + 4 * type, 0);
  content.set_u32(this->file.reference + 164, 0);
  content.set_u32(this->file.event_headers + 4, 8);
  content.set_u32(this->file.server_blocks + 4, 8);
  for (std::uint32_t row = 0; row < 2; ++row) {
    const std::size_t end = this->file.dictionary + 8 + (row + 1) * TypeParam::dictionary_entry;
    content.set_u32(end - 4, 0).set_u32(end - 12, 0);  // the count, and the types of events
  }
  EXPECT_THAT(this->check(), ElementsAre(this->known()));
}

TEST(ForeignPackedFile, IsGood) {
  const temporary_folder folder;
  EXPECT_THAT(lines_of(findings_of({folder.write("f.raw", build_packed_file().content.vector())})),
              testing::IsEmpty());
}

}  // namespace
