// A catalogue built from raw files, which are put together byte by byte: what is entered, what is opened
// again, what is skipped, and what counts as still growing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <time.h>

#include <filesystem>
#include <thread>

#include "../small_file.h"
#include "asking.h"
#include "captured_output.h"
#include "handmade_file.h"
#include "temporary_folder.h"

namespace {

time_t seconds_ahead = 0;

/// While it lives, the clock that the catalogue asks is ahead, so that no test waits for a file to settle.
class later {
 public:
  explicit later(time_t seconds) { seconds_ahead = seconds; }
  ~later() { seconds_ahead = 0; }
};

}  // namespace

// In place of the system's own.
extern "C" time_t time(time_t* seconds) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const time_t shifted = now.tv_sec + seconds_ahead;
  if (seconds) *seconds = shifted;
  return shifted;
}

namespace {

using namespace ravo::test;
using ravo::catalogue::build_result;
using ravo::catalogue::build_settings;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

bytes raw_bytes(const std::vector<handmade_event>& events) {
  handmade_file file;
  file.events = events;
  handmade_channel channel("LINAC/BPM1");
  for (std::size_t i = 0; i < events.size(); ++i) channel.blocks.push_back(scalar(i, 1.0f));
  file.channels.push_back(channel);
  return file.build();
}

class Build : public testing::Test {
 protected:
  Build() { fs::create_directory(raw()); }
  fs::path raw() const { return folder_.path() / "raw"; }
  std::string catalogue() const { return folder_.file("cat"); }
  std::string write(const std::string& name, const bytes& content) const {
    fs::create_directories((raw() / name).parent_path());
    return folder_.write("raw/" + name, {content.data(), content.size()});
  }
  std::string write(const std::string& name, const std::vector<handmade_event>& events) const {
    return write(name, raw_bytes(events));
  }
  std::string write(const std::string& name) const { return write(name, {{1, march_first + 10, 0}}); }
  build_settings settings() const {
    build_settings all;
    all.raw_folder = raw().string();
    all.catalogue_directory = catalogue();
    all.closed_after = -1;
    all.threads = 2;
    return all;
  }
  build_result build() const { return ravo::catalogue::build(settings(), {}); }
  std::vector<run_entry> runs() const {
    std::vector<run_entry> all;
    EXPECT_THAT(
        ravo::catalogue::visit_runs(catalogue(), "", "", [&](const run_entry& run) { all.push_back(run); }),
        IsEmpty());
    return all;
  }
  // Other bytes, the same size and time of change: a program that opens the file is sure to complain.
  static void spoil_unnoticed(const std::string& path) {
    const auto when = fs::last_write_time(path);
    const auto size = fs::file_size(path);
    fs::resize_file(path, 0);
    fs::resize_file(path, size);
    fs::last_write_time(path, when);
  }

  temporary_folder folder_;
};

constexpr const char* first_name = "linac_main_run12_file1_20250301T000000Z.raw";
constexpr const char* second_name = "linac_main_run12_file2_20250301T001000Z.raw";

TEST_F(Build, EntersAFileWithSizeSpanAndEvents) {
  const std::string path = write(first_name, {{1, march_first + 10, 123456, RAVO_EV_BOR},
                                              {2, march_first + 20, 0},
                                              {3, march_first + 30, 654321, RAVO_EV_ENV}});
  const build_result result = build();
  EXPECT_THAT(lines(result.problems), IsEmpty());
  EXPECT_EQ(result.raw_files, 1u);
  EXPECT_EQ(result.opened, 1u);
  EXPECT_EQ(result.runs, 1u);
  const auto all = runs();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].experiment, "linac");
  EXPECT_EQ(all[0].stream, "main");
  EXPECT_EQ(all[0].run, 12);
  ASSERT_EQ(all[0].files.size(), 1u);
  const raw_file_entry& file = all[0].files[0];
  EXPECT_EQ(file.path, path);
  EXPECT_EQ(file.bytes, fs::file_size(path));
  EXPECT_EQ(file.events, 3u);
  EXPECT_TRUE(file.complete);
  EXPECT_EQ(file.start.timeup, march_first + 10);
  EXPECT_EQ(file.start.timelow, 123456u);
  EXPECT_EQ(file.end.timeup, march_first + 30);
  EXPECT_EQ(file.end.timelow, 654321u);
  EXPECT_EQ(ask_time(catalogue(), 12), std::pair(seconds_and_microseconds(march_first + 10, 123456),
                                                 seconds_and_microseconds(march_first + 30, 654321)));
}

