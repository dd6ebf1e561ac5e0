// Builds a catalogue from a folder of raw files: finds them by their names, asks the catalogue which of
// them it knows already, opens the others in several threads, and adds a run as soon as its last file has
// been scanned.
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "catalogue/addition.h"
#include "catalogue/layout.h"
#include "catalogue/raw_file_span.h"
#include "catalogue/stream_catalogue.h"
#include "format/file_name_parts.h"
#include "format/folders.h"
#include "format/uninterrupted.h"

namespace ravo::catalogue {
namespace {

namespace fs = std::filesystem;

constexpr int most_threads = 64;

using run_key = std::tuple<std::string, std::string, int>;  // experiment, stream, run
using runs_of_folder = std::map<run_key, std::vector<std::string>>;

// ---- finding --------------------------------------------------------------------------------------

// Experiment and stream of a name; either may contain underscores, so the last one separates them unless
// the experiment is given. `nullopt` if the file is not of that experiment or has no stream.
std::optional<std::pair<std::string, std::string>> split(std::string_view before_run,
                                                         const std::string& experiment) {
  std::size_t underscore = before_run.rfind('_');
  if (!experiment.empty()) {
    if (!before_run.starts_with(experiment) || before_run.size() <= experiment.size() ||
        before_run[experiment.size()] != '_')
      return std::nullopt;
    underscore = experiment.size();
  }
  if (underscore == before_run.npos) return std::nullopt;
  return std::pair(std::string(before_run.substr(0, underscore)),
                   std::string(before_run.substr(underscore + 1)));
}

void take_name(const std::string& path, const build_settings& settings, runs_of_folder& runs) {
  const auto parts = parse_file_name(path);
  if (!parts || !parts->run || *parts->run > 0x7fffffff) return;
  const auto names = split(parts->before_run, settings.experiment);
  if (!names) return;
  runs[{names->first, names->second, static_cast<int>(*parts->run)}].push_back(path);
}

// Subfolders are entered, links to folders are not: they may lead in circles.
void find_raw_files(const build_settings& settings, runs_of_folder& runs, build_result& result) {
  std::error_code error;
  const fs::path folder = fs::absolute(settings.raw_folder, error).lexically_normal();
  std::vector<std::string> folders{folder.string()};
  while (!folders.empty()) {
    const std::string current = std::move(folders.back());
    folders.pop_back();
    std::vector<std::string> names;
    if (const int failure = read_names(current, names); failure != 0)
      result.problems.push_back({current, std::generic_category().message(failure)});
    for (const std::string& name : names) {
      std::string path = path_in(current, name);
      struct stat about {};
      if (uninterrupted::lstat(path.c_str(), &about) == 0 && S_ISDIR(about.st_mode))
        folders.push_back(std::move(path));
      else
        take_name(path, settings, runs);
    }
  }
}

// A file may be in two folders under the same name: the first path counts.
void drop_copies(std::vector<std::string>& paths) {
  std::sort(paths.begin(), paths.end());
  std::unordered_set<std::string_view> seen;
  std::vector<std::string> kept;
  for (const std::string& path : paths)
    if (seen.insert(last_component(path)).second) kept.push_back(path);
  paths = std::move(kept);
}

// ---- work -----------------------------------------------------------------------------------------

// A run on its way into the catalogue. The files to be opened are divided among threads.
struct run_work {
  run_entry run;                     // files known or scanned so far; guarded by the build's mutex
  std::vector<std::string> to_open;  // not changed while threads run
  std::size_t left = 0;              // of to_open, not scanned yet; guarded likewise
  std::size_t known = 0;             // how many of the run's files, the first ones, are known and unchanged
};

bool is_unchanged(const raw_file_entry& known) {
  struct stat about {};
  return known.complete && known.modified != 0 && uninterrupted::stat(known.path.c_str(), &about) == 0 &&
         static_cast<std::uint64_t>(about.st_size) == known.bytes &&
         modification_time(about) == known.modified;
}

// Without memory for the text, at least reports that something was left undone.
void add_problem(build_result& result, const std::string& file, const char* text) {
  try {
    result.problems.push_back({file, text});
  } catch (const std::bad_alloc&) {
    result.stopped = true;
  }
}

class build_run {
 public:
  build_run(const build_settings& settings, build_result& result)
      : settings_(settings), result_(result), now_(std::time(nullptr)) {}

  void work(const runs_of_folder& found, const std::function<bool(std::size_t, std::size_t)>& progress) {
    for (const auto& [key, paths] : found) prepare(key, paths);
    if (progress && !progress(0, files_.size())) stop_ = true;
    std::vector<std::thread> threads;
    const std::size_t wanted = number_of_threads();
    threads.reserve(wanted);
    try {
      while (threads.size() < wanted) threads.emplace_back([this] { run_thread(); });
    } catch (const std::exception&) {
      if (threads.empty()) run_thread();  // no thread to be had: slower, but done
    }
    try {
      watch(progress, threads.size());
    } catch (...) {
      stop_ = true;
      for (std::thread& thread : threads) thread.join();
      throw;
    }
    for (std::thread& thread : threads) thread.join();
    publish();
    result_.stopped = result_.stopped || done_ < files_.size();
  }

 private:
  struct file_work {
    std::size_t run;
    std::size_t file;
  };

