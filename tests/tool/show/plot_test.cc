// Labels of axes and plots in text, against plots made by hand.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>

#include "drawing/line_plot.h"

namespace {

using namespace ravo::drawing;
using lines = std::vector<std::string>;

std::vector<std::string> labels(interval range, int most) {
  std::vector<std::string> texts;
  for (const tick& one : round_ticks(range, most)) texts.push_back(one.label);
  return texts;
}

TEST(Ticks, AreRoundNumbers) {
  EXPECT_EQ(labels({0, 10}, 5), (lines{"0", "5", "10"}));
  EXPECT_EQ(labels({0, 10}, 6), (lines{"0", "2", "4", "6", "8", "10"}));
  EXPECT_EQ(labels({-0.3, 0.3}, 4), (lines{"-0.2", "0.0", "0.2"}));
  EXPECT_EQ(labels({0.0012, 0.0031}, 3), (lines{"0.002", "0.003"}));
}

TEST(Ticks, DistinguishGreatNumbers) {
  EXPECT_EQ(labels({1e9, 1e9 + 4}, 5),
            (lines{"1000000000", "1000000001", "1000000002", "1000000003", "1000000004"}));
  EXPECT_EQ(labels({0, 2e20}, 2), (lines{"0", "2e+20"}));
}

TEST(Ticks, LieInsideWhateverTheRange) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> exponent(-40, 40), sign(-1, 1);
  for (int i = 0; i < 2000; ++i) {
    const double low = sign(random) * std::pow(10.0, exponent(random));
    const interval range = with_width(low, low + std::pow(10.0, exponent(random)));
    ASSERT_LT(range.low, range.high);
    const int most = 2 + i % 9;
    const auto ticks = round_ticks(range, most);
    ASSERT_GE(ticks.size(), 1u);
    ASSERT_LE(ticks.size(), static_cast<std::size_t>(most));
    const double hair = 1e-6 * (range.high - range.low);
    for (const tick& one : ticks) {
      EXPECT_GE(one.value, range.low - hair);
      EXPECT_LE(one.value, range.high + hair);
    }
  }
}

TEST(LinePlot, IsAsDrawnByHand) {
  const float values[] = {0, 1, 2, 3};
  const curve rising{0, 1, 0, 4, values};
  EXPECT_EQ(line_plot(rising, {7, 2}, letters::braille), (lines{
                                                             "2 ┤  ⡠⠊",
                                                             "0 ┤⡠⠊",
                                                             "  └┬─┬─",
                                                             "   0",
                                                         }));
  EXPECT_EQ(line_plot(rising, {7, 2}, letters::ascii), (lines{
                                                           "2 +  --",
                                                           "0 +--",
                                                           "  ++-+-",
                                                           "   0",
                                                       }));
}

TEST(LinePlot, LabelsTheAxisByStartAndStep) {
  const std::vector<float> values(101, 1.0F);
  const auto plot = line_plot({250, 0.5, 0, values.size(), values}, {60, 4}, letters::ascii);
  // From 250 to 300, with round numbers 20 apart.
  EXPECT_NE(plot.back().find(" 260 "), std::string::npos);
  EXPECT_NE(plot.back().find(" 280 "), std::string::npos);
  EXPECT_TRUE(plot.back().ends_with(" 300"));
  EXPECT_EQ(plot.size(), 6u);
}

TEST(LinePlot, DrawsGroupsApart) {
  // Two groups of two samples: nothing is drawn between 1 and 9.
  const float values[] = {0, 1, 0, 1};
  const auto plot = line_plot({0, 1, 9, 2, values}, {23, 1}, letters::ascii);
  const std::string row = plot.front().substr(plot.front().find_first_of("|+") + 1);
  ASSERT_EQ(row.size(), 20u);
  EXPECT_NE(row.front(), ' ');
  EXPECT_NE(row.back(), ' ');
  EXPECT_EQ(row.substr(4, 12), std::string(12, ' '));
}

TEST(LinePlot, DrawsNothingThatIsNotFinite) {
  const float holes[] = {0, NAN, 1, INFINITY, 0, -INFINITY};
  const auto plot = line_plot({0, 1, 0, 6, holes}, {13, 2}, letters::braille);
  EXPECT_EQ(plot.size(), 4u);
  const float nothing[] = {NAN, INFINITY};
  EXPECT_EQ(line_plot({0, 1, 0, 2, nothing}, {13, 2}, letters::braille), lines{"no value is finite"});
  EXPECT_EQ(line_plot({}, {13, 2}, letters::braille), lines{"no values"});
}

TEST(LinePlot, DrawsEqualValuesAsAFlatLine) {
  const float values[] = {7, 7, 7};
  const auto plot = line_plot({0, 1, 0, 3, values}, {20, 3}, letters::ascii);
  ASSERT_EQ(plot.size(), 5u);
  // In the middle of three rows, and nowhere else.
  const auto drawn = [&](std::size_t row) { return plot[row].substr(plot[row].find_first_of("|+") + 1); };
  EXPECT_EQ(drawn(0), "");
  EXPECT_EQ(drawn(1), std::string(drawn(1).size(), '-'));
  EXPECT_GT(drawn(1).size(), 5u);
  EXPECT_EQ(drawn(2), "");
}

TEST(LinePlot, CountsSamplesWhereTheAxisIsNoAxis) {
  const float values[] = {0, 1, 2, 3};
  const auto counted = line_plot({0, 1, 4, 4, values}, {20, 3}, letters::ascii);
  for (const double step : {0.0, double{NAN}, double{INFINITY}})
    EXPECT_EQ(line_plot({5, step, 0, 4, values}, {20, 3}, letters::ascii), counted);
  EXPECT_EQ(line_plot({NAN, 1, 0, 4, values}, {20, 3}, letters::ascii), counted);
}

TEST(LinePlot, StandsTheGreatestNumbers) {
  const float values[] = {-FLT_MAX, FLT_MAX, FLT_MIN, 0};
  const auto plot =
      line_plot({-double{FLT_MAX}, double{FLT_MAX}, double{FLT_MAX}, 2, values}, {40, 5}, letters::ascii);
  EXPECT_EQ(plot.size(), 7u);
  for (const std::string& line : plot) EXPECT_LE(line.size(), 40u);
}

TEST(LinePlot, KeepsToItsColumns) {
  std::mt19937 random(2);
  std::uniform_real_distribution<float> value(-1000, 1000);
  for (int columns = 12; columns < 120; columns += 7) {
    std::vector<float> values(static_cast<std::size_t>(3 * columns));
    for (float& one : values) one = value(random);
    for (const std::string& line :
         line_plot({0, 0.1, 0, values.size(), values}, {columns, 8}, letters::ascii))
      EXPECT_LE(line.size(), static_cast<std::size_t>(columns));
  }
}

}  // namespace
