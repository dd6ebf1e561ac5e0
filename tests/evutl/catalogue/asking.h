// What tests of the catalogue share: entries put together in one line, and questions whose answers are
// plain values. Times are given by their texts' parts or as seconds, never by the code under test.
#ifndef RAVO_TEST_CATALOGUE_ASKING_H
#define RAVO_TEST_CATALOGUE_ASKING_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ravo_run_catalogue.h"
#include "ravo_run_catalogue_builder.h"

namespace ravo::test {

using catalogue::raw_file_entry;
using catalogue::run_entry;

/// 2025-03-01T00:00:00Z.
inline constexpr std::uint32_t march_first = 1740787200;
inline constexpr std::uint32_t a_day = 86400;

inline raw_file_entry entry(std::string path, time_stamp start, time_stamp end, std::uint64_t events = 10) {
  raw_file_entry file;
  file.path = std::move(path);
  file.bytes = 1000;
  file.modified = 7;
  file.events = events;
  file.start = start;
  file.end = end;
  return file;
}

inline raw_file_entry entry(std::string path, std::uint32_t start, std::uint32_t end) {
  return entry(std::move(path), time_stamp{start, 0}, time_stamp{end, 0});
}

inline run_entry run_of(int number, std::vector<raw_file_entry> files, std::string stream = "main",
                        std::string experiment = "linac") {
  run_entry run;
  run.experiment = std::move(experiment);
  run.stream = std::move(stream);
  run.run = number;
  run.files = std::move(files);
  return run;
}

/// One record of an answer.
struct answered_run {
  std::string catalogue_file;
  std::vector<std::string> files;
};

struct answer {
  int status = 0;
  std::vector<answered_run> runs;

  std::vector<std::string> files() const {
    std::vector<std::string> all;
    for (const answered_run& run : runs) all.insert(all.end(), run.files.begin(), run.files.end());
    return all;
  }
};

inline answer plain(int status, std::vector<ravo_root_xml_files*>& found) {
  answer result{status, {}};
  for (const ravo_root_xml_files* one : found) {
    result.runs.push_back({*one->xmlfile, {}});
    for (const std::string* file : one->rfiles) result.runs.back().files.push_back(*file);
  }
  ravo_free_root_xml_files(&found);
  return result;
}

/// Where a question goes, and whether files that are not complete may be in the answer.
struct asked {
  std::string directory;
  std::string experiment = "linac";
  std::string stream = "main";
  int only_closed = 1;
};

inline answer ask_runs(const asked& where, std::vector<int> numbers) {
  std::vector<int*> runs;
  for (int& number : numbers) runs.push_back(&number);
  std::vector<ravo_root_xml_files*> found;
  const int status = get_files_for_runs(&runs, &found, where.experiment.c_str(), where.stream.c_str(),
                                        where.directory.c_str(), where.only_closed);
  return plain(status, found);
}

inline answer ask_period(const asked& where, std::uint32_t start, std::uint32_t stop) {
  std::vector<ravo_root_xml_files*> found;
  const int status = get_files_for_period(start, stop, &found, where.experiment.c_str(),
                                          where.stream.c_str(), where.directory.c_str(), where.only_closed);
  return plain(status, found);
}

using seconds_and_microseconds = std::pair<std::uint32_t, std::uint32_t>;

/// Start and end; nothing when the catalogue does not know the run.
inline std::optional<std::pair<seconds_and_microseconds, seconds_and_microseconds>> ask_time(
    const std::string& directory, int run, const std::string& experiment = "linac") {
  time_stamp start{1, 2}, end{3, 4};
  if (get_time_for_run(run, &start, &end, experiment.c_str(), directory.c_str()) != 0) return std::nullopt;
  return std::pair(seconds_and_microseconds{start.timeup, start.timelow},
                   seconds_and_microseconds{end.timeup, end.timelow});
}

/// The problems as lines "file: text", for comparing and for messages.
inline std::vector<std::string> lines(const std::vector<catalogue::file_problem>& problems) {
  std::vector<std::string> all;
  for (const auto& problem : problems) all.push_back(problem.file + ": " + problem.text);
  return all;
}

}  // namespace ravo::test

#endif
