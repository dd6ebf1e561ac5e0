#include "catalogue_search.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "files/closed_file.h"
#include "format/file_name_parts.h"
#include "format/folders.h"
#include "ravo_run_catalogue_builder.h"

namespace ravo::checks {
namespace {

using namespace catalogue;

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
}

// The number in ".../run1207.xml"; `nullopt` if the file has another name.
std::optional<int> run_of(const std::string& catalogue_file) {
  constexpr std::string_view begin = "run";
  const std::string_view name = last_component(catalogue_file);
  int run = 0;
  if (!name.starts_with(begin)) return std::nullopt;
  const auto read = std::from_chars(name.data() + begin.size(), name.data() + name.size(), run);
  return read.ec == std::errc() ? std::optional(run) : std::nullopt;
}

class run_search {
 public:
  explicit run_search(const catalogue_runs& wanted) : wanted_(wanted) {}

  found_files search() {
    const auto damaged = visit_runs(wanted_.directory, wanted_.experiment, wanted_.stream,
                                    [this](const run_entry& run) { take(run); });
    for (const file_problem& one : damaged) take_damaged(one);
    report_unknown();
    for (const std::string& folder : folders_) search_beside(folder);
    for (auto& [run, files] : files_) {
      std::sort(files.begin(), files.end());
      found_.files.insert(found_.files.end(), files.begin(), files.end());
    }
    return std::move(found_);
  }

 private:
  bool is_wanted(std::uint64_t run) const {
    return run >= static_cast<std::uint64_t>(wanted_.first) &&
           run <= static_cast<std::uint64_t>(wanted_.last);
  }

  void add(finding_kind kind, const std::string& file, std::string detail, std::uint64_t count = 1) {
    found_.findings.push_back({kind, file, {}, count, std::move(detail)});
  }

  void take(const run_entry& run) {
    known_.insert(run.run);
    if (run.run < wanted_.first || run.run > wanted_.last) return;
    for (const raw_file_entry& file : run.files) {
      const std::string path = file.path.starts_with('/') ? file.path : wanted_.directory + "/" + file.path;
      names_.insert(std::string(last_component(path)));
      folders_.insert(folder_of(path));
      // The catalogue has the state of a file when it was built; one that has settled since is complete.
      if (file.complete || ignores_close_time() ||
          state_of_raw_file(path.c_str()) == raw_file_state::closed)
        files_[run.run].push_back(path);
      else
        add(finding_kind::run_file_growing, path, "by the catalogue");
    }
  }

  void take_damaged(const file_problem& problem) {
    const std::optional<int> run = run_of(problem.file);
    if (run && (*run < wanted_.first || *run > wanted_.last)) return;
    if (run) known_.insert(*run);
    is_damaged_ = true;
    add(problem.unreadable ? finding_kind::catalogue_unreadable : finding_kind::catalogue_damaged,
        problem.file, problem.text);
  }

  void report_unknown() {
    std::uint64_t unknown = 0;
    int first = 0;
    for (std::int64_t run = wanted_.first; run <= wanted_.last; ++run)
      if (const auto number = static_cast<int>(run); !known_.contains(number) && unknown++ == 0)
        first = number;
    const auto all = static_cast<std::uint64_t>(wanted_.last - wanted_.first) + 1;
    if (unknown == all && !is_damaged_) throw verification_error(why_unknown());
    if (unknown > 0)
      add(finding_kind::run_unknown, wanted_.directory, fmt::format("run {}", first), unknown);
  }

  std::string why_unknown() const {
    const std::string of = fmt::format("experiment {}, stream {}", wanted_.experiment, wanted_.stream);
    const std::string what = wanted_.first == wanted_.last
                                 ? fmt::format("no run {}", wanted_.first)
                                 : fmt::format("none of the runs {} to {}", wanted_.first, wanted_.last);
    if (known_.empty())
      return fmt::format(
          "{}: the catalogue knows {}, nor any run of {}; `ravo catalog list` lists its runs",
          wanted_.directory, what, of);
    const auto first_after = known_.upper_bound(wanted_.last);
    std::string nearest;
    if (first_after != known_.begin()) nearest = fmt::format("{}", *std::prev(first_after));
    if (first_after != known_.end())
      nearest += fmt::format("{}{}", nearest.empty() ? "" : " and ", *first_after);
    return fmt::format("{}: the catalogue knows {} of {}; it knows {} to {}, the nearest {} {}",
                       wanted_.directory, what, of, *known_.begin(), *known_.rbegin(),
                       nearest.find(' ') == std::string::npos ? "is" : "are", nearest);
  }

  // Searches for files of the runs that the catalogue lacks: written after it was built, or refused by it.
  void search_beside(const std::string& folder) {
    folder_listing names(folder.c_str());
    std::set<std::string> lacking;
    while (const char* const name = names.next())
      if (is_lacking(name)) lacking.insert(name);
    if (!names.is_readable()) add(finding_kind::folder_unreadable, folder, std::strerror(errno));
    for (const std::string& name : lacking) take_lacking(folder + "/" + name);
  }

  bool is_lacking(const std::string& name) const {
    const auto parts = name.ends_with(".raw") ? parse_file_name(name) : std::nullopt;
    return parts && parts->run && is_wanted(*parts->run) &&
           parts->before_run == wanted_.experiment + "_" + wanted_.stream && !names_.contains(name);
  }

  void take_lacking(const std::string& path) {
    if (!ignores_close_time() && state_of_raw_file(path.c_str()) != raw_file_state::closed)
      return add(finding_kind::run_file_growing, path, "it changed less than half a minute ago");
    add(finding_kind::run_file_left_out, path, "");
    files_[static_cast<int>(*parse_file_name(path)->run)].push_back(path);
  }

  const catalogue_runs& wanted_;
  found_files found_;
  std::set<int> known_;
  bool is_damaged_ = false;
  std::map<int, std::vector<std::string>> files_;  // by run
  std::set<std::string> names_;                    // of all files of the runs in the catalogue
  std::set<std::string> folders_;                  // where these are
};

}  // namespace

found_files find_files_of_runs(const catalogue_runs& wanted) { return run_search(wanted).search(); }

}  // namespace ravo::checks