// Their event indices are the same; only the marker of the reference table differs.
TEST_F(Build, EntersFilesOfBothGenerations) {
  write(first_name, build_small_file_of<layout_2010>().content);
  write(second_name, build_small_file_of<layout_2009>().content);
  EXPECT_THAT(lines(build().problems), IsEmpty());
  const auto all = runs();
  ASSERT_EQ(all.size(), 1u);
  ASSERT_EQ(all[0].files.size(), 2u);
  for (const raw_file_entry& file : all[0].files) {
    EXPECT_EQ(file.events, 2u) << file.path;
    EXPECT_EQ(file.start.timeup, 1767225600u) << file.path;
    EXPECT_EQ(file.start.timelow, 0u) << file.path;
    EXPECT_EQ(file.end.timeup, 1767225600u) << file.path;
    EXPECT_EQ(file.end.timelow, 100000u) << file.path;
  }
}

TEST_F(Build, TakesTheTimeFromTheEventsAndNotFromTheirOrder) {
  write(first_name, {{1, march_first + 50, 0},
                     {2, march_first + 90, 0},
                     {3, march_first + 20, 0},
                     {4, march_first + 60, 0}});
  build();
  EXPECT_EQ(runs().at(0).start.timeup, march_first + 20);
  EXPECT_EQ(runs().at(0).end.timeup, march_first + 90);
}

TEST_F(Build, PassesOverEventsWithoutATime) {
  write(first_name, {{1, 0, 0, RAVO_EV_BOR}, {2, march_first + 90, 0}});
  build();
  EXPECT_EQ(runs().at(0).start.timeup, march_first + 90);
  EXPECT_EQ(runs().at(0).files.at(0).events, 2u);
}

TEST_F(Build, TakesTheTimeFromTheNameWhenNoEventHasOne) {
  write(first_name, {{1, 0, 0}, {2, 0, 0}});
  build();
  EXPECT_EQ(runs().at(0).start.timeup, march_first);
  EXPECT_EQ(runs().at(0).end.timeup, march_first);
}

TEST_F(Build, EntersAFileWithoutEventsThatIsInNoAnswer) {
  write(first_name, std::vector<handmade_event>{});
  EXPECT_THAT(lines(build().problems), IsEmpty());
  EXPECT_EQ(runs().at(0).files.size(), 1u);
  EXPECT_NE(ask_runs({catalogue()}, {12}).status, 0);
  EXPECT_EQ(build().opened, 0u);  // it is known anyway
}

TEST_F(Build, GathersRunsStreamsAndFoldersBelow) {
  const std::string a = write(first_name),
                    b = write("2025/march/" + std::string(second_name), {{9, march_first + 700, 0}}),
                    c = write("linac_fast_run12_file1_20250301T000000Z.raw"),
                    d = write("ring_main_run13_file1_20250301T000000Z.raw");
  const build_result result = build();
  EXPECT_EQ(result.raw_files, 4u);
  EXPECT_EQ(result.runs, 3u);
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(a, b));
  EXPECT_THAT(ask_runs({catalogue(), "linac", "fast"}, {12}).files(), ElementsAre(c));
  EXPECT_THAT(ask_runs({catalogue(), "ring"}, {13}).files(), ElementsAre(d));
}

TEST_F(Build, PassesOverFilesThatHaveNoNameOfARawFile) {
  for (const char* name :
       {"notes.txt", "linac_main_run12_file1_20250301T000000Z.raw.part", "linac_main_20250301T000000Z.raw",
        "linac_main_run12_20250301T000000Z.raw", "main_run99999999999_file1_20250301T000000Z.raw",
        "linac_run1_file1_20250301T000000Z.raw", "linac_main_run12_file1_20259901T000000Z.raw"})
    write(name);
  const build_result result = build();
  EXPECT_EQ(result.raw_files, 0u);
  EXPECT_THAT(lines(result.problems), IsEmpty());
}

