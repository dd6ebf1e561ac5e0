// Texts that have to fit, in letters that are all 6 points wide.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "drawing/picture/lettering.h"
#include "drawn_shapes.h"

namespace {

using namespace ravo::drawing;
using namespace ravo::test;
using testing::ElementsAre;

constexpr text_style ten{10};

TEST(Lettering, LeavesOutTheMiddleOfWhatIsTooWide) {
  const even_ruler ruler;
  EXPECT_EQ(fitted("abcdefghij", ten, 60, ruler), "abcdefghij");
  EXPECT_EQ(fitted("abcdefghij", ten, 59, ruler), "abcd…ghij");
  EXPECT_EQ(fitted("abcdefghij", ten, 30, ruler), "ab…ij");
  EXPECT_EQ(fitted("abcdefghij", ten, 1, ruler), "…");
}

TEST(Lettering, CutsNoLetterInTwo) {
  const even_ruler ruler;
  EXPECT_EQ(fitted("µµµµ°°°°", ten, 30, ruler), "µµ…°°");
  EXPECT_THAT(wrapped("µµµµ°°°°", ten, 24, 3, ruler), ElementsAre("µµµµ", "°°°°"));
}

TEST(Lettering, BreaksLinesWhereWordsEnd) {
  const even_ruler ruler;
  EXPECT_THAT(wrapped("one two three", ten, 48, 3, ruler), ElementsAre("one two", "three"));
  EXPECT_THAT(wrapped("LINAC/BPM/001", ten, 66, 3, ruler), ElementsAre("LINAC/BPM/", "001"));
  EXPECT_THAT(wrapped("abcdefgh", ten, 24, 3, ruler), ElementsAre("abcd", "efgh"));
  EXPECT_THAT(wrapped("one two three", ten, 30, 2, ruler), ElementsAre("one", "tw…ee"));
  EXPECT_THAT(wrapped("", ten, 30, 2, ruler), ElementsAre());
}

TEST(Lettering, SetsNumbersAsInPrint) {
  EXPECT_EQ(as_in_print("12.5"), "12.5");
  EXPECT_EQ(as_in_print("-3"), "−3");
  EXPECT_EQ(as_in_print("2e+20"), "2×10²⁰");
  EXPECT_EQ(as_in_print("-1.5e-07"), "−1.5×10⁻⁷");
  EXPECT_EQ(as_in_print("inf"), "inf");
  EXPECT_EQ(as_in_print("-nan"), "−nan");
}

}  // namespace
