#include "select/requested_files.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "files/catalogue_answer.h"
#include "files/closed_file.h"
#include "files/data_path_list.h"
#include "files/raw_file_names.h"
#include "format/file_name_parts.h"
#include "format/folders.h"
#include "ravo_dataset/errors.h"
#include "ravo_evutl.h"
#include "ravo_raw_generations.h"
#include "ravo_run_catalogue.h"

namespace ravo::detail {
namespace {

using paths = std::vector<std::string>;

/// The directories of a list that is joined by ":".
paths folders_of(std::string_view list) {
  paths folders;
  for (const std::string_view folder : split_data_path_list(list)) folders.emplace_back(folder);
  return folders;
}

/// The folders to search for files that are not where the catalogue lists them.
paths usual_folders() {
  const char* const list = std::getenv("RAVO_DAQ_DATA_PATH_LIST");
  return folders_of(list != nullptr ? list : default_data_path_list);
}

/// Adds the files of the catalogue's answer to `files`; returns whether there are any.
bool add_files(const catalogue_answer& answer, paths& files) {
  const paths listed = answer.paths();
  files.insert(files.end(), listed.begin(), listed.end());
  return !listed.empty();
}

// Whether a file is complete is checked here: the catalogue only knows its state at the time of building.
constexpr int growing_files_too = 0;

/// Builds the answer to a request.
class request_answer {
 public:
  explicit request_answer(const selection& wanted) : wanted_(wanted), folders_(folders_of(wanted.data)) {}

  found_files take() {
    if (wanted_.runs)
      find_runs();
    else
      find_period();
    return std::move(found_);
  }

 private:
  // ---- runs

  void find_runs() {
    // More runs than any archive has are a mistake, and must not fill the memory.
    constexpr std::int64_t most_runs = 10'000'000;
    const int first = wanted_.runs->first, last = std::max(first, wanted_.runs->last);
    if (first < 1 || std::int64_t{last} - first >= most_runs)
      throw selection_error("Runs count from 1, and no more than " + std::to_string(most_runs) +
                            " are asked for at a time");
    paths listed;
    std::vector<int> without = ask_catalogue_for_runs(first, last, listed);
    if (!listed.empty()) {
      for (const std::string& path : listed) take_catalogued(path);
      report_runs(without,
                  "the run catalogue has none with events; build it again if some have come since");
      return;
    }
    const paths named =
        named_files([first, last](std::string_view name) { return names_run(name, first, last); });
    std::vector<bool> is_named(without.size(), false);
    for (const std::string& path : named) {
      mark_runs(last_component(path), without, 0, without.size(), is_named);
      take_file(path, found_by::name);
    }
    std::vector<int> unnamed;
    for (std::size_t i = 0; i < without.size(); ++i)
      if (!is_named[i]) unnamed.push_back(without[i]);
    without = std::move(unnamed);
    report_runs(without, "no file is named for them");
  }

  /// Marks the runs that occur in a name, among those from `first` to before `last` in the list.
  static void mark_runs(std::string_view name, const std::vector<int>& runs, std::size_t first,
                        std::size_t last, std::vector<bool>& marks) {
    if (first == last || !names_run(name, runs[first], runs[last - 1])) return;
    if (last - first == 1) {
      marks[first] = true;
      return;
    }
    const std::size_t middle = first + (last - first) / 2;
    mark_runs(name, runs, first, middle, marks);
    mark_runs(name, runs, middle, last, marks);
  }

  /// Adds the files that the catalogue lists; returns the runs without files there.
  std::vector<int> ask_catalogue_for_runs(int first, int last, paths& files) {
    std::vector<int> without;
    const catalogue_problems damaged;
    for (std::int64_t number = first; number <= last; ++number) {
      int run = static_cast<int>(number);
      const std::vector<int*> one{&run};
      catalogue_answer answer;
      if (wanted_.catalogue.empty() ||
          get_files_for_runs(&one, answer.get(), wanted_.experiment.c_str(), wanted_.stream.c_str(),
                             wanted_.catalogue.c_str(), growing_files_too) != 0 ||
          !add_files(answer, files))
        without.push_back(run);
    }
    report_damage(damaged);
    return without;
  }

  void report_runs(const std::vector<int>& runs, const char* why) {
    if (runs.empty()) return;
    std::string text;
    for (std::size_t i = 0; i < runs.size();) {
      std::size_t end = i + 1;
      while (end < runs.size() && runs[end] == runs[end - 1] + 1) ++end;
      text += (text.empty() ? "" : ", ") + std::to_string(runs[i]);
      if (end - i > 1) text += "-" + std::to_string(runs[end - 1]);
      i = end;
    }
    found_.problems.push_back(
        {problem_reason::runs_without_files, "",
         (runs.size() == 1 ? "No files are found of run " : "No files are found of runs ") + text + ": " +
             why});
  }

  // ---- a period

