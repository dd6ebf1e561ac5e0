// Look-ups at their edges: first and last second, midnight, the turn of the year, runs that overlap, names
// that are not folders, and what a look-up costs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "asking.h"
#include "catalogue/search.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class Period : public testing::Test {
 protected:
  void add(std::vector<run_entry> runs) {
    EXPECT_THAT(lines(ravo::catalogue::add_runs(directory(), runs)), IsEmpty());
  }
  std::string directory() const { return folder_.file("cat"); }
  std::vector<std::string> files(std::uint32_t start, std::uint32_t stop) const {
    return ask_period({directory()}, start, stop).files();
  }

  temporary_folder folder_;
};

TEST_F(Period, TakesAFileThatEndsInItsFirstSecond) {
  add({run_of(1, {entry("/a.raw", {1000, 0}, {2000, 999999})})});
  EXPECT_THAT(files(2000, 3000), ElementsAre("/a.raw"));
  EXPECT_THAT(files(2001, 3000), IsEmpty());
}

TEST_F(Period, TakesAFileThatStartsInItsLastSecond) {
  add({run_of(1, {entry("/a.raw", {1000, 999999}, {2000, 0})})});
  EXPECT_THAT(files(500, 1000), ElementsAre("/a.raw"));
  EXPECT_THAT(files(500, 999), IsEmpty());
}

TEST_F(Period, OfOneSecondTakesAFileThatContainsIt) {
  add({run_of(1, {entry("/a.raw", 1000, 2000)})});
  EXPECT_THAT(files(1500, 1500), ElementsAre("/a.raw"));
}

TEST_F(Period, WithoutAnEndReachesToTheLatestFile) {
  add({run_of(1, {entry("/a.raw", 1000, 2000)}),
       run_of(2, {entry("/b.raw", march_first, march_first + 1)})});
  EXPECT_THAT(files(1500, 0), ElementsAre("/a.raw", "/b.raw"));
  EXPECT_THAT(files(2500, 0), ElementsAre("/b.raw"));
}

TEST_F(Period, TurnedRoundHasNoAnswer) {
  add({run_of(1, {entry("/a.raw", 1000, 2000)})});
  EXPECT_NE(ask_period({directory()}, 1600, 1500).status, 0);
}

TEST_F(Period, FindsARunAcrossMidnightFromBothDays) {
  const std::uint32_t midnight = march_first + a_day;
  add({run_of(7, {entry("/before.raw", midnight - 600, midnight - 301),
                  entry("/across.raw", midnight - 300, midnight + 300),
                  entry("/after.raw", midnight + 301, midnight + 600)})});
  EXPECT_THAT(files(midnight - 10, midnight - 1), ElementsAre("/across.raw"));
  EXPECT_THAT(files(midnight, midnight + 10), ElementsAre("/across.raw"));
  EXPECT_THAT(files(midnight - 400, midnight + 400),
              ElementsAre("/before.raw", "/across.raw", "/after.raw"));
}

TEST_F(Period, FindsAFileAcrossTheTurnOfTheYear) {
  const std::uint32_t year_2025 = 1735689600;
  add({run_of(7, {entry("/across.raw", year_2025 - 3 * a_day, year_2025 + 3 * a_day)})});
  for (const std::uint32_t at : {year_2025 - 2 * a_day, year_2025 - 1, year_2025, year_2025 + 2 * a_day})
    EXPECT_THAT(files(at, at), ElementsAre("/across.raw")) << at;
}

TEST_F(Period, FindsAFileOfTheLeapDay) {
  const std::uint32_t leap_day = 1709164800;  // 2024-02-29
  add({run_of(7, {entry("/leap.raw", leap_day + 5, leap_day + 6)})});
  EXPECT_THAT(files(leap_day, leap_day + a_day - 1), ElementsAre("/leap.raw"));
  EXPECT_THAT(files(leap_day + a_day, leap_day + 2 * a_day), IsEmpty());
}

