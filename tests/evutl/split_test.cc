// Cutting one subchannel out of a decoded block: what the cut holds for each shape, and when it fails.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "decoded_block.h"
#include "payloads.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"

namespace {

using namespace ravo::test;

struct free_block {
  void operator()(ravo_serv_block_subhead_2010* block) const { std::free(block); }
};
struct cut_result {
  bool failed;
  std::unique_ptr<ravo_serv_block_subhead_2010, free_block> block;

  /// The cut's data as a byte string, as long as its length word says.
  std::vector<unsigned char> data() const {
    const auto* begin = reinterpret_cast<const unsigned char*>(block.get() + 1);
    return {begin, begin + block->ldata - 268};
  }
};

cut_result cut(const ravo_serv_block_subhead_2010* block, int subchannel) {
  auto* poison = reinterpret_cast<ravo_serv_block_subhead_2010*>(1);
  const bool failed = device_to_one_channel_2010(block, subchannel, 0, 0, &poison);
  return {failed, std::unique_ptr<ravo_serv_block_subhead_2010, free_block>(poison)};
}

// Member 2 of a block of 3: mean 20, statistics from 2000, values from 200 (see payloads.h).
bytes expected_member(int member, std::uint32_t flags) {
  host_bytes data;
  data.i32(1).i32(3).i32(2).f32(0.5f).f32(0.25f).f32(100).u32(flags).i32(0);
  if (flags & 1) data.f32(static_cast<float>(10 * member));
  if (flags & 2) {
    data.u32(0x80000001u);
    for (int i = 0; i < 32; ++i) data.f32(static_cast<float>(1000 * member + i));
  }
  for (int i = 0; i < 6; ++i) data.f32(static_cast<float>(100 * member + i));
  return data;
}

TEST(Cut, TakesOneMemberOutOfASpectrum) {
  for (std::uint32_t flags = 0; flags < 4; ++flags) {
    decoded_block block("LINAC/BPM", 38, spectrum<host_bytes>(3, 2, 3, flags));
    block.get()->error = RAVO_FE_ADC_OVERLOAD;
    for (int member = 0; member < 3; ++member) {
      const auto result = cut(block.get(), member);
      ASSERT_FALSE(result.failed);
      ASSERT_NE(result.block, nullptr);
      EXPECT_EQ(result.block->chname, "LINAC/BPM:" + std::to_string(member));
      EXPECT_EQ(result.block->dtype, 41);
      EXPECT_EQ(result.block->error, RAVO_FE_ADC_OVERLOAD);
      EXPECT_EQ(result.data(), expected_member(member, flags).vector());
    }
  }
}

TEST(Cut, LeavesTheBlockAsItIs) {
  const bytes data = spectrum<host_bytes>(3, 2, 3, 3);
  decoded_block block("LINAC/BPM", 38, data);
  cut(block.get(), 1);
  EXPECT_STREQ(block.get()->chname, "LINAC/BPM");
  EXPECT_EQ(block.get()->dtype, 38);
  EXPECT_EQ(block.get()->ldata, static_cast<int>(268 + data.size()));
  EXPECT_EQ(0, std::memcmp(block.data(), data.data(), data.size()));
}

TEST(Cut, OfAGenericSpectrumStaysOneAndAsksItsHeadForTheMembers) {
  decoded_block block("RF/PROBE", 28, spectrum<host_bytes>(5, 2, 3, 1));
  const auto result = cut(block.get(), 4);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->dtype, 28);
  EXPECT_STREQ(result.block->chname, "RF/PROBE:4");
  EXPECT_EQ(result.data(), expected_member(4, 1).vector());
  EXPECT_TRUE(cut(block.get(), 5).failed);
}

TEST(Cut, OfASingleMemberKeepsItsType) {
  for (const int dtype : {41, 42, 44, 50, 51}) {
    const bytes data = spectrum<host_bytes>(1, 2, 3, 0);
    decoded_block block("TOROID", dtype, data);
    const auto result = cut(block.get(), 0);
    ASSERT_FALSE(result.failed);
    EXPECT_EQ(result.block->dtype, dtype);
    EXPECT_STREQ(result.block->chname, "TOROID:0");
    EXPECT_EQ(result.data(), data.vector());
  }
}

TEST(Cut, OfEveryTypeWithSeveralMembersYieldsEachOfThem) {
  for (const payload& one : all_payloads()) {
    const ravo::data_type& type = *ravo::find_data_type(one.dtype);
    if (type.members < 2) continue;
    decoded_block block("NAME", one.dtype, one.host);
    for (int member = 0; member < type.members; ++member) {
      const auto result = cut(block.get(), member);
      ASSERT_FALSE(result.failed) << type.name;
      EXPECT_EQ(get_channel_number(result.block->dtype, 0), 1) << type.name;
    }
    EXPECT_TRUE(cut(block.get(), type.members).failed) << type.name;
  }
}

TEST(Cut, OfAnOlderSpectrumIsASingle) {
  decoded_block block("BPM", 6, older_spectrum<host_bytes>(3, 2));
  const auto result = cut(block.get(), 1);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->dtype, 9);
  const bytes expected =
      host_bytes().i32(1).i32(2).f32(0.5f).f32(0.25f).f32(10).f32(100).f32(101).content();
  EXPECT_EQ(result.data(), expected.vector());
}

