// The data of blocks from plain values: the bytes of one block of each kind and generation, written by
// hand.
#include "ravo_daq/payloads.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "payloads.h"

namespace {

using namespace ravo;
using ravo::test::payload;

constexpr time_stamp noon{1'740'830'400u, 250'000};

TEST(Payloads, AScalarIsASpectrumOfOneSample) {
  const float value = 17.5F;
  EXPECT_EQ(spectrum_payload(RAVO_BLOCK_1CHAN_2010, {}, {&value, 1}),
            payload().u32(1).u32(1).u32(1).f32(0).f32(1).f32(0).u32(0).u32(0).f32(17.5F).host());
}

TEST(Payloads, ASpectrumHasItsAxisMeansAndStatistics) {
  const std::vector<float> values{1, 3, 5, 7, -2, -2, -2, -2};
  const spectrum_form form{2, 2, 2, 10, 0.5F, 100, spectrum_summary::means_and_statistics};
  payload expected;
  expected.u32(2).u32(2).u32(2).f32(10).f32(0.5F).f32(100).u32(3).u32(0);
  expected.f32(4).f32(-2);
  const auto statistics = [&expected](float mean, float rms, float least, float most) {
    expected.u32(0xf).f32(mean).f32(rms).f32(least).f32(most);
    for (int i = 4; i < 32; ++i) expected.f32(0);
  };
  statistics(4, 4.5825757F, 1, 7);  // the root of 84 / 4
  statistics(-2, 2, -2, -2);
  for (const float value : values) expected.f32(value);
  EXPECT_EQ(spectrum_payload(RAVO_BLOCK_2CHAN_2010, form, values), expected.host());
}

TEST(Payloads, AnOlderSpectrumHasOneGroupAndMeans) {
  const std::vector<float> values{1, 2, 3, 5};
  const spectrum_form form{2, 1, 2, 4, 0.25F};
  EXPECT_EQ(spectrum_payload(RAVO_BLOCK_RF_250K, form, values),
            payload().u32(2).u32(2).f32(4).f32(0.25F).f32(1.5F).f32(4).f32(1).f32(2).f32(3).f32(5).host());
}

TEST(Payloads, AnEmptySpectrumIsAHead) {
  EXPECT_EQ(spectrum_payload(RAVO_BLOCK_SINGLE, {1, 1, 0}, {}),
            payload().u32(1).u32(0).f32(0).f32(1).f32(0).host());
}

TEST(Payloads, ProfilesFollowTheirPlace) {
  const std::vector<float> x{1, 2, 3}, y{4};
  EXPECT_EQ(profile_payload(16, 8, x, y),
            payload().u32(16).u32(8).u32(3).u32(1).f32(1).f32(2).f32(3).f32(4).host());
}

TEST(Payloads, APlainFramePacksItsHead) {
  const std::vector<std::uint8_t> pixels{1, 2, 3, 4, 5, 6};
  frame_form form;
  form.width = 3, form.height = 2, form.x_start = 16, form.y_start = 8, form.frame = 7, form.event = 1000;
  payload expected;
  expected.u32(16u << 16 | 3).u32(8u << 16 | 2).u32(1u << 18 | 1u << 4 | 1).u32(0).u32(7).u32(1000).u32(6);
  for (const unsigned char pixel : pixels) expected.byte(pixel);
  EXPECT_EQ(frame_payload(RAVO_BLOCK_IMAGE, form, std::span(pixels)), expected.host());
}

TEST(Payloads, AnExtendedFramesPixelsAreMostSignificantByteFirst) {
  const std::vector<std::uint16_t> pixels{0x0102, 0xfffe};
  frame_form form;
  form.width = 1, form.height = 2, form.x_start = 5, form.y_start = 6, form.frame = 7, form.event = 1000;
  form.effective_bits = 12, form.scale_x = 0.5F, form.rotation = 90;
  payload expected;
  expected.u32(6).u32(8).u32(1).u32(2).u32(5).u32(6).u32(2).u32(12).u32(1).u32(1).u32(0).u32(0).u32(7).u32(
      1000);
  expected.f32(0.5F).f32(1).f32(90).f32(0).f32(0).f32(0).u32(0).u32(0).u32(0).u32(0).u32(4);
  expected.byte(1).byte(2).byte(0xff).byte(0xfe);
  EXPECT_EQ(frame_payload(RAVO_BLOCK_IMAGE_EXT, form, std::span(pixels)), expected.host());
}

TEST(Payloads, UpdatesOfBothGenerations) {
  EXPECT_EQ(update_payload(RAVO_UPD_BLOCK_2010, "CURRENT.SET", noon, 20.5F, 3),
            payload().text("CURRENT.SET", 256).u32(3).u32(noon.timeup).u32(250'000).f32(20.5F).host());
  EXPECT_EQ(update_payload(RAVO_EOR_BLOCK, std::string(100, 'x'), noon, 7),
            payload().text(std::string(79, 'x'), 80).u32(0).u32(noon.timeup).u32(250'000).f32(7).host());
}

TEST(Payloads, AnEnvironmentReading) {
  EXPECT_EQ(environment_payload(4, noon, 21.5F, -1),
            payload().u32(4).u32(0xffffffffu).u32(noon.timeup).u32(250'000).f32(21.5F).host());
}

TEST(Payloads, NamesAndValues) {
  const std::vector<named_value> values{{"BUNCHES", 64}, {"RATE", 10}};
  EXPECT_EQ(name_value_payload(values, 2, "state"), payload()
                                                        .u32(2)
                                                        .text("state", 80)
                                                        .u32(2)
                                                        .text("BUNCHES", 80)
                                                        .f32(64)
                                                        .text("RATE", 80)
                                                        .f32(10)
                                                        .host());
}

TEST(Payloads, ATextEndsWithZeroAndAWholeWord) {
  EXPECT_EQ(text_payload("beam on"), payload().text("beam on", 8).host());
  EXPECT_EQ(text_payload("beam"), payload().text("beam", 8).host());
  EXPECT_EQ(text_payload(""), payload().u32(0).host());
}

std::string refusal(const std::function<void()>& make) {
  try {
    make();
  } catch (const std::invalid_argument& why) {
    return why.what();
  }
  return "";
}

TEST(Payloads, ValuesThatDoNotFitAreRefused) {
  const std::vector<float> six(6);
  const std::vector<std::uint8_t> pixels(6);
  frame_form wide;
  wide.width = 70'000, wide.height = 0;
  frame_form small;
  small.width = 2, small.height = 2;
  const struct {
    std::function<void()> make;
    std::string text;
  } cases[] = {
      {[&] {
         spectrum_payload(RAVO_BLOCK_2CHAN_2010, {3, 1, 2}, six);
       },
       "RAVO_BLOCK_2CHAN_2010 has 2 members, not 3"},
      {[&] {
         spectrum_payload(RAVO_BLOCK_GENERIC_SPECT, {3, 1, 3}, six);
       },
       "6 values are not 3 x 1 x 3"},
      {[&] {
         spectrum_payload(RAVO_BLOCK_GENERIC_SPECT, {0, 1, 3}, six);
       },
       "a spectrum has 1 to 65535 members and at least one group"},
      {[&] {
         spectrum_payload(RAVO_BLOCK_SINGLE, {1, 2, 3}, six);
       },
       "a spectrum of the older generation has one group and no statistics"},
      {[&] {
         spectrum_payload(RAVO_BLOCK_IMAGE, {1, 1, 6}, six);
       },
       "RAVO_BLOCK_IMAGE is not a type of spectra"},
      {[&] { frame_payload(RAVO_BLOCK_IMAGE, wide, std::span(pixels).first(0)); },
       "a plain frame has no room for a width of 70000"},
      {[&] { frame_payload(RAVO_BLOCK_IMAGE, small, std::span(pixels)); }, "6 pixels are not 2 x 2"},
      {[&] { frame_payload(RAVO_BLOCK_BPM, small, std::span(pixels).first(4)); },
       "RAVO_BLOCK_BPM is not a type of camera frames"},
      {[&] { update_payload(RAVO_ENV_BLOCK, "A", noon, 1); }, "RAVO_ENV_BLOCK is not a type of updates"},
      {[&] { name_value_payload({}, 0, std::string(80, 'x')); },
       "the comment is longer than 79 bytes: " + std::string(80, 'x')},
      {[&] { text_payload(std::string_view("a\0b", 3)); }, "the text holds a zero byte"},
      {[&] { spectrum_payload(static_cast<RAVO_SUBBLOCK_TYPE>(1000), {}, six); },
       "there is no data type 1000"},
  };
  for (const auto& one : cases) EXPECT_EQ(refusal(one.make), one.text);
}

}  // namespace
