// Where a file has to end: every length and every offset at its last possible value and one step further,
// without writing four gigabytes. The sums are worked out by hand from the sizes of the records.
#include "file_layout.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "generations.h"

namespace {

using namespace ravo::test;
using ravo::writer::file_contents;
using ravo::writer::file_layout;

// A length word counts the 8 bytes of its own head, that of the pointer table 12.
constexpr std::uint64_t most_after_a_head = 2147483639;
constexpr std::uint64_t most_pointers = 134217727;              // (2147483647 - 12) / 16
constexpr std::uint64_t most_environment_channels = 268435454;  // (2147483647 - 8) / 8
// Signature, seven heads, reference table and tail of a file with nothing in it.
constexpr std::uint64_t empty_file = 16 + 6 * 8 + 12 + 168 + 4;
// Files are whole words long, and an offset reaches 4294967295.
constexpr std::uint64_t longest_file = 4294967292;

template <class generation>
class WriterLimits : public testing::Test {
 protected:
  using format = std::conditional_t<std::is_same_v<generation, current_generation>, ravo::raw_format_2010,
                                    ravo::raw_format_2009>;
  static file_layout layout(const file_contents& contents) {
    return file_layout(contents, ravo::writer::records_of<format>);
  }
  static bool fits(const file_contents& contents) { return layout(contents).fits(); }
};
TYPED_TEST_SUITE(WriterLimits, generations, generation_name);

TYPED_TEST(WriterLimits, AnOffsetReachesTheEndOfTheLongestFile) {
  file_contents contents;
  EXPECT_EQ(this->layout(contents).total, empty_file);
  contents.block_bytes = longest_file - empty_file;
  EXPECT_EQ(this->layout(contents).total, longest_file);
  EXPECT_TRUE(this->fits(contents));
  contents.block_bytes += 4;
  EXPECT_FALSE(this->fits(contents));
}

TYPED_TEST(WriterLimits, ABasketsHeadCountsToo) {
  file_contents contents;
  contents.block_bytes = longest_file - empty_file - 8;
  contents.baskets = 1;
  EXPECT_TRUE(this->fits(contents));
  contents.baskets = 2;
  EXPECT_FALSE(this->fits(contents));
}

TYPED_TEST(WriterLimits, EventsTakeAHeaderAndALineOfTheIndex) {
  file_contents contents;
  contents.events = 1000;
  contents.event_types = 3;
  contents.block_bytes = longest_file - empty_file - 1000 * (36 + 16) - 3 * 32;
  EXPECT_EQ(this->layout(contents).total, longest_file);
  EXPECT_TRUE(this->fits(contents));
  ++contents.event_types;
  EXPECT_FALSE(this->fits(contents));
}

TYPED_TEST(WriterLimits, EveryLengthWordIsASignedOne) {
  struct {
    const char* what;
    std::uint64_t file_contents::*number;
    std::uint64_t most;
  } const cases[] = {
      {"event headers", &file_contents::events, most_after_a_head / 36},
      {"server blocks", &file_contents::server_blocks, most_after_a_head / TypeParam::server_block},
      {"a channel's basket", &file_contents::longest_channel, most_after_a_head},
      {"dictionary", &file_contents::channels, most_after_a_head / TypeParam::dictionary_entry},
      {"environment dictionary", &file_contents::environment_channels, most_environment_channels},
      {"descriptions", &file_contents::description_bytes, most_after_a_head},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.what);
    file_contents contents;
    contents.*one.number = one.most;
    EXPECT_TRUE(this->fits(contents));
    ++(contents.*one.number);
    EXPECT_FALSE(this->fits(contents));
  }
}

TYPED_TEST(WriterLimits, APointerTableHasARowOfTheLongestLengthForEachChannel) {
  file_contents contents;
  contents.channels = 1;
  contents.longest_row = most_pointers;
  EXPECT_TRUE(this->fits(contents));
  ++contents.longest_row;
  EXPECT_FALSE(this->fits(contents));
  contents.channels = 2;
  contents.longest_row = most_pointers / 2;
  EXPECT_TRUE(this->fits(contents));
  ++contents.longest_row;
  EXPECT_FALSE(this->fits(contents));
}

TYPED_TEST(WriterLimits, OneMoreBlockMayBeginABasketAndLengthenTheLongestRow) {
  file_contents contents;
  contents.add_block(100, 0, 0);
  contents.add_block(60, 1, 100);
  contents.add_block(40, 0, 0);
  EXPECT_EQ(contents.baskets, 2u);
  EXPECT_EQ(contents.block_bytes, 200u);
  EXPECT_EQ(contents.longest_channel, 160u);
  EXPECT_EQ(contents.longest_row, 2u);
}

TYPED_TEST(WriterLimits, ATextOfDescriptionsIsFilledUpToAWord) {
  file_contents contents;
  contents.description_bytes = 5;
  EXPECT_EQ(this->layout(contents).total, empty_file + 8);
}

}  // namespace
