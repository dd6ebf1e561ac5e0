// Events as figures: the panels for channels, and their texts.
#include "show/event_figure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "common/failure.h"
#include "drawn_shapes.h"

namespace {

using namespace ravo::tool;
using namespace ravo::test;
using namespace ravo::drawing;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

shown_event event_of(std::vector<shown_channel> channels) {
  return {"data/linac_main_run1.raw",
          ravo_file_generation::current,
          {77, {1700000000, 250000}},
          {1},
          std::move(channels),
          {},
          {}};
}

shown_channel channel_of(const std::string& name, decltype(shown_channel::data) data) {
  shown_channel channel;
  channel.name = name;
  channel.description = "what it is";
  channel.data = std::move(data);
  return channel;
}

shown_member member_of(const std::string& name, const std::string& unit, std::vector<float> values) {
  shown_member member;
  member.name = name;
  member.unit = unit;
  member.step = 1;
  member.samples = values.size();
  member.values = std::move(values);
  return member;
}

shown_channel monitor(const std::string& name) {
  return channel_of(name, shown_spectrum{"time, us",
                                         {member_of("X", "mm", {1, 2}), member_of("Y", "mm", {2, 1}),
                                          member_of("CHARGE", "nC", {3, 4})}});
}

shown_channel camera(int bytes_per_pixel, std::vector<float> pixels, int effective_bits = 0) {
  shown_image image;
  image.bytes_per_pixel = bytes_per_pixel;
  image.effective_bits = effective_bits;
  image.frame = 9;
  image.picture = {static_cast<int>(pixels.size()), 1, std::move(pixels)};
  return channel_of("CAMERA", std::move(image));
}

template <class Panel>
Panel panel_at(const figure& made, std::size_t index) {
  return std::get<Panel>(made.panels.at(index));
}

TEST(EventFigure, SaysWhatWhenAndWhereFrom) {
  const shown_event event = event_of({monitor("LINAC/BPM/001")});
  const figure made = figure_of(event, {});
  EXPECT_EQ(made.title, "LINAC/BPM/001");
  EXPECT_EQ(made.about, "what it is · event 77 · 2023-11-14 22:13:20.250000 UTC · linac_main_run1.raw");
}

TEST(EventFigure, HasAPanelForEachMemberWithItsUnit) {
  const shown_event event = event_of({monitor("LINAC/BPM/001")});
  const figure made = figure_of(event, {});
  ASSERT_THAT(made.panels, SizeIs(3));
  EXPECT_EQ(panel_at<plot_panel>(made, 0).value_axis, "X, mm");
  EXPECT_EQ(panel_at<plot_panel>(made, 2).value_axis, "CHARGE, nC");
  EXPECT_EQ(panel_at<plot_panel>(made, 2).axis, "time, us");
  EXPECT_EQ(panel_at<plot_panel>(made, 0).title, "");
}

TEST(EventFigure, NamesEachOfSeveralChannelsAboveItsPanels) {
  const shown_event event = event_of({monitor("A"), monitor("B")});
  const figure made = figure_of(event, {});
  EXPECT_EQ(made.title, "event 77");
  ASSERT_THAT(made.panels, SizeIs(6));
  EXPECT_EQ(panel_at<plot_panel>(made, 0).title, "A · what it is");
  EXPECT_EQ(panel_at<plot_panel>(made, 1).title, "");
  EXPECT_EQ(panel_at<plot_panel>(made, 3).title, "B · what it is");
}

TEST(EventFigure, LaysCurvesOfOneUnitOverOneAnother) {
  const shown_event event = event_of({monitor("A"), monitor("B")});
  const figure made = figure_of(event, {curves::overlaid});
  ASSERT_THAT(made.panels, SizeIs(2));
  const auto& positions = panel_at<plot_panel>(made, 0);
  EXPECT_EQ(positions.value_axis, "mm");
  std::vector<std::string> names;
  for (const named_curve& one : positions.curves) names.push_back(one.name);
  EXPECT_THAT(names, ElementsAre("A X", "A Y", "B X", "B Y"));
  EXPECT_EQ(panel_at<plot_panel>(made, 1).value_axis, "CHARGE, nC");
}

TEST(EventFigure, WritesSingleValuesAsNumbers) {
  const shown_event event =
      event_of({channel_of("ENERGY", shown_spectrum{"", {member_of("ENERGY", "MeV", {-12.5F})}})});
  const auto& table = panel_at<table_panel>(figure_of(event, {}), 0);
  EXPECT_THAT(table.rows, ElementsAre(std::pair<std::string, std::string>("ENERGY", "−12.5 MeV")));
}

TEST(EventFigure, WritesSlowValuesWithTheirTime) {
  shown_channel magnet =
      channel_of("MAGNET", shown_slow_value{"CURRENT.SET", 19.5F, 0x10, {1700000001, 0}});
  magnet.units = "A";
  magnet.is_held = true;
  magnet.recorded_with = {70, {1700000000, 0}};
  const shown_event event = event_of({magnet});
  const auto& table = panel_at<table_panel>(figure_of(event, {}), 0);
  EXPECT_THAT(table.rows, ElementsAre(std::pair<std::string, std::string>("CURRENT.SET", "19.5 A")));
  EXPECT_EQ(table.note, "at 2023-11-14 22:13:21.000000 UTC, status 0x10, held, of event 70");
}

TEST(EventFigure, WritesNamedValuesTextsAndWhatNobodyCanRead) {
  shown_channel broken = channel_of("BROKEN", shown_bytes{});
  broken.bytes = 12;
  const shown_event event =
      event_of({channel_of("STATUS", shown_pairs{1, "state", {{"BUNCHES", 64}, {"RATE", 10}}}),
                channel_of("MESSAGE", shown_text{"beam\x1b on"}), broken});
  const figure made = figure_of(event, {});
  EXPECT_THAT(panel_at<table_panel>(made, 0).rows, SizeIs(2));
  EXPECT_EQ(panel_at<table_panel>(made, 0).note, "state");
  EXPECT_THAT(panel_at<table_panel>(made, 1).rows.at(0).second, testing::Not(HasSubstr("\x1b")));
  EXPECT_EQ(panel_at<table_panel>(made, 2).rows.at(0).second, "12 bytes that cannot be interpreted");
}

TEST(EventFigure, ShowsTwelveBitsInSixteenByDefault) {
  const shown_event event = event_of({camera(2, {10, 4000})});
  const auto& panel = panel_at<frame_panel>(figure_of(event, {}), 0);
  EXPECT_EQ(panel.brightness.low, 10);
  EXPECT_EQ(panel.brightness.high, 4000);
  EXPECT_EQ(panel.scale, "counts");
  EXPECT_EQ(panel.note, "2 × 1 pixels, frame 9");
}

TEST(EventFigure, ReachesOverTheBitsOfTheSensorWhereTheyAreKnown) {
  const figure_wishes whole{curves::apart, stretch::none, colour_map::grey};
  const auto most = [&](const shown_channel& channel) {
    const shown_event event = event_of({channel});
    return panel_at<frame_panel>(figure_of(event, whole), 0).brightness.high;
  };
  EXPECT_EQ(most(camera(2, {1, 2}, 12)), 4095);
  EXPECT_EQ(most(camera(2, {1, 2})), 65535);
  EXPECT_EQ(most(camera(2, {1, 2}, 99)), 65535);
  EXPECT_EQ(most(camera(1, {1, 2})), 255);
  EXPECT_EQ(most(camera(4, {1, 2})), 4294967295.0);
}

TEST(EventFigure, RefusesPixelsThatItCannotDraw) {
  for (int bytes = 5; bytes <= 15; ++bytes) {
    const shown_event event = event_of({camera(bytes, {1, 2})});
    try {
      figure_of(event, {});
      FAIL() << bytes;
    } catch (const data_failure& refusal) {
      EXPECT_EQ(refusal.what(), "CAMERA: its pixels have " + std::to_string(bytes) +
                                    " bytes; pixels of up to 4 bytes can be drawn");
    }
  }
}

TEST(EventFigure, RefusesMorePanelsThanAPictureHolds) {
  std::vector<shown_channel> many;
  for (int i = 0; i < 11; ++i) many.push_back(monitor("M" + std::to_string(i)));
  const shown_event event = event_of(many);
  try {
    figure_of(event, {});
    FAIL();
  } catch (const data_failure& refusal) {
    EXPECT_THAT(refusal.what(), HasSubstr("33 panels are more than a picture can hold, which is 32"));
  }
}

}  // namespace
