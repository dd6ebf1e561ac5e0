// Figures drawn into shapes: the places of their parts, measured in letters that are all equally wide.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>

#include "drawing/picture/figure.h"
#include "drawing/stretch.h"
#include "drawn_shapes.h"

namespace {

using namespace ravo::drawing;
using namespace ravo::test;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Not;

picture drawn(const figure& shown) { return draw(shown, even_ruler()); }

figure with(panel one) { return {"TITLE", "about", {std::move(one)}}; }

plot_panel plot(std::span<const float> values, double start = 0, double step = 1) {
  return {"", "X, mm", "time, µs", {{"X", {start, step, 0, values.size(), values}}}, ""};
}

// Expects all texts inside the picture and apart from each other.
void expect_texts_apart(const picture& made) {
  const auto texts = all_of<text_shape>(made);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const box room = room_of(texts[i]);
    EXPECT_GE(room.left, 0) << texts[i].words;
    EXPECT_GE(room.top, 0) << texts[i].words;
    EXPECT_LE(room.right(), made.width) << texts[i].words;
    EXPECT_LE(room.bottom(), made.height) << texts[i].words;
    for (std::size_t k = 0; k < i; ++k)
      EXPECT_FALSE(overlap(room, room_of(texts[k]))) << texts[i].words << " on " << texts[k].words;
  }
}

// Expects a point of a curve inside the frame, and not on it.
void expect_inside(const box& frame, const point& at) {
  EXPECT_GT(at.x, frame.left + 1);
  EXPECT_LT(at.x, frame.right() - 1);
  EXPECT_GT(at.y, frame.top + 1);
  EXPECT_LT(at.y, frame.bottom() - 1);
}

TEST(Figure, HasTitleAxesAndUnits) {
  const float values[] = {0, 1, 2};
  const picture made = drawn(with(plot(values)));
  for (const char* text : {"TITLE", "about", "X, mm", "time, µs"})
    EXPECT_THAT(texts_of(made), Contains(text));
  expect_texts_apart(made);
}

TEST(Figure, PutsACurveWhereItsAxesSay) {
  const float values[] = {0, 5, 10};
  const picture made = drawn(with(plot(values, 100, 50)));
  const auto curves = curves_of(made);
  ASSERT_EQ(curves.size(), 1u);
  ASSERT_EQ(curves[0].points.size(), 3u);
  for (const auto& [label, point] : {std::pair{"100", 0}, {"150", 1}, {"200", 2}})
    for (const auto& text : all_of<text_shape>(made))
      if (text.words == label) {
        EXPECT_NEAR(text.at.x, curves[0].points[static_cast<std::size_t>(point)].x, 0.5) << label;
      }
  for (const auto& [label, point] : {std::pair{"0", 0}, {"5", 1}, {"10", 2}})
    for (const auto& text : all_of<text_shape>(made))
      if (text.words == label) {
        EXPECT_NEAR(text.at.y, curves[0].points[static_cast<std::size_t>(point)].y, 0.5) << label;
      }
}

TEST(Figure, LeavesAMarginRoundACurve) {
  const float plateau[] = {0, 7, 7, 7, 7, 0}, flat[] = {7, 7, 7};
  for (const std::span<const float> values :
       {std::span<const float>(plateau), std::span<const float>(flat)}) {
    const picture made = drawn(with(plot(values)));
    const auto frames = frames_of(made);
    ASSERT_EQ(frames.size(), 1u);
    for (const path_shape& curve : curves_of(made))
      for (const point& at : curve.points) expect_inside(frames[0], at);
  }
}

TEST(Figure, MarksASingleValue) {
  const float single[] = {42};
  const picture made = drawn(with(plot(single)));
  EXPECT_TRUE(curves_of(made).empty());
  const auto discs = all_of<disc_shape>(made);
  ASSERT_EQ(discs.size(), 1u);
  EXPECT_GE(discs[0].radius, 3);
  expect_inside(frames_of(made).at(0), discs[0].centre);
}

