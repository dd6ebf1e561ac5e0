// Grey PNG files, read back through libpng: every pixel has its value.
#include <gtest/gtest.h>

#include "drawing/grey_png.h"
#include "png_pixels.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::drawing;
using namespace ravo::test;

png_pixels read_back(const std::string& bytes) {
  const temporary_folder folder;
  return read_png(
      folder.write("picture.png", {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}));
}

TEST(GreyPng, HasPixelsOf8BitsAsTheyAre) {
  const std::uint8_t pixels[] = {0, 1, 127, 128, 254, 255};
  const png_pixels found = read_back(grey_png(3, 2, std::span<const std::uint8_t>(pixels)));
  EXPECT_EQ(found.width, 3u);
  EXPECT_EQ(found.height, 2u);
  EXPECT_EQ(found.bits, 8);
  EXPECT_EQ(found.channels, 1);
  EXPECT_EQ(found.samples, (std::vector<unsigned>{0, 1, 127, 128, 254, 255}));
}

TEST(GreyPng, HasPixelsOf16BitsAsTheyAre) {
  const std::uint16_t pixels[] = {0, 258, 32768, 65535};
  const png_pixels found = read_back(grey_png(2, 2, std::span<const std::uint16_t>(pixels)));
  EXPECT_EQ(found.bits, 16);
  EXPECT_EQ(found.channels, 1);
  EXPECT_EQ(found.samples, (std::vector<unsigned>{0, 258, 32768, 65535}));
}

TEST(GreyPng, HasEveryValueOf16Bits) {
  std::vector<std::uint16_t> pixels(65536);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint16_t>(i * 40503);
  const png_pixels found = read_back(grey_png(256, 256, pixels));
  ASSERT_EQ(found.samples.size(), pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) ASSERT_EQ(found.samples[i], pixels[i]);
}

}  // namespace
