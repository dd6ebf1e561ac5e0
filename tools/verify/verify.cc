#include <algorithm>
#include <thread>

#include "catalogue_search.h"
#include "format/uninterrupted.h"
#include "ravo_verify.h"
#include "runs.h"

namespace ravo {
namespace {

constexpr unsigned usual_threads = 4;

// A stop was requested.
struct stopped {};

std::uint64_t size_of(const std::string& path) {
  struct stat about {};
  return uninterrupted::stat(path.c_str(), &about) == 0 && S_ISREG(about.st_mode)
             ? static_cast<std::uint64_t>(about.st_size)
             : 0;
}

checks::found_files find_files(const verification& what) {
  if (what.paths.empty() == !what.runs)
    throw std::invalid_argument(what.runs ? "runs are checked without paths"
                                          : "nothing to check: name paths, or the runs of a catalogue");
  return what.runs ? checks::find_files_of_runs(*what.runs) : checks::find_files(what.paths);
}

file_verdict verdict_of(const checks::finding_list& findings) {
  if (findings.has(checks::finding_kind::file_unreadable) ||
      findings.has(checks::finding_kind::file_changed))
    return file_verdict::unread;
  const auto is_damage = [](const checks::finding& one) {
    return checks::row_of(one.kind).how_bad == severity::damaged;
  };
  if (std::any_of(findings.list().begin(), findings.list().end(), is_damage)) return file_verdict::damaged;
  return findings.empty() ? file_verdict::good : file_verdict::odd;
}

// Builds the report while the files are checked in turn.
class verifier {
 public:
  verifier(const verification& what, const std::stop_token& stop, const verification_observer& observer)
      : what_(what),
        stop_(stop),
        observer_(observer),
        threads_(what.threads > 0 ? what.threads
                                  : std::clamp(std::thread::hardware_concurrency(), 1u, usual_threads)) {}

  verification_report run() {
    const checks::found_files found = find_files(what_);
    const std::vector<checks::run_files> runs = checks::group_by_run(found.files);
    for (const checks::finding& one : found.findings) take(one);
    for (const checks::finding& one : checks::find_copies(runs)) take(one);
    checks::run_checker checker(what_.expected_channels);
    try {
      check(runs, checker);
    } catch (const stopped&) {
      // What whole runs lack is not known.
      report_.is_stopped = true;
      return std::move(report_);
    }
    const checks::finding_list absent = checker.absent();
    for (const checks::finding& one : absent.list()) take(one);
    report_.channels_of_all_runs = checker.channels_of_all_runs();
    report_.runs = checker.runs();
    report_.absent_left_out = absent.left_out();
    return std::move(report_);
  }

 private:
  void check(const std::vector<checks::run_files>& runs, checks::run_checker& checker) {
    for (const checks::run_files& run : runs)
      for (const checks::run_file& file : run.files) {
        bytes_ += size_of(file.path);
        ++report_.totals.files_to_check;
      }
    for (const checks::run_files& run : runs) {
      checker.begin(run.name);
      for (const checks::run_file& file : run.files) {
        advance(0);  // also where there is nothing to report, since no file can be read
        checks::file_result result = checks::check_file(file.path, what_.depth, threads_,
                                                        [this](std::uint64_t more) { advance(more); });
        checker.take(result, file.number);
        take(result);
      }
    }
  }

  void advance(std::uint64_t more) {
    done_ += more;
    if (observer_.progress) observer_.progress(done_, bytes_);
    if (stop_.stop_requested()) throw stopped{};
  }

  void take(const checks::finding& one) {
    finding found = checks::described(one);
    ++(found.how_bad == severity::damaged ? report_.totals.damaged : report_.totals.odd);
    if (observer_.found) observer_.found(found);
    report_.findings.push_back(std::move(found));
  }

  void take(const checks::file_result& result) {
    verification_totals& totals = report_.totals;
    const verified_file file{result.path,
                             verdict_of(result.findings),
                             result.bytes,
                             result.events,
                             result.blocks,
                             result.findings.list().size(),
                             result.findings.left_out()};
    ++totals.files;
    totals.bytes += file.bytes;
    totals.events += file.events;
    totals.blocks += file.blocks;
    ++count_of(file.verdict);
    for (checks::finding one : result.findings.list()) {
      one.file = result.path;
      take(one);
    }
    report_.files.push_back(file);
    if (observer_.checked) observer_.checked(file, totals);
  }

  std::uint64_t& count_of(file_verdict verdict) {
    verification_totals& totals = report_.totals;
    switch (verdict) {
      case file_verdict::good:
        return totals.good_files;
      case file_verdict::odd:
        return totals.odd_files;
      case file_verdict::damaged:
        return totals.damaged_files;
      case file_verdict::unread:
        break;
    }
    return totals.unread_files;
  }

  const verification& what_;
  const std::stop_token& stop_;
  const verification_observer& observer_;
  unsigned threads_;
  std::uint64_t bytes_ = 0, done_ = 0;
  verification_report report_;
};

}  // namespace

verification_report verify(const verification& what, std::stop_token stop,
                           const verification_observer& observer) {
  return verifier(what, stop, observer).run();
}

}  // namespace ravo