TEST(Figure, LeavesGapsWhereValuesAreNotFiniteAndCountsThem) {
  const float values[] = {0, 1, NAN, 3, 4, INFINITY, 5, -INFINITY, 7, 8};
  const picture made = drawn(with(plot(values)));
  std::vector<std::size_t> lengths;
  for (const path_shape& curve : curves_of(made)) lengths.push_back(curve.points.size());
  EXPECT_THAT(lengths, ElementsAre(2u, 2u, 2u));
  // The value between two that are not finite is a point of its own, larger than the marks on lines.
  const auto discs = all_of<disc_shape>(made);
  EXPECT_EQ(std::count_if(discs.begin(), discs.end(), [](const disc_shape& one) { return one.radius > 3; }),
            1);
  EXPECT_THAT(texts_of(made), Contains("3 of 10 values are not finite"));
}

TEST(Figure, SaysThatThereIsNothingToDraw) {
  const float nothing[] = {NAN, INFINITY};
  EXPECT_THAT(texts_of(drawn(with(plot(nothing)))), Contains("no value is finite"));
  EXPECT_THAT(texts_of(drawn(with(plot({})))), Contains("no values"));
}

TEST(Figure, ColoursGroupsAndNamesThem) {
  std::vector<float> values;
  for (int i = 0; i < 12; ++i) values.push_back(static_cast<float>(i % 5));
  plot_panel panel = plot(values);
  panel.curves[0].drawn.samples = 4;
  panel.curves[0].drawn.group_step = 0.5;
  const picture made = drawn(with(panel));
  const auto curves = curves_of(made);
  ASSERT_EQ(curves.size(), 3u);
  EXPECT_NE(curves[0].ink, curves[1].ink);
  EXPECT_NE(curves[1].ink, curves[2].ink);
  for (const char* name : {"group 1", "group 2", "group 3"}) EXPECT_THAT(texts_of(made), Contains(name));
  expect_texts_apart(made);
}

TEST(Figure, NamesTheFirstAndTheLastOfManyGroups) {
  const std::vector<float> values(200, 1.0F);
  plot_panel panel = plot(values);
  panel.curves[0].drawn.samples = 2;
  const auto texts = texts_of(drawn(with(panel)));
  for (const char* name : {"group 1", "group 51", "group 100"}) EXPECT_THAT(texts, Contains(name));
  EXPECT_THAT(texts, Not(Contains("group 2")));
}

TEST(Figure, DistinguishesCurvesOfOnePanel) {
  const float values[] = {0, 1}, more[] = {1, 0};
  for (const std::size_t count : {2u, 7u, 20u}) {
    plot_panel panel = plot(values);
    panel.curves.clear();
    for (std::size_t i = 0; i < count; ++i)
      panel.curves.push_back({"LINAC/BPM/" + std::to_string(i), {0, 1, 0, 2, i % 2 ? values : more}});
    const picture made = drawn(with(panel));
    const auto curves = curves_of(made);
    ASSERT_EQ(curves.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_THAT(texts_of(made), Contains("LINAC/BPM/" + std::to_string(i)));
      for (std::size_t k = 0; k < i; ++k) EXPECT_NE(curves[i].ink, curves[k].ink) << i << " " << k;
    }
    expect_texts_apart(made);
  }
}

TEST(Figure, LabelsACommonAxisOnceBelowThePanels) {
  const float values[] = {0, 1, 2, 3};
  const picture same = drawn({"", "", {plot(values), plot(values)}});
  const picture other = drawn({"", "", {plot(values), plot(values, 5)}});
  const auto axes = [](const picture& made) {
    const auto texts = texts_of(made);
    return std::count(texts.begin(), texts.end(), "time, µs");
  };
  EXPECT_EQ(axes(same), 1);
  EXPECT_EQ(axes(other), 2);
  const auto frames = frames_of(same);
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0].left, frames[1].left);
  EXPECT_EQ(frames[0].width, frames[1].width);
}

TEST(Figure, KeepsAllTextsInsideAndApartWhateverTheValues) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> exponent(-30, 30), sign(-1, 1);
  for (int i = 0; i < 300; ++i) {
    const double middle = sign(random) * std::pow(10.0, exponent(random));
    const double spread = std::pow(10.0, exponent(random));
    std::vector<float> values;
    for (int k = 0; k < 20; ++k) values.push_back(static_cast<float>(middle + spread * sign(random)));
    const plot_panel panel =
        plot(values, sign(random) * std::pow(10.0, exponent(random)), std::pow(10.0, exponent(random)));
    expect_texts_apart(drawn({"A", "b", {panel, panel, panel}}));
    if (testing::Test::HasFailure()) FAIL() << "set " << i;
  }
}