TEST_F(Build, SplitsExperimentAndStreamAtTheLastUnderscoreOrAsAsked) {
  const std::string path = write("free_laser_main_run1_file1_20250301T000000Z.raw");
  build();
  EXPECT_THAT(ask_runs({catalogue(), "free_laser", "main"}, {1}).files(), ElementsAre(path));
  build_settings asked = settings();
  asked.experiment = "free";
  asked.catalogue_directory = folder_.file("other");
  ravo::catalogue::build(asked, {});
  EXPECT_THAT(ask_runs({asked.catalogue_directory, "free", "laser_main"}, {1}).files(), ElementsAre(path));
  asked.experiment = "fre";
  EXPECT_EQ(ravo::catalogue::build(asked, {}).raw_files, 0u);
}

TEST_F(Build, SkipsABrokenFileNamesItAndTakesTheRest) {
  const std::string good = write(first_name);
  bytes cut = raw_bytes({{1, march_first, 0}});
  const std::string broken = write(second_name, bytes().text("no raw file at all", 40));
  const std::string empty = write("linac_main_run12_file3_20250301T002000Z.raw", bytes());
  const build_result result = build();
  EXPECT_THAT(lines(result.problems), ElementsAre(StartsWith(broken + ": "), StartsWith(empty + ": ")));
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(good));
  // It is checked again next time, and taken when it was repaired.
  write(second_name, {{5, march_first + 700, 0}});
  fs::remove(empty);
  const build_result again = build();
  EXPECT_THAT(lines(again.problems), IsEmpty());
  EXPECT_EQ(again.opened, 1u);
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(good, broken));
}

TEST_F(Build, SkipsWhatIsNoFile) {
  fs::create_directory(raw() / second_name);
  ASSERT_EQ(mkfifo((raw() / first_name).c_str(), 0600), 0);
  fs::create_symlink("nowhere", raw() / "linac_main_run12_file3_20250301T002000Z.raw");
  EXPECT_EQ(build().problems.size(), 2u);  // the pipe and the link; a folder is entered and is empty
  EXPECT_THAT(runs(), IsEmpty());
}

TEST_F(Build, DoesNotFollowLinksThatLeadInCircles) {
  write(first_name);
  fs::create_directory_symlink(raw(), raw() / "again");
  EXPECT_EQ(build().raw_files, 1u);
}

TEST_F(Build, NamesAFolderThatIsNotThere) {
  fs::remove(raw());
  EXPECT_THAT(lines(build().problems), ElementsAre(StartsWith(raw().string() + ": ")));
}

TEST_F(Build, OpensOnlyFilesThatAreNew) {
  const std::string first = write(first_name);
  EXPECT_EQ(build().opened, 1u);
  spoil_unnoticed(first);
  const std::string second = write(second_name, {{9, march_first + 700, 0}});
  const build_result result = build();
  EXPECT_EQ(result.raw_files, 2u);
  EXPECT_EQ(result.opened, 1u);
  EXPECT_THAT(lines(result.problems), IsEmpty());
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(first, second));
}

TEST_F(Build, OpensAFileAgainThatChangedInTimeOrSize) {
  const std::string path = write(first_name);
  build();
  fs::last_write_time(path, fs::last_write_time(path) + std::chrono::seconds(1));
  EXPECT_EQ(build().opened, 1u);
  EXPECT_EQ(build().opened, 0u);
  const auto when = fs::last_write_time(path);
  write(first_name, {{1, march_first + 10, 0}, {2, march_first + 11, 0}});
  fs::last_write_time(path, when);
  EXPECT_EQ(build().opened, 1u);
  EXPECT_EQ(runs().at(0).files.at(0).events, 2u);
}

TEST_F(Build, TakesAFreshFileAsGrowingUntilItRests) {
  const std::string path = write(first_name);
  build_settings patient = settings();
  patient.closed_after = 29;
  build_result result = ravo::catalogue::build(patient, {});
  EXPECT_EQ(result.growing, 1u);
  EXPECT_NE(ask_runs({catalogue()}, {12}).status, 0);
  EXPECT_THAT(ask_runs({catalogue(), "linac", "main", 0}, {12}).files(), ElementsAre(path));
  result = build();
  EXPECT_EQ(result.opened, 1u);
  EXPECT_EQ(result.growing, 0u);
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(path));
}

