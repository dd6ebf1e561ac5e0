// Inspecting one decoded block: members, parameters, slow values and camera frames of blocks written by
// hand, and nothing at all of blocks that lie about themselves. The memory ends where the block ends, so
// that a sanitizer sees every read past it.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "captured_output.h"
#include "decoded_block.h"
#include "payloads.h"
#include "ravo_evutl.h"

namespace ravo::test {
namespace {

using block_2010 = decoded_block<current>;
using block_2009 = decoded_block<older>;

void* pointer_to(ravo_serv_block_subhead_2010* block, int member) {
  return get_pointer_to_data_2010(block, member);
}
void* pointer_to(ravo_serv_block_subhead* block, int member) {
  return get_pointer_to_data_2009(block, member);
}

bool fails_params(ravo_serv_block_subhead_2010* block, int member) {
  return get_spect_params_for_data_type_2010(block, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                             nullptr, member);
}
bool fails_params(ravo_serv_block_subhead* block, int member) {
  return get_spect_params_for_data_type_2009(block, nullptr, nullptr, nullptr, nullptr, member);
}

template <class generation>
struct BlockAccess : testing::Test {};
TYPED_TEST_SUITE(BlockAccess, generations, generation_name);

TEST(BlockAccess2010, FindsEveryMemberAfterMeansAndStatistics) {
  for (std::uint32_t flags = 0; flags < 4; ++flags) {
    block_2010 block("BPM", RAVO_BLOCK_BPM_2010, spectrum<host_bytes>(3, 2, 5, flags));
    for (int member = 0; member < 3; ++member) {
      float start = -1, inc = -1, groups_inc = -1;
      float* mean = nullptr;
      int ndata = -1, groups = -1;
      ravo_spect_statistics_2010* stats = nullptr;
      ASSERT_FALSE(get_spect_params_for_data_type_2010(block.get(), &start, &inc, &mean, &ndata, &groups,
                                                       &groups_inc, &stats, member));
      EXPECT_EQ(start, 0.5f);
      EXPECT_EQ(inc, 0.25f);
      EXPECT_EQ(groups_inc, 100.0f);
      EXPECT_EQ(ndata, 5);
      EXPECT_EQ(groups, 2);
      ASSERT_EQ(mean != nullptr, (flags & 1) != 0);
      if (mean) {
        EXPECT_EQ(*mean, static_cast<float>(10 * member));
      }
      ASSERT_EQ(stats != nullptr, (flags & 2) != 0);
      if (stats) {
        EXPECT_EQ(stats->val[31], static_cast<float>(1000 * member + 31));
      }
      const float* values = static_cast<const float*>(get_pointer_to_data_2010(block.get(), member));
      ASSERT_NE(values, nullptr);
      EXPECT_EQ(values[0], static_cast<float>(100 * member));
      EXPECT_EQ(values[9], static_cast<float>(100 * member + 9));
    }
  }
}

TEST(BlockAccess2009, FindsEveryMemberAfterItsMeans) {
  block_2009 block("BPM", RAVO_BLOCK_BPM, older_spectrum<host_bytes>(3, 5));
  for (int member = 0; member < 3; ++member) {
    float start = -1, inc = -1;
    float* mean = nullptr;
    int ndata = -1;
    ASSERT_FALSE(get_spect_params_for_data_type_2009(block.get(), &start, &inc, &mean, &ndata, member));
    EXPECT_EQ(start, 0.5f);
    EXPECT_EQ(inc, 0.25f);
    EXPECT_EQ(ndata, 5);
    ASSERT_NE(mean, nullptr);
    EXPECT_EQ(*mean, static_cast<float>(10 * member));
    const float* values = static_cast<const float*>(get_pointer_to_data_2009(block.get(), member));
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(values[4], static_cast<float>(100 * member + 4));
  }
}

TEST(BlockAccess2009, CountsAllSamplesOfASpectrumInGroups) {
  block_2009 block("G", RAVO_BLOCK_GENERIC_SPECT, spectrum<host_bytes>(2, 3, 4, 0));
  int ndata = 0;
  ASSERT_FALSE(get_spect_params_for_data_type_2009(block.get(), nullptr, nullptr, nullptr, &ndata, 1));
  EXPECT_EQ(ndata, 12);
}

TYPED_TEST(BlockAccess, TakesAProfileForASpectrumThatCountsPixels) {
  decoded_block<TypeParam> block("ROI", RAVO_BLOCK_IMG_ROI2, roi<host_bytes>());
  const float* x = static_cast<const float*>(pointer_to(block.get(), 0));
  const float* y = static_cast<const float*>(pointer_to(block.get(), 1));
  ASSERT_NE(x, nullptr);
  ASSERT_NE(y, nullptr);
  EXPECT_EQ(x[2], 3.0f);
  EXPECT_EQ(y[1], 5.0f);
  EXPECT_EQ(pointer_to(block.get(), 2), nullptr);
}

TEST(BlockAccess2010, GivesTheAxisOfAProfile) {
  block_2010 block("ROI", RAVO_BLOCK_IMG_ROI1, roi<host_bytes>());
  float start = 0, inc = 0, groups_inc = -1;
  float* mean = &start;
  int ndata = 0, groups = 0;
  ASSERT_FALSE(get_spect_params_for_data_type_2010(block.get(), &start, &inc, &mean, &ndata, &groups,
                                                   &groups_inc, nullptr, 1));
  EXPECT_EQ(start, 20.0f);
  EXPECT_EQ(inc, 1.0f);
  EXPECT_EQ(ndata, 2);
  EXPECT_EQ(groups, 1);
  EXPECT_EQ(groups_inc, 0.0f);
  EXPECT_EQ(mean, nullptr);
}

TYPED_TEST(BlockAccess, PointsToTheTextOfATextBlock) {
  decoded_block<TypeParam> block("TEXT", RAVO_BLOCK_NAME_VALUE_STRING, text<host_bytes>());
  EXPECT_STREQ(static_cast<const char*>(pointer_to(block.get(), 0)), "beam on");
  EXPECT_EQ(pointer_to(block.get(), 1), nullptr);
}

TYPED_TEST(BlockAccess, HasNoMembersOutsideTheTypes) {
  for (const payload& one : all_payloads()) {
    decoded_block<TypeParam> block("ANY", one.dtype, one.host);
    EXPECT_EQ(pointer_to(block.get(), -1), nullptr) << one.dtype;
    EXPECT_EQ(pointer_to(block.get(), 100), nullptr) << one.dtype;
    EXPECT_TRUE(fails_params(block.get(), -1)) << one.dtype;
    EXPECT_TRUE(fails_params(block.get(), 100)) << one.dtype;
  }
}

TYPED_TEST(BlockAccess, FollowsNothingInABlockOfWhichAByteIsMissing) {
  for (const payload& one : all_payloads()) {
    const int shape_without_arrays[] = {1, 2, 3, 4, 5, 13, 22, 27, 31, 33, 34, 35, 36, 37, 23};
    bool has_arrays = true;
    for (const int dtype : shape_without_arrays) has_arrays = has_arrays && dtype != one.dtype;
    if (!has_arrays) continue;
    decoded_block<TypeParam> block("ANY", one.dtype, one.host);
    ASSERT_NE(pointer_to(block.get(), 0), nullptr) << one.dtype;
    ASSERT_FALSE(fails_params(block.get(), 0)) << one.dtype;
    block.get()->ldata -= 1;
    EXPECT_EQ(pointer_to(block.get(), 0), nullptr) << one.dtype;
    EXPECT_TRUE(fails_params(block.get(), 0)) << one.dtype;
  }
}

TYPED_TEST(BlockAccess, FollowsNothingWhenTheLengthOrTheZipFlagRefutesTheBlock) {
  decoded_block<TypeParam> block("G", RAVO_BLOCK_GENERIC_SPECT, spectrum<host_bytes>(1, 1, 4, 0));
  const std::int32_t ldata = block.get()->ldata;
  for (const std::int32_t wrong : {0, -1, static_cast<std::int32_t>(sizeof(*block.get())), INT32_MIN}) {
    block.get()->ldata = wrong;
    EXPECT_EQ(pointer_to(block.get(), 0), nullptr) << wrong;
    EXPECT_TRUE(fails_params(block.get(), 0)) << wrong;
  }
  block.get()->ldata = ldata;
  block.get()->error = RAVO_CHAN_ZIP_FLAG;
  EXPECT_EQ(pointer_to(block.get(), 0), nullptr);
  EXPECT_TRUE(fails_params(block.get(), 0));
}

// The word at an index of a block's data, to be made false.
template <class subhead>
void set_word(subhead* block, std::size_t index, std::int32_t value) {
  std::memcpy(reinterpret_cast<unsigned char*>(block + 1) + 4 * index, &value, sizeof value);
}

TYPED_TEST(BlockAccess, FollowsNoCountThatTheBlockCannotHold) {
  struct {
    std::int32_t members, samples, groups;
  } const lies[] = {{3, 5, 3},
                    {3, 6, 2},
                    {4, 5, 2},
                    {-3, 5, 2},
                    {3, -5, 2},
                    {3, 5, -2},
                    {3, -5, -2},
                    {3, 5, 0},
                    {0, 5, 2},
                    {1, 5, 6},
                    {3, 0x40000000, 4},
                    {3, 0x10000, 0x10000},
                    {INT32_MAX, INT32_MAX, INT32_MAX},
                    {3, INT32_MIN, 2}};
  for (const auto& lie : lies) {
    decoded_block<TypeParam> block("BPM", RAVO_BLOCK_BPM_2010, spectrum<host_bytes>(3, 2, 5, 3));
    ASSERT_NE(pointer_to(block.get(), 0), nullptr);
    set_word(block.get(), 0, lie.members);
    set_word(block.get(), 1, lie.samples);
    set_word(block.get(), 2, lie.groups);
    EXPECT_EQ(pointer_to(block.get(), 0), nullptr)
        << lie.members << " " << lie.samples << " " << lie.groups;
    EXPECT_TRUE(fails_params(block.get(), 0)) << lie.members << " " << lie.samples << " " << lie.groups;
  }
  for (const auto& [members, samples] : {std::pair{3, 6}, {2, 5}, {-3, 5}, {3, -5}, {3, INT32_MAX}}) {
    decoded_block<TypeParam> block("BPM", RAVO_BLOCK_BPM, older_spectrum<host_bytes>(3, 5));
    ASSERT_NE(pointer_to(block.get(), 0), nullptr);
    set_word(block.get(), 0, members);
    set_word(block.get(), 1, samples);
    EXPECT_EQ(pointer_to(block.get(), 0), nullptr) << members << " " << samples;
    EXPECT_TRUE(fails_params(block.get(), 0)) << members << " " << samples;
  }
  for (const auto& [width, height] : {std::pair{3, 3}, {6, -1}, {-1, 6}, {INT32_MAX, 2}, {5, 1}}) {
    decoded_block<TypeParam> block("ROI", RAVO_BLOCK_IMG_ROI1, roi<host_bytes>());
    set_word(block.get(), 2, width);
    set_word(block.get(), 3, height);
    EXPECT_EQ(pointer_to(block.get(), 1), nullptr) << width << " " << height;
    EXPECT_TRUE(fails_params(block.get(), 1)) << width << " " << height;
  }
}

TYPED_TEST(BlockAccess, LeavesOutputsAloneWhereItFails) {
  decoded_block<TypeParam> block("BPM", RAVO_BLOCK_BPM, older_spectrum<host_bytes>(3, 5));
  float start = -5, inc = -5;
  float* mean = &start;
  int ndata = -5;
  if constexpr (std::is_same_v<TypeParam, older>) {
    EXPECT_TRUE(get_spect_params_for_data_type_2009(block.get(), &start, &inc, &mean, &ndata, 3));
  } else {
    EXPECT_TRUE(get_spect_params_for_data_type_2010(block.get(), &start, &inc, &mean, &ndata, nullptr,
                                                    nullptr, nullptr, 3));
  }
  EXPECT_EQ(start, -5.0f);
  EXPECT_EQ(inc, -5.0f);
  EXPECT_EQ(mean, &start);
  EXPECT_EQ(ndata, -5);
}

TYPED_TEST(BlockAccess, PointsToNoTextWithoutAnEnd) {
  decoded_block<TypeParam> block("TEXT", RAVO_BLOCK_NAME_VALUE_STRING, host_bytes().raw("beam"));
  EXPECT_EQ(pointer_to(block.get(), 0), nullptr);
}

TYPED_TEST(BlockAccess, TakesANullBlockForNone) {
  decltype(decoded_block<TypeParam>("", 0, bytes()).get()) none = nullptr;
  EXPECT_EQ(pointer_to(none, 0), nullptr);
  EXPECT_TRUE(fails_params(none, 0));
}

TYPED_TEST(BlockAccess, CountsTheMembersOfAGenericSpectrumInTheBlock) {
  decoded_block<TypeParam> block("G", RAVO_BLOCK_GENERIC_SPECT, spectrum<host_bytes>(5, 1, 2, 0));
  EXPECT_EQ(get_channel_number(RAVO_BLOCK_GENERIC_SPECT, block.get()), 5);
  EXPECT_EQ(get_channel_number(RAVO_BLOCK_BPM_2010, block.get()), 3);
  block.get()->ldata -= 4;
  EXPECT_EQ(get_channel_number(RAVO_BLOCK_GENERIC_SPECT, block.get()), 1);
}

TEST(MemberNames, AreThoseOfTheTypeAndNothingElse) {
  EXPECT_STREQ(get_chan_name(RAVO_BLOCK_BPM_2010, 0), "X");
  EXPECT_STREQ(get_chan_name(RAVO_BLOCK_BPM_2010 | 38 << 16, 2), "CHARGE");
  EXPECT_EQ(get_chan_name(RAVO_BLOCK_BPM_2010, 3), nullptr);
  EXPECT_EQ(get_chan_name(RAVO_BLOCK_BPM_2010, -1), nullptr);
  EXPECT_EQ(get_chan_name(54, 0), nullptr);
}

TEST(SpectrumDescription, ShowsTypeAxisAndMembers) {
  block_2010 block("BPM", RAVO_BLOCK_BPM_2010, spectrum<host_bytes>(3, 1, 1, 0));
  captured_output out;
  EXPECT_EQ(get_spect_code_description_2010(block.get()), 0);
  EXPECT_EQ(out.stop(), "38 RAVO_BLOCK_BPM_2010  axis: time, us  members: X Y CHARGE\n");
}

TEST(SpectrumDescription, IsNotToBeHadOfATypeWithoutSpectrum) {
  block_2010 block("TEXT", RAVO_BLOCK_NAME_VALUE_STRING, text<host_bytes>());
  captured_output out;
  EXPECT_EQ(get_spect_code_description_2010(block.get()), 1);
  EXPECT_EQ(get_spect_code_description_2010(nullptr), 1);
  EXPECT_EQ(out.stop(), "");
}

TEST(UpdateRecords, GiveNameStatusTimeAndValue) {
  block_2009 block("SLOW", RAVO_UPD_BLOCK, update<host_bytes>(80));
  ASSERT_EQ(get_number_of_upd_channels(block.get()), 1);
  char* name = nullptr;
  int status = 0;
  time_stamp time{};
  float value = 0;
  ASSERT_EQ(get_update_params(block.get(), 0, &name, &status, &time, &value), 0);
  EXPECT_STREQ(name, "MAGNET/CURRENT");
  EXPECT_EQ(status, 3);
  EXPECT_EQ(time.timeup, 1767225600u);
  EXPECT_EQ(time.timelow, 5u);
  EXPECT_EQ(value, 12.5f);
  EXPECT_NE(get_update_params(block.get(), 1, &name, &status, &time, &value), 0);
  EXPECT_NE(get_update_params(block.get(), -1, &name, &status, &time, &value), 0);
}

TEST(UpdateRecords, AreAbsentInACutBlockAndInOtherTypes) {
  block_2009 block("SLOW", RAVO_UPD_BLOCK, update<host_bytes>(80));
  block.get()->ldata -= 1;
  EXPECT_EQ(get_number_of_upd_channels(block.get()), 0);
  block_2009 other("ENV", RAVO_ENV_BLOCK, environment<host_bytes>());
  EXPECT_EQ(get_number_of_upd_channels(other.get()), 0);
  EXPECT_EQ(get_number_of_upd_channels(nullptr), 0);
}

TEST(UpdateRecords, AreAbsentWhereTheNameHasNoEnd) {
  block_2009 block("SLOW", RAVO_UPD_BLOCK,
                   host_bytes().raw(std::string(80, 'x')).i32(3).u32(1).u32(2).f32(4));
  EXPECT_EQ(get_number_of_upd_channels(block.get()), 0);
  char* name = nullptr;
  EXPECT_NE(get_update_params(block.get(), 0, &name, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(name, nullptr);
}

TEST(UpdateRecords, NeedNotBeAskedForEverything) {
  block_2009 block("SLOW", RAVO_UPD_BLOCK, update<host_bytes>(80));
  EXPECT_EQ(get_update_params(block.get(), 0, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(ImageParameters, AreAbsentWhereTheFrameIsLongerThanTheBlock) {
  for (const std::int32_t length : {7, -1, INT32_MAX, INT32_MIN}) {
    block_2009 plain("CAM", RAVO_BLOCK_IMAGE, image<host_bytes>());
    set_word(plain.get(), 6, length);
    int nx = -5;
    EXPECT_NE(get_image_params(plain.get(), &nx, nullptr, nullptr, nullptr), 0) << length;
    EXPECT_EQ(nx, -5);
    block_2009 extended("CAM", RAVO_BLOCK_IMAGE_EXT, image_ext<host_bytes>());
    set_word(extended.get(), 24, length);
    ravo_image_ext_frame_head head{};
    EXPECT_NE(get_image_ext_params(extended.get(), &head), 0) << length;
    EXPECT_EQ(head.width, 0);
  }
  EXPECT_NE(get_image_params(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_NE(get_image_ext_params(nullptr, nullptr), 0);
}

TEST(ImageParameters, TakeNoBytesPerPixelForOne) {
  block_2009 block("CAM", RAVO_BLOCK_IMAGE, image<host_bytes>());
  set_word(block.get(), 2, 1 << 18);
  int bpp = 0;
  EXPECT_EQ(get_image_params(block.get(), nullptr, nullptr, &bpp, nullptr), 0);
  EXPECT_EQ(bpp, 1);
}

TEST(ImageParameters, AreThoseOfThePlainFrame) {
  block_2009 block("CAM", RAVO_BLOCK_IMAGE, image<host_bytes>());
  int nx = 0, ny = 0, bpp = 0;
  unsigned event_number = 0;
  ASSERT_EQ(get_image_params(block.get(), &nx, &ny, &bpp, &event_number), 0);
  EXPECT_EQ(nx, 3);
  EXPECT_EQ(ny, 2);
  EXPECT_EQ(bpp, 1);
  EXPECT_EQ(event_number, 1234u);
  EXPECT_NE(get_image_ext_params(block.get(), nullptr), 0);
  block.get()->ldata -= 1;
  EXPECT_NE(get_image_params(block.get(), &nx, &ny, &bpp, &event_number), 0);
}

TEST(ImageParameters, AreTheHeadOfTheExtendedFrame) {
  block_2009 block("CAM", RAVO_BLOCK_IMAGE_EXT, image_ext<host_bytes>());
  ravo_image_ext_frame_head head{};
  ASSERT_EQ(get_image_ext_params(block.get(), &head), 0);
  EXPECT_EQ(head.width, 640);
  EXPECT_EQ(head.aoi_height, 2);
  EXPECT_EQ(head.length, 6);
  EXPECT_NE(get_image_params(block.get(), nullptr, nullptr, nullptr, nullptr), 0);
  block.get()->ldata -= 1;
  EXPECT_NE(get_image_ext_params(block.get(), &head), 0);
}

}  // namespace
}  // namespace ravo::test
