// What can be seen only over several files: whether the files of a run are in sequence,
// and which channels are in none of them. The names of files say which belong together.
#ifndef RAVO_VERIFY_RUNS_H
#define RAVO_VERIFY_RUNS_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "file_check.h"

namespace ravo::checks {

struct run_file {
  std::string path;
  std::optional<std::uint64_t> number;  ///< of the file in its run; `nullopt` if its name has none
};

/// The files of a run, in the order of their numbers, or one file whose name says no run.
struct run_files {
  std::string name;  ///< "run 12 of linac_main", or the file's path
  std::vector<run_file> files;
};

/// A run may be in several folders. If they have files of the same number, each folder counts as a run.
std::vector<run_files> group_by_run(const std::vector<std::string>& paths);

/// Files with the same run and number in their names as an earlier one;
/// a finding for each run, or each folder of it, with the first of them.
std::vector<finding> find_copies(const std::vector<run_files>& runs);

/// Checks runs one after another, file by file. Of a
/// finished run it keeps only what it means for all runs.
class run_checker {
 public:
  /// These channels should have data in each run.
  explicit run_checker(std::set<std::string> expected = {}) : expected_(std::move(expected)) {}

  void begin(const std::string& name);
  /// Adds to the result what is wrong with the succession of this file and the one before it in the run.
  void take(file_result& result, std::optional<std::uint64_t> number);

  /// Channels that have data in every run so far.
  const std::set<std::string>& channels_of_all_runs();
  /// A finding for each of the expected channels that has no data in some run; it
  /// counts the runs. If a file of a run could not be read, the run is not judged.
  finding_list absent();
  std::size_t runs() const { return runs_; }

 private:
  struct absence {
    std::uint64_t runs;
    std::string first;
  };

  void end();

  std::set<std::string> expected_;
  std::map<std::string, absence> absent_;  // by channel
  std::set<std::string> of_all_runs_;
  std::size_t runs_ = 0;
  // State of the current run.
  bool is_open_ = false;
  bool are_channels_known_ = true;
  std::string name_;
  std::set<std::string> channels_;
  // State of the file before, in the same run.
  std::optional<std::uint64_t> last_number_;
  std::map<int, type_sequence> last_sequences_;
};

}  // namespace ravo::checks

#endif