TEST_F(Build, LookUpsGiveAFileThatHasSettledSince) {
  const std::string path = write(first_name);
  build_settings patient = settings();
  patient.closed_after = 29;
  ravo::catalogue::build(patient, {});
  EXPECT_NE(ask_runs({catalogue()}, {12}).status, 0);
  EXPECT_NE(ask_period({catalogue()}, march_first, march_first + 20).status, 0);
  const later soon(28);
  EXPECT_NE(ask_runs({catalogue()}, {12}).status, 0);
  const later then(31);
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(path));
  EXPECT_THAT(ask_period({catalogue()}, march_first, march_first + 20).files(), ElementsAre(path));
}

TEST_F(Build, LookUpsGoByTheSpanOfASettledFileAsItIsNow) {
  const std::string path = write(first_name, bytes().text("the tables come last", 40));
  build_settings patient = settings();
  patient.closed_after = 29;
  ravo::catalogue::build(patient, {});
  EXPECT_THAT(ask_period({catalogue(), "linac", "main", 0}, march_first + 999, 0).files(),
              ElementsAre(path));
  write(first_name, {{1, march_first + 10, 0}, {2, march_first + 20, 0}});
  const later then(31);
  EXPECT_THAT(ask_period({catalogue()}, march_first + 15, march_first + 999).files(), ElementsAre(path));
  EXPECT_NE(ask_period({catalogue()}, march_first + 21, march_first + 999).status, 0);
  EXPECT_EQ(ask_time(catalogue(), 12), std::pair(seconds_and_microseconds(march_first + 10, 0),
                                                 seconds_and_microseconds(march_first + 20, 0)));
}

TEST_F(Build, LookUpsLeaveOutAFileThatSettledWithoutItsTables) {
  write(first_name, bytes().text("the tables never came", 40));
  build_settings patient = settings();
  patient.closed_after = 29;
  ravo::catalogue::build(patient, {});
  const later then(31);
  EXPECT_NE(ask_runs({catalogue()}, {12}).status, 0);
}

TEST_F(Build, TakesAFreshFileWithoutTablesFromItsNameToItsLastChange) {
  const std::string path = write(first_name, bytes().text("the tables come last", 40));
  build_settings patient = settings();
  patient.closed_after = 29;
  EXPECT_THAT(lines(ravo::catalogue::build(patient, {}).problems), IsEmpty());
  const raw_file_entry file = runs().at(0).files.at(0);
  struct stat about {};
  ASSERT_EQ(stat(path.c_str(), &about), 0);
  EXPECT_FALSE(file.complete);
  EXPECT_EQ(file.events, 0u);
  EXPECT_EQ(file.start.timeup, march_first);
  EXPECT_EQ(file.end.timeup, static_cast<std::uint32_t>(about.st_mtim.tv_sec));
  EXPECT_NE(ask_runs({catalogue()}, {12}).status, 0);
}

// The remains of a killed program may have the names of good files, in hidden folders or after a dot.
TEST_F(Build, PassesOverWhatIsHidden) {
  const std::string good = write(first_name);
  write(std::string(".ravo_convert_a1b2c3/") + first_name, bytes().text("not finished", 40));
  write(std::string(".ravo_convert_a1b2c3/") + second_name);
  write(std::string(".") + second_name);
  const build_result result = build();
  EXPECT_THAT(lines(result.problems), IsEmpty());
  EXPECT_EQ(result.raw_files, 1u);
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(good));
}

TEST_F(Build, CountsWhatIsInTheCatalogueAndWhatIsLeftOut) {
  write(first_name);
  write(second_name, bytes().text("damaged", 40));
  write("linac_main_run13_file1_20250301T002000Z.raw", bytes().text("damaged", 40));
  build_result result = build();
  EXPECT_EQ(result.raw_files, 1u);
  EXPECT_EQ(result.opened, 1u);
  EXPECT_EQ(result.runs, 1u);
  EXPECT_EQ(result.left_out, 2u);
  EXPECT_EQ(result.problems.size(), 2u);
  result = build();
  EXPECT_EQ(result.raw_files, 1u);
  EXPECT_EQ(result.opened, 0u);
  EXPECT_EQ(result.left_out, 2u);
}