TEST_F(Period, ReachesFromTheFirstToTheLastSecondThatThereIs) {
  constexpr std::uint32_t last = std::numeric_limits<std::uint32_t>::max();
  add({run_of(1, {entry("/first.raw", {0, 1}, {0, 1})}), run_of(2, {entry("/last.raw", last, last)})});
  EXPECT_THAT(files(0, last), ElementsAre("/first.raw", "/last.raw"));
  EXPECT_THAT(files(last, last), ElementsAre("/last.raw"));
}

TEST_F(Period, FindsOneFileThatLastsForDecadesInAnyYear) {
  add({run_of(3, {entry("/clock.raw", march_first, march_first + 10000 * a_day)})});
  EXPECT_THAT(files(march_first + 5000 * a_day, march_first + 5000 * a_day), ElementsAre("/clock.raw"));
  // It is in one index and not in ten thousand.
  EXPECT_FALSE(std::filesystem::exists(directory() + "/linac/main/days/2025"));
}

TEST_F(Period, GivesRunsByTheTimeOfTheirFirstFileThatItTakes) {
  add({run_of(1, {entry("/late.raw", 5000, 6000)}), run_of(2, {entry("/early.raw", 4000, 7000)}),
       run_of(3, {entry("/one.raw", 100, 200), entry("/two.raw", 5500, 5600)})});
  EXPECT_THAT(files(4500, 8000), ElementsAre("/early.raw", "/late.raw", "/two.raw"));
}

TEST_F(Period, LeavesOtherStreamsAndExperimentsAlone) {
  add({run_of(1, {entry("/main.raw", 1000, 2000)}, "main"),
       run_of(1, {entry("/fast.raw", 1000, 2000)}, "fast"),
       run_of(1, {entry("/ring.raw", 1000, 2000)}, "main", "ring")});
  EXPECT_THAT(ask_period({directory(), "linac", "fast"}, 0, 0).files(), ElementsAre("/fast.raw"));
  EXPECT_THAT(ask_period({directory(), "ring", "main"}, 0, 0).files(), ElementsAre("/ring.raw"));
  EXPECT_NE(ask_period({directory(), "ring", "fast"}, 0, 0).status, 0);
}

TEST_F(Period, WithoutAStreamIsThatOfEveryStreamByTime) {
  add({run_of(1, {entry("/main.raw", 2000, 2500)}),
       run_of(1, {entry("/early.raw", 1000, 1500), entry("/fast.raw", 3000, 3500)}, "fast"),
       run_of(2, {entry("/late.raw", 4000, 4500)}, "fast"),
       run_of(1, {entry("/ring.raw", 1000, 2000)}, "main", "ring")});
  EXPECT_THAT(ask_period({directory(), "linac", ""}, 0, 0).files(),
              ElementsAre("/early.raw", "/fast.raw", "/main.raw", "/late.raw"));
  EXPECT_THAT(ask_period({directory(), "linac", ""}, 2000, 3999).files(),
              ElementsAre("/main.raw", "/fast.raw"));
  EXPECT_NE(ask_period({directory(), "linac", ""}, 5000, 6000).status, 0);
  EXPECT_NE(ask_period({directory(), "none", ""}, 0, 0).status, 0);
}

TEST_F(Period, ReadsAHandfulOfCatalogueFiles) {
  std::vector<run_entry> runs;
  for (int run = 0; run < 300; ++run) {
    const std::uint32_t start = march_first + static_cast<std::uint32_t>(run) * 3600;
    const std::string name = "/r" + std::to_string(run);
    runs.push_back(run_of(run, {entry(name + "a.raw", start, start + 1799),
                                entry(name + "b.raw", start + 1800, start + 3599)}));
  }
  add(runs);
  ravo::catalogue::stream_catalogue catalogue(directory(), "linac", "main");
  const auto found = ravo::catalogue::find_period(catalogue, march_first + 360000, march_first + 360300,
                                                  ravo::catalogue::wanted_files::complete);
  ASSERT_EQ(found.runs.size(), 1u);
  EXPECT_THAT(found.runs[0].files, ElementsAre("/r100a.raw"));
  EXPECT_EQ(catalogue.files_read(), 2u);  // the day and the run
}

