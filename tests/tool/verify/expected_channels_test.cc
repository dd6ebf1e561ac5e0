// A channel whose instrument is switched off for a whole run
// is missed only if it is known that it should be there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

// Checks a run for the expected channels; returns the findings and the channels learned.
std::pair<std::vector<std::string>, std::set<std::string>> check(const simulator::simulation_result& made,
                                                                 const std::set<std::string>& expected) {
  checks::run_checker runs(expected);
  std::vector<std::string> found;
  for (const checks::run_files& run : checks::group_by_run(made.files)) {
    runs.begin(run.name);
    for (const checks::run_file& file : run.files) {
      auto result = checks::check_file(file.path, verification_depth::heads, 1, [](std::uint64_t) {});
      runs.take(result, file.number);
      for (const auto& line : lines_of(result.findings.list())) found.push_back(line);
    }
  }
  for (const auto& line : lines_of(runs.absent().list())) found.push_back(line);
  return {found, runs.channels_of_all_runs()};
}

TEST(AbsentChannel, IsFoundByALearnedList) {
  for (const auto generation : {ravo_file_generation::current, ravo_file_generation::older}) {
    const temporary_folder good_folder, folder;
    const auto [good, learned] =
        check(simulator::simulate(small_run(good_folder.path().string(), generation), {}, {}), {});
    EXPECT_THAT(good, ElementsAre());
    EXPECT_THAT(learned, Contains("LINAC/BPM/001"));
    EXPECT_THAT(learned, Contains("LINAC/RF/LATE"));  // not in every file, but in the run
    EXPECT_THAT(learned, Not(Contains("LINAC/TOROID/SPARE")));

    simulator::settings what = small_run(folder.path().string(), generation);
    what.runs = 2;
    simulator::prepare_faults(what, {{"absent-channel", 1}});
    const auto made = simulator::simulate(what, {}, {});
    EXPECT_THAT(check(made, {}).first, ElementsAre());
    const auto expected = lines_of(simulator::make_faults(what, made, {{"absent-channel", 1}}));
    EXPECT_THAT(expected, ElementsAre("- channel.absent LINAC/BPM/001 - - x2"));
    EXPECT_EQ(check(made, learned).first, expected);
  }
}

}  // namespace
