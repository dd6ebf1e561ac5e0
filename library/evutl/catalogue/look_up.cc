// The public look-ups of the run catalogue: they check arguments, answer in the caller's records, report
// damaged catalogue files on standard output or to a catalogue_problems of the thread, and throw nothing.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <limits>
#include <memory>

#include "catalogue/search.h"
#include "format/folders.h"
#include "ravo_evutl_status.h"
#include "ravo_run_catalogue.h"

namespace {

using namespace ravo::catalogue;

constexpr int no_answer = 1;

void name_damaged(const std::vector<file_problem>& damaged) {
  for (const file_problem& problem : damaged)
    if (ravo::catalogue_problems* const problems = ravo::catalogue_problems::innermost())
      problems->add("Run catalogue: " + problem.file + " is passed over: " + problem.text);
    else
      std::printf("Run catalogue: %s is passed over: %s\n", problem.file.c_str(), problem.text.c_str());
}

bool usable(const void* found, const char* experiment, const char* stream, const char* directory) {
  return found && experiment && stream && directory && *directory && is_folder_name(experiment) &&
         is_folder_name(stream);
}

struct free_answer {
  // Does not use ravo_free_root_xml_files(): there may be no memory for a list to put the record in.
  void operator()(ravo_root_xml_files* answer) const {
    for (std::string* file : answer->rfiles) delete file;
    delete answer->xmlfile;
    delete answer;
  }
};
using owned_answer = std::unique_ptr<ravo_root_xml_files, free_answer>;

owned_answer answer_of(found_run& run) {
  owned_answer answer(new ravo_root_xml_files);
  answer->xmlfile = new std::string(std::move(run.catalogue_file));
  answer->rfiles.reserve(run.files.size());
  for (std::string& file : run.files) answer->rfiles.push_back(new std::string(std::move(file)));
  return answer;
}

// Appends the whole answer or nothing.
int hand_over(search_result result, std::vector<ravo_root_xml_files*>& found) {
  name_damaged(result.damaged);
  if (result.runs.empty()) return no_answer;
  std::vector<owned_answer> answers;
  for (found_run& run : result.runs) answers.push_back(answer_of(run));
  found.reserve(found.size() + answers.size());
  for (owned_answer& answer : answers) found.push_back(answer.release());
  return 0;
}

// Merges the answers of two streams, by the time of each run's first file.
void append(search_result& all, search_result more) {
  const auto middle = static_cast<std::ptrdiff_t>(all.runs.size());
  std::move(more.runs.begin(), more.runs.end(), std::back_inserter(all.runs));
  std::move(more.damaged.begin(), more.damaged.end(), std::back_inserter(all.damaged));
  std::inplace_merge(
      all.runs.begin(), all.runs.begin() + middle, all.runs.end(),
      [](const found_run& a, const found_run& b) { return ravo::is_before(a.start, b.start); });
}

wanted_files wanted(int only_closed) { return only_closed ? wanted_files::complete : wanted_files::all; }

}  // namespace

int get_files_for_runs(const std::vector<int*>* runs, std::vector<ravo_root_xml_files*>* found,
                       const char* experiment, const char* stream, const char* catalogue_directory,
                       int only_closed) try {
  if (!runs || !usable(found, experiment, stream, catalogue_directory)) return RAVO_TABLE_INVALID_ARGUMENT;
  std::vector<int> numbers;
  numbers.reserve(runs->size());
  for (const int* run : *runs)
    if (run) numbers.push_back(*run);
  stream_catalogue catalogue(catalogue_directory, experiment, stream);
  return hand_over(find_runs(catalogue, numbers, wanted(only_closed)), *found);
} catch (...) {
  return RAVO_TABLE_NO_MEMORY;
}

int get_files_for_period(unsigned start, unsigned stop, std::vector<ravo_root_xml_files*>* found,
                         const char* experiment, const char* stream, const char* catalogue_directory,
                         int only_closed) try {
  const bool any_stream = stream && !*stream;
  if (!usable(found, experiment, any_stream ? "any" : stream, catalogue_directory))
    return RAVO_TABLE_INVALID_ARGUMENT;
  if (stop == 0) stop = std::numeric_limits<unsigned>::max();
  std::vector<std::string> streams{stream};
  if (any_stream) streams = folders_in(ravo::path_in(catalogue_directory, experiment));
  search_result all;
  for (const std::string& one : streams) {
    stream_catalogue catalogue(catalogue_directory, experiment, one);
    append(all, find_period(catalogue, start, stop, wanted(only_closed)));
  }
  return hand_over(std::move(all), *found);
} catch (...) {
  return RAVO_TABLE_NO_MEMORY;
}

namespace {

bool can_ask_for_time(int run, const time_stamp* start, const time_stamp* end, const char* experiment,
                      const char* catalogue_directory) {
  return run >= 0 && start && end && experiment && is_folder_name(experiment) && catalogue_directory &&
         *catalogue_directory;
}

/// From the earliest start to the latest end of a run in all of its streams.
struct span_of_run {
  bool is_known = false;
  time_stamp start{}, end{};

  void widen(const run_entry& run) {
    if (ravo::is_same(run.end, {})) return;
    if (!is_known || ravo::is_before(run.start, start)) start = run.start;
    if (!is_known || ravo::is_before(end, run.end)) end = run.end;
    is_known = true;
  }
};

}  // namespace

int get_time_for_run(int run, time_stamp* start, time_stamp* end, const char* experiment,
                     const char* catalogue_directory) try {
  if (!can_ask_for_time(run, start, end, experiment, catalogue_directory))
    return RAVO_TABLE_INVALID_ARGUMENT;
  span_of_run span;
  for (const std::string& stream : folders_in(ravo::path_in(catalogue_directory, experiment))) {
    stream_catalogue catalogue(catalogue_directory, experiment, stream);
    document<run_entry> entry = catalogue.run(run);
    if (!entry.damage.empty()) name_damaged({{catalogue.layout().run_file(run), entry.damage}});
    if (!entry.content) continue;
    catalogue.refresh(*entry.content);
    span.widen(*entry.content);
  }
  if (!span.is_known) return no_answer;
  *start = span.start;
  *end = span.end;
  return 0;
} catch (...) {
  return RAVO_TABLE_NO_MEMORY;
}
