// ravo catalog: builds a run catalogue from raw files, lists its runs, and
// finds the raw files with which it answers a request. It searches with
// the functions that the reader calls, and so shows what a reader gets.
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "common/failure.h"
#include "common/help_format.h"
#include "common/interrupt.h"
#include "common/progress.h"
#include "common/request_options.h"
#include "common/times.h"
#include "format/folders.h"
#include "format/time.h"
#include "ravo_run_catalogue.h"
#include "ravo_run_catalogue_builder.h"
#include "shared/escaping.h"
#include "shared/json_lines.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct catalog_build_options {
  std::string raw_folder;
  std::string directory;
  std::string experiment;  // empty: taken from the file names
  int threads = 0;         // 0: as many as there are processors
  bool json = false;
};

struct catalog_find_options {
  std::string directory = "/daq/ravo/admtemp/";
  std::string experiment = "linac";
  std::string stream = "main";
  std::string runs;                 // "1207" or "1207-1210"; empty: not asked for
  std::vector<std::string> period;  // two times, or none
  std::string zone = "UTC";         // of the times
  bool growing = false;             // files that are not complete too
  bool json = false;
};

struct catalog_list_options {
  std::string directory = "/daq/ravo/admtemp/";
  std::string experiment;  // empty: all
  std::string stream;      // empty: all
  bool json = false;
};

// ---- build

// The reader's own switch: if readers take files that were just closed, the catalogue lists them too.
bool takes_fresh_files() { return std::getenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME") != nullptr; }

bool was_interrupted() {
  try {
    check_for_interrupt();
    return false;
  } catch (const interrupted&) {
    return true;
  }
}

catalogue::build_result build_with_progress(const catalogue::build_settings& settings) {
  progress_bar bar("cataloguing");
  return catalogue::build(settings, [&bar](std::size_t done, std::size_t total) {
    if (was_interrupted()) return false;
    bar.show(static_cast<double>(done) / static_cast<double>(std::max<std::size_t>(total, 1)));
    return true;
  });
}

void report(const catalogue::build_result& result, const catalog_build_options& asked, output& out) {
  for (const catalogue::file_problem& problem : result.problems)
    print_message("ravo: {}: {}\n", problem.file, problem.text);
  if (asked.json) {
    json line{{"catalogue", asked.directory}, {"files", result.raw_files}, {"runs", result.runs},
              {"opened", result.opened},      {"growing", result.growing}, {"left_out", result.left_out},
              {"problems", json::array()}};
    for (const catalogue::file_problem& problem : result.problems)
      line["problems"].push_back({{"file", problem.file}, {"problem", problem.text}});
    out.print(json_line(line));
    return;
  }
  out.format("{}: {} file{} of {} run{}, {} opened, {} still growing{}\n", asked.directory,
             result.raw_files, result.raw_files == 1 ? "" : "s", result.runs, result.runs == 1 ? "" : "s",
             result.opened, result.growing,
             result.left_out == 0 ? "" : fmt::format(", {} left out", result.left_out));
}

void build_catalog(const catalog_build_options& asked, output& out) {
  if (!is_folder(asked.raw_folder))
    throw data_failure(fmt::format("{}: {}", asked.raw_folder,
                                   uninterrupted::access(asked.raw_folder.c_str(), F_OK) == 0
                                       ? "is not a folder"
                                       : std::strerror(errno)));
  catalogue::build_settings settings;
  settings.raw_folder = asked.raw_folder;
  settings.catalogue_directory = asked.directory;
  settings.experiment = asked.experiment;
  settings.threads = asked.threads;
  if (takes_fresh_files()) settings.closed_after = -1;
  const catalogue::build_result result = build_with_progress(settings);
  report(result, asked, out);
  check_for_interrupt();
  if (result.problems.empty()) return;
  throw data_failure(asked.directory + ": what is named above is left out");
}

// ---- list

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
                         {"start", has_time(run) ? json(time_text(run.start)) : json()},
                         {"end", has_time(run) ? json(time_text(run.end)) : json()},
                         {"files", run.files.size()},
                         {"growing", row.growing},
                         {"events", row.events},
                         {"bytes", row.bytes}}));
    return;
  }
  out.format("{:<12} {:<12} {:>10}  {:<27}  {:<27}  {:>7}  {:>7}  {:>12}  {:>15}\n", run.experiment,
             run.stream, run.run, has_time(run) ? time_text(run.start) : "-",
             has_time(run) ? time_text(run.end) : "-", run.files.size(), row.growing, row.events,
             row.bytes);
}

