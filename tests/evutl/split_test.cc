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

struct current_cut : current {
  static constexpr auto operation = &device_to_one_channel_2010;
};
struct older_cut : older {
  static constexpr std::string_view name = "Older";
  static constexpr auto operation = &device_to_one_channel;
};
struct older_cut_2009 : older {
  static constexpr std::string_view name = "Older2009";
  static constexpr auto operation = &device_to_one_channel_2009;
};
using cuts = testing::Types<current_cut, older_cut, older_cut_2009>;
using older_cuts = testing::Types<older_cut, older_cut_2009>;

struct free_block {
  void operator()(void* block) const { std::free(block); }
};
template <class subhead>
struct cut_result {
  bool failed;
  std::unique_ptr<subhead, free_block> block;

  /// The cut's data as a byte string, as long as its length word says.
  std::vector<unsigned char> data() const {
    const auto* begin = reinterpret_cast<const unsigned char*>(block.get() + 1);
    return {begin, begin + block->ldata - sizeof(subhead)};
  }
};

template <class G>
class Cut : public testing::Test {
 protected:
  using subhead = typename G::subhead_record;

  static cut_result<subhead> cut(const subhead* from, int subchannel) {
    auto* poison = reinterpret_cast<subhead*>(1);
    const bool failed = G::operation(from, subchannel, 0, 0, &poison);
    return {failed, std::unique_ptr<subhead, free_block>(poison)};
  }
};
TYPED_TEST_SUITE(Cut, cuts, generation_name);

// Cutting spectra, which have another shape in each generation.
class CurrentCut : public Cut<current_cut> {};
template <class G>
class OlderCut : public Cut<G> {};
TYPED_TEST_SUITE(OlderCut, older_cuts, generation_name);

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