TEST(Cut, OfARegionOfInterestIsAProfileAlongItsPixels) {
  decoded_block block("CAMERA/ROI1", 24, roi<host_bytes>());
  const auto x = cut(block.get(), 0);
  ASSERT_FALSE(x.failed);
  EXPECT_EQ(x.block->dtype, 41);
  const bytes expected_x =
      host_bytes().i32(1).i32(3).i32(1).f32(10).f32(1).f32(0).u32(0).i32(0).f32(1).f32(2).f32(3).content();
  EXPECT_EQ(x.data(), expected_x.vector());
  const auto y = cut(block.get(), 1);
  ASSERT_FALSE(y.failed);
  const bytes expected_y =
      host_bytes().i32(1).i32(2).i32(1).f32(20).f32(1).f32(0).u32(0).i32(0).f32(4).f32(5).content();
  EXPECT_EQ(y.data(), expected_y.vector());
  EXPECT_STREQ(y.block->chname, "CAMERA/ROI1:1");
}

TEST(Cut, OfANameValueBlockIsOneRecord) {
  decoded_block block("SETTINGS", 22, name_value<host_bytes>());
  const auto result = cut(block.get(), 1);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->dtype, 22);
  const bytes expected =
      host_bytes().i32(42).text("settings", 80).i32(1).text("offset", 80).f32(-2).content();
  EXPECT_EQ(result.data(), expected.vector());
  EXPECT_TRUE(cut(block.get(), 2).failed);
}

TEST(Cut, OfImagesAndTextsIsACopyUnderTheSubchannelsName) {
  const std::pair<int, bytes> blocks[] = {
      {13, image<host_bytes>()}, {27, image_ext<host_bytes>()}, {23, text<host_bytes>()}};
  for (const auto& [dtype, data] : blocks) {
    decoded_block block("CAMERA", dtype, data);
    const auto result = cut(block.get(), 0);
    ASSERT_FALSE(result.failed) << dtype;
    EXPECT_STREQ(result.block->chname, "CAMERA:0");
    EXPECT_EQ(result.block->dtype, dtype);
    EXPECT_EQ(result.data(), data.vector());
    EXPECT_TRUE(cut(block.get(), 1).failed) << dtype;
  }
}

TEST(Cut, IsNotMadeOfUpdatesAndEnvironments) {
  const std::pair<int, bytes> blocks[] = {
      {33, update<host_bytes>(256)},     {36, update<host_bytes>(256)},  {37, update<host_bytes>(256)},
      {1, update<host_bytes>(80)},       {3, environment<host_bytes>()}, {35, environment<host_bytes>()},
      {34, env_dictionary<host_bytes>()}};
  for (const auto& [dtype, data] : blocks) {
    decoded_block block("SLOW", dtype, data);
    const auto result = cut(block.get(), 0);
    EXPECT_FALSE(result.failed) << dtype;
    EXPECT_EQ(result.block, nullptr) << dtype;
  }
}

TEST(Cut, FailsOutsideTheSubchannels) {
  decoded_block block("LINAC/BPM", 38, spectrum<host_bytes>(3, 2, 3, 0));
  for (const int subchannel : {-1, 3, 100, 0x7fffffff}) {
    const auto result = cut(block.get(), subchannel);
    EXPECT_TRUE(result.failed) << subchannel;
    EXPECT_EQ(result.block, nullptr) << subchannel;
  }
}

TEST(Cut, FailsWhenItsNameDoesNotFit) {
  const bytes data = spectrum<host_bytes>(3, 2, 3, 0);
  decoded_block fits(std::string(253, 'n'), 38, data);
  const auto result = cut(fits.get(), 2);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->chname, std::string(253, 'n') + ":2");
  decoded_block too_long(std::string(254, 'n'), 38, data);
  EXPECT_TRUE(cut(too_long.get(), 2).failed);
  decoded_block endless(std::string(256, 'n'), 38, data);
  EXPECT_TRUE(cut(endless.get(), 2).failed);
}

TEST(Cut, FailsForBlocksThatAreNotWhatTheySay) {
  const bytes data = spectrum<host_bytes>(3, 2, 3, 0);
  decoded_block wrong_type("N", 39, data);
  EXPECT_TRUE(cut(wrong_type.get(), 0).failed);
  decoded_block unknown("N", 63, data);
  EXPECT_TRUE(cut(unknown.get(), 0).failed);
  decoded_block compressed("N", 38, data);
  compressed.get()->error = RAVO_CHAN_ZIP_FLAG;
  EXPECT_TRUE(cut(compressed.get(), 0).failed);
  for (const int length : {0, -1, 267, 268, 299, 300}) {
    decoded_block short_one("N", 38, data);
    short_one.get()->ldata = length;
    EXPECT_TRUE(cut(short_one.get(), 0).failed) << length;
  }
  for (const int length : {-1, 0, 267, 268 + 27, 268 + 33}) {
    decoded_block frame("N", 13, image<host_bytes>());
    frame.get()->ldata = length;
    EXPECT_TRUE(cut(frame.get(), 0).failed) << length;
  }
  EXPECT_TRUE(cut(nullptr, 0).failed);
  EXPECT_TRUE(device_to_one_channel_2010(wrong_type.get(), 0, 0, 0, nullptr));
}

// The caller puts the old type into the high bits; what was there before is not carried along.
TEST(Cut, HasOnlyItsOwnTypeInItsTypeWord) {
  decoded_block block("NAME:1", 41 | 38 << 16, spectrum<host_bytes>(1, 2, 3, 0));
  const auto result = cut(block.get(), 0);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->dtype, 41);
}

}  // namespace
