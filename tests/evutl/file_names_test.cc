// The parts of a raw file's name, and the order of files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "ravo_evutl.h"

namespace {

using testing::ElementsAreArray;

// Whether the name has a time; the time then.
std::pair<bool, std::uint32_t> time_of(const char* name) {
  time_stamp time{1, 1};
  const bool found = get_time_from_file_name(name, &time) == 0;
  if (found) {
    EXPECT_EQ(time.timelow, 0u);
  } else {
    EXPECT_EQ(time.timeup, 1u) << "a refused name leaves the time alone";
  }
  return {found, found ? time.timeup : 0};
}

TEST(FileName, HoldsTheTimeInUtc) {
  const std::pair<const char*, std::uint32_t> names[] = {
      {"lab_linac_run12_file3_20260101T000000Z.raw", 1767225600},
      {"/data/run_1/lab_linac_run12_file3_20260102T030405Z.raw", 1767323045},
      {"relative/lab_with_lines_main_run1_file1_19700101T000000Z.raw", 0},
      {"e_s_run1_file1_21060207T062815Z.raw", 4294967295u},
      {"e_s_run1_file1_20240229T235959Z.raw", 1709251199},
      {"no_run_no_file_20260101T000000Z.raw", 1767225600},
      {"_20260101T000000Z.raw", 1767225600},
  };
  for (const auto& [name, seconds] : names) {
    const auto [found, time] = time_of(name);
    EXPECT_TRUE(found) << name;
    EXPECT_EQ(time, seconds) << name;
  }
}

TEST(FileName, HoldsNoTimeWhenItIsOfAnotherGrammar) {
  for (const char* name : {"",
                           "x.raw",
                           "e_s_run1_file1.raw",
                           "e_s_run1_file1_20260101T000000Z",
                           "20260101T000000Z.raw",
                           "e_s_run1_file1_20260101T000000.raw",
                           "e_s_run1_file1_20260101t000000z.raw",
                           "e_s_run1_file1_20260101T000000Z.raw.part",
                           "e_s_run1_file1_20260101T000000Z.RAW",
                           "e_s_run1_file1_20261301T000000Z.raw",
                           "e_s_run1_file1_20260230T000000Z.raw",
                           ".e_s_run1_file1_20240229T235959Z.raw",  // hidden: not finished, or left
                           "/data/.e_s_run1_file1_20240229T235959Z.raw",
                           "e_s_run1_file1_20250229T000000Z.raw",
                           "e_s_run1_file1_20260101T240000Z.raw",
                           "e_s_run1_file1_20260101T006000Z.raw",
                           "e_s_run1_file1_20260101T000060Z.raw",
                           "e_s_run1_file1_19691231T235959Z.raw",
                           "e_s_run1_file1_21060207T062816Z.raw",
                           "e_s_run1_file1_ 0260101T000000Z.raw",
                           "e_s_run1_file1_-0260101T00000Z.raw",
                           "e_s_20260101T000000Z.raw/other.raw",
                           ".raw",
                           "_.raw"})
    EXPECT_FALSE(time_of(name).first) << name;
}

TEST(FileName, HoldsNoTimeWhenItHasNone) {
  time_stamp time;
  EXPECT_NE(get_time_from_file_name(nullptr, &time), 0);
  EXPECT_NE(get_time_from_file_name("e_s_run1_file1_20260101T000000Z.raw", nullptr), 0);
}

// Shuffles the expected order with a fixed seed and sorts it back.
void expect_sorted(const std::vector<std::string>& expected) {
  std::mt19937 generator(1);
  for (int round = 0; round < 20; ++round) {
    std::vector<std::string> names = expected;
    std::shuffle(names.begin(), names.end(), generator);
    std::vector<char*> pointers;
    for (std::string& name : names) pointers.push_back(name.data());
    sort_files(&pointers);
    const std::vector<std::string> sorted(pointers.begin(), pointers.end());
    EXPECT_THAT(sorted, ElementsAreArray(expected));
  }
}

TEST(SortFiles, OrdersByTimeThenRunThenFile) {
  expect_sorted({
      "z_s_run9_file9_20260101T000000Z.raw",
      "a_s_run2_file9_20260101T000001Z.raw",
      "b_s_run10_file1_20260101T000001Z.raw",
      "a_s_run10_file2_20260101T000001Z.raw",
      "a_s_run10_file10_20260101T000001Z.raw",
      "a_s_run1_file1_20260102T000000Z.raw",
  });
}

TEST(SortFiles, PutsNamesWithoutATimeFirstInAlphabeticalOrder) {
  expect_sorted({"/z/readme.raw", "a.raw", "b.raw", "c", "a_s_run1_file1_20260101T000000Z.raw"});
}

TEST(SortFiles, LooksAtTheLastComponentAndBreaksTiesByThePath) {
  expect_sorted({
      "/b/e_s_run1_file1_20260101T000000Z.raw",
      "/c/e_s_run1_file1_20260101T000000Z.raw",
      "/a/e_s_run1_file2_20260101T000000Z.raw",
      "/a/e_s_run1_file3_20260101T000000Z.raw",
  });
}

TEST(SortFiles, TakesARunOrFileNumberThatIsNotThereAsZero) {
  expect_sorted({
      "e_s_20260101T000000Z.raw",
      "e_s_run7_20260101T000000Z.raw",
      "e_s_file1_20260101T000000Z.raw",
      "e_s_run99999999999999999999_file2_20260101T000000Z.raw",
      "e_s_run1_file1_20260101T000000Z.raw",
  });
}

TEST(SortFiles, ToleratesNullAndEmpty) {
  sort_files(nullptr);
  std::vector<char*> none;
  sort_files(&none);
  std::string name = "a.raw";
  std::vector<char*> names = {name.data(), nullptr};
  sort_files(&names);
  EXPECT_EQ(names[0], nullptr);
}

}  // namespace