  // What the catalogue knows of a run, and which of its files have to be opened.
  void prepare(const run_key& key, std::vector<std::string> paths) {
    drop_copies(paths);
    run_work work;
    std::tie(work.run.experiment, work.run.stream, work.run.run) = key;
    std::unordered_map<std::string, raw_file_entry> known;
    if (is_folder_name(work.run.experiment) && is_folder_name(work.run.stream)) {
      stream_catalogue catalogue(settings_.catalogue_directory, work.run.experiment, work.run.stream);
      if (const auto existing = catalogue.run(work.run.run); existing.content)
        for (const raw_file_entry& file : existing.content->files) known.emplace(file.path, file);
    }
    for (std::string& path : paths) {
      const auto place = known.find(path);
      if (place != known.end() && is_unchanged(place->second))
        work.run.files.push_back(place->second);
      else
        work.to_open.push_back(std::move(path));
    }
    work.left = work.to_open.size();
    work.known = work.run.files.size();
    for (std::size_t file = 0; file < work.to_open.size(); ++file) files_.push_back({runs_.size(), file});
    if (work.left == 0) ready_.push_back(runs_.size());
    runs_.push_back(std::move(work));
  }

  std::size_t number_of_threads() const {
    const int asked =
        settings_.threads > 0 ? settings_.threads : static_cast<int>(std::thread::hardware_concurrency());
    return std::min(static_cast<std::size_t>(std::clamp(asked, 1, most_threads)),
                    std::max<std::size_t>(files_.size(), 1));
  }

  void run_thread() {
    try {
      for (;;) {
        if (stop_) break;
        const std::size_t next = next_.fetch_add(1);
        if (next >= files_.size()) break;
        scan(files_[next]);
        publish();
      }
    } catch (const std::exception& failure) {
      const std::lock_guard lock(mutex_);
      add_problem(result_, settings_.raw_folder, failure.what());
      stop_ = true;
    }
    const std::lock_guard lock(mutex_);
    ++threads_ended_;
    changed_.notify_one();
  }

  void scan(const file_work& work) {
    run_work& of = runs_[work.run];
    const std::string& path = of.to_open[work.file];
    scanned_file scanned = scan_raw_file(path, now_, settings_.closed_after);
    const std::lock_guard lock(mutex_);
    if (scanned.problem.empty()) {
      of.run.files.push_back(std::move(scanned.entry));
    } else {
      ++result_.left_out;
      result_.problems.push_back({path, std::move(scanned.problem)});
    }
    ++done_;
    if (--of.left == 0) ready_.push_back(work.run);
  }

  // Adds the runs that are ready, one thread at a time; the others leave their runs to it and go on.
  void publish() {
    std::unique_lock lock(mutex_);
    if (publishing_) return;
    publishing_ = true;
    try {
      while (!ready_.empty()) {
        const std::vector<std::size_t> batch = std::exchange(ready_, {});
        lock.unlock();
        std::vector<run_entry> runs;
        for (const std::size_t ready : batch) runs.push_back(std::move(runs_[ready].run));
        addition added = add_to_catalogue(settings_.catalogue_directory, runs);
        lock.lock();
        for (std::size_t i = 0; i < batch.size(); ++i) count(runs[i], runs_[batch[i]].known, added);
        std::move(added.problems.begin(), added.problems.end(), std::back_inserter(result_.problems));
      }
    } catch (const std::exception& failure) {
      // Reported here, so that nobody waits for this thread; the batch is left to the next build.
      if (!lock.owns_lock()) lock.lock();
      add_problem(result_, settings_.catalogue_directory, failure.what());
    }
    publishing_ = false;
  }

  // Counts what happened to a run's files; the first `known` of them were not opened.
  void count(const run_entry& run, std::size_t known, const addition& added) {
    std::size_t entered = 0;
    for (std::size_t i = 0; i < run.files.size(); ++i) {
      if (!added.entered.contains(run.files[i].path)) continue;
      ++entered;
      if (i >= known) ++result_.opened;
      if (!run.files[i].complete) ++result_.growing;
    }
    result_.raw_files += entered;
    result_.left_out += run.files.size() - entered;
    if (entered > 0) ++result_.runs;
  }

  // Reports the progress, from the calling thread only, until the last thread has ended.
  void watch(const std::function<bool(std::size_t, std::size_t)>& progress, std::size_t threads) {
    std::unique_lock lock(mutex_);
    while (!changed_.wait_for(lock, std::chrono::milliseconds(100),
                              [this, threads] { return threads_ended_ >= threads; })) {
      const std::size_t done = done_;
      lock.unlock();
      if (progress && !progress(done, files_.size())) stop_ = true;
      lock.lock();
    }
    const std::size_t done = done_;
    lock.unlock();
    if (progress) progress(done, files_.size());
  }

  const build_settings& settings_;
  build_result& result_;  // guarded by mutex_ while threads run
  const std::int64_t now_;
  std::vector<run_work> runs_;
  std::vector<file_work> files_;
  std::atomic<std::size_t> next_ = 0;
  std::atomic<bool> stop_ = false;

  std::mutex mutex_;  // guards all below, and the members above that say so
  std::condition_variable changed_;
  std::vector<std::size_t> ready_;  // of runs_
  bool publishing_ = false;
  std::size_t done_ = 0;
  std::size_t threads_ended_ = 0;
};

}  // namespace

build_result build(const build_settings& settings,
                   const std::function<bool(std::size_t done, std::size_t total)>& progress) {
  build_result result;
  try {
    runs_of_folder found;
    find_raw_files(settings, found, result);
    build_run(settings, result).work(found, progress);
  } catch (const std::exception& failure) {
    add_problem(result, settings.raw_folder, failure.what());
  }
  std::sort(result.problems.begin(), result.problems.end(),
            [](const file_problem& a, const file_problem& b) { return a.file < b.file; });
  return result;
}

}  // namespace ravo::catalogue
