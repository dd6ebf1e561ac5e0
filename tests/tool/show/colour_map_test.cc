// Colour maps, by the lightness that the CIE gives a colour
// of a screen; and the range of brightness that they cover.
#include "drawing/picture/colour_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "drawing/stretch.h"

namespace {

using namespace ravo::drawing;

double light_of(std::uint8_t byte) {
  const double part = byte / 255.0;
  return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

// L*, from 0 to 100.
double lightness_of(const colour& ink) {
  const double light =
      0.2126 * light_of(ink.red) + 0.7152 * light_of(ink.green) + 0.0722 * light_of(ink.blue);
  return light > 0.008856 ? 116 * std::cbrt(light) - 16 : 903.3 * light;
}

class ColourMap : public testing::TestWithParam<colour_map> {};

TEST_P(ColourMap, GrowsEvenlyBrighter) {
  const colour_table table = table_of(GetParam());
  EXPECT_LT(lightness_of(table.front()), 15);
  EXPECT_GT(lightness_of(table.back()), 88);
  const double mean = (lightness_of(table.back()) - lightness_of(table.front())) / 255;
  // Over sixteen entries, so that rounding to bytes does not matter.
  for (std::size_t i = 16; i < table.size(); ++i) {
    const double step = (lightness_of(table[i]) - lightness_of(table[i - 16])) / 16;
    EXPECT_GT(step, 0.6 * mean) << i;
    EXPECT_LT(step, 1.5 * mean) << i;
  }
}

TEST_P(ColourMap, HasTheColourOfItsEndBeyondIt) {
  const colour_table table = table_of(GetParam());
  EXPECT_EQ(colour_at(table, -1), table.front());
  EXPECT_EQ(colour_at(table, NAN), table.front());
  EXPECT_EQ(colour_at(table, 2), table.back());
  EXPECT_EQ(colour_at(table, 128.0 / 255), table[128]);
}

INSTANTIATE_TEST_SUITE_P(All, ColourMap,
                         testing::Values(colour_map::aurora, colour_map::ember, colour_map::grey));

TEST(LineColours, AreApartAlsoInBrightnessFromTheGround) {
  for (const colour& ink : line_colours) EXPECT_LT(lightness_of(ink), 75);
}

grey_picture of(std::vector<float> pixels) {
  return {static_cast<int>(pixels.size()), 1, std::move(pixels)};
}

TEST(Stretch, ReachesOverWhatThereIsByItself) {
  const interval range = stretched(of({100, 4000, 300}), stretch::minmax, 65535);
  EXPECT_EQ(range.low, 100);
  EXPECT_EQ(range.high, 4000);
}

TEST(Stretch, ReachesOverAllThatTheSensorCounts) {
  const interval range = stretched(of({100, 4000, 300}), stretch::none, 4095);
  EXPECT_EQ(range.low, 0);
  EXPECT_EQ(range.high, 4095);
}

TEST(Stretch, LeavesAHundredthPartOutAtEachEnd) {
  std::vector<float> pixels;
  for (int i = 0; i < 200; ++i) pixels.push_back(static_cast<float>((i * 77) % 200));
  const interval range = stretched(of(pixels), stretch::percentile, 65535);
  EXPECT_EQ(range.low, 2);
  EXPECT_EQ(range.high, 197);
}

TEST(Stretch, HasAWidthAlsoWhereAllPixelsAreAlike) {
  for (const stretch how : {stretch::minmax, stretch::percentile}) {
    const interval range = stretched(of({7, 7, 7}), how, 255);
    EXPECT_EQ(range.low, 7);
    EXPECT_GT(range.high, 7);
    EXPECT_LT(stretched({}, how, 255).low, stretched({}, how, 255).high);
  }
}

}  // namespace