TEST_F(CurrentCut, TakesOneMemberOutOfASpectrum) {
  for (std::uint32_t flags = 0; flags < 4; ++flags) {
    decoded_block<current> block("LINAC/BPM", 38, spectrum<host_bytes>(3, 2, 3, flags));
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

TEST_F(CurrentCut, LeavesTheBlockAsItIs) {
  const bytes data = spectrum<host_bytes>(3, 2, 3, 3);
  decoded_block<current> block("LINAC/BPM", 38, data);
  cut(block.get(), 1);
  EXPECT_STREQ(block.get()->chname, "LINAC/BPM");
  EXPECT_EQ(block.get()->dtype, 38);
  EXPECT_EQ(block.get()->ldata, static_cast<int>(268 + data.size()));
  EXPECT_EQ(0, std::memcmp(block.data(), data.data(), data.size()));
}

TYPED_TEST(Cut, OfAGenericSpectrumStaysOneAndAsksItsHeadForTheMembers) {
  decoded_block<TypeParam> block("RF/PROBE", 28, spectrum<host_bytes>(5, 2, 3, 1));
  const auto result = this->cut(block.get(), 4);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->dtype, 28);
  EXPECT_STREQ(result.block->chname, "RF/PROBE:4");
  EXPECT_EQ(result.data(), expected_member(4, 1).vector());
  EXPECT_TRUE(this->cut(block.get(), 5).failed);
}

TEST_F(CurrentCut, OfASingleMemberKeepsItsType) {
  for (const int dtype : {41, 42, 44, 50, 51}) {
    const bytes data = spectrum<host_bytes>(1, 2, 3, 0);
    decoded_block<current> block("TOROID", dtype, data);
    const auto result = cut(block.get(), 0);
    ASSERT_FALSE(result.failed);
    EXPECT_EQ(result.block->dtype, dtype);
    EXPECT_STREQ(result.block->chname, "TOROID:0");
    EXPECT_EQ(result.data(), data.vector());
  }
}

TYPED_TEST(Cut, OfEveryTypeWithSeveralMembersYieldsEachOfThem) {
  for (const payload& one : all_payloads()) {
    const ravo::data_type& type = *ravo::find_data_type(one.dtype);
    const auto other =
        TypeParam::single_type == 41 ? ravo::type_generation::older : ravo::type_generation::current;
    if (type.members < 2 || type.generation == other) continue;
    decoded_block<TypeParam> block("NAME", one.dtype, one.host);
    for (int member = 0; member < type.members; ++member) {
      const auto result = this->cut(block.get(), member);
      ASSERT_FALSE(result.failed) << type.name;
      EXPECT_EQ(get_channel_number(result.block->dtype, 0), 1) << type.name;
    }
    EXPECT_TRUE(this->cut(block.get(), type.members).failed) << type.name;
  }
}

TYPED_TEST(OlderCut, TakesOneMemberOutOfASpectrum) {
  decoded_block<TypeParam> block("LINAC/BPM", 6, older_spectrum<host_bytes>(3, 2));
  block.get()->error = RAVO_FE_ADC_OVERLOAD;
  for (int member = 0; member < 3; ++member) {
    const auto result = this->cut(block.get(), member);
    ASSERT_FALSE(result.failed);
    EXPECT_EQ(result.block->chname, "LINAC/BPM:" + std::to_string(member));
    EXPECT_EQ(result.block->dtype, 9);
    EXPECT_EQ(result.block->error, RAVO_FE_ADC_OVERLOAD);
    EXPECT_EQ(result.block->ldata, 44 + 16 + 4 + 8);
    const auto value = static_cast<float>(100 * member);
    const bytes expected = host_bytes()
                               .i32(1)
                               .i32(2)
                               .f32(0.5f)
                               .f32(0.25f)
                               .f32(static_cast<float>(10 * member))
                               .f32(value)
                               .f32(value + 1)
                               .content();
    EXPECT_EQ(result.data(), expected.vector());
  }
}

TYPED_TEST(OlderCut, OfASingleMemberKeepsItsType) {
  for (const int dtype : {9, 10, 12, 14, 18, 19}) {
    const bytes data = older_spectrum<host_bytes>(1, 3);
    decoded_block<TypeParam> block("TOROID", dtype, data);
    const auto result = this->cut(block.get(), 0);
    ASSERT_FALSE(result.failed);
    EXPECT_EQ(result.block->dtype, dtype);
    EXPECT_STREQ(result.block->chname, "TOROID:0");
    EXPECT_EQ(result.data(), data.vector());
  }
}

// Older spectra always have a mean, which a region of interest does not have: 2 of 1, 2, 3; 4.5 of 4, 5.
TYPED_TEST(OlderCut, OfARegionOfInterestIsAProfileWithItsMean) {
  decoded_block<TypeParam> block("CAMERA/ROI1", 25, roi<host_bytes>());
  const auto x = this->cut(block.get(), 0);
  ASSERT_FALSE(x.failed);
  EXPECT_EQ(x.block->dtype, 9);
  const bytes expected_x = host_bytes().i32(1).i32(3).f32(10).f32(1).f32(2).f32(1).f32(2).f32(3).content();
  EXPECT_EQ(x.data(), expected_x.vector());
  const auto y = this->cut(block.get(), 1);
  ASSERT_FALSE(y.failed);
  const bytes expected_y = host_bytes().i32(1).i32(2).f32(20).f32(1).f32(4.5f).f32(4).f32(5).content();
  EXPECT_EQ(y.data(), expected_y.vector());
  EXPECT_STREQ(y.block->chname, "CAMERA/ROI1:1");
}

TYPED_TEST(OlderCut, OfARegionWithoutPixelsHasAMeanOfZero) {
  decoded_block<TypeParam> block("CAMERA/ROI1", 24, host_bytes().i32(10).i32(20).i32(0).i32(0));
  const auto x = this->cut(block.get(), 0);
  ASSERT_FALSE(x.failed);
  EXPECT_EQ(x.data(), host_bytes().i32(1).i32(0).f32(10).f32(1).f32(0).content().vector());
}

// Readers find a subchannel by its block's name; a truncated one would be that of another channel.
TYPED_TEST(OlderCut, FailsForANameOfThirtyBytes) {
  decoded_block<TypeParam> fits(std::string(29, 'n'), 6, older_spectrum<host_bytes>(3, 2));
  EXPECT_FALSE(this->cut(fits.get(), 2).failed);
  decoded_block<TypeParam> too_long(std::string(30, 'n'), 6, older_spectrum<host_bytes>(3, 2));
  EXPECT_TRUE(this->cut(too_long.get(), 2).failed);
}

TEST_F(CurrentCut, OfARegionOfInterestIsAProfileAlongItsPixels) {
  decoded_block<current> block("CAMERA/ROI1", 24, roi<host_bytes>());
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

TYPED_TEST(Cut, OfANameValueBlockIsOneRecord) {
  decoded_block<TypeParam> block("SETTINGS", 22, name_value<host_bytes>());
  const auto result = this->cut(block.get(), 1);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->dtype, 22);
  const bytes expected =
      host_bytes().i32(42).text("settings", 80).i32(1).text("offset", 80).f32(-2).content();
  EXPECT_EQ(result.data(), expected.vector());
  EXPECT_TRUE(this->cut(block.get(), 2).failed);
}

TYPED_TEST(Cut, OfImagesAndTextsIsACopyUnderTheSubchannelsName) {
  const std::pair<int, bytes> blocks[] = {
      {13, image<host_bytes>()}, {27, image_ext<host_bytes>()}, {23, text<host_bytes>()}};
  for (const auto& [dtype, data] : blocks) {
    decoded_block<TypeParam> block("CAMERA", dtype, data);
    const auto result = this->cut(block.get(), 0);
    ASSERT_FALSE(result.failed) << dtype;
    EXPECT_STREQ(result.block->chname, "CAMERA:0");
    EXPECT_EQ(result.block->dtype, dtype);
    EXPECT_EQ(result.data(), data.vector());
    EXPECT_TRUE(this->cut(block.get(), 1).failed) << dtype;
  }
}

TYPED_TEST(Cut, IsNotMadeOfUpdatesAndEnvironments) {
  const std::pair<int, bytes> blocks[] = {
      {33, update<host_bytes>(256)},     {36, update<host_bytes>(256)},  {37, update<host_bytes>(256)},
      {1, update<host_bytes>(80)},       {3, environment<host_bytes>()}, {35, environment<host_bytes>()},
      {34, env_dictionary<host_bytes>()}};
  for (const auto& [dtype, data] : blocks) {
    decoded_block<TypeParam> block("SLOW", dtype, data);
    const auto result = this->cut(block.get(), 0);
    EXPECT_FALSE(result.failed) << dtype;
    EXPECT_EQ(result.block, nullptr) << dtype;
  }
}

TYPED_TEST(Cut, FailsOutsideTheSubchannels) {
  decoded_block<TypeParam> block("LINAC/BPM", 28, spectrum<host_bytes>(3, 2, 3, 0));
  for (const int subchannel : {-1, 3, 100, 0x7fffffff}) {
    const auto result = this->cut(block.get(), subchannel);
    EXPECT_TRUE(result.failed) << subchannel;
    EXPECT_EQ(result.block, nullptr) << subchannel;
  }
}

TYPED_TEST(Cut, FailsWhenItsNameDoesNotFit) {
  const bytes data = spectrum<host_bytes>(3, 2, 3, 0);
  constexpr std::size_t room = TypeParam::block_name;
  decoded_block<TypeParam> fits(std::string(room - 3, 'n'), 28, data);
  const auto result = this->cut(fits.get(), 2);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->chname, std::string(room - 3, 'n') + ":2");
  decoded_block<TypeParam> too_long(std::string(room - 2, 'n'), 28, data);
  EXPECT_TRUE(this->cut(too_long.get(), 2).failed);
  decoded_block<TypeParam> endless(std::string(room, 'n'), 28, data);
  EXPECT_TRUE(this->cut(endless.get(), 2).failed);
}

