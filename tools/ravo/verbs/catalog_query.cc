// ravo catalog list and ravo catalog find: which runs a catalogue knows, and which raw files it answers to
// a request. Finding goes through the look-ups that the reader calls, so that it shows what a reader gets.
#include <fmt/format.h>

#include <functional>
#include <memory>
#include <numeric>

#include "common/escaping.h"
#include "common/failure.h"
#include "common/json_lines.h"
#include "common/request_options.h"
#include "common/times.h"
#include "ravo_run_catalogue.h"
#include "ravo_run_catalogue_builder.h"
#include "verbs/catalog.h"

namespace ravo::tool {
namespace {

// ---- list -----------------------------------------------------------------------------------------

struct run_row {
  std::size_t growing = 0;
  std::uint64_t events = 0;
  std::uint64_t bytes = 0;
};

run_row sum(const catalogue::run_entry& run) {
  run_row row;
  for (const catalogue::raw_file_entry& file : run.files) {
    row.growing += file.complete ? 0 : 1;
    row.events += file.events;
    row.bytes += file.bytes;
  }
  return row;
}

bool has_time(const catalogue::run_entry& run) { return run.end.timeup != 0; }

void print_heading(output& out) {
  out.format("{}{:<12} {:<12} {:>10}  {:<27}  {:<27}  {:>7}  {:>7}  {:>12}  {:>15}{}\n", out.dim(),
             "experiment", "stream", "run", "start", "end", "files", "growing", "events", "bytes",
             out.plain());
}

void print_run(const catalogue::run_entry& run, bool as_json, output& out) {
  const run_row row = sum(run);
  if (as_json) {
    out.print(json_line({{"experiment", run.experiment},
                         {"stream", run.stream},
                         {"run", run.run},
                         {"start", has_time(run) ? json(format_time(run.start)) : json()},
                         {"end", has_time(run) ? json(format_time(run.end)) : json()},
                         {"files", run.files.size()},
                         {"growing", row.growing},
                         {"events", row.events},
                         {"bytes", row.bytes}}));
    return;
  }
  out.format("{:<12} {:<12} {:>10}  {:<27}  {:<27}  {:>7}  {:>7}  {:>12}  {:>15}\n", run.experiment,
             run.stream, run.run, has_time(run) ? format_time(run.start) : "-",
             has_time(run) ? format_time(run.end) : "-", run.files.size(), row.growing, row.events,
             row.bytes);
}

// ---- find -----------------------------------------------------------------------------------------

struct free_answer {
  void operator()(std::vector<ravo_root_xml_files*>* list) const {
    ravo_free_root_xml_files(list);
    delete list;
  }
};
using answer = std::unique_ptr<std::vector<ravo_root_xml_files*>, free_answer>;

// The two times in the order in which they were given; the second one may depend on the first.
std::pair<time_stamp, time_stamp> read_period(const catalog_query_options& asked) {
  time_context context{current_time(), zone_option(asked.zone), {}};
  const time_stamp from = time_option("--period", asked.period[0], context);
  context.from = from;
  const time_stamp to = time_option("--period", asked.period[1], context);
  if (microseconds(from) > microseconds(to))
    throw usage_failure(fmt::format("--period: {} is after {}", asked.period[0], asked.period[1]));
  return {from, to};
}

// As a reader asks, which wants complete files; or all files.
using search = std::function<int(std::vector<ravo_root_xml_files*>& found, int only_closed)>;

search search_for_runs(const catalog_query_options& asked) {
  const run_range range = runs_option(asked.runs);
  return [&asked, range](std::vector<ravo_root_xml_files*>& found, int only_closed) {
    std::vector<int> numbers(static_cast<std::size_t>(range.last - range.first) + 1);
    std::iota(numbers.begin(), numbers.end(), range.first);
    std::vector<int*> runs;
    for (int& number : numbers) runs.push_back(&number);
    return get_files_for_runs(&runs, &found, asked.experiment.c_str(), asked.stream.c_str(),
                              asked.directory.c_str(), only_closed);
  };
}

search search_for_period(const catalog_query_options& asked) {
  const auto limits = read_period(asked);
  return [&asked, limits](std::vector<ravo_root_xml_files*>& found, int only_closed) {
    return get_files_for_period(limits.first.timeup, limits.second.timeup, &found, asked.experiment.c_str(),
                                asked.stream.c_str(), asked.directory.c_str(), only_closed);
  };
}

std::string request_text(const catalog_query_options& asked) {
  return asked.runs.empty() ? fmt::format("from {} to {}", asked.period[0], asked.period[1])
                            : "of run " + asked.runs;
}

[[noreturn]] void fail_to_find(const catalog_query_options& asked, const search& find) {
  std::string which = "files", hint;
  if (!asked.growing) {
    const answer growing(new std::vector<ravo_root_xml_files*>);
    if (find(*growing, 0) == 0) {
      which = "complete files";
      hint = "; --growing gives those that may still grow";
    }
  }
  throw data_failure(fmt::format("{}: the catalogue knows no {} {} of experiment {}, stream {}{}",
                                 asked.directory, which, request_text(asked), asked.experiment,
                                 asked.stream, hint));
}

}  // namespace

void list_catalog(const catalog_list_options& asked, output& out) {
  std::size_t runs = 0;
  const auto damaged = catalogue::visit_runs(asked.directory, asked.experiment, asked.stream,
                                             [&](const catalogue::run_entry& run) {
                                               if (++runs == 1 && !asked.json) print_heading(out);
                                               print_run(run, asked.json, out);
                                             });
  for (const catalogue::file_problem& problem : damaged)
    tell("ravo: {} is passed over: {}\n", problem.file, problem.text);
  if (!damaged.empty()) throw data_failure(asked.directory + ": the catalogue is damaged; build it again");
  if (runs == 0) throw data_failure(asked.directory + ": no run is catalogued there");
}

void query_catalog(const catalog_query_options& asked, output& out) {
  if (asked.runs.empty() == asked.period.empty())
    throw usage_failure("say what to find: --run N[-M] or --period TIME TIME");
  const search find = asked.runs.empty() ? search_for_period(asked) : search_for_runs(asked);
  const answer found(new std::vector<ravo_root_xml_files*>);
  const int status = find(*found, asked.growing ? 0 : 1);
  const std::string said = out.take_library_output();
  if (!said.empty()) tell("{}\n", as_it_is{printable_lines(said)});
  if (status != 0) fail_to_find(asked, find);
  for (const ravo_root_xml_files* run : *found)
    for (const std::string* file : run->rfiles)
      if (asked.json)
        out.print(json_line({{"file", *file}, {"catalogue", *run->xmlfile}}));
      else
        out.print_line(*file);
}

}  // namespace ravo::tool
