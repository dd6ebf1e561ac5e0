// PNG files, read back through libpng, and plots as pictures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "drawing/plot_picture.h"
#include "drawing/png_file.h"
#include "png_pixels.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::drawing;
using namespace ravo::test;
using layout = panel_layout;

struct Png : testing::Test {
  temporary_folder folder;
  std::string path = folder.file("picture.png");
};

TEST_F(Png, HasGreyPixelsOf8BitsAsTheyAre) {
  const std::uint8_t pixels[] = {0, 1, 127, 128, 254, 255};
  write_png(path, 3, 2, std::span<const std::uint8_t>(pixels));
  const png_pixels found = read_png(path);
  EXPECT_EQ(found.width, 3u);
  EXPECT_EQ(found.height, 2u);
  EXPECT_EQ(found.bits, 8);
  EXPECT_EQ(found.channels, 1);
  EXPECT_EQ(found.samples, (std::vector<unsigned>{0, 1, 127, 128, 254, 255}));
}

TEST_F(Png, HasGreyPixelsOf16BitsAsTheyAre) {
  const std::uint16_t pixels[] = {0, 258, 32768, 65535};
  write_png(path, 2, 2, std::span<const std::uint16_t>(pixels));
  const png_pixels found = read_png(path);
  EXPECT_EQ(found.bits, 16);
  EXPECT_EQ(found.channels, 1);
  EXPECT_EQ(found.samples, (std::vector<unsigned>{0, 258, 32768, 65535}));
}

TEST_F(Png, HasColoursAsTheyWereDrawn) {
  raster picture(3, 1, {1, 2, 3});
  picture.set(1, 0, {200, 100, 50});
  picture.set(3, 0, {9, 9, 9});
  write_png(path, picture);
  const png_pixels found = read_png(path);
  EXPECT_EQ(found.channels, 3);
  EXPECT_EQ(found.samples, (std::vector<unsigned>{1, 2, 3, 200, 100, 50, 1, 2, 3}));
}

TEST_F(Png, SaysWhyItCannotBeWritten) {
  const std::string nowhere = folder.file("no/such/folder.png");
  try {
    write_png(nowhere, raster(1, 1, {0, 0, 0}));
    FAIL() << "was written";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()), nowhere + ": No such file or directory");
  }
}

TEST_F(Png, LeavesNoHalfAFileOnAFullDevice) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "there is no full device here";
  std::filesystem::create_symlink("/dev/full", path);
  const std::vector<std::uint8_t> pixels(512 * 512, 7);
  EXPECT_THROW(write_png(path, 512, 512, std::span<const std::uint8_t>(pixels)), std::runtime_error);
  EXPECT_FALSE(std::filesystem::exists(path));
}

constexpr colour white{255, 255, 255}, black{0, 0, 0};

// Whether a dot has the colour of curves.
bool is_curve(const raster& picture, int x, int y) {
  const colour dot = picture.at(x, y);
  return dot.blue > dot.red + 50;
}

TEST(PlotPicture, HasAPanelForEachCurve) {
  const float values[] = {0, 1};
  const plot_panel panels[] = {{"one", "axis", {0, 1, 0, 2, values}},
                               {"two", "axis", {0, 1, 0, 2, values}}};
  const raster picture = plot_picture(panels);
  EXPECT_EQ(picture.width(), layout::width);
  EXPECT_EQ(picture.height(), 2 * layout::height);
}

TEST(PlotPicture, DrawsTheCurveFromCornerToCorner) {
  const float values[] = {0, 1};
  const plot_panel panels[] = {{"", "", {0, 1, 0, 2, values}}};
  const raster picture = plot_picture(panels);
  for (const int part : {1, 2, 3}) {
    const int x = layout::left + layout::plot_width * part / 4;
    const int y = layout::top + layout::plot_height - layout::plot_height * part / 4;
    bool is_near = false;
    for (int down = -2; down <= 2; ++down) is_near = is_near || is_curve(picture, x, y + down);
    EXPECT_TRUE(is_near) << part;
  }
  EXPECT_FALSE(
      is_curve(picture, layout::left + layout::plot_width / 4, layout::top + layout::plot_height / 4));
}

TEST(PlotPicture, FramesThePlotAndLeavesTheRestWhite) {
  const float values[] = {0, 1};
  const plot_panel panels[] = {{"", "", {0, 1, 0, 2, values}}};
  const raster picture = plot_picture(panels);
  EXPECT_EQ(picture.at(layout::left, layout::top), black);
  EXPECT_EQ(picture.at(layout::left + layout::plot_width - 1, layout::top + layout::plot_height / 2),
            black);
  EXPECT_EQ(picture.at(2, 2), white);
  EXPECT_EQ(picture.at(layout::width - 2, 2), white);
}

TEST(PlotPicture, HasNoCurveWhereNothingIsFinite) {
  const float values[] = {NAN, INFINITY};
  const plot_panel panels[] = {{"", "", {0, 1, 0, 2, values}}};
  const raster picture = plot_picture(panels);
  for (int y = 0; y < picture.height(); ++y)
    for (int x = 0; x < picture.width(); ++x) ASSERT_FALSE(is_curve(picture, x, y));
}

TEST(Raster, WritesLettersDotByDot) {
  raster picture(12, 14, white);
  picture.text({0, 0}, "L", black);
  // A stem two dots wide, a foot two dots high.
  for (int y = 0; y < 14; ++y)
    for (int x = 0; x < 12; ++x)
      EXPECT_EQ(picture.at(x, y) == black, x < 10 && (x < 2 || y >= 12)) << x << ", " << y;
  EXPECT_EQ(raster::text_width("LL"), 22);
  EXPECT_EQ(raster::text_width(""), 0);
}

}  // namespace
