// Summaries of blocks written by hand, and of blocks whose counts lie.
#include "common/block_summary.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "ravo_payload.h"

namespace {

using namespace ravo::tool;
using bytes = std::vector<unsigned char>;

template <class Record>
void append(bytes& to, const Record& record) {
  const std::size_t at = to.size();
  to.resize(at + sizeof record);
  std::memcpy(to.data() + at, &record, sizeof record);
}

bytes spectrum(ravo_spect_head_2010 head, std::initializer_list<float> values) {
  bytes block;
  append(block, head);
  for (const float value : values) append(block, value);
  return block;
}

TEST(BlockSummary, OfASpectrumHasEachMember) {
  const block_summary summary =
      summarise(RAVO_BLOCK_RF_250K_2010, -1, spectrum({2, 3, 1, 0, 1, 0, 0, 0}, {1, 2, 6, -1, -2, -3}));
  ASSERT_TRUE(summary.consistent);
  EXPECT_EQ(summary.dtype, "RAVO_BLOCK_RF_250K_2010");
  ASSERT_EQ(summary.members.size(), 2u);
  EXPECT_EQ(summary.members[0].name, "AMPLITUDE");
  EXPECT_EQ(summary.members[0].count, 3u);
  EXPECT_EQ(summary.members[0].mean, 3.0);
  EXPECT_EQ(summary.members[0].min, 1.0);
  EXPECT_EQ(summary.members[0].max, 6.0);
  EXPECT_EQ(summary.members[1].name, "PHASE");
  EXPECT_EQ(summary.members[1].mean, -2.0);
  EXPECT_EQ(summary.members[1].max, -1.0);
  EXPECT_FALSE(summary.scalar);
}

TEST(BlockSummary, OfAnOlderSpectrumPassesOverTheMeans) {
  bytes block;
  append(block, ravo_spect_head{2, 2, 0, 1});
  for (const float value : {99.0F, 98.0F, 1.0F, 3.0F, -5.0F, 5.0F}) append(block, value);
  const block_summary summary = summarise(RAVO_BLOCK_WS_SLOW, -1, block);
  ASSERT_TRUE(summary.consistent);
  ASSERT_EQ(summary.members.size(), 2u);
  EXPECT_EQ(summary.members[0].name, "POSITION");
  EXPECT_EQ(summary.members[0].mean, 2.0);
  EXPECT_EQ(summary.members[1].min, -5.0);
  block.pop_back();
  EXPECT_FALSE(summarise(RAVO_BLOCK_WS_SLOW, -1, block).consistent);
}

TEST(BlockSummary, OfAnOlderUpdateHasItsProperty) {
  ravo_upd_data_block update{"PROPERTY", 3, {1700000000, 5}, 1.5F};
  bytes block;
  append(block, update);
  for (const int dtype : {RAVO_UPD_BLOCK, RAVO_UPD_BLOCK_DONT_USE_31}) {
    const block_summary summary = summarise(static_cast<std::uint32_t>(dtype), -1, block);
    ASSERT_TRUE(summary.update);
    EXPECT_EQ(summary.update->property, "PROPERTY");
    EXPECT_EQ(summary.update->status, 3);
    EXPECT_EQ(summary.update->time.timelow, 5u);
    EXPECT_EQ(summary.update->value, 1.5F);
  }
  block.pop_back();
  EXPECT_FALSE(summarise(RAVO_UPD_BLOCK, -1, block).consistent);
}

TEST(BlockSummary, PassesOverMeansAndStatistics) {
  bytes block;
  append(block,
         ravo_spect_head_2010{1, 2, 1, 0, 1, 0, RAVO_SPECT_HAS_MEANS | RAVO_SPECT_HAS_STATISTICS, 0});
  append(block, 99.0F);
  append(block, ravo_spect_statistics_2010{1, {98.0F}});
  append(block, 4.0F);
  append(block, 8.0F);
  const block_summary summary = summarise(RAVO_BLOCK_GENERIC_SPECT, -1, block);
  ASSERT_EQ(summary.members.size(), 1u);
  EXPECT_EQ(summary.members[0].mean, 6.0);
}

TEST(BlockSummary, NamesTheMemberThatASubchannelWas) {
  const std::uint32_t cut = RAVO_BLOCK_1CHAN_2010 | static_cast<std::uint32_t>(RAVO_BLOCK_BPM_2010) << 16;
  const block_summary summary = summarise(cut, 2, spectrum({1, 1, 1, 0, 1, 0, 0, 0}, {5}));
  ASSERT_EQ(summary.members.size(), 1u);
  EXPECT_EQ(summary.members[0].name, "CHARGE");
  EXPECT_TRUE(summary.scalar);
}

TEST(BlockSummary, LeavesOutValuesThatAreNotFinite) {
  const float infinite = std::numeric_limits<float>::infinity(),
              none = std::numeric_limits<float>::quiet_NaN();
  const block_summary summary =
      summarise(RAVO_BLOCK_1CHAN_2010, -1, spectrum({1, 4, 1, 0, 1, 0, 0, 0}, {none, 2, infinite, 4}));
  EXPECT_EQ(summary.members[0].count, 4u);
  EXPECT_EQ(summary.members[0].not_finite, 2u);
  EXPECT_EQ(summary.members[0].mean, 3.0);
  EXPECT_EQ(summary.members[0].max, 4.0);
}

TEST(BlockSummary, ReadsPixelsMostSignificantByteFirst) {
  ravo_image_ext_frame_head head{};
  head.aoi_width = 2;
  head.aoi_height = 1;
  head.bpp = 2;
  head.frame = 7;
  head.length = 4;
  bytes block;
  append(block, head);
  for (const int byte : {1, 0, 0, 2}) block.push_back(static_cast<unsigned char>(byte));
  const block_summary summary = summarise(RAVO_BLOCK_IMAGE_EXT, -1, block);
  ASSERT_TRUE(summary.image);
  EXPECT_EQ(summary.image->max, 256u);
  EXPECT_EQ(summary.image->mean, 129.0);
  EXPECT_EQ(summary.image->frame, 7u);
}

TEST(BlockSummary, TakesAPlainFrameWithoutASizeForOneByte) {
  bytes block;
  append(block, ravo_image_frame_head{2 | 5u << 16, 1 | 6u << 16, 0, 0, 3, 9, 2});
  block.push_back(10);
  block.push_back(20);
  const block_summary summary = summarise(RAVO_BLOCK_IMAGE, -1, block);
  ASSERT_TRUE(summary.image);
  EXPECT_EQ(summary.image->width, 2);
  EXPECT_EQ(summary.image->height, 1);
  EXPECT_EQ(summary.image->mean, 15.0);
}

TEST(BlockSummary, OfDataWhoseCountsLieIsRefused) {
  EXPECT_FALSE(summarise(RAVO_BLOCK_1CHAN_2010, -1, {}).consistent);
  EXPECT_FALSE(summarise(RAVO_BLOCK_1CHAN_2010, -1, spectrum({1, 3, 1, 0, 1, 0, 0, 0}, {1, 2})).consistent);
  EXPECT_FALSE(summarise(RAVO_BLOCK_1CHAN_2010, -1, spectrum({-1, 1, 1, 0, 1, 0, 0, 0}, {1})).consistent);
  EXPECT_FALSE(
      summarise(RAVO_BLOCK_1CHAN_2010, -1, spectrum({1 << 30, 1 << 30, 1 << 30, 0, 1, 0, 3, 0}, {1}))
          .consistent);
  EXPECT_FALSE(
      summarise(RAVO_BLOCK_IMG_ROI1, -1, spectrum({1 << 30, 1 << 30, 1 << 30, 1 << 30, 1, 0, 3, 0}, {1}))
          .consistent);
  bytes frame;
  append(frame, ravo_image_frame_head{0xffff, 0xffff, 4, 0, 0, 0, 4});
  EXPECT_FALSE(summarise(RAVO_BLOCK_IMAGE, -1, frame).consistent);
  ravo_name_value_block pairs{};
  pairs.ndata = 2;
  bytes block;
  append(block, pairs);
  append(block, ravo_name_value_channel{});
  EXPECT_FALSE(summarise(RAVO_BLOCK_NAME_VALUE, -1, block).consistent);
  EXPECT_FALSE(summarise(60000, -1, block).consistent);
}

TEST(BlockSummary, OfATextWithoutItsZeroEndsWithTheData) {
  const bytes block = {'b', 'e', 'a', 'm'};
  EXPECT_EQ(summarise(RAVO_BLOCK_NAME_VALUE_STRING, -1, block).text, "beam");
}

}  // namespace
