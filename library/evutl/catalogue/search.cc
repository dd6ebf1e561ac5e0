#include "search.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <set>
#include <tuple>

#include "format/folders.h"

namespace ravo::catalogue {
namespace {

struct period {
  std::uint32_t start;
  std::uint32_t stop;

  bool meets(time_stamp from, time_stamp to) const { return from.timeup <= stop && to.timeup >= start; }
};

constexpr period always{0, std::numeric_limits<std::uint32_t>::max()};

// The run's raw files of the period; `nullopt` if it has no such files.
std::optional<found_run> choose(const stream_catalogue& catalogue, run_entry& run, const period& when,
                                wanted_files wanted) {
  catalogue.refresh(run);
  std::erase_if(run.files, [&](const raw_file_entry& file) {
    return !file.has_time() || (wanted == wanted_files::complete && !file.complete) ||
           !when.meets(file.start, file.end);
  });
  if (run.files.empty()) return std::nullopt;
  std::sort(run.files.begin(), run.files.end(), [](const raw_file_entry& a, const raw_file_entry& b) {
    return std::tie(a.start.timeup, a.start.timelow, a.path) <
           std::tie(b.start.timeup, b.start.timelow, b.path);
  });
  found_run found{catalogue.layout().run_file(run.run), run.files.front().start, {}};
  for (const raw_file_entry& file : run.files) found.files.push_back(catalogue.full_path(file.path));
  return found;
}

void add_run(stream_catalogue& catalogue, int number, const period& when, wanted_files wanted,
             search_result& result) {
  document<run_entry> run = catalogue.run(number);
  if (!run.content) {
    if (!run.damage.empty()) result.damaged.push_back({catalogue.layout().run_file(number), run.damage});
    return;
  }
  if (auto found = choose(catalogue, *run.content, when, wanted)) result.runs.push_back(std::move(*found));
}

// Collects the runs that the days of a period name.
class run_collector {
 public:
  run_collector(stream_catalogue& catalogue, const period& when, search_result& result)
      : catalogue_(catalogue), when_(when), result_(result) {}

  void add(document<day_index> index, const std::string& path) {
    if (index.content) {
      for (const run_span& run : index.content->runs)
        if (when_.meets(run.start, run.end)) runs_.insert(run.run);
    } else if (!index.damage.empty()) {
      // The run files hold the times too: slower, but nothing is missed.
      result_.damaged.push_back({path, index.damage});
      ask_all_ = true;
    }
  }

  // Years and months without a folder are skipped, so that the cost of a long period depends on its
  // content.
  void add_days() {
    const day_number last = when_.stop / seconds_per_day;
    day_number day = when_.start / seconds_per_day;
    while (day <= last) {
      if (!is_folder(catalogue_.layout().year_folder(day))) {
        day = next_year(day);
      } else if (!is_folder(catalogue_.layout().month_folder(day))) {
        day = next_month(day);
      } else {
        const day_number end = std::min(next_month(day), last + 1);
        for (; day < end; ++day) add(catalogue_.day(day), catalogue_.layout().day_file(day));
      }
    }
  }

  std::vector<int> runs() const {
    if (ask_all_) return catalogue_.layout().runs();
    return {runs_.begin(), runs_.end()};
  }

 private:
  stream_catalogue& catalogue_;
  period when_;
  search_result& result_;
  std::set<int> runs_;
  bool ask_all_ = false;
};

}  // namespace

search_result find_runs(stream_catalogue& catalogue, const std::vector<int>& runs, wanted_files wanted) {
  search_result result;
  std::set<int> done;
  for (const int run : runs)
    if (run >= 0 && done.insert(run).second) add_run(catalogue, run, always, wanted, result);
  return result;
}

search_result find_period(stream_catalogue& catalogue, std::uint32_t start, std::uint32_t stop,
                          wanted_files wanted) {
  search_result result;
  if (start > stop) return result;
  const period when{start, stop};
  run_collector collector(catalogue, when, result);
  collector.add_days();
  collector.add(catalogue.very_long(), catalogue.layout().long_file());
  for (const int run : collector.runs()) add_run(catalogue, run, when, wanted, result);
  std::stable_sort(result.runs.begin(), result.runs.end(),
                   [](const found_run& a, const found_run& b) { return is_before(a.start, b.start); });
  return result;
}

}  // namespace ravo::catalogue
