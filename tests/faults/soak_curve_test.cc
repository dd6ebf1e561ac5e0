// The verdict of a soak on hand-made curves: it has to find a slow leak, and to tolerate what
// settles.
#include <gtest/gtest.h>

#include "soak_curve.h"

namespace ravo::test {
namespace {

std::vector<soak_sample> level(std::size_t samples) {
  std::vector<soak_sample> curve(samples);
  for (std::size_t i = 0; i < samples; ++i)
    curve[i] = {static_cast<double>(i),
                static_cast<long>(i) * 100,
                20000 + static_cast<long>(i % 3) * 100,
                800,
                5,
                1,
                90,
                30};
  return curve;
}

std::vector<std::string> growing(soak::field value, long by, std::size_t from = 0) {
  std::vector<soak_sample> curve = level(60);
  for (std::size_t i = from; i < curve.size(); ++i) curve[i].*value += by * static_cast<long>(i - from);
  return soak::growth(curve);
}

TEST(SoakCurve, OfAProcessThatStaysLevelIsFine) { EXPECT_TRUE(soak::growth(level(60)).empty()); }

TEST(SoakCurve, MayRiseWhileItWarmsUp) {
  std::vector<soak_sample> curve = level(60);
  for (std::size_t i = 0; i < 15; ++i) curve[i].resident_kib = curve[i].heap_kib = 100;
  EXPECT_TRUE(soak::growth(curve).empty());
}

TEST(SoakCurve, ReportsEveryMeasureThatGrows) {
  // The medians of the middle and the last twenty samples of sixty: those of samples 30 and 50.
  EXPECT_EQ(growing(&soak_sample::resident_kib, 300),
            std::vector<std::string>{"resident memory (KiB) grew from 29000 to 35200"});
  EXPECT_EQ(growing(&soak_sample::heap_kib, 10),
            std::vector<std::string>{"heap in use (KiB) grew from 1100 to 1300"});
  EXPECT_EQ(growing(&soak_sample::mappings, 2), std::vector<std::string>{"mappings grew from 150 to 190"});
}

// A sanitizer's memory and mappings grow with every thread that there was.
TEST(SoakCurve, UnderASanitizerGoesByWhatWasNotGivenBack) {
  std::vector<soak_sample> curve = level(60);
  for (std::size_t i = 0; i < curve.size(); ++i) {
    curve[i].resident_kib += 1000 * static_cast<long>(i);
    curve[i].mappings += 10 * static_cast<long>(i);
  }
  EXPECT_EQ(soak::growth(curve).size(), 2u);
  EXPECT_TRUE(soak::growth(curve, allocator::of_a_sanitizer).empty());
  for (std::size_t i = 40; i < 60; ++i) {
    curve[i].heap_kib += 200;
    ++curve[i].mapped_files;
  }
  EXPECT_EQ(soak::growth(curve, allocator::of_a_sanitizer),
            (std::vector<std::string>{"heap in use (KiB) grew from 800 to 1000",
                                      "mapped files grew from 30 to 31"}));
}

TEST(SoakCurve, ReportsASingleDescriptorOrThreadThatStays) {
  EXPECT_EQ(growing(&soak_sample::descriptors, 0).size(), 0u);
  std::vector<soak_sample> curve = level(60);
  for (std::size_t i = 45; i < 60; ++i) {
    ++curve[i].descriptors;
    ++curve[i].threads;
  }
  EXPECT_EQ(soak::growth(curve),
            (std::vector<std::string>{"descriptors grew from 5 to 6", "threads grew from 1 to 2"}));
}

TEST(SoakCurve, OfTooFewSamplesProvesNothing) {
  EXPECT_EQ(soak::growth(level(8)), std::vector<std::string>{"only 8 samples"});
}

}  // namespace
}  // namespace ravo::test
