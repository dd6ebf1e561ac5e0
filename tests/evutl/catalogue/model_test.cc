// A generated archive of several experiments and streams with thousands of files, compared with a model
// that checks every file: which ones a request must give follows from two comparisons.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "asking.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;

class archive {
 public:
  archive() : numbers_(20250301) {
    for (const char* experiment : {"linac", "ring", "a_b"})
      for (const char* stream : {"main", "fast", "b_c"}) fill(experiment, stream);
    problems = ravo::catalogue::add_runs(directory(), runs);
  }
  std::string directory() const { return folder_.file("cat"); }
  std::uint32_t number(std::uint32_t least, std::uint32_t most) {
    return least + static_cast<std::uint32_t>(numbers_() % (std::uint64_t{most} - least + 1));
  }

  std::vector<run_entry> runs;
  std::vector<ravo::catalogue::file_problem> problems;

 private:
  // Two years around a turn of the year; runs overlap, pause, cross midnights and lie on top of each other.
  void fill(const std::string& experiment, const std::string& stream) {
    std::uint32_t now = 1735689600 - 20 * a_day + number(0, a_day);
    for (int i = 0; i < 60; ++i) {
      const int run = 950 + i * 3;
      std::vector<raw_file_entry> files;
      std::uint32_t at = now;
      for (std::uint32_t left = number(1, 14); left > 0; --left) {
        const std::uint32_t end = at + number(0, 1) * number(0, 7200);
        const std::string path = "/raw/" + experiment + "_" + stream + "_run" + std::to_string(run) +
                                 "_file" + std::to_string(left) + ".raw";
        files.push_back(entry(path, {at, number(0, 999999)}, {end, 999999}));
        if (number(0, 19) == 0) files.back().complete = false;
        if (number(0, 29) == 0) files.back() = entry(path, time_stamp{}, time_stamp{}, 0);
        at = end + number(0, 600);
      }
      runs.push_back(run_of(run, files, stream, experiment));
      now = number(0, 9) == 0 ? at + number(0, 20 * a_day) : at - std::min(at - now, number(0, 3000));
    }
  }

  temporary_folder folder_;
  std::mt19937_64 numbers_;
};

archive& the_archive() {
  static archive one;
  return one;
}

std::vector<std::string> sorted(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  return names;
}

bool may_be_given(const raw_file_entry& file, const asked& where) {
  return file.events > 0 && (file.complete || where.only_closed == 0);
}

std::vector<std::string> model_period(const asked& where, std::uint32_t start, std::uint32_t stop) {
  std::vector<std::string> files;
  for (const run_entry& run : the_archive().runs)
    if (run.experiment == where.experiment && run.stream == where.stream)
      for (const raw_file_entry& file : run.files)
        if (may_be_given(file, where) && file.start.timeup <= stop && file.end.timeup >= start)
          files.push_back(file.path);
  return sorted(files);
}

std::vector<std::string> model_runs(const asked& where, const std::vector<int>& numbers) {
  std::vector<std::string> files;
  for (const run_entry& run : the_archive().runs)
    if (run.experiment == where.experiment && run.stream == where.stream &&
        std::find(numbers.begin(), numbers.end(), run.run) != numbers.end())
      for (const raw_file_entry& file : run.files)
        if (may_be_given(file, where)) files.push_back(file.path);
  return sorted(files);
}

asked any_stream() {
  static const char* const experiments[] = {"linac", "ring", "a_b"};
  static const char* const streams[] = {"main", "fast", "b_c"};
  return {the_archive().directory(), experiments[the_archive().number(0, 2)],
          streams[the_archive().number(0, 2)], static_cast<int>(the_archive().number(0, 1))};
}

void expect_period(const asked& where, std::uint32_t start, std::uint32_t stop) {
  const answer found = ask_period(where, start, stop);
  const std::vector<std::string> expected = model_period(where, start, stop);
  EXPECT_EQ(sorted(found.files()), expected)
      << where.experiment << " " << where.stream << " " << start << " " << stop;
  EXPECT_EQ(found.status == 0, !expected.empty());
}

TEST(Model, TakesTheWholeArchive) {
  EXPECT_THAT(lines(the_archive().problems), testing::IsEmpty());
  std::size_t files = 0;
  for (const run_entry& run : the_archive().runs) files += run.files.size();
  EXPECT_GT(files, 3000u);
}

TEST(Model, GivesTheFilesOfAnyPeriod) {
  for (int i = 0; i < 400; ++i) {
    const asked where = any_stream();
    const std::uint32_t start = 1735689600 - 21 * a_day + the_archive().number(0, 120 * a_day);
    const std::uint32_t lengths[] = {0, 300, 7200, 3 * a_day, 60 * a_day};
    expect_period(where, start, start + the_archive().number(0, lengths[the_archive().number(0, 4)]));
  }
}

TEST(Model, GivesTheFilesOfPeriodsThatBeginOrEndWhereAFileDoes) {
  for (std::size_t i = 0; i < the_archive().runs.size(); i += 5) {
    const run_entry& run = the_archive().runs[i];
    const asked where{the_archive().directory(), run.experiment, run.stream, 1};
    for (const raw_file_entry& file : run.files) {
      if (file.events == 0) continue;
      expect_period(where, file.end.timeup, file.end.timeup);
      expect_period(where, file.end.timeup + 1, file.end.timeup + 60);
      expect_period(where, file.start.timeup - 60, file.start.timeup);
      expect_period(where, file.start.timeup - 60, file.start.timeup - 1);
    }
  }
}

TEST(Model, GivesTheFilesOfPeriodsAtMidnights) {
  for (std::uint32_t day = 0; day < 40; ++day) {
    const std::uint32_t midnight = 1735689600 - 20 * a_day + day * a_day;
    const asked where = any_stream();
    expect_period(where, midnight - 1, midnight - 1);
    expect_period(where, midnight, midnight);
    expect_period(where, midnight - 1, midnight);
    expect_period(where, midnight, midnight + a_day - 1);
  }
}

TEST(Model, GivesTheFilesOfAnyRuns) {
  for (int i = 0; i < 200; ++i) {
    const asked where = any_stream();
    const int first = static_cast<int>(the_archive().number(940, 1140));
    std::vector<int> runs;
    for (std::uint32_t left = the_archive().number(1, 30); left > 0; --left)
      runs.push_back(first + static_cast<int>(runs.size()));
    const answer found = ask_runs(where, runs);
    const std::vector<std::string> expected = model_runs(where, runs);
    EXPECT_EQ(sorted(found.files()), expected) << first << " " << runs.size();
    EXPECT_EQ(found.status == 0, !expected.empty());
  }
}

TEST(Model, GivesTheTimeOfEveryRunOverItsStreams) {
  std::map<std::pair<std::string, int>, std::pair<seconds_and_microseconds, seconds_and_microseconds>>
      times;
  for (const run_entry& run : the_archive().runs)
    for (const raw_file_entry& file : run.files) {
      if (file.events == 0) continue;
      const seconds_and_microseconds start(file.start.timeup, file.start.timelow),
          end(file.end.timeup, file.end.timelow);
      const auto [place, is_new] = times.try_emplace({run.experiment, run.run}, start, end);
      place->second = {std::min(place->second.first, start), std::max(place->second.second, end)};
    }
  for (const auto& [run, time] : times)
    EXPECT_EQ(ask_time(the_archive().directory(), run.second, run.first), time) << run.first << run.second;
}

}  // namespace