TEST_F(Build, CountsTheFilesOfARunThatCannotBeWrittenAsLeftOut) {
  write(first_name);
  write("linac_main_run2012_file1_20250301T002000Z.raw");
  // A file is in the place of the folder of the runs from 2000 on.
  fs::create_directories(catalogue() + "/linac/main/runs");
  folder_.write("cat/linac/main/runs/2", {});
  const build_result result = build();
  EXPECT_EQ(result.problems.size(), 1u);
  EXPECT_EQ(result.raw_files, 1u);
  EXPECT_EQ(result.opened, 1u);
  EXPECT_EQ(result.runs, 1u);
  EXPECT_EQ(result.left_out, 1u);
}

TEST_F(Build, LetsAMovedFileTakeItsOldPlace) {
  const std::string old_path = write(first_name);
  build();
  fs::create_directory(raw() / "archive");
  fs::rename(old_path, raw() / "archive" / first_name);
  EXPECT_EQ(build().opened, 1u);
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(),
              ElementsAre((raw() / "archive" / first_name).string()));
}

TEST_F(Build, TakesOneOfTwoCopies) {
  const std::string first = write(std::string("a/") + first_name);
  write(std::string("b/") + first_name);
  EXPECT_EQ(build().raw_files, 1u);
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(first));
  EXPECT_EQ(build().opened, 0u);
}

TEST_F(Build, KeepsFilesOfOtherFoldersInTheRun) {
  const std::string first = write(std::string("a/") + first_name),
                    second = write(std::string("b/") + second_name, {{9, march_first + 700, 0}});
  for (const char* part : {"a", "b"}) {
    build_settings one = settings();
    one.raw_folder = (raw() / part).string();
    ravo::catalogue::build(one, {});
  }
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(first, second));
}

TEST_F(Build, WritesAbsolutePathsForARelativeFolder) {
  const std::string path = write(first_name);
  build_settings relative = settings();
  relative.raw_folder = fs::relative(raw()).string() + "/.";
  ravo::catalogue::build(relative, {});
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(path));
}

TEST_F(Build, StopsWhenItIsAskedTo) {
  write(first_name);
  const build_result stopped =
      ravo::catalogue::build(settings(), [](std::size_t, std::size_t) { return false; });
  EXPECT_TRUE(stopped.stopped);
  EXPECT_EQ(stopped.opened, 0u);
  std::vector<std::pair<std::size_t, std::size_t>> reported;
  const build_result whole =
      ravo::catalogue::build(settings(), [&reported](std::size_t done, std::size_t total) {
        reported.emplace_back(done, total);
        return true;
      });
  EXPECT_FALSE(whole.stopped);
  EXPECT_EQ(reported.front(), std::pair(std::size_t{0}, std::size_t{1}));
  EXPECT_EQ(reported.back(), std::pair(std::size_t{1}, std::size_t{1}));
}

TEST_F(Build, SideBySideGivesTheSameAsAlone) {
  std::vector<std::string> paths;
  for (std::uint32_t run = 1; run <= 12; ++run)
    for (std::uint32_t file = 1; file <= 5; ++file) {
      const std::uint32_t at = march_first + run * 300 + file * 60;
      char name[80];
      std::snprintf(name, sizeof name, "linac_main_run%u_file%u_20250301T%02u%02u00Z.raw", run, file,
                    (run * 300 + file * 60) / 3600, (run * 300 + file * 60) / 60 % 60);
      paths.push_back(write(name, {{file, at, 0}, {file + 1, at + 59, 0}}));
    }
  std::vector<std::thread> builders;
  std::vector<build_result> results(3);
  for (build_result& result : results) builders.emplace_back([this, &result] { result = build(); });
  for (std::thread& builder : builders) builder.join();
  for (const build_result& result : results) EXPECT_THAT(lines(result.problems), IsEmpty());
  EXPECT_EQ(build().opened, 0u);
  EXPECT_EQ(ask_period({catalogue()}, march_first, march_first + a_day).files(), paths);
}

TEST_F(Build, NamesADamagedCatalogueFileAndOpensItsFilesAgain) {
  const std::string path = write(first_name);
  build();
  const std::string run = catalogue() + "/linac/main/runs/0/run12.xml";
  fs::resize_file(run, 100);
  const build_result result = build();
  EXPECT_EQ(result.opened, 1u);
  EXPECT_THAT(lines(result.problems), ElementsAre(StartsWith(run + ": ")));
  EXPECT_THAT(ask_runs({catalogue()}, {12}).files(), ElementsAre(path));
}

}  // namespace
