// Look-ups in run catalogues of a thousand to a hundred thousand raw files: a period of five minutes, one
// run, and the time of a run. For comparison, the same catalogue files are only read into memory; and for
// the period all runs are asked, as would be necessary without an index of days.
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

#include "bench_files.h"
#include "catalogue/search.h"
#include "ravo_run_catalogue.h"

namespace {

using namespace ravo::bench;
using namespace ravo::catalogue;

// Runs of fifty files of a minute each, ten minutes apart: a day has 24 runs.
constexpr int files_a_run = 50;
constexpr std::uint32_t file_seconds = 60;
constexpr std::uint32_t run_seconds = 3600;
constexpr std::uint32_t first_second = 1740787200;  // 2025-03-01T00:00:00Z

run_entry make_run(int number) {
  run_entry run{"linac", "main", number, {}, {}, {}};
  const std::uint32_t start = first_second + static_cast<std::uint32_t>(number) * run_seconds;
  for (std::uint32_t i = 0; i < files_a_run; ++i) {
    raw_file_entry file;
    file.path = "/daq_data/linac/raw/linac_main_run" + std::to_string(number) + "_file" +
                std::to_string(i + 1) + "_20250301T000000Z.raw";
    file.bytes = 200'000'000;
    file.modified = 1740787200000000000 + number;
    file.events = 600;
    file.start = {start + i * file_seconds, 104512};
    file.end = {start + (i + 1) * file_seconds - 1, 904512};
    run.files.push_back(file);
  }
  return run;
}

// A catalogue of that many runs; made when first asked for.
const std::string& catalogue_of(int runs) {
  static std::map<int, std::string> made;
  std::string& directory = made[runs];
  if (!directory.empty()) return directory;
  directory = folder() + "/catalogue" + std::to_string(runs);
  std::vector<run_entry> all;
  for (int run = 0; run < runs; ++run) all.push_back(make_run(run));
  if (!add_runs(directory, all).empty()) throw std::runtime_error("the catalogue cannot be written");
  return directory;
}

std::size_t read_bare(const std::vector<std::string>& paths) {
  std::size_t bytes = 0;
  for (const std::string& path : paths) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    bytes += text.size();
    benchmark::DoNotOptimize(text.data());
  }
  return bytes;
}

// Times a look-up through the public operation, compared with reading the files that it needs.
template <class LookUp>
void compare(benchmark::State& state, const std::vector<std::string>& needed, LookUp look_up) {
  comparison times;
  for (auto unused : state) {
    (void)unused;
    double begin = now();
    if (look_up() != 0) throw std::runtime_error("no answer");
    const double library = now() - begin;
    state.SetIterationTime(library);
    begin = now();
    read_bare(needed);
    times.add(library, now() - begin);
  }
  state.counters["of_bare"] = times.of_bare();
  state.counters["raw_files"] = static_cast<double>(state.range(0)) * files_a_run;
}

int runs_of(const benchmark::State& state) { return static_cast<int>(state.range(0)); }

// Five minutes in the middle of a run in the middle of the catalogue.
struct five_minutes {
  explicit five_minutes(int runs)
      : run(runs / 2), start(first_second + static_cast<std::uint32_t>(run) * run_seconds + 600) {}
  int run;
  std::uint32_t start;
  std::uint32_t stop() const { return start + 299; }
};

void catalogue_period(benchmark::State& state) {
  const std::string& directory = catalogue_of(runs_of(state));
  const five_minutes when(runs_of(state));
  stream_catalogue catalogue(directory, "linac", "main");
  const search_result found = find_period(catalogue, when.start, when.stop(), wanted_files::complete);
  if (found.runs.size() != 1 || found.runs[0].files.size() != 5) throw std::runtime_error("a wrong answer");
  const std::vector<std::string> needed = {catalogue.layout().day_file(when.start / 86400),
                                           catalogue.layout().run_file(when.run)};
  state.counters["catalogue_files_read"] = static_cast<double>(catalogue.files_read());
  compare(state, needed, [&] {
    std::vector<ravo_root_xml_files*> answer;
    const int status =
        get_files_for_period(when.start, when.stop(), &answer, "linac", "main", directory.c_str(), 1);
    ravo_free_root_xml_files(&answer);
    return status;
  });
}

void catalogue_period_without_index(benchmark::State& state) {
  const std::string& directory = catalogue_of(runs_of(state));
  const five_minutes when(runs_of(state));
  std::vector<int> all;
  for (int run = 0; run < runs_of(state); ++run) all.push_back(run);
  for (auto unused : state) {
    (void)unused;
    stream_catalogue catalogue(directory, "linac", "main");
    benchmark::DoNotOptimize(find_runs(catalogue, all, wanted_files::complete));
    state.counters["catalogue_files_read"] = static_cast<double>(catalogue.files_read());
  }
  state.counters["raw_files"] = static_cast<double>(state.range(0)) * files_a_run;
}

void catalogue_run(benchmark::State& state) {
  const std::string& directory = catalogue_of(runs_of(state));
  int run = runs_of(state) / 2;
  const std::vector<int*> runs{&run};
  state.counters["catalogue_files_read"] = 1;
  compare(state, {stream_layout(directory, "linac", "main").run_file(run)}, [&] {
    std::vector<ravo_root_xml_files*> answer;
    const int status = get_files_for_runs(&runs, &answer, "linac", "main", directory.c_str(), 1);
    ravo_free_root_xml_files(&answer);
    return status;
  });
}

void catalogue_run_time(benchmark::State& state) {
  const std::string& directory = catalogue_of(runs_of(state));
  const int run = runs_of(state) / 2;
  state.counters["catalogue_files_read"] = 1;
  compare(state, {stream_layout(directory, "linac", "main").run_file(run)}, [&] {
    time_stamp start{}, end{};
    return get_time_for_run(run, &start, &end, "linac", directory.c_str());
  });
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("runs")->Arg(20)->Arg(200)->Arg(2000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(catalogue_period)->Apply(sizes)->UseManualTime();
BENCHMARK(catalogue_run)->Apply(sizes)->UseManualTime();
BENCHMARK(catalogue_run_time)->Apply(sizes)->UseManualTime();
BENCHMARK(catalogue_period_without_index)->Apply(sizes);

}  // namespace