  void find_period() {
    const std::uint32_t stop = wanted_.to ? wanted_.to->timeup : 0;
    {
      const catalogue_problems damaged;
      catalogue_answer answer;
      paths listed;
      if (!wanted_.catalogue.empty() &&
          get_files_for_period(wanted_.from->timeup, stop, answer.get(), wanted_.experiment.c_str(),
                               wanted_.stream.c_str(), wanted_.catalogue.c_str(), growing_files_too) == 0)
        listed = answer.paths();
      report_damage(damaged);
      for (const std::string& path : listed) take_catalogued(path);
      if (!listed.empty()) return;
    }
    find_period_by_names();
  }

  /// A file reaches from its own time to that of later ones, so that some files before the period are taken
  /// too, and one after it; their event indexes then show whether they have events of the period.
  void find_period_by_names() {
    constexpr std::ptrdiff_t taken_before = 16;
    std::vector<std::pair<std::uint32_t, std::string>> timed;
    for (const std::string& path : named_files([](std::string_view) { return true; }))
      timed.emplace_back(time_of(path), path);
    std::sort(timed.begin(), timed.end());
    const auto is_before = [](const auto& one, std::uint32_t time) { return one.first < time; };
    const auto first = std::lower_bound(timed.begin(), timed.end(), wanted_.from->timeup, is_before);
    const auto begin = first - std::min(taken_before, first - timed.begin());
    auto end = timed.end();
    if (wanted_.to)
      end = std::find_if(begin, end, [&](const auto& one) { return one.first > wanted_.to->timeup; });
    if (end != timed.end() && end != begin) ++end;
    for (auto one = begin; one != end; ++one) {
      const bool is_late = wanted_.to && one->first > wanted_.to->timeup;
      take_file(one->second, one < first ? found_by::earlier_name
                             : is_late   ? found_by::later_name
                                         : found_by::name);
    }
  }

  // ---- files

  static std::uint32_t time_of(const std::string& path) {
    time_stamp time{};
    get_time_from_file_name(std::string(last_component(path)).c_str(), &time);
    return time.timeup;
  }

  /// The raw files of the data folders whose names have the experiment and a time, and that fit.
  template <class Fits>
  paths named_files(Fits fits) const {
    paths found;
    const paths folders = folders_.empty() ? paths{raw_format_2010::default_data_dir} : folders_;
    for (const std::string& folder : folders) {
      // If one of several folders does not exist, the others are still used.
      if (!is_folder(folder)) continue;
      for (std::string& path : raw_files_of(folder)) {
        const std::string name(last_component(path));
        time_stamp time{};
        if (name.find(wanted_.experiment) != std::string::npos &&
            get_time_from_file_name(name.c_str(), &time) == 0 && fits(name))
          found.push_back(std::move(path));
      }
    }
    return found;
  }

  void take_file(const std::string& path, found_by how) {
    if (!take_if_there(path, how)) leave_out(path, how, file_refusal::missing, "it is gone");
  }

  /// Takes a file of the catalogue: in the data folders that the selection names, or else where the
  /// catalogue lists it, or where files usually are.
  void take_catalogued(const std::string& path) {
    if (folders_.empty() && take_if_there(path, found_by::catalogue)) return;
    const std::string name(last_component(path));
    for (const std::string& folder : folders_.empty() ? usual_folders() : folders_)
      if (take_if_there(path_in(folder, name), found_by::catalogue)) return;
    leave_out(path, found_by::catalogue, file_refusal::missing,
              "the run catalogue lists it, and it is not in the data folders");
  }

  /// False: there is no such file.
  bool take_if_there(const std::string& path, found_by how) {
    const raw_file_state state = state_of_raw_file(path.c_str());
    if (state == raw_file_state::missing) return false;
    if (state == raw_file_state::closed || ignores_close_time())
      take(path, how);
    else
      leave_out(path, how, file_refusal::still_written,
                "it changed less than half a minute ago and may still be written");
    return true;
  }

  void take(const std::string& path, found_by how) {
    found_.files.push_back(path);
    found_.all.push_back({path, how, file_refusal::none});
  }

  void leave_out(const std::string& path, found_by how, file_refusal reason, const char* why) {
    found_.left_out.push_back({path, reason, why});
    found_.all.push_back({path, how, reason});
  }

  void report_damage(const catalogue_problems& damaged) {
    for (const std::string& text : damaged.texts())
      found_.problems.push_back(
          {problem_reason::damaged_catalogue, "", text + "; build the catalogue again"});
  }

  const selection& wanted_;
  const paths folders_;  ///< empty: none is named
  found_files found_;
};

}  // namespace

paths raw_files_of(const std::string& folder) {
  folder_listing listing(folder.c_str());
  paths files;
  while (const char* name = listing.next())
    if (std::string_view(name).ends_with(".raw")) files.push_back(path_in(folder, name));
  if (!listing.is_readable())
    throw selection_error("The folder " + folder + " cannot be read: " + std::strerror(listing.error()));
  return files;
}

found_files requested_files(const selection& wanted) {
  if (!wanted.runs && !wanted.from)
    throw selection_error("The selection names no files: it needs file=, run= or from=");
  return request_answer(wanted).take();
}

}  // namespace ravo::detail
