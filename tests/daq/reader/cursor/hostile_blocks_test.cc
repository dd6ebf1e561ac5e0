// Thousands of blocks that contradict themselves: whatever an accessor hands out lies inside the block, and
// whatever it prints has an end. Each block ends where its memory ends, so that a sanitizer sees every read
// past it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <random>

#include "handmade_event.h"
#include "ravo_daq_data.h"

namespace ravo::test {
namespace {

template <class generation>
class lying_block {
 public:
  explicit lying_block(std::mt19937& numbers) : numbers_(numbers) {
    std::string payload = some_payload();
    damage(payload);
    const int type = pick(0, 3) == 0 ? pick(-1, 64) : type_;
    const RAVO_EVTYPE event_type = pick(0, 1) == 0 ? event_type_ : RAVO_EV_UPD;
    event_.add<generation>("CHAN", type, payload, event_type);
    std::int32_t& length = event_.block<generation>(0).ldata;
    size_ = static_cast<std::size_t>(length);
    if (pick(0, 2) == 0) length = some_length(length);
    begin_ = reinterpret_cast<const char*>(&event_.block<generation>(0));
  }

  /// Calls every accessor.
  void try_everything() {
    ASSERT_EQ(cursor_.SetRes(event_.result()), 1);
    expect_inside(cursor_.GetPropName(), 0);
    expect_text(cursor_.GetString(0, nullptr));
    expect_inside(cursor_.GetData(), 0);
    for (const int member : {-0x7fffffff - 1, -1, 0, 1, 2, 7, 8, 0x7fffffff}) try_member(member);
    try_image();
    char* comment = nullptr;
    int records = 0;
    ravo_name_value_channel* data = nullptr;
    ravo_name_value_block* block = nullptr;
    if (cursor_.GetValNamPrm(&block, nullptr, &comment, &records, &data) == 0) {
      expect_inside(block, sizeof *block);
      expect_inside(data, static_cast<std::size_t>(records) * sizeof *data);
    }
    cursor_.GetSlowPrm(nullptr, nullptr, nullptr);
    cursor_.GetDescr();
    cursor_.GetDeviceType();
    cursor_.SetProp("CHAN");
    cursor_.SetProp("N");
    cursor_.SetFast(0);
    cursor_.SetSlow(0);
    cursor_.SetImage(0);
    cursor_.GetEventInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    cursor_.PrintEvent();
    cursor_.PrintProp(0);
    EXPECT_TRUE(std::cout.good());
  }

 private:
  int pick(int least, int most) { return std::uniform_int_distribution<int>(least, most)(numbers_); }

  void try_member(int member) {
    int ndata = 0, groups = 1;
    float* mean = nullptr;
    ravo_spect_statistics_2010* stats = nullptr;
    if (cursor_.GetSpectPar(nullptr, nullptr, &mean, &ndata, member, &groups, nullptr, &stats) == 0) {
      if (mean) expect_inside(mean, sizeof *mean);
      if (stats) expect_inside(stats, sizeof *stats);
      if (const float* const values = cursor_.GetSpect(member)) {
        ASSERT_GE(ndata, 0);
        ASSERT_GE(groups, 1);
        expect_inside(values, static_cast<std::size_t>(ndata) * static_cast<std::size_t>(groups) * 4);
      }
    }
    for (const int i : {-1, 0, ndata - 1, ndata, 0x7fffffff}) cursor_.GetSpectVal(member, i);
    void* roi = nullptr;
    if (cursor_.GetRoiPar(&roi, nullptr, nullptr, nullptr, &ndata, member) == 0) {
      expect_inside(roi, sizeof(ravo_roi_head));
      EXPECT_GE(ndata, 0);
    }
    char* name = nullptr;
    float value = 0;
    if (cursor_.GetValNamChan(&name, &value, member) == 0) expect_inside(name, 80);
    cursor_.GetSingle(member);
    float* values = nullptr;
    if (cursor_.GetDataPtrs(nullptr, &value, &values, member) == 0 && values) expect_inside(values, 0);
    cursor_.GetMembName(member);
  }

  void try_image() {
    int length = 0;
    if (const char* const pixels = cursor_.GetImage()) {
      ASSERT_EQ(cursor_.GetImagePar(nullptr, nullptr, nullptr, &length), 0);
      expect_inside(pixels, static_cast<std::size_t>(std::max(length, 0)));
    }
    if (const auto* const head = cursor_.GetImageHeader()) expect_inside(head, sizeof *head);
    int nx = 0, ny = 0;
    cursor_.GetImageSize(nullptr, nullptr, &nx, nullptr, nullptr, &ny);
    if (cursor_.ConvertImage() && nx > 0 && ny > 0) {
      const int pixels = nx * ny;
      float sum = 0;
      for (int i = 0; i < pixels; ++i) sum += cursor_.GetImageFloat()[i];
      EXPECT_GE(sum, 0);
    }
    cursor_.GetImageVal(0, 0);
    cursor_.GetImageVal(std::max(nx, 1) - 1, std::max(ny, 1) - 1);
    cursor_.GetImageVal(0x7fffffff, 0x7fffffff);
  }

