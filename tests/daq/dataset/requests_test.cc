// Files that a selection does not list: found by run and by period in a data directory, as the readers'
// requests find them.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "captured_output.h"
#include "ravo_dataset/find_files.h"
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
  ~Requests() override { unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME"); }
  std::vector<std::string> found(const std::string& text) const {
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
  EXPECT_THROW(dataset::open("run=3" + by_catalogue + folder), selection_error);
  EXPECT_THROW(dataset::open("run=1 data=" + elsewhere.path().string()), selection_error);
}

// A library leaves standard output to its caller, even where a catalogue file is damaged.
TEST_P(Requests, PrintNothing) {
  const temporary_folder catalogue_folder;
  catalogue::build_settings settings;
  settings.raw_folder = folder;
  settings.catalogue_directory = catalogue_folder.path().string();
  settings.closed_after = -1;
  ASSERT_TRUE(catalogue::build(settings, {}).problems.empty());
  const std::string damaged = catalogue_folder.file("linac/main/runs/0/run2.xml");
  std::filesystem::resize_file(damaged, 0);
  const std::string places =
      " chan=LINAC/BPM/001 catalog=" + settings.catalogue_directory + " data=" + folder;
  captured_output output;
  dataset::open("run=1-2 chan=LINAC/BPM/001 data=" + folder);
  const dataset data = dataset::open("run=1-2" + places);
  dataset::open("from=1500000000" + places);
  EXPECT_THROW(dataset::open("run=4" + places), files_not_found);
  EXPECT_EQ(output.stop(), "");
  const std::vector<std::string> expected = {
      "Run catalogue: " + damaged + " is passed over: it is empty; build the catalogue again",
      "No files are found of run 2: the run catalogue has none with events; build it again if some have "
      "come since"};
  EXPECT_EQ(data.ledger().problems,
            (std::vector<reading_problem>{{problem_reason::damaged_catalogue, "", expected[0]},
                                          {problem_reason::runs_without_files, "", expected[1]}}));
  EXPECT_EQ(data.plan().problems, expected);
  EXPECT_NE(data.plan().to_text().find("\n" + expected[1] + "\n"), std::string::npos);
  EXPECT_NE(data.column("LINAC/BPM/001").ledger.to_text().find("\n" + expected[0] + "\n"),
            std::string::npos);
}

TEST_P(Requests, ReportRunsThatHaveNoFiles) {
  const dataset data = dataset::open("run=1-9 chan=LINAC/BPM/001 data=" + folder);
  const std::vector<std::string> expected = {"No files are found of runs 3-9: no file is named for them"};
  EXPECT_EQ(data.plan().problems, expected);
  event_range events = data.events();
  EXPECT_EQ(events.ledger().problems,
            (std::vector<reading_problem>{{problem_reason::runs_without_files, "", expected[0]}}));
  EXPECT_TRUE(dataset::open("run=1-2 chan=LINAC/BPM/001 data=" + folder).plan().problems.empty());
}

// As the acquisition may be writing them still; a limit on what is missing cannot be kept without them.
TEST_P(Requests, ReportFilesThatAreTooYoung) {
  const temporary_folder place;
  for (const std::string& file : files)
    std::filesystem::copy(file, place.path() / std::filesystem::path(file).filename());
  const std::string text = "run=1 chan=LINAC/BPM/001 data=" + place.path().string();
  EXPECT_EQ(dataset::open(text).files().size(), 2u);
  unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
  try {
    dataset::open(text);
    FAIL();
  } catch (const files_not_found& error) {
    EXPECT_NE(std::string(error.what()).find(names(0, 1)[0] + ": it changed less than half a minute ago"),
              std::string::npos)
        << error.what();
  }
  // The time of a file's last status change cannot be set: the program of the system's shell is old enough.
  const auto path_of = [&](std::size_t which) {
    return (place.path() / names(which, which + 1)[0]).string();
  };
  std::filesystem::remove(path_of(0));
  std::filesystem::create_symlink("/bin/sh", path_of(0));
  const found_files found = find_files(selection::parse(text));
  EXPECT_EQ(found.files, std::vector{path_of(0)});
  ASSERT_EQ(found.left_out.size(), 1u);
  EXPECT_EQ(found.left_out[0].path, path_of(1));
  EXPECT_EQ(found.left_out[0].reason, file_refusal::still_written);
  EXPECT_EQ(found.left_out[0].problem, "it changed less than half a minute ago and may still be written");
}

TEST_P(Requests, ReportFilesThatTheCatalogueListsAndAreGone) {
  const temporary_folder catalogue_folder, place;
  for (const std::string& file : files)
    std::filesystem::copy(file, place.path() / std::filesystem::path(file).filename());
  catalogue::build_settings settings;
  settings.raw_folder = place.path().string();
  settings.catalogue_directory = catalogue_folder.path().string();
  settings.closed_after = -1;
  ASSERT_TRUE(catalogue::build(settings, {}).problems.empty());
  const std::string gone = (place.path() / names(1, 2)[0]).string();
  std::filesystem::remove(gone);
  const std::string text = "run=1 chan=LINAC/BPM/001 catalog=" + settings.catalogue_directory;
  for (const std::string& data_word : {std::string(), " data=" + settings.raw_folder}) {
    const dataset data = dataset::open(text + data_word);
    ASSERT_EQ(data.files().size(), 2u);
    EXPECT_EQ(data.files()[1].path, gone);
    const read_ledger ledger = data.ledger();
    ASSERT_EQ(ledger.files.size(), 1u);
    EXPECT_EQ(ledger.files[0].path, gone);
    EXPECT_EQ(ledger.files[0].reason, file_refusal::missing);
    EXPECT_EQ(ledger.files[0].problem, "the run catalogue lists it, and it is not in the data folders");
    EXPECT_EQ(data.plan().problems, (std::vector<std::string>{gone + ": " + ledger.files[0].problem}));
  }
  dataset_options limited;
  limited.damage.largest_missing_share = 0.9;
  EXPECT_THROW(dataset::open(text, limited), missing_data);
}

TEST_P(Requests, ReportOnceAFileThatIsGoneFromTwoRuns) {
  const temporary_folder catalogue_folder;
  const std::string directory = catalogue_folder.path().string();
  const std::string gone = catalogue_folder.file("gone.raw");
  std::vector<catalogue::run_entry> runs;
  for (const int number : {1, 2}) {
    catalogue::run_entry& run = runs.emplace_back();
    run.experiment = "linac";
    run.stream = "main";
    run.run = number;
    for (const std::string& path : {files[0], gone}) {
      catalogue::raw_file_entry& file = run.files.emplace_back();
      file.path = path;
      file.events = 10;
      file.start = {1500000000, 0};
      file.end = {1500000010, 0};
    }
  }
  ASSERT_TRUE(catalogue::add_runs(directory, runs).empty());
  const dataset data = dataset::open("run=1-2 chan=LINAC/BPM/001 catalog=" + directory);
  const read_ledger ledger = data.ledger();
  ASSERT_EQ(ledger.files.size(), 1u);
  EXPECT_EQ(ledger.files[0].path, gone);
  EXPECT_EQ(data.files().size(), 2u);
  EXPECT_EQ(data.plan().problems.size(), 1u);
}

TEST_P(Requests, SayOfEachFileHowItWasFound) {
  const auto ways_of = [&](const selection& wanted) {
    const found_files found = find_files(wanted);
    EXPECT_EQ(found.all.size(), found.files.size());
    std::vector<found_by> ways;
    for (std::size_t i = 0; i < found.all.size(); ++i) {
      EXPECT_EQ(found.all[i].path, found.files[i]);
      EXPECT_EQ(found.all[i].refusal, file_refusal::none);
      ways.push_back(found.all[i].by);
    }
    return ways;
  };
  selection listed;
  listed.files = {files[1], files[0], files[1]};
  EXPECT_EQ(ways_of(listed), std::vector(2, found_by::listing));
  listed.files = {folder};
  EXPECT_EQ(ways_of(listed), std::vector(4, found_by::listing));
  selection named = selection::parse("run=2 data=" + folder);
  EXPECT_EQ(ways_of(named), std::vector(2, found_by::name));
  // A period from inside the second file to inside the third.
  const dataset second = dataset::open(select({files[1]}, {"LINAC/BPM/001"}));
  const dataset third = dataset::open(select({files[2]}, {"LINAC/BPM/001"}));
  named.runs.reset();
  named.from = second.event_ids().back().time;
  named.to = third.event_ids().front().time;
  EXPECT_EQ(ways_of(named), (std::vector{found_by::earlier_name, found_by::earlier_name, found_by::name,
                                         found_by::later_name}));
}

TEST_P(Requests, ThatFindNothingCanBeExplained) {
  const temporary_folder place;
  const std::string young = (place.path() / names(0, 1)[0]).string();
  std::filesystem::copy(files[0], young);
  unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
  const selection wanted = selection::parse("run=1-2 data=" + place.path().string());
  EXPECT_THROW(find_files(wanted), files_not_found);
  const found_files found = look_for_files(wanted);
  EXPECT_TRUE(found.files.empty());
  ASSERT_EQ(found.all.size(), 1u);
  EXPECT_EQ(found.all[0].path, young);
  EXPECT_EQ(found.all[0].by, found_by::name);
  EXPECT_EQ(found.all[0].refusal, file_refusal::still_written);
  ASSERT_EQ(found.problems.size(), 1u);
  EXPECT_EQ(found.problems[0].reason, problem_reason::runs_without_files);
}

TEST_P(Requests, ThatFindNothingSaySo) {
  EXPECT_THROW(dataset::open("run=77 data=" + folder), files_not_found);
  EXPECT_THROW(dataset::open("run=1-2147483647 data=" + folder), selection_error);
  EXPECT_THROW(dataset::open("chan=A"), selection_error);
}

INSTANTIATE_TEST_SUITE_P(Generations, Requests,
                         testing::Values(ravo_file_generation::current, ravo_file_generation::older),
                         [](const auto& tested) {
                           return tested.param == ravo_file_generation::current ? "Current" : "Older";
                         });

}  // namespace
