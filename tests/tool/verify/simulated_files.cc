#include "simulated_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>

namespace ravo::test {
namespace {

struct clean_run {
  explicit clean_run(ravo_file_generation generation)
      : made(simulator::simulate(small_run(folder.path().string(), generation), {}, {})) {}
  temporary_folder folder;
  simulator::simulation_result made;
};

// Each is made on first use: a test is a process, and mostly needs only one of them.
const clean_run& clean(ravo_file_generation generation) {
  if (generation == ravo_file_generation::current) {
    static const clean_run current(ravo_file_generation::current);
    return current;
  }
  static const clean_run older(ravo_file_generation::older);
  return older;
}

std::string name_of(const std::string& path) {
  return path.empty() ? "-" : std::filesystem::path(path).filename().string();
}

template <class Place>
std::string line(const std::string& file, const std::string& kind, const Place& at, std::uint64_t count) {
  return fmt::format("{} {} {} {} {} x{}", name_of(file), kind, at.channel.empty() ? "-" : at.channel,
                     at.event ? std::to_string(*at.event) : "-",
                     at.offset ? std::to_string(*at.offset) : "-", count);
}

}  // namespace

simulator::settings small_run(const std::string& folder, ravo_file_generation generation) {
  simulator::settings what;
  what.folder = folder;
  what.generation = generation;
  what.files = 3;
  what.events = 30;
  what.counts = {3, 3, 2, 1, 1, 2, 1, 1, 2, 2, 1, 1};
  return what;
}

copied_run::copied_run(ravo_file_generation generation) {
  for (const std::string& file : clean(generation).made.files) {
    made.files.push_back(folder.file(std::filesystem::path(file).filename().string()));
    std::filesystem::copy_file(file, made.files.back());
  }
}

std::vector<checks::finding> findings_of(const std::vector<std::string>& files, verification_depth deep,
                                         unsigned threads) {
  std::vector<checks::finding> all;
  checks::run_checker runs;
  for (const checks::run_files& run : checks::group_by_run(files)) {
    runs.begin(run.name);
    for (const checks::run_file& file : run.files) {
      checks::file_result result = checks::check_file(file.path, deep, threads, [](std::uint64_t) {});
      runs.take(result, file.number);
      for (checks::finding one : result.findings.list()) {
        one.file = name_of(file.path);
        all.push_back(std::move(one));
      }
    }
  }
  return all;
}

std::string line_of(const checks::finding& what) {
  return line(what.file, checks::row_of(what.kind).code, what.first, what.count);
}

std::vector<std::string> lines_of(const std::vector<checks::finding>& findings) {
  std::vector<std::string> lines;
  for (const checks::finding& one : findings) lines.push_back(line_of(one));
  std::sort(lines.begin(), lines.end());
  return lines;
}

std::vector<std::string> lines_of(const std::vector<simulator::expectation>& expected) {
  std::vector<std::string> lines;
  for (const simulator::expectation& file : expected)
    for (const simulator::expected_finding& one : file.findings)
      lines.push_back(line(file.file, one.kind, one, one.count));
  std::sort(lines.begin(), lines.end());
  return lines;
}

}  // namespace ravo::test
