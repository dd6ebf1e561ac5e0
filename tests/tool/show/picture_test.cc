// Pictures in grey for terminals of three kinds, against cells made by hand.
#include <gtest/gtest.h>

#include "drawing/grey_picture.h"

namespace {

using namespace ravo::drawing;
using lines = std::vector<std::string>;

const grey_picture chequered{2, 2, {0, 255, 255, 0}};

TEST(GreyPicture, HasTwoPixelsInEachCellOfAColourTerminal) {
  EXPECT_EQ(terminal_picture(chequered, 10, 10, colours::of_24_bits),
            lines{"\033[38;2;0;0;0m\033[48;2;255;255;255m▀"
                  "\033[38;2;255;255;255m\033[48;2;0;0;0m▀\033[0m"});
  EXPECT_EQ(terminal_picture(chequered, 10, 10, colours::of_256),
            lines{"\033[38;5;16m\033[48;5;231m▀\033[38;5;231m\033[48;5;16m▀\033[0m"});
}

TEST(GreyPicture, SaysAColourOnceForEqualNeighbours) {
  EXPECT_EQ(terminal_picture({3, 2, {0, 0, 9, 0, 0, 9}}, 10, 10, colours::of_256),
            lines{"\033[38;5;16m\033[48;5;16m▀▀\033[38;5;231m\033[48;5;231m▀\033[0m"});
}

TEST(GreyPicture, HasNoGroundBelowItsLastOddRow) {
  EXPECT_EQ(terminal_picture({1, 3, {0, 0, 9}}, 10, 10, colours::of_256),
            (lines{"\033[38;5;16m\033[48;5;16m▀\033[0m", "\033[38;5;231m▀\033[0m"}));
}

TEST(GreyPicture, UsesThePaletteFromDarkToBright) {
  grey_picture ramp{26, 1, {}};
  for (int i = 0; i < 26; ++i) ramp.pixels.push_back(static_cast<float>(i));
  const std::string line = terminal_picture(ramp, 80, 10, colours::of_256).at(0);
  std::string expected = "\033[38;5;16m▀";
  for (int grey = 232; grey < 256; ++grey) expected += "\033[38;5;" + std::to_string(grey) + "m▀";
  EXPECT_EQ(line, expected + "\033[38;5;231m▀\033[0m");
}

TEST(GreyPicture, IsMadeOfLettersWithoutColours) {
  grey_picture ramp{10, 1, {}};
  for (int i = 0; i < 10; ++i) ramp.pixels.push_back(static_cast<float>(i));
  EXPECT_EQ(terminal_picture(ramp, 80, 10, colours::none), lines{" .:-=+*#%@"});
  // Two rows of pixels make one of letters: the mean of both.
  EXPECT_EQ(terminal_picture({2, 2, {0, 9, 0, 0}}, 80, 10, colours::none), lines{" +"});
  EXPECT_EQ(terminal_picture({2, 1, {9, 0}}, 80, 10, colours::none), lines{"@"});
}

TEST(GreyPicture, ShrinksToMeans) {
  const grey_picture small = shrunk({4, 2, {0, 2, 10, 30, 4, 6, 20, 40}}, 2, 10);
  EXPECT_EQ(small.width, 2);
  EXPECT_EQ(small.height, 1);
  EXPECT_EQ(small.pixels, (std::vector<float>{3, 25}));
}

TEST(GreyPicture, KeepsItsShapeWhenItShrinks) {
  const grey_picture wide{300, 100, std::vector<float>(30000, 1)};
  EXPECT_EQ(shrunk(wide, 60, 1000).height, 20);
  EXPECT_EQ(shrunk(wide, 1000, 10).width, 30);
  EXPECT_EQ(shrunk({1000, 1, std::vector<float>(1000, 1)}, 10, 10).height, 1);
}

TEST(GreyPicture, StaysAsItIsWhenItFits) {
  EXPECT_EQ(shrunk(chequered, 2, 2).pixels, chequered.pixels);
  EXPECT_EQ(shrunk(chequered, 100, 100).width, 2);
}

TEST(GreyPicture, EveryPixelCountsOnceWhenItShrinks) {
  grey_picture odd{7, 5, std::vector<float>(35, 0)};
  for (std::size_t i = 0; i < odd.pixels.size(); ++i) odd.pixels[i] = 3;
  for (const float pixel : shrunk(odd, 3, 3).pixels) EXPECT_EQ(pixel, 3);
}

TEST(GreyPicture, IsBlackWhenAllItsPixelsAreEqual) {
  EXPECT_EQ(terminal_picture({2, 2, {7, 7, 7, 7}}, 10, 10, colours::of_256),
            lines{"\033[38;5;16m\033[48;5;16m▀▀\033[0m"});
}

TEST(GreyPicture, MayBeEmpty) { EXPECT_EQ(terminal_picture({}, 10, 10, colours::none), lines{}); }

}  // namespace
