// Files that a selection does not list: found by run and by period in a data directory, as the readers'
// requests find them.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "captured_output.h"
#include "ravo_run_catalogue_builder.h"
#include "small_runs.h"
#include "temporary_folder.h"

namespace {

using namespace ravo;
using namespace ravo::test;

class Requests : public testing::TestWithParam<ravo_file_generation> {
 protected:
  Requests() : files(small_runs(GetParam()).files()) {
    // The files were written a moment ago; a reader would take them for unfinished.
    setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    folder = std::filesystem::path(files.front()).parent_path().string();
  }
  std::vector<std::string> found(const std::string& text) const {
    captured_output silence;
    std::vector<std::string> paths;
    const dataset data = dataset::open(text + " chan=LINAC/BPM/001 data=" + folder);
    for (const dataset_file& file : data.files())
      paths.push_back(std::filesystem::path(file.path).filename().string());
    return paths;
  }
  std::vector<std::string> names(std::size_t first, std::size_t last) const {
    std::vector<std::string> some;
    for (std::size_t i = first; i < last; ++i)
      some.push_back(std::filesystem::path(files[i]).filename().string());
    return some;
  }

  std::vector<std::string> files;
  std::string folder;
};

TEST_P(Requests, OfARunFindItsFiles) {
  EXPECT_EQ(found("linac/main run=1"), names(0, 2));
  EXPECT_EQ(found("linac/main run=2"), names(2, 4));
  EXPECT_EQ(found("linac/main run=1-2"), names(0, 4));
}

TEST_P(Requests, OfAPeriodReadItsEventsOnly) {
  const dataset all = dataset::open(select(files, {"LINAC/BPM/001"}));
  const event middle = *all.at(1000020);
  const std::string from = std::to_string(middle.time().timeup),
                    to = std::to_string(middle.time().timeup + 1);
  captured_output silence;
  const dataset data = dataset::open("chan=LINAC/BPM/001 from=" + from + " to=" + to + " data=" + folder);
  std::size_t expected = 0;
  for (event_range events = all.events(); const event& one : events) {
    const time_stamp time = one.time();
    const bool is_inside = time.timeup == middle.time().timeup ||
                           (time.timeup == middle.time().timeup + 1 && time.timelow == 0);
    expected += is_inside ? 1 : 0;
  }
  EXPECT_GT(expected, 5u);
  EXPECT_EQ(data.size(), expected);
}

// The raw files of a catalogue of their own, and data directories that hold nothing.
TEST_P(Requests, ThroughACatalogueFindRunsAndPeriods) {
  const temporary_folder catalogue_folder, elsewhere;
  catalogue::build_settings settings;
  settings.raw_folder = folder;
  settings.catalogue_directory = catalogue_folder.path().string();
  settings.closed_after = -1;
  const catalogue::build_result built = catalogue::build(settings, {});
  ASSERT_TRUE(built.problems.empty());
  ASSERT_EQ(built.runs, 2);
  const std::string by_catalogue =
      " chan=LINAC/BPM/001 catalog=" + catalogue_folder.path().string() + " data=";
  const auto numbers = [](const std::string& text) {
    const captured_output silence;
    std::vector<std::uint32_t> all;
    const dataset data = dataset::open(text);
    for (event_range events = data.events(); const event& one : events) all.push_back(one.number());
    return all;
  };
  for (const std::string run : {"run=1", "run=2", "run=1-2"}) {
    const auto listed = numbers(run + by_catalogue + folder);
    EXPECT_EQ(listed, numbers(run + " chan=LINAC/BPM/001 data=" + folder)) << run;
    EXPECT_GT(listed.size(), 20u) << run;
  }
  // A period over the border of two runs, and one inside a file.
  const dataset all = dataset::open(select(files, {"LINAC/BPM/001"}));
  std::vector<ravo_time_id> ids;
  for (event_range events = all.events(); const event& one : events) ids.push_back(one.id());
  const std::size_t border = numbers("run=1" + by_catalogue + folder).size();
  for (const auto& [first, last] :
       {std::pair(border - 12, border + 12), std::pair(border + 3, border + 9)}) {
    selection wanted = selection::parse("linac/main" + by_catalogue + folder);
    wanted.from = ids[first].time;
    wanted.to = ids[last].time;
    std::vector<std::uint32_t> expected;
    for (std::size_t i = first; i <= last; ++i) expected.push_back(ids[i].event_number);
    EXPECT_EQ(numbers(wanted.to_text()), expected);
  }
  const captured_output silence;
  EXPECT_THROW(dataset::open("run=3" + by_catalogue + folder), selection_error);
  EXPECT_THROW(dataset::open("run=1 data=" + elsewhere.path().string()), selection_error);
}

TEST_P(Requests, ThatFindNothingSaySo) {
  captured_output silence;
  EXPECT_THROW(dataset::open("run=77 data=" + folder), selection_error);
  EXPECT_THROW(dataset::open("chan=A"), selection_error);
}

INSTANTIATE_TEST_SUITE_P(Generations, Requests,
                         testing::Values(ravo_file_generation::current, ravo_file_generation::older),
                         [](const auto& tested) {
                           return tested.param == ravo_file_generation::current ? "Current" : "Older";
                         });

}  // namespace