// ---- find

struct free_answer {
  void operator()(std::vector<ravo_root_xml_files*>* list) const {
    ravo_free_root_xml_files(list);
    delete list;
  }
};
using answer = std::unique_ptr<std::vector<ravo_root_xml_files*>, free_answer>;

// The two times in the order in which they were given; the second one may depend on the first.
std::pair<time_stamp, time_stamp> read_period(const catalog_find_options& asked) {
  time_context context{current_time(), zone_option(asked.zone), {}};
  const time_stamp from = time_option("--period", asked.period[0], context);
  context.from = from;
  const time_stamp to = time_option("--period", asked.period[1], context);
  if (microseconds(from) > microseconds(to))
    throw usage_failure(fmt::format("--period: {} is after {}", asked.period[0], asked.period[1]));
  return {from, to};
}

// Searches for complete files only, as a reader does, or for all files.
using search = std::function<int(std::vector<ravo_root_xml_files*>& found, int only_closed)>;

search search_for_runs(const catalog_find_options& asked) {
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

search search_for_period(const catalog_find_options& asked) {
  const auto limits = read_period(asked);
  return [&asked, limits](std::vector<ravo_root_xml_files*>& found, int only_closed) {
    return get_files_for_period(limits.first.timeup, limits.second.timeup, &found, asked.experiment.c_str(),
                                asked.stream.c_str(), asked.directory.c_str(), only_closed);
  };
}

std::string request_text(const catalog_find_options& asked) {
  return asked.runs.empty() ? fmt::format("from {} to {}", asked.period[0], asked.period[1])
                            : "of run " + asked.runs;
}

[[noreturn]] void fail_to_find(const catalog_find_options& asked, const search& find) {
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

void list_catalog(const catalog_list_options& asked, output& out) {
  std::size_t runs = 0;
  const auto damaged = catalogue::visit_runs(asked.directory, asked.experiment, asked.stream,
                                             [&](const catalogue::run_entry& run) {
                                               if (++runs == 1 && !asked.json) print_heading(out);
                                               print_run(run, asked.json, out);
                                             });
  for (const catalogue::file_problem& problem : damaged)
    print_message("ravo: {} is passed over: {}\n", problem.file, problem.text);
  if (!damaged.empty()) throw data_failure(asked.directory + ": the catalogue is damaged; build it again");
  if (runs == 0) throw data_failure(asked.directory + ": no run is catalogued there");
}

void find_in_catalog(const catalog_find_options& asked, output& out) {
  if (asked.runs.empty() == asked.period.empty())
    throw usage_failure("say what to find: --run N[-M] or --period TIME TIME");
  const search find = asked.runs.empty() ? search_for_period(asked) : search_for_runs(asked);
  const answer found(new std::vector<ravo_root_xml_files*>);
  const int status = find(*found, asked.growing ? 0 : 1);
  const std::string said = out.take_library_output();
  if (!said.empty()) print_message("{}\n", as_it_is{printable_lines(said)});
  if (status != 0) fail_to_find(asked, find);
  for (const ravo_root_xml_files* run : *found)
    for (const std::string* file : run->rfiles)
      if (asked.json)
        out.print(json_line({{"file", *file}, {"catalogue", *run->xmlfile}}));
      else
        out.print_line(*file);
}

// ---- the command line

CLI::App* add_build(CLI::App& command, catalog_build_options& asked) {
  CLI::App* part = command.add_subcommand("build", "Make or extend a catalogue from raw files");
  part->add_option("DIR", asked.raw_folder, "Raw files of this folder and those below it")
      ->required()
      ->type_name("");
  part->add_option("--into", asked.directory, "Catalogue directory; made when it is not there")
      ->required()
      ->type_name("CDIR");
  part->add_option("--experiment", asked.experiment,
                   "Only files of this one; needed when a stream's name has an underscore")
      ->type_name("NAME");
  part->add_option("--threads", asked.threads, "Files opened at a time  [one a processor]")
      ->type_name("N")
      ->check(in_range(1, 64));
  part->add_flag("--json", asked.json, "The outcome as one JSON object");
  part->footer(R"(Examples:
  ravo catalog build /data/linac --into /daq/ravo/admtemp
  ravo catalog build demo --into demo/catalogue --json

Files that the catalogue knows, with the same size and time of change, are not opened again. A file that
cannot be used is named and skipped; the exit code is then 1, and all other files are in the catalogue. One
that changed within the last 29 seconds is entered as still growing, and looked at again next time; not so
when RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME is set.)");
  return part;
}

CLI::App* add_list(CLI::App& command, catalog_list_options& asked) {
  CLI::App* part = command.add_subcommand("list", "Say which runs a catalogue knows");
  part->add_option("CDIR", asked.directory, "Catalogue directory")->type_name("")->capture_default_str();
  part->add_option("--experiment", asked.experiment, "Only this experiment")->type_name("NAME");
  part->add_option("--stream", asked.stream, "Only this stream")->type_name("NAME");
  part->add_flag("--json", asked.json, "One JSON object a run");
  part->footer(R"(Examples:
  ravo catalog list demo/catalogue
  ravo catalog list --experiment linac --json | jq 'select(.growing > 0) | .run')");
  return part;
}

CLI::App* add_find(CLI::App& command, catalog_find_options& asked) {
  CLI::App* part = command.add_subcommand("find", "Name the raw files of runs or of a period");
  part->add_option("CDIR", asked.directory, "Catalogue directory")->type_name("")->capture_default_str();
  part->add_option("--experiment", asked.experiment, "Experiment")
      ->type_name("NAME")
      ->capture_default_str();
  part->add_option("--stream", asked.stream, "Stream")->type_name("NAME")->capture_default_str();
  CLI::Option* runs = part->add_option("--run", asked.runs, "A run, or the first and the last one: 7-9")
                          ->type_name("N[-M]");
  part->add_option("--period", asked.period, "From this time to that one")
      ->expected(2)
      ->excludes(runs)
      ->type_name("TIME TIME");
  part->add_option("--tz", asked.zone, "Time zone of the times: a name or an offset")
      ->type_name("ZONE")
      ->capture_default_str();
  part->add_flag("--growing", asked.growing, "Files that may still grow, too");
  part->add_flag("--json", asked.json, "One JSON object a file");
  part->footer(R"(Examples:
  ravo catalog find demo/catalogue --run 1
  ravo catalog find --run 1207-1209 --stream fast
  ravo catalog find --period 2025-03-01T14:00 2025-03-01T14:05 | xargs ravo read -c LINAC/BPM/001

Prints the paths of the files, as a reader gets them; with --json also the catalogue file that lists each.)");
  return part;
}

}  // namespace

verb catalog_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("catalog", "Make, list and ask a catalogue of runs");
  const auto build = std::make_shared<catalog_build_options>();
  const auto list = std::make_shared<catalog_list_options>();
  const auto find = std::make_shared<catalog_find_options>();
  const CLI::App* build_part = add_build(*command, *build);
  const CLI::App* list_part = add_list(*command, *list);
  const CLI::App* find_part = add_find(*command, *find);
  command->footer(R"(Examples:
  ravo catalog build demo --into demo/catalogue
  ravo catalog list demo/catalogue
  ravo catalog find demo/catalogue --run 1

`ravo catalog build --help` and so on explain the parts. Each takes --json.)");
  return {command, [=](output& out) {
            if (build_part->parsed())
              build_catalog(*build, out);
            else if (list_part->parsed())
              list_catalog(*list, out);
            else if (find_part->parsed())
              find_in_catalog(*find, out);
            else
              throw usage_failure("say what to do with a catalogue: build, list or find");
          }};
}

}  // namespace ravo::tool