TEST_F(Period, WithoutFilesOfItsOwnHasNoAnswerAndLeavesTheListAsItWas) {
  add({run_of(1, {entry("/a.raw", 1000, 2000)})});
  std::vector<ravo_root_xml_files*> found;
  ASSERT_EQ(get_files_for_period(1000, 1000, &found, "linac", "main", directory().c_str(), 1), 0);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_NE(get_files_for_period(3000, 4000, &found, "linac", "main", directory().c_str(), 1), 0);
  ASSERT_EQ(found.size(), 1u);
  ASSERT_EQ(get_files_for_period(2000, 2000, &found, "linac", "main", directory().c_str(), 1), 0);
  EXPECT_EQ(found.size(), 2u);
  EXPECT_EQ(*found[1]->rfiles.at(0), "/a.raw");
  ravo_free_root_xml_files(&found);
  EXPECT_TRUE(found.empty());
}

class Runs : public Period {};

TEST_F(Runs, AreGivenInTheOrderOfTheListAndEachOnce) {
  add({run_of(999, {entry("/c.raw", 3000, 4000)}), run_of(1000, {entry("/a.raw", 1000, 2000)}),
       run_of(5, {entry("/b.raw", 2000, 3000)})});
  EXPECT_THAT(ask_runs({directory()}, {1000, 5, 1000, 999}).files(),
              ElementsAre("/a.raw", "/b.raw", "/c.raw"));
}

TEST_F(Runs, NameTheCatalogueFileThatListsThem) {
  add({run_of(12345, {entry("/a.raw", 1000, 2000)})});
  const answer found = ask_runs({directory()}, {12345});
  ASSERT_EQ(found.runs.size(), 1u);
  EXPECT_EQ(found.runs[0].catalogue_file, directory() + "/linac/main/runs/12/run12345.xml");
  EXPECT_TRUE(std::filesystem::exists(found.runs[0].catalogue_file));
}

TEST_F(Runs, ThatAreUnknownAreLeftOut) {
  add({run_of(2, {entry("/a.raw", 1000, 2000)})});
  const answer found = ask_runs({directory()}, {1, 2, 3, -2});
  EXPECT_EQ(found.status, 0);
  EXPECT_THAT(found.files(), ElementsAre("/a.raw"));
  EXPECT_NE(ask_runs({directory()}, {1, 3}).status, 0);
  EXPECT_NE(ask_runs({directory()}, {}).status, 0);
}

TEST_F(Runs, GiveFilesByTime) {
  add({run_of(2, {entry("/z.raw", 1000, 2000), entry("/a.raw", 3000, 4000), entry("/m.raw", 2001, 2999)})});
  EXPECT_THAT(ask_runs({directory()}, {2}).files(), ElementsAre("/z.raw", "/m.raw", "/a.raw"));
}

TEST_F(Runs, LeaveOutGrowingFilesWhenOnlyClosedOnesAreWanted) {
  raw_file_entry growing = entry("/b.raw", 2000, 3000);
  growing.complete = false;
  add({run_of(2, {entry("/a.raw", 1000, 1999), growing}), run_of(3, {growing})});
  EXPECT_THAT(ask_runs({directory()}, {2}).files(), ElementsAre("/a.raw"));
  EXPECT_THAT(ask_runs({directory(), "linac", "main", 0}, {2}).files(), ElementsAre("/a.raw", "/b.raw"));
  EXPECT_NE(ask_runs({directory()}, {3}).status, 0);
  EXPECT_THAT(ask_period({directory()}, 2500, 2600).files(), IsEmpty());
  EXPECT_THAT(ask_period({directory(), "linac", "main", 0}, 2500, 2600).files(),
              UnorderedElementsAre("/b.raw", "/b.raw"));
}