  void expect_inside(const void* where, std::size_t length) {
    if (!where) return;
    const char* const from = static_cast<const char*>(where);
    ASSERT_GE(from, begin_);
    ASSERT_LE(from, begin_ + size_);
    ASSERT_LE(length, static_cast<std::size_t>(begin_ + size_ - from));
  }
  void expect_text(const char* text) {
    if (text) expect_inside(text, std::strlen(text) + 1);
  }

  std::string some_payload() {
    constexpr bool current = generation::is_current;
    event_type_ = RAVO_EV_NORMAL;
    switch (pick(0, 7)) {
      case 0:
        type_ = generation::update_type;
        event_type_ = RAVO_EV_UPD;
        return update_payload<generation>("PROP", 1);
      case 1:
        type_ = RAVO_BLOCK_IMAGE;
        return plain_frame(3, 2, static_cast<std::uint32_t>(pick(0, 2)), "abcdefghijkl");
      case 2: {
        type_ = RAVO_BLOCK_IMAGE_EXT;
        ravo_image_ext_frame_head head{};
        head.aoi_width = 2;
        head.aoi_height = 2;
        head.bpp = 3;
        head.length = 12;
        return bytes_of(head) + "abcdefghijkl";
      }
      case 3:
        type_ = RAVO_BLOCK_NAME_VALUE;
        return bytes_of(ravo_name_value_block{1, "c", 2}) + bytes_of(ravo_name_value_channel{"a", 1}) +
               bytes_of(ravo_name_value_channel{"b", 2});
      case 4:
        type_ = RAVO_BLOCK_NAME_VALUE_STRING;
        return std::string("a text\0", 7);
      case 5:
        type_ = RAVO_BLOCK_IMG_ROI1 + pick(0, 2);
        return bytes_of(ravo_roi_head{1, 2, 2, 1}) + floats({1, 2, 3});
      case 6:
        type_ = RAVO_BLOCK_GENERIC_SPECT;
        return bytes_of(ravo_spect_head_2010{2, 1, 2, 0, 1, 0, 1, 0}) + floats({1, 2, 3, 4, 5, 6});
      default:
        type_ = current ? RAVO_BLOCK_2CHAN_2010 : RAVO_BLOCK_RF_250K;
        return two_spectra<generation>();
    }
  }

  void damage(std::string& payload) {
    constexpr std::uint32_t words[] = {
        0, 1, 2, 3, 4, 12, 0xffff, 0x10001, 65537, 0x7fffffff, 0x80000000, 0xffffffff, 0xfffffffe};
    for (int hits = pick(0, 3); hits > 0; --hits) {
      const std::uint32_t word = words[pick(0, static_cast<int>(std::size(words)) - 1)];
      const int most = std::min<int>(static_cast<int>(payload.size() / 4) - 1, 25);
      if (most >= 0) std::memcpy(payload.data() + 4 * pick(0, most), &word, 4);
    }
    if (pick(0, 2) == 0)
      payload.resize(static_cast<std::size_t>(pick(0, static_cast<int>(payload.size()))));
  }

  // Never longer than the memory: readers guarantee that.
  std::int32_t some_length(std::int32_t whole) {
    switch (pick(0, 5)) {
      case 0:
        return 0;
      case 1:
        return std::min<std::int32_t>(whole, 44);
      case 2:
        return std::min<std::int32_t>(whole, 268);
      case 3:
        return -1;
      case 4:
        return -0x7fffffff - 1;
      default:
        return pick(0, whole);
    }
  }

  std::mt19937& numbers_;
  handmade_event event_;
  ravo_daq_getdata cursor_;
  int type_ = 0;
  RAVO_EVTYPE event_type_ = RAVO_EV_NORMAL;
  const char* begin_ = nullptr;
  std::size_t size_ = 0;
};

template <class generation>
struct LyingBlocks : testing::Test {};
TYPED_TEST_SUITE(LyingBlocks, event_generations, event_generation_name);

TYPED_TEST(LyingBlocks, AreNotFollowedOutOfTheirMemory) {
  std::mt19937 numbers(TypeParam::is_current ? 2010 : 2009);
  const said heard = listen([&] {
    for (int i = 0; i < 1000 && !testing::Test::HasFailure(); ++i)
      lying_block<TypeParam>(numbers).try_everything();
  });
  if (testing::Test::HasFailure()) std::cout << heard.out;
}

}  // namespace
}  // namespace ravo::test
