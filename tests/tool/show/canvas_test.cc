// Dots as braille and as ASCII letters, and bars in one line, against letters looked up by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "drawing/dot_canvas.h"
#include "drawing/line_plot.h"

namespace {

using namespace ravo::drawing;

std::string letter_with(std::initializer_list<place> dots, letters how = letters::braille) {
  dot_canvas canvas(1, 1);
  for (const place dot : dots) canvas.set(dot);
  return canvas.row(0, how);
}

TEST(DotCanvas, HasEveryDotWhereBrailleHasIt) {
  EXPECT_EQ(letter_with({{0, 0}}), "⠁");
  EXPECT_EQ(letter_with({{0, 1}}), "⠂");
  EXPECT_EQ(letter_with({{0, 2}}), "⠄");
  EXPECT_EQ(letter_with({{1, 0}}), "⠈");
  EXPECT_EQ(letter_with({{1, 1}}), "⠐");
  EXPECT_EQ(letter_with({{1, 2}}), "⠠");
  EXPECT_EQ(letter_with({{0, 3}}), "⡀");
  EXPECT_EQ(letter_with({{1, 3}}), "⢀");
  EXPECT_EQ(letter_with({{0, 0}, {0, 1}, {0, 2}, {0, 3}, {1, 0}, {1, 1}, {1, 2}, {1, 3}}), "⣿");
}

TEST(DotCanvas, ShowsACellWithoutDotsAsABlank) { EXPECT_EQ(letter_with({}), " "); }

TEST(DotCanvas, ShowsInAsciiHowHighTheDotsAre) {
  EXPECT_EQ(letter_with({}, letters::ascii), " ");
  EXPECT_EQ(letter_with({{0, 0}}, letters::ascii), "'");
  EXPECT_EQ(letter_with({{1, 1}}, letters::ascii), "-");
  EXPECT_EQ(letter_with({{1, 3}}, letters::ascii), ".");
  EXPECT_EQ(letter_with({{0, 0}, {1, 3}}, letters::ascii), ":");
  EXPECT_EQ(letter_with({{0, 0}, {0, 1}, {0, 2}, {0, 3}}, letters::ascii), "|");
}

TEST(DotCanvas, LeavesOutWhatLiesOutside) {
  dot_canvas canvas(2, 1);
  for (const place dot : {place{-1, 0}, {0, -1}, {4, 0}, {0, 4}}) canvas.set(dot);
  EXPECT_EQ(canvas.row(0, letters::braille), "  ");
  canvas.line({-5, 0}, {50, 0});
  EXPECT_EQ(canvas.row(0, letters::braille), "⠉⠉");
}

TEST(DotCanvas, DrawsLinesInEveryDirection) {
  for (const bool backwards : {false, true}) {
    dot_canvas canvas(2, 1);
    if (backwards)
      canvas.line({3, 0}, {0, 3});
    else
      canvas.line({0, 3}, {3, 0});
    EXPECT_EQ(canvas.row(0, letters::braille), "⡠⠊");
    dot_canvas upright(1, 2);
    upright.line({0, backwards ? 7 : 0}, {0, backwards ? 0 : 7});
    EXPECT_EQ(upright.row(0, letters::braille), "⡇");
    EXPECT_EQ(upright.row(1, letters::braille), "⡇");
  }
}

TEST(OneLinePlot, HasEightHeights) {
  const float values[] = {0, 1, 2, 3, 4, 5, 6, 7};
  EXPECT_EQ(one_line_plot(values, 8, letters::braille), "▁▂▃▄▅▆▇█");
  EXPECT_EQ(one_line_plot(values, 8, letters::ascii), "_.,-~=^#");
}

TEST(OneLinePlot, ShowsMeansWhereThereAreMoreValuesThanLetters) {
  const float values[] = {0, 0, 2, 6, 8, 8};
  EXPECT_EQ(one_line_plot(values, 3, letters::braille), "▁▅█");
}

TEST(OneLinePlot, HasNoMoreLettersThanValues) {
  const float values[] = {1, 2};
  EXPECT_EQ(one_line_plot(values, 30, letters::braille), "▁█");
  EXPECT_EQ(one_line_plot({}, 30, letters::braille), "");
}

TEST(OneLinePlot, LeavesOutWhatIsNotFinite) {
  const float values[] = {1, NAN, INFINITY, 2};
  EXPECT_EQ(one_line_plot(values, 4, letters::braille), "▁  █");
}

TEST(OneLinePlot, IsFlatInTheMiddleWhenAllValuesAreEqual) {
  const float values[] = {5, 5, 5};
  EXPECT_EQ(one_line_plot(values, 3, letters::braille), "▄▄▄");
}

}  // namespace
