// Frozen frames, from bytes written by hand.
#include "frames.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "ravo_payload.h"
#include "ravo_raw_codes.h"

namespace {

using namespace ravo::checks;

std::vector<unsigned char> picture(std::size_t values) {
  std::vector<unsigned char> pixels(64);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(i % values);
  return pixels;
}

TEST(FrameRepeats, AreSeenFromTheSecondOn) {
  frame_repeats repeats;
  EXPECT_FALSE(repeats.is_repeat(picture(20)));
  EXPECT_TRUE(repeats.is_repeat(picture(20)));
  EXPECT_TRUE(repeats.is_repeat(picture(20)));
  EXPECT_FALSE(repeats.is_repeat(picture(21)));
  EXPECT_FALSE(repeats.is_repeat(picture(20)));
}

TEST(FrameRepeats, AreNoneInPicturesThatCanBeTheSameByNature) {
  frame_repeats repeats;
  for (const std::size_t values : {1u, 2u, 15u}) {
    EXPECT_FALSE(repeats.is_repeat(picture(values)));
    EXPECT_FALSE(repeats.is_repeat(picture(values))) << values;
  }
  EXPECT_FALSE(repeats.is_repeat({}));
  EXPECT_FALSE(repeats.is_repeat({}));
}

template <class Head>
std::vector<unsigned char> block(const Head& head, std::size_t more) {
  std::vector<unsigned char> bytes(sizeof head + more, 7);
  const auto* from = reinterpret_cast<const unsigned char*>(&head);
  std::copy(from, from + sizeof head, bytes.begin());
  return bytes;
}

ravo_image_frame_head plain_head() {
  ravo_image_frame_head head{};
  head.w = 4 | 9u << 16;
  head.h = 3 | 9u << 16;
  head.bpp = 2 | 1u << 4;
  head.event_nm = 77;
  head.length = 24;
  return head;
}

TEST(Frame, OfACameraHasItsEventAndItsPixels) {
  const auto bytes = block(plain_head(), 26);
  const auto found = find_frame(RAVO_BLOCK_IMAGE, bytes);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->event, 77u);
  EXPECT_EQ(found->pixels.size(), 24u);
  EXPECT_EQ(found->pixels.data(), bytes.data() + sizeof(ravo_image_frame_head));
  EXPECT_FALSE(find_frame(RAVO_BLOCK_BPM_2010, bytes));
}

TEST(Frame, HasNoPixelsWhereTheyAreNoPlainPicture) {
  ravo_image_frame_head compressed = plain_head(), longer = plain_head(), negative = plain_head();
  compressed.compr = 1;
  longer.length = 25;
  negative.length = -24;
  for (const auto& head : {compressed, longer, negative}) {
    const auto bytes = block(head, 26);
    EXPECT_EQ(find_frame(RAVO_BLOCK_IMAGE, bytes)->pixels.size(), 0u);
    EXPECT_EQ(find_frame(RAVO_BLOCK_IMAGE, bytes)->event, 77u);
  }
  EXPECT_EQ(find_frame(RAVO_BLOCK_IMAGE, block(plain_head(), 23))->pixels.size(), 0u);
  EXPECT_FALSE(find_frame(RAVO_BLOCK_IMAGE, std::vector<unsigned char>(27)));
}

TEST(Frame, OfTheExtendedFormIsTheAreaOfInterest) {
  ravo_image_ext_frame_head head{};
  head.width = 640;
  head.aoi_width = 5;
  head.aoi_height = 2;
  head.bpp = 2;
  head.event = 78;
  head.length = 20;
  const auto good = block(head, 20);
  EXPECT_EQ(find_frame(RAVO_BLOCK_IMAGE_EXT, good)->event, 78u);
  EXPECT_EQ(find_frame(RAVO_BLOCK_IMAGE_EXT, good)->pixels.size(), 20u);
  head.aoi_width = head.aoi_height = 0x7fffffff;
  head.bpp = 8;
  const auto absurd = block(head, 20);
  EXPECT_EQ(find_frame(RAVO_BLOCK_IMAGE_EXT, absurd)->pixels.size(), 0u);
  EXPECT_FALSE(find_frame(RAVO_BLOCK_IMAGE_EXT, std::vector<unsigned char>(99)));
}

}  // namespace
