// The window that a request for runs gets: from the catalogue, or from the names of its files.
#include "api/run_window-inl.h"
#include "requested_reader.h"

#include <limits>

namespace ravo::test {
namespace {

TEST(RunWindow, IsTheAskedForOneWhenItMeetsTheRuns) {
  EXPECT_EQ(choose_window(100, 200, 150, 300), window_choice::asked);
  EXPECT_EQ(choose_window(100, 200, 50, 100), window_choice::asked) << "touching the start";
  EXPECT_EQ(choose_window(100, 200, 200, 300), window_choice::asked) << "touching the end";
  EXPECT_EQ(choose_window(0, 200, 150, 300), window_choice::asked);
}

TEST(RunWindow, IsTheRunsOtherwise) {
  EXPECT_EQ(choose_window(100, 200, 50, 99), window_choice::runs);
  EXPECT_EQ(choose_window(100, 200, 201, 300), window_choice::runs);
  EXPECT_EQ(choose_window(0, 0, 150, 300), window_choice::runs);
  EXPECT_EQ(choose_window(200, 0, 150, 300), window_choice::runs) << "a stop of 0 lies before every run";
}

TEST(RunWindow, IsTheAskedForOneWhenTheRunsHaveNoLength) {
  EXPECT_EQ(choose_window(100, 200, 300, 300), window_choice::asked);
  EXPECT_EQ(choose_window(0, 0, 300, 300), window_choice::asked);
}

TEST(RunWindow, IsOpenWhenTheRunsTimesAreUnknown) {
  EXPECT_EQ(choose_window(100, 200, 0, 300), window_choice::open);
  EXPECT_EQ(choose_window(100, 200, 100, 0), window_choice::open);
  EXPECT_EQ(choose_window(100, 200, 0, 0), window_choice::open);
}

TEST(RunWindow, AnEndWithinASecondIsRoundedUp) {
  EXPECT_EQ(whole_second_after({100, 0}), 100);
  EXPECT_EQ(whole_second_after({100, 1}), 101);
  EXPECT_EQ(whole_second_after({0, 0}), 0);
  EXPECT_EQ(whole_second_after({0xffffffffu, 999999}), 0xffffffff);
}

template <class generation>
class WindowOfRuns : public requested_reader<generation> {
 protected:
  WindowOfRuns() {
    this->ask_for_runs(7, 8);
    this->request.start_time.event_number = 11;
    this->request.stop_time.event_number = 22;
    this->request.start_time.time.timelow = 33;
    this->request.stop_time.time.timelow = 44;
    the_catalogue.runs_status = 0;
    the_catalogue.files_of_runs = {raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(8, 1, 401)};
    this->make(the_catalogue.files_of_runs);
  }
  void ask_for(unsigned start, unsigned stop) {
    this->request.start_time.time.timeup = start;
    this->request.stop_time.time.timeup = stop;
  }
  /// A point as its number, seconds and microseconds.
  static std::vector<unsigned> parts(const ravo_time_id& point) {
    return {point.event_number, point.time.timeup, point.time.timelow};
  }
  void expect_points(std::vector<unsigned> start, std::vector<unsigned> stop) {
    EXPECT_EQ(parts(*this->reader.get_start_point()), start);
    EXPECT_EQ(parts(*this->reader.get_stop_point()), stop);
  }
  const std::string correction = this->class_name + "::init() making correction in time\n";
  const std::string reset = this->class_name + "::init() time reset\n";
};
TYPED_TEST_SUITE(WindowOfRuns, generations, generation_name);

TYPED_TEST(WindowOfRuns, ComesFromTheFirstAndTheLastRun) {
  the_catalogue.times_of_runs[7] = {{1000, 5}, {1500, 6}};
  the_catalogue.times_of_runs[8] = {{1600, 7}, {2000, 0}};
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 1000, 0}, {0, 2000, 0});
  EXPECT_EQ(this->output, "");
  EXPECT_EQ(the_catalogue.questions,
            (names{"runs of linac main in /catalogue/ closed 1", "time of 7 of linac in /catalogue/",
                   "time of 8 of linac in /catalogue/"}));
}

TYPED_TEST(WindowOfRuns, EndsAfterTheLastEventsOfARunThatEndsWithinASecond) {
  the_catalogue.times_of_runs[7] = the_catalogue.times_of_runs[8] = {{1000, 999999}, {2000, 1}};
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 1000, 0}, {0, 2001, 0});
}

TYPED_TEST(WindowOfRuns, TheCorrectionIsReportedAtANonZeroDebugLevel) {
  the_catalogue.times_of_runs[7] = the_catalogue.times_of_runs[8] = {{1000, 0}, {2000, 0}};
  for (const int level : {1, -1}) {
    this->reader.set_debug(level);
    ASSERT_EQ(this->init(), 0);
    EXPECT_EQ(this->output, this->correction);
  }
}

TYPED_TEST(WindowOfRuns, WithoutALastRunTheFirstRunsEndIsTaken) {
  this->ask_for_runs(7, 0);
  the_catalogue.times_of_runs[7] = {{1000, 0}, {1500, 0}};
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 1000, 0}, {0, 1500, 0});
  EXPECT_EQ(the_catalogue.questions.size(), 2u);
}

