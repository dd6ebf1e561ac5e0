// Writes a stream's catalogue. Under the stream's lock the run files are merged and replaced first, then
// the indexes of the days that they have raw files of: an index never names a run that is not there yet,
// and adding the same files again repairs what a writer left undone that died in between.
#include <algorithm>
#include <cerrno>
#include <map>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include "catalogue/addition.h"
#include "catalogue/storage.h"
#include "catalogue/stream_catalogue.h"
#include "format/file_name_parts.h"
#include "format/folders.h"
#include "format/uninterrupted.h"

namespace ravo::catalogue {
namespace {

// A raw file with a longer span (a wrong clock, mostly) is not entered day by day.
constexpr day_number most_days_of_a_file = 31;

// A writer holds the lock while it replaces a few files.
constexpr std::chrono::seconds lock_patience{120};

struct span {
  time_stamp start;
  time_stamp end;
};

using index_updates = std::map<day_number, std::map<int, span>>;

// Stands for the index of very long raw files among the days.
constexpr day_number very_long_files = last_day + 1;

void widen(std::map<int, span>& runs, int run, const raw_file_entry& file) {
  const auto [place, is_new] = runs.try_emplace(run, span{file.start, file.end});
  if (is_new) return;
  if (is_before(file.start, place->second.start)) place->second.start = file.start;
  if (is_before(place->second.end, file.end)) place->second.end = file.end;
}

void collect_days(const run_entry& run, index_updates& days) {
  for (const raw_file_entry& file : run.files) {
    if (!file.has_time()) continue;
    const day_number first = day_of(file.start), last = day_of(file.end);
    if (last - first >= most_days_of_a_file)
      widen(days[very_long_files], run.run, file);
    else
      for (day_number day = first; day <= last; ++day) widen(days[day], run.run, file);
  }
}

// Puts the files in their order and derives the span of the run.
void complete(run_entry& run) {
  std::sort(run.files.begin(), run.files.end(), [](const raw_file_entry& a, const raw_file_entry& b) {
    return std::tie(a.start.timeup, a.start.timelow, a.path) <
           std::tie(b.start.timeup, b.start.timelow, b.path);
  });
  derive_span(run);
}

run_entry merge(const run_entry* existing, const run_entry& added) {
  std::map<std::string_view, const raw_file_entry*> by_name;
  if (existing)
    for (const raw_file_entry& file : existing->files) by_name[last_component(file.path)] = &file;
  for (const raw_file_entry& file : added.files) by_name[last_component(file.path)] = &file;
  run_entry merged{added.experiment, added.stream, added.run, {}, {}, {}};
  for (const auto& [name, file] : by_name) merged.files.push_back(*file);
  complete(merged);
  return merged;
}

// Whether an entry can be written and read again.
std::string why_not(const raw_file_entry& file) {
  if (file.path.empty() || last_component(file.path).empty()) return "has no file name";
  if (!can_be_written(file.path)) return "has a name that XML cannot hold";
  if (file.path.size() > 4095) return "has a path that is too long";
  if (file.start.timelow > 999999 || file.end.timelow > 999999)
    return "has a time with too many microseconds";
  if (file.has_time() ? is_before(file.end, file.start) : file.events > 0 || !is_same(file.end, {}))
    return "has no sensible start and end";
  return {};
}

class stream_writer {
 public:
  stream_writer(const std::string& directory, const std::string& experiment, const std::string& stream,
                addition& outcome)
      : catalogue_(directory, experiment, stream), problems_(outcome.problems), entered_(outcome.entered) {}

  void add(const std::vector<const run_entry*>& runs) {
    const std::string lock_file = catalogue_.layout().lock_file();
    const file_lock lock(lock_file, lock_patience, changed_folders_);
    if (!lock.problem().empty()) {
      problems_.push_back({lock_file, lock.problem()});
      return;
    }
    index_updates days;
    for (const run_entry* run : runs) add_run(*run, days);
    sync_folders();
    for (const auto& [day, update] : days) update_index(day, update);
    sync_folders();
  }

 private:
  void add_run(const run_entry& added, index_updates& days) {
    const std::string path = catalogue_.layout().run_file(added.run);
    const document<run_entry> existing = catalogue_.run(added.run);
    if (!existing.readable) {
      problems_.push_back({path, existing.damage});
      return;
    }
    if (!existing.damage.empty())
      problems_.push_back(
          {path, existing.damage + "; it is written anew, without the raw files that only it knew"});
    const run_entry merged = merge(existing.content ? &*existing.content : nullptr, added);
    const std::string text = run_document(merged);
    if (!existing.content || run_document(*existing.content) != text)
      if (const std::string problem = replace_text(path, text, changed_folders_); !problem.empty()) {
        problems_.push_back({path, problem});
        return;
      }
    for (const raw_file_entry& file : added.files) entered_.insert(file.path);
    collect_days(merged, days);
  }