TYPED_TEST(Cut, FailsForBlocksThatAreNotWhatTheySay) {
  constexpr int head = TypeParam::subhead;
  const bytes data = spectrum<host_bytes>(3, 2, 3, 0);
  decoded_block<TypeParam> wrong_type("N", 39, data);
  EXPECT_TRUE(this->cut(wrong_type.get(), 0).failed);
  decoded_block<TypeParam> unknown("N", 63, data);
  EXPECT_TRUE(this->cut(unknown.get(), 0).failed);
  decoded_block<TypeParam> compressed("N", 28, data);
  compressed.get()->error = RAVO_CHAN_ZIP_FLAG;
  EXPECT_TRUE(this->cut(compressed.get(), 0).failed);
  for (const int length : {0, -1, head - 1, head, head + 31, head + 32}) {
    decoded_block<TypeParam> short_one("N", 28, data);
    short_one.get()->ldata = length;
    EXPECT_TRUE(this->cut(short_one.get(), 0).failed) << length;
  }
  for (const int length : {-1, 0, head - 1, head + 27, head + 33}) {
    decoded_block<TypeParam> frame("N", 13, image<host_bytes>());
    frame.get()->ldata = length;
    EXPECT_TRUE(this->cut(frame.get(), 0).failed) << length;
  }
  EXPECT_TRUE(this->cut(nullptr, 0).failed);
  EXPECT_TRUE(TypeParam::operation(wrong_type.get(), 0, 0, 0, nullptr));
}

// The caller puts the old type into the high bits; what was there before is not carried along.
TEST_F(CurrentCut, HasOnlyItsOwnTypeInItsTypeWord) {
  decoded_block<current> block("NAME:1", 41 | 38 << 16, spectrum<host_bytes>(1, 2, 3, 0));
  const auto result = cut(block.get(), 0);
  ASSERT_FALSE(result.failed);
  EXPECT_EQ(result.block->dtype, 41);
}

}  // namespace
