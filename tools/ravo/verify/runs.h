// What can be seen only over several files: whether the files of a run follow one another, and which
// channels are in none of them. Files belong together by their names.
#ifndef RAVO_VERIFY_RUNS_H
#define RAVO_VERIFY_RUNS_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "verify/file_check.h"

namespace ravo::verify {

struct run_file {
  std::string path;
  std::optional<std::uint64_t> number;  ///< of the file in its run; none: its name does not tell
};

/// The files of a run, in the order of their numbers, or one file whose name tells no run.
struct run_files {
  std::string name;  ///< "run 12 of linac_main", or the file's path
  std::vector<run_file> files;
};

/// A run may lie in several folders. Where they have files of the same number, each folder counts as a run.
std::vector<run_files> group_by_run(const std::vector<std::string>& paths);

/// Looks over runs, one after the other, file after file.
class run_checker {
 public:
  void begin(const std::string& name);
  /// Adds to the result what is wrong with how the file follows the one before it in the run.
  void take(file_result& result, std::optional<std::uint64_t> number);

  /// Channels that have data in every run so far.
  std::set<std::string> channels_of_all_runs() const;
  /// A finding for each of these channels that has no data in some run; it counts the runs.
  finding_list absent(const std::set<std::string>& expected) const;
  std::size_t runs() const { return runs_.size(); }

 private:
  struct run {
    std::string name;
    std::set<std::string> channels;
  };

  std::vector<run> runs_;
  // Of the file before, in the same run.
  std::optional<std::uint64_t> last_number_;
  std::map<int, type_sequence> last_sequences_;
};

}  // namespace ravo::verify

#endif