TYPED_TEST(WindowOfRuns, TheVeryFirstRunIsAskedForItsEndToo) {
  this->ask_for_runs(1, 1);
  the_catalogue.times_of_runs[1] = {{1000, 0}, {1500, 0}};
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 1000, 0}, {0, 1500, 0});
  EXPECT_EQ(the_catalogue.questions.size(), 3u);
}

TYPED_TEST(WindowOfRuns, ALastRunBeforeTheFirstIsTheFirst) {
  this->ask_for_runs(7, 3);
  the_catalogue.times_of_runs[3] = {{100, 0}, {200, 0}};
  the_catalogue.times_of_runs[7] = {{1000, 0}, {1500, 0}};
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 1000, 0}, {0, 1500, 0});
}

TYPED_TEST(WindowOfRuns, AnOverlappingPeriodIsKeptWhole) {
  the_catalogue.times_of_runs[7] = the_catalogue.times_of_runs[8] = {{1000, 0}, {2000, 0}};
  this->reader.set_debug(1);
  this->ask_for(500, 1000);
  ASSERT_EQ(this->init(), 0);
  this->expect_points({11, 500, 33}, {22, 1000, 44});
  EXPECT_EQ(this->output, "");
}

TYPED_TEST(WindowOfRuns, APeriodElsewhereGivesWay) {
  the_catalogue.times_of_runs[7] = the_catalogue.times_of_runs[8] = {{1000, 0}, {2000, 0}};
  this->ask_for(500, 999);
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 1000, 0}, {0, 2000, 0});
  this->ask_for(2001, 3000);
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 1000, 0}, {0, 2000, 0});
}

TYPED_TEST(WindowOfRuns, RunsWithoutLengthLeaveTheRequestAlone) {
  the_catalogue.times_of_runs[7] = the_catalogue.times_of_runs[8] = {{1000, 0}, {1000, 0}};
  this->reader.set_debug(1);
  ASSERT_EQ(this->init(), 0);
  this->expect_points({11, 0, 33}, {22, 0, 44});
  EXPECT_EQ(this->output, "");
}

TYPED_TEST(WindowOfRuns, AnUnknownStartOrEndOpensTheWindow) {
  this->reader.set_debug(1);
  this->ask_for(500, 600);
  the_catalogue.times_of_runs[7] = {{0, 0}, {1000, 0}};
  the_catalogue.times_of_runs[8] = {{0, 0}, {1000, 0}};
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 0, 0}, {0, 0, 0});
  EXPECT_TRUE(this->says(this->reset));
  the_catalogue.times_of_runs[7] = the_catalogue.times_of_runs[8] = {{1000, 0}, {0, 0}};
  ASSERT_EQ(this->init(), 0);
  this->expect_points({0, 0, 0}, {0, 0, 0});
  EXPECT_TRUE(this->says(this->reset));
  this->reader.set_debug(0);
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->output, "");
}

TYPED_TEST(WindowOfRuns, AnUnknownLastRunIsReportedAndOpensTheWindow) {
  the_catalogue.times_of_runs[7] = {{1000, 0}, {1500, 0}};
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->output, this->class_name + "::init() failed to extract time for run: 8\n");
  this->expect_points({0, 0, 0}, {0, 0, 0});
}

// 401 - 100 over two gaps: 150 seconds a file.
TYPED_TEST(WindowOfRuns, AnUnknownFirstRunLeavesTheDecisionToTheNames) {
  this->reader.set_debug(1);
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->output, "----->" + this->class_name +
                              "::init() failed to extract time for run: 7 trying locally\n" +
                              this->correction);
  this->expect_points({0, clock_zero + 100, 0}, {0, clock_zero + 551, 0});
  EXPECT_EQ(the_catalogue.questions.size(), 2u) << "the last run is not asked for";
  this->reader.set_debug(0);
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->output, "");
}

TYPED_TEST(WindowOfRuns, ASingleFilesNameLeavesTheRequestAlone) {
  the_catalogue.files_of_runs = {raw_name(7, 1, 100)};
  this->make(the_catalogue.files_of_runs);
  ASSERT_EQ(this->init(), 0);
  this->expect_points({11, 0, 33}, {22, 0, 44});
}

TYPED_TEST(WindowOfRuns, WithoutAnyTimeTheStopBecomesNow) {
  this->request.start_time = this->request.stop_time = {};
  the_catalogue.files_of_runs = {raw_name(7, 1, 100)};
  this->make(the_catalogue.files_of_runs);
  ASSERT_EQ(this->init(), 0);
  const auto before = static_cast<unsigned>(std::time(nullptr));
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_GE(this->reader.get_stop_point()->time.timeup, before);
  EXPECT_EQ(this->reader.get_start_point()->time.timeup, 0u);
}

TYPED_TEST(WindowOfRuns, NamesWithoutATimeAreReportedAndOpenTheWindow) {
  the_catalogue.files_of_runs = {"linac_run7.raw", "linac_run8.raw"};
  this->make(the_catalogue.files_of_runs);
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->output, this->class_name + "::init() failed to extract start time locally\n" +
                              this->class_name + "::init() failed to extract stop time locally\n");
  this->expect_points({0, 0, 0}, {0, 0, 0});
  the_catalogue.files_of_runs = {"linac_run7.raw", raw_name(8, 1, 100)};
  this->make(the_catalogue.files_of_runs);
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->output, this->class_name + "::init() failed to extract start time locally\n");
  this->expect_points({0, 0, 0}, {0, 0, 0});
}

}  // namespace
}  // namespace ravo::test
