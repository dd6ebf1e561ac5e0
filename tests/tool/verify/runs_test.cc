// Which files belong to one run, and what is missing between them.
#include "runs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated_files.h"

namespace {

using namespace ravo::checks;
using ravo::test::lines_of;
using testing::ElementsAre;
using testing::IsEmpty;

std::string raw_name(int run, int file) {
  return "linac_main_run" + std::to_string(run) + "_file" + std::to_string(file) + "_20250101T000000Z.raw";
}

std::vector<std::string> paths_of(const run_files& run) {
  std::vector<std::string> paths;
  for (const run_file& one : run.files) paths.push_back(one.path);
  return paths;
}

TEST(Runs, AreFoundInTheNamesOfFiles) {
  const auto runs = group_by_run({raw_name(2, 10), raw_name(1, 2), raw_name(2, 9), raw_name(1, 1)});
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[0].name, "run 2 of linac_main");
  EXPECT_THAT(paths_of(runs[0]), ElementsAre(raw_name(2, 9), raw_name(2, 10)));
  EXPECT_THAT(paths_of(runs[1]), ElementsAre(raw_name(1, 1), raw_name(1, 2)));
}

TEST(Runs, MayLieInSeveralFolders) {
  const auto runs = group_by_run({"a/" + raw_name(1, 1), "b/" + raw_name(1, 2)});
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_THAT(paths_of(runs[0]), ElementsAre("a/" + raw_name(1, 1), "b/" + raw_name(1, 2)));
}

TEST(Runs, AreDistinguishedByFoldersThatHaveTheSameFiles) {
  const auto runs = group_by_run(
      {"a/" + raw_name(1, 1), "b/" + raw_name(1, 1), "a/" + raw_name(1, 2), "b/" + raw_name(1, 2)});
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_THAT(paths_of(runs[0]), ElementsAre("a/" + raw_name(1, 1), "a/" + raw_name(1, 2)));
  EXPECT_THAT(paths_of(runs[1]), ElementsAre("b/" + raw_name(1, 1), "b/" + raw_name(1, 2)));
}

TEST(Runs, AreOneFileEachWhereNamesSayNothing) {
  const auto runs = group_by_run({"x.raw", "y.raw"});
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[1].name, "y.raw");
  EXPECT_FALSE(runs[1].files[0].number);
}

file_result file_with(const std::vector<std::string>& channels) {
  file_result result;
  result.are_channels_known = true;
  result.channels_with_data = channels;
  return result;
}

std::vector<std::string> take(run_checker& runs, std::optional<std::uint64_t> number) {
  file_result result = file_with({});
  runs.take(result, number);
  return lines_of(result.findings.list());
}

TEST(RunChecker, ReportsFilesThatAreMissingBetweenOthers) {
  run_checker runs;
  runs.begin("run 1");
  EXPECT_THAT(take(runs, 3), IsEmpty());  // earlier files were perhaps not asked for
  EXPECT_THAT(take(runs, 4), IsEmpty());
  EXPECT_THAT(take(runs, 8), ElementsAre("- run.file_missing - - - x3"));
  runs.begin("run 2");
  EXPECT_THAT(take(runs, 20), IsEmpty());
}

TEST(RunChecker, LearnsTheChannelsOfAllRuns) {
  run_checker runs;
  EXPECT_THAT(runs.channels_of_all_runs(), IsEmpty());
  runs.begin("run 1");
  for (const std::vector<std::string>& channels : {std::vector<std::string>{"A", "B"}, {"C"}}) {
    file_result file = file_with(channels);
    runs.take(file, std::nullopt);
  }
  EXPECT_THAT(runs.channels_of_all_runs(), ElementsAre("A", "B", "C"));
  runs.begin("run 2");
  file_result file = file_with({"C", "A", "D"});
  runs.take(file, std::nullopt);
  EXPECT_THAT(runs.channels_of_all_runs(), ElementsAre("A", "C"));
}

TEST(RunChecker, ReportsChannelsThatAreAbsentFromARun) {
  run_checker runs({"A", "B"}), nothing_expected;
  for (const std::vector<std::string>& channels : {std::vector<std::string>{"A"}, {"A", "B"}, {"C"}}) {
    for (run_checker* one : {&runs, &nothing_expected}) {
      one->begin("a run");
      file_result file = file_with(channels);
      one->take(file, std::nullopt);
    }
  }
  EXPECT_THAT(lines_of(runs.absent().list()),
              ElementsAre("- channel.absent A - - x1", "- channel.absent B - - x2"));
  EXPECT_THAT(lines_of(nothing_expected.absent().list()), IsEmpty());
}

TEST(RunChecker, DoesNotKnowWhatARunLacksOfWhichAFileCannotBeRead) {
  run_checker runs({"A", "B"});
  runs.begin("run 1");
  file_result unreadable, readable = file_with({"A"});
  runs.take(readable, 1);
  runs.take(unreadable, 2);
  EXPECT_THAT(lines_of(runs.absent().list()), IsEmpty());
  runs.begin("run 2");
  runs.take(readable, 1);
  const auto absent = runs.absent().list();
  EXPECT_THAT(lines_of(absent), ElementsAre("- channel.absent B - - x1"));
  EXPECT_EQ(absent.at(0).detail, "run 2");
}

std::vector<std::string> copies_in(const std::vector<std::string>& paths) {
  std::vector<std::string> lines;
  for (const finding& one : find_copies(group_by_run(paths)))
    lines.push_back(one.file + " " + row_of(one.kind).code + " x" + std::to_string(one.count) + " " +
                    one.detail);
  return lines;
}

TEST(Copies, AreReportedOnceForEachFolderOfARun) {
  EXPECT_THAT(copies_in({"a/" + raw_name(1, 1), "b/" + raw_name(1, 1), "a/" + raw_name(1, 2),
                         "b/" + raw_name(1, 2), "b/" + raw_name(1, 3), "a/" + raw_name(2, 1)}),
              ElementsAre("b/" + raw_name(1, 1) +
                          " run.file_twice x2 file 1 of run 1 of linac_main, as a/" + raw_name(1, 1)));
}

TEST(Copies, AreReportedWhereTheNamesDifferInTheirTimesOnly) {
  const std::string other = "linac_main_run1_file2_20260101T000000Z.raw";
  EXPECT_THAT(
      copies_in({raw_name(1, 1), raw_name(1, 2), other}),
      ElementsAre(other + " run.file_twice x1 file 2 of run 1 of linac_main, as " + raw_name(1, 2)));
}

TEST(Copies, AreNoneWhereNamesSayNothing) {
  EXPECT_THAT(copies_in({"a/x.raw", "b/x.raw", raw_name(1, 1), raw_name(2, 1)}), IsEmpty());
}

}  // namespace
