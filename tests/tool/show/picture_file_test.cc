// Pictures as files: dots of PNG at known places, and the contents of an SVG, whatever fonts there are.
#include "drawing/picture/picture_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdlib.h>

#include "drawing/picture/figure.h"
#include "png_pixels.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::drawing;
using namespace ravo::test;
using testing::HasSubstr;

png_pixels dots_of(const picture& drawn) {
  const temporary_folder folder;
  const std::string bytes = picture_bytes(drawn, picture_format::png);
  return read_png(
      folder.write("picture.png", {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}));
}

// The dot at a place given in points.
colour at(const png_pixels& dots, double x, double y) {
  const auto across = static_cast<unsigned>(x * page::dots_per_point),
             down = static_cast<unsigned>(y * page::dots_per_point);
  const auto part = [&](unsigned channel) {
    return static_cast<std::uint8_t>(dots.at(across, down, channel));
  };
  return {part(0), part(1), part(2)};
}

constexpr colour red{200, 10, 20}, blue{10, 20, 200};

TEST(PictureFile, HasTheSizeAndTheGroundOfThePicture) {
  const png_pixels dots = dots_of({30, 20, {}});
  EXPECT_EQ(dots.width, 60u);
  EXPECT_EQ(dots.height, 40u);
  EXPECT_EQ(dots.channels, 3);
  EXPECT_EQ(dots.bits, 8);
  for (const unsigned sample : dots.samples) ASSERT_EQ(sample, 255u);
}

TEST(PictureFile, HasLinesAreasAndDiscsInTheirColours) {
  const png_pixels dots =
      dots_of({100,
               50,
               {path_shape{{{10, 10}, {40, 10}}, red, 2},
                area_shape{{{50, 5}, {60, 5}, {60, 15}, {50, 15}}, blue}, disc_shape{{80, 30}, 5, red}}});
  EXPECT_EQ(at(dots, 25, 9.5), red);
  EXPECT_EQ(at(dots, 25, 10.5), red);
  EXPECT_EQ(at(dots, 25, 11.5), ground);
  EXPECT_EQ(at(dots, 25, 8.5), ground);
  EXPECT_EQ(at(dots, 55, 10), blue);
  EXPECT_EQ(at(dots, 61, 10), ground);
  EXPECT_EQ(at(dots, 80, 30), red);
  EXPECT_EQ(at(dots, 80, 36), ground);
}

TEST(PictureFile, DrawsNothingBetweenWhatWasDrawn) {
  // A text that is drawn before a line leaves the current point at its end.
  const png_pixels dots =
      dots_of({200, 100, {text_shape{{5, 90}, "x", {}}, path_shape{{{150, 10}, {190, 10}}, red, 1}}});
  for (double x = 20; x < 140; x += 0.5)
    for (double y = 0; y < 99; y += 0.5) ASSERT_EQ(at(dots, x, y), ground) << x << " " << y;
}

TEST(PictureFile, HasEachPixelOfAnImageWithoutSmoothing) {
  const png_pixels dots =
      dots_of({40, 40, {image_shape{{10, 10, 20, 20}, 2, 2, {red, blue, ground, red}}}});
  for (double x = 10; x < 30; x += 0.5)
    for (double y = 10; y < 30; y += 0.5)
      ASSERT_EQ(at(dots, x, y), y < 20 ? (x < 20 ? red : blue) : (x < 20 ? ground : red)) << x << " " << y;
  EXPECT_EQ(at(dots, 9.5, 15), ground);
  EXPECT_EQ(at(dots, 30, 15), ground);
}

// The bounding box, in points, of the dots that have not the ground's colour.
box inked(const png_pixels& dots) {
  unsigned left = dots.width, right = 0, top = dots.height, bottom = 0;
  for (unsigned y = 0; y < dots.height; ++y)
    for (unsigned x = 0; x < dots.width; ++x)
      if (dots.at(x, y, 0) < 200) {
        left = std::min(left, x);
        right = std::max(right, x + 1);
        top = std::min(top, y);
        bottom = std::max(bottom, y + 1);
      }
  const double scale = page::dots_per_point;
  return {left / scale, top / scale, (right - left) / scale, (bottom - top) / scale};
}

TEST(PictureFile, PutsTextsWhereTheyWereMeasured) {
  const text_style style{20};
  const text_size size = picture_ruler()->measure("MHM", style);
  EXPECT_GT(size.width, 30);
  for (const auto& [side, left] : {std::pair{anchor::left, 100.0},
                                   {anchor::centre, 100 - size.width / 2},
                                   {anchor::right, 100 - size.width}}) {
    const box found = inked(dots_of({200, 100, {text_shape{{100, 50}, "MHM", style, side}}}));
    EXPECT_NEAR(found.left, left, 4);
    EXPECT_NEAR(found.right(), left + size.width, 4);
    EXPECT_NEAR((found.top + found.bottom()) / 2, 50, 4);
  }
  const box upward =
      inked(dots_of({200, 100, {text_shape{{100, 50}, "MHM", style, anchor::centre, direction::upward}}}));
  EXPECT_NEAR(upward.height, size.width, 6);
  EXPECT_LT(upward.width, size.height);
}

TEST(PictureFile, HasLettersForUnits) {
  // A letter that no font has is a box with its number, as wide for this one as for all of four digits.
  const auto width = [](const std::string& letter) { return picture_ruler()->measure(letter, {20}).width; };
  const double missing = width("\u0378");
  for (const char* letter : {"µ", "°", "Ω", "×", "−", "…", "·", "²", "⁻"})
    EXPECT_NE(width(letter), missing) << letter;
}

TEST(PictureFile, TakesTextsThatAreNoUtf8) {
  const std::string bytes =
      picture_bytes({60, 60, {text_shape{{5, 30}, "a\xff\xfe", {}}}}, picture_format::png);
  EXPECT_FALSE(bytes.empty());
}

TEST(PictureFile, IsTheSameEveryTime) {
  const picture drawn{60, 60, {text_shape{{5, 30}, "text", {}}, disc_shape{{40, 40}, 5, red}}};
  EXPECT_EQ(picture_bytes(drawn, picture_format::png), picture_bytes(drawn, picture_format::png));
}

TEST(PictureFile, IsAnSvgOfPathsByItsOtherFormat) {
  const std::string bytes =
      picture_bytes({300, 200, {path_shape{{{10, 20}, {30.5, 40}}, {255, 0, 0}, 1}}}, picture_format::svg);
  EXPECT_THAT(bytes, testing::StartsWith("<?xml"));
  EXPECT_THAT(bytes, HasSubstr("viewBox=\"0 0 300 200\""));
  EXPECT_THAT(bytes, testing::ContainsRegex("M 10 20 L 30\\.5"));
  EXPECT_THAT(bytes, HasSubstr("rgb(100%,0%,0%)"));
  EXPECT_THAT(bytes, testing::EndsWith("</svg>\n"));
}

TEST(PictureFile, RefusesWhatIsTooLarge) {
  EXPECT_THROW(picture_bytes({100, 1e5, {}}, picture_format::png), std::runtime_error);
}

}  // namespace