  // A replaced file has its name for good once its folder is on disk: runs are synced before the days
  // that name them.
  void sync_folders() {
    for (const std::string& folder : std::exchange(changed_folders_, {}))
      if (uninterrupted::sync_folder(folder.c_str()) != 0)
        problems_.push_back(
            {folder, "it cannot be brought to disk: " + std::generic_category().message(errno)});
  }

  void update_index(day_number day, const std::map<int, span>& update) {
    const bool very_long = day == very_long_files;
    const std::string path =
        very_long ? catalogue_.layout().long_file() : catalogue_.layout().day_file(day);
    document<day_index> existing = very_long ? catalogue_.very_long() : catalogue_.day(day);
    if (!existing.readable) {
      problems_.push_back({path, existing.damage});
      return;
    }
    std::map<int, span> runs;
    if (existing.content)
      for (const run_span& run : existing.content->runs) runs[run.run] = {run.start, run.end};
    else if (!existing.damage.empty())
      runs = runs_of(day);
    bool changed = !existing.content;
    for (const auto& [run, when] : update) {
      const auto [place, is_new] = runs.try_emplace(run, when);
      changed = changed || is_new || !is_same(place->second.start, when.start) ||
                !is_same(place->second.end, when.end);
      place->second = when;
    }
    if (!changed) return;
    day_index index{
        catalogue_.experiment(), catalogue_.stream(), very_long ? long_index : date_text(day), {}};
    for (const auto& [run, when] : runs) index.runs.push_back({run, when.start, when.end});
    if (const std::string problem = replace_text(path, day_document(index), changed_folders_);
        !problem.empty())
      problems_.push_back({path, problem});
  }

  // Rebuilds the content of a damaged index from the runs themselves.
  std::map<int, span> runs_of(day_number day) {
    index_updates days;
    for (const int number : catalogue_.layout().runs())
      if (const document<run_entry> run = catalogue_.run(number); run.content)
        collect_days(*run.content, days);
    return days[day];
  }

  stream_catalogue catalogue_;
  std::vector<file_problem>& problems_;
  std::unordered_set<std::string>& entered_;
  std::set<std::string> changed_folders_;
};

using stream_name = std::pair<std::string, std::string>;

}  // namespace

addition add_to_catalogue(const std::string& directory, const std::vector<run_entry>& runs) {
  addition outcome;
  std::vector<file_problem>& problems = outcome.problems;
  std::map<stream_name, std::map<int, run_entry>> streams;
  for (const run_entry& run : runs) {
    if (!is_folder_name(run.experiment) || !is_folder_name(run.stream) || !can_be_written(run.experiment) ||
        !can_be_written(run.stream) || run.run < 0) {
      for (const raw_file_entry& file : run.files)
        problems.push_back(
            {file.path, "belongs to an experiment, a stream or a run that the catalogue cannot name"});
      continue;
    }
    run_entry& good = streams[{run.experiment, run.stream}][run.run];
    good.experiment = run.experiment;
    good.stream = run.stream;
    good.run = run.run;
    for (const raw_file_entry& file : run.files)
      if (std::string reason = why_not(file); reason.empty())
        good.files.push_back(file);
      else
        problems.push_back({file.path, std::move(reason)});
  }
  for (const auto& [name, of_stream] : streams) {
    std::vector<const run_entry*> added;
    for (const auto& [number, run] : of_stream)
      if (!run.files.empty()) added.push_back(&run);
    if (!added.empty()) stream_writer(directory, name.first, name.second, outcome).add(added);
  }
  return outcome;
}

std::vector<file_problem> add_runs(const std::string& directory, const std::vector<run_entry>& runs) {
  return add_to_catalogue(directory, runs).problems;
}

std::vector<file_problem> visit_runs(const std::string& directory, const std::string& experiment,
                                     const std::string& stream,
                                     const std::function<void(const run_entry&)>& visit) {
  std::vector<file_problem> damaged;
  for (const std::string& of : folders_in(directory)) {
    if (!experiment.empty() && of != experiment) continue;
    for (const std::string& name : folders_in(path_in(directory, of))) {
      if (!stream.empty() && name != stream) continue;
      stream_catalogue catalogue(directory, of, name);
      for (const int number : catalogue.layout().runs()) {
        const document<run_entry> run = catalogue.run(number);
        if (run.content)
          visit(*run.content);
        else if (!run.damage.empty())
          damaged.push_back({catalogue.layout().run_file(number), run.damage, !run.readable});
      }
    }
  }
  return damaged;
}

}  // namespace ravo::catalogue