TEST(Figure, StandsTheGreatestNumbers) {
  const float values[] = {-FLT_MAX, FLT_MAX, FLT_MIN, 0};
  const picture made = drawn(with(plot(values, -double{FLT_MAX}, double{FLT_MAX})));
  for (const path_shape& curve : curves_of(made))
    for (const point& at : curve.points) expect_inside(frames_of(made).at(0), at);
  expect_texts_apart(made);
}

TEST(Figure, DrawsNoMoreThanCanBeSeenOfAMillionSamples) {
  std::vector<float> values(1'000'000, 0.0F);
  values[123'456] = 9;
  values[800'000] = -9;
  const picture made = drawn(with(plot(values)));
  const auto curves = curves_of(made);
  ASSERT_EQ(curves.size(), 1u);
  EXPECT_LT(curves[0].points.size(), 10'000u);
  const box frame = frames_of(made).at(0);
  double highest = frame.bottom(), lowest = frame.top;
  for (const point& at : curves[0].points) {
    highest = std::min(highest, at.y);
    lowest = std::max(lowest, at.y);
  }
  // Both single peaks are there, near the frame.
  EXPECT_LT(highest - frame.top, frame.height * 0.1);
  EXPECT_LT(frame.bottom() - lowest, frame.height * 0.1);
}

TEST(Figure, BreaksALongTitleAndLeavesOutWhatDoesNotFit) {
  const float values[] = {0, 1};
  figure shown = with(plot(values));
  shown.title = "BEGIN";
  for (int i = 0; i < 60; ++i) shown.title += "/PART" + std::to_string(i);
  shown.title += "/END";
  std::get<plot_panel>(shown.panels[0]).value_axis = std::string(200, 'y');
  std::get<plot_panel>(shown.panels[0]).axis = std::string(500, 'x');
  const picture made = drawn(shown);
  expect_texts_apart(made);
  const auto texts = texts_of(made);
  EXPECT_THAT(texts, Contains(testing::StartsWith("BEGIN/PART0/")));
  EXPECT_THAT(texts, Contains(testing::EndsWith("/END")));
  EXPECT_THAT(texts, Contains(testing::MatchesRegex("y+…y+")));
}

frame_panel frame_of(grey_picture frame, stretch how = stretch::minmax) {
  const interval range = stretched(frame, how, 4095);
  return {"", std::move(frame), {}, {}, range, colour_map::grey, "counts", ""};
}

TEST(Figure, EndsNoLineWithASeparator) {
  figure shown = with(table_panel{"", {{"A", "1"}}, ""});
  shown.about = std::string(70, 'a') + " · " + std::string(70, 'b') + " · " + std::string(70, 'c');
  const auto texts = texts_of(drawn(shown));
  EXPECT_THAT(texts, Contains(std::string(70, 'a')));
  EXPECT_THAT(texts, Contains(std::string(70, 'b')));
}

TEST(FrameFigure, HasTheColourOfEachPixel) {
  const picture made = drawn(with(frame_of({2, 2, {0, 1000, 2000, 4000}})));
  const auto images = all_of<image_shape>(made);
  ASSERT_EQ(images.size(), 2u);  // the frame and its scale
  EXPECT_EQ(images[0].columns, 2);
  EXPECT_EQ(images[0].rows, 2);
  EXPECT_EQ(images[0].pixels,
            (std::vector<colour>{{0, 0, 0}, {64, 64, 64}, {128, 128, 128}, {255, 255, 255}}));
  expect_texts_apart(made);
}

TEST(FrameFigure, HasAScaleInCounts) {
  const picture made = drawn(with(frame_of({2, 1, {0, 4000}})));
  const auto texts = texts_of(made);
  for (const char* label : {"counts", "0", "1000", "2000", "3000", "4000"})
    EXPECT_THAT(texts, Contains(label));
  const auto images = all_of<image_shape>(made);
  EXPECT_EQ(images.at(1).pixels.front(), (colour{255, 255, 255}));
  EXPECT_EQ(images.at(1).pixels.back(), (colour{0, 0, 0}));
}

TEST(FrameFigure, CountsPixelsOfTheSensor) {
  grey_picture frame{100, 40, std::vector<float>(4000, 1)};
  frame_panel panel = frame_of(frame);
  panel.x = {640, 2};
  panel.y = {200, 2};
  const picture made = drawn(with(panel));
  const box where = all_of<image_shape>(made).at(0).where;
  int labels = 0;
  for (const auto& text : all_of<text_shape>(made)) {
    if (text.words == "700") {
      // The label is for the pixel of the sensor at which column 30 begins; it is under the column's
      // middle.
      EXPECT_NEAR(text.at.x, where.left + where.width * 30.5 / 100, 0.5);
      ++labels;
    }
    if (text.words == "220") {
      EXPECT_NEAR(text.at.y, where.top + where.height * 10.5 / 40, 0.5);
      ++labels;
    }
  }
  EXPECT_EQ(labels, 2);
  EXPECT_NEAR(where.width / where.height, 2.5, 1e-9);
}

TEST(FrameFigure, KeepsItsShapeAndIsNotTooLarge) {
  for (const auto& [width, height] :
       {std::pair{64, 48}, {1, 1}, {3000, 2}, {2, 3000}, {4000, 3000}, {7, 5}}) {
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const picture made = drawn(with(frame_of({width, height, std::vector<float>(pixels, 3)})));
    const image_shape image = all_of<image_shape>(made).at(0);
    EXPECT_LE(image.where.width, page::frame_width);
    EXPECT_LE(image.where.height, page::frame_height);
    EXPECT_LE(image.columns, width);
    EXPECT_EQ(image.pixels.size(),
              static_cast<std::size_t>(image.columns) * static_cast<std::size_t>(image.rows));
    expect_texts_apart(made);
  }
}

TEST(FrameFigure, DrawsBinnedPixelsOblong) {
  frame_panel panel = frame_of({100, 100, std::vector<float>(10000, 1)});
  panel.x.step = 2;
  const box where = all_of<image_shape>(drawn(with(panel))).at(0).where;
  EXPECT_NEAR(where.width / where.height, 2, 1e-9);
}

TEST(FrameFigure, SaysThatPixelsLieBeyondTheScale) {
  std::vector<float> pixels(1000, 100);
  pixels[3] = 60000;
  const picture cut = drawn(with(frame_of({50, 20, pixels}, stretch::percentile)));
  const picture whole = drawn(with(frame_of({50, 20, pixels})));
  const auto triangles = all_of<area_shape>(cut);
  ASSERT_EQ(triangles.size(), 1u);
  EXPECT_EQ(all_of<area_shape>(whole).size(), 0u);
  // It is white on white, so only its outline shows.
  EXPECT_EQ(triangles[0].ink, ground);
  int outlines = 0;
  for (const path_shape& path : all_of<path_shape>(cut))
    outlines +=
        path.points.size() == 4 && path.points[2] == triangles[0].points[2] && path.ink == ink_of_frames;
  EXPECT_EQ(outlines, 1);
}

TEST(TableFigure, SetsASingleValueInLargeLetters) {
  const picture made = drawn(with(table_panel{"", {{"ENERGY", "999.997 MeV"}}, ""}));
  double size = 0;
  for (const auto& text : all_of<text_shape>(made))
    if (text.words == "999.997 MeV") size = text.style.size;
  EXPECT_GE(size, 20);
  expect_texts_apart(made);
}

TEST(TableFigure, HasAllRowsAsFarAsTheyCanBeRead) {
  for (const int rows : {2, 13, 40, 180, 1000}) {
    table_panel table{"", {}, ""};
    for (int i = 0; i < rows; ++i)
      table.rows.emplace_back("NAME" + std::to_string(i), "v" + std::to_string(i));
    const picture made = drawn(with(table));
    const auto texts = texts_of(made);
    const int shown = std::min(rows, 180);
    EXPECT_THAT(texts, Contains("NAME" + std::to_string(shown - 1)));
    EXPECT_THAT(texts, Contains("v" + std::to_string(shown - 1)));
    if (rows > shown) {
      EXPECT_THAT(texts, Contains("and 820 more"));
    }
    EXPECT_LT(made.height, 2000);
    expect_texts_apart(made);
  }
}

TEST(TableFigure, BreaksTextsIntoLines) {
  std::string message;
  for (int i = 0; i < 60; ++i) message += "word" + std::to_string(i) + " ";
  const picture made = drawn(with(table_panel{"", {{"", message}}, ""}));
  const auto texts = texts_of(made);
  EXPECT_THAT(texts, Contains(testing::StartsWith("word0 word1 ")));
  EXPECT_THAT(texts, Contains(testing::HasSubstr("word59")));
  expect_texts_apart(made);
}

}  // namespace