TEST_F(Runs, LeaveOutFilesWithoutEvents) {
  add({run_of(2, {entry("/a.raw", 1000, 1999), entry("/empty.raw", time_stamp{}, time_stamp{}, 0)})});
  EXPECT_THAT(ask_runs({directory()}, {2}).files(), ElementsAre("/a.raw"));
  EXPECT_EQ(ask_time(directory(), 2)->first, seconds_and_microseconds(1000, 0));
}

TEST_F(Runs, ResolveRelativePathsFromTheCatalogueDirectory) {
  add({run_of(2, {entry("../raw/a.raw", 1000, 2000)})});
  EXPECT_THAT(ask_runs({directory()}, {2}).files(), ElementsAre(directory() + "/../raw/a.raw"));
  EXPECT_THAT(ask_runs({directory() + "/"}, {2}).files(), ElementsAre(directory() + "/../raw/a.raw"));
}

TEST_F(Runs, MayHaveAnyPathThatXmlCanHold) {
  const std::string path = "/a b/\"<&>'/\u00e5\u4e16/x.raw";
  add({run_of(2, {entry(path, 1000, 2000)})});
  EXPECT_THAT(ask_runs({directory()}, {2}).files(), ElementsAre(path));
}

TEST_F(Runs, HaveTimesOverAllStreams) {
  add({run_of(9, {entry("/a.raw", {1000, 5}, {2000, 6})}, "main"),
       run_of(9, {entry("/b.raw", {900, 7}, {1500, 8})}, "fast"),
       run_of(9, {entry("/c.raw", {1, 0}, {9000, 0})}, "main", "ring")});
  EXPECT_EQ(ask_time(directory(), 9),
            std::pair(seconds_and_microseconds(900, 7), seconds_and_microseconds(2000, 6)));
}

TEST_F(Runs, ThatAreUnknownHaveNoTimeAndTouchNone) {
  add({run_of(9, {entry("/a.raw", 1000, 2000)})});
  time_stamp start{1, 2}, end{3, 4};
  for (const int run : {8, 10, -9})
    EXPECT_NE(get_time_for_run(run, &start, &end, "linac", directory().c_str()), 0);
  EXPECT_EQ(start.timeup, 1u);
  EXPECT_EQ(end.timelow, 4u);
}

TEST_F(Runs, OfOnlyEmptyFilesHaveNoTime) {
  add({run_of(9, {entry("/empty.raw", time_stamp{}, time_stamp{}, 0)})});
  EXPECT_FALSE(ask_time(directory(), 9));
}

TEST_F(Runs, OfAllNumbersThatAnIntCanHoldAreFound) {
  constexpr int last = std::numeric_limits<int>::max();
  add({run_of(0, {entry("/zero.raw", 1000, 2000)}), run_of(last, {entry("/last.raw", 3000, 4000)})});
  EXPECT_THAT(ask_runs({directory()}, {0, last}).files(), ElementsAre("/zero.raw", "/last.raw"));
}

TEST(Names, ThatAreNoFolderAreRefused) {
  const temporary_folder folder;
  const std::string directory = folder.file("cat");
  ASSERT_THAT(lines(ravo::catalogue::add_runs(directory, {run_of(1, {entry("/a.raw", 1000, 2000)})})),
              IsEmpty());
  for (const char* name : {"", ".", "..", "linac/main", "../cat/linac", "/linac", ".hidden"}) {
    EXPECT_NE(ask_runs({directory, name, "main"}, {1}).status, 0) << name;
    EXPECT_NE(ask_runs({directory, "linac", name}, {1}).status, 0) << name;
    EXPECT_NE(ask_period({directory, name, "main"}, 0, 0).status, 0) << name;
    if (*name != '\0') {
      EXPECT_NE(ask_period({directory, "linac", name}, 0, 0).status, 0) << name;
    }
    EXPECT_FALSE(ask_time(directory, 1, name)) << name;
    EXPECT_EQ(ravo::catalogue::add_runs(directory, {run_of(1, {entry("/b.raw", 1, 2)}, name)}).size(), 1u)
        << name;
    EXPECT_EQ(
        ravo::catalogue::add_runs(directory, {run_of(1, {entry("/b.raw", 1, 2)}, "main", name)}).size(), 1u)
        << name;
  }
  EXPECT_THAT(ask_runs({directory}, {1}).files(), ElementsAre("/a.raw"));
}

TEST(Names, ThatAreMissingAreRefused) {
  std::vector<ravo_root_xml_files*> found;
  const std::vector<int*> runs;
  time_stamp time{};
  EXPECT_NE(get_files_for_runs(nullptr, &found, "linac", "main", "/tmp", 1), 0);
  EXPECT_NE(get_files_for_runs(&runs, nullptr, "linac", "main", "/tmp", 1), 0);
  EXPECT_NE(get_files_for_runs(&runs, &found, nullptr, "main", "/tmp", 1), 0);
  EXPECT_NE(get_files_for_runs(&runs, &found, "linac", nullptr, "/tmp", 1), 0);
  EXPECT_NE(get_files_for_runs(&runs, &found, "linac", "main", nullptr, 1), 0);
  EXPECT_NE(get_files_for_runs(&runs, &found, "linac", "main", "", 1), 0);
  EXPECT_NE(get_files_for_period(1, 2, nullptr, "linac", "main", "/tmp", 1), 0);
  EXPECT_NE(get_files_for_period(1, 2, &found, nullptr, "main", "/tmp", 1), 0);
  EXPECT_NE(get_files_for_period(1, 2, &found, "linac", "main", nullptr, 1), 0);
  EXPECT_NE(get_time_for_run(1, nullptr, &time, "linac", "/tmp"), 0);
  EXPECT_NE(get_time_for_run(1, &time, nullptr, "linac", "/tmp"), 0);
  EXPECT_NE(get_time_for_run(1, &time, &time, nullptr, "/tmp"), 0);
  EXPECT_NE(get_time_for_run(1, &time, &time, "linac", nullptr), 0);
  ravo_free_root_xml_files(nullptr);
}

TEST(Catalogue, ThatIsNotThereHasNoAnswer) {
  const temporary_folder folder;
  EXPECT_NE(ask_runs({folder.file("none")}, {1}).status, 0);
  EXPECT_NE(ask_period({folder.file("none")}, 0, 0).status, 0);
  EXPECT_FALSE(ask_time(folder.file("none"), 1));
  EXPECT_FALSE(std::filesystem::exists(folder.file("none")));  // asking makes nothing
}

TEST(Catalogue, RefusesEntriesThatItCouldNotGiveBack) {
  const temporary_folder folder;
  const std::string directory = folder.file("cat");
  raw_file_entry backwards = entry("/backwards.raw", 2000, 1000);
  raw_file_entry timeless = entry("/timeless.raw", time_stamp{}, time_stamp{}, 5);
  raw_file_entry odd = entry("/odd.raw", {1000, 1000000}, {2000, 0});
  const auto problems = ravo::catalogue::add_runs(
      directory,
      {run_of(1, {backwards, timeless, odd, entry("/control\n.raw", 1, 2), entry("/bytes\xff.raw", 1, 2),
                  entry("/folder/", 1, 2), entry("", 1, 2), entry("/good.raw", 1000, 2000)}),
       run_of(-1, {entry("/negative.raw", 1, 2)})});
  EXPECT_EQ(problems.size(), 8u);
  EXPECT_THAT(ask_runs({directory}, {1}).files(), ElementsAre("/good.raw"));
}

}  // namespace
