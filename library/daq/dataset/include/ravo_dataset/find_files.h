// Which raw files a selection names, and what is known to be missing among them. Nothing is printed, and no
// file is opened.
#ifndef RAVO_DATASET_FIND_FILES_H
#define RAVO_DATASET_FIND_FILES_H

#include <string>
#include <vector>

#include "ravo_dataset/ledger.h"
#include "ravo_dataset/selection.h"
#include "ravo_export.h"

namespace ravo {

/// The answer to a selection that names files, runs or a period.
struct found_files {
  std::vector<std::string> files;  ///< paths, each once, by the times in their names
  /// Files that belong to the answer and are not in it: still written, or not where they should be. Each
  /// path once.
  std::vector<refused_file> left_out;
  /// What else is wrong with the answer: runs without files, damaged catalogue files.
  std::vector<reading_problem> problems;
};

/// Files that are listed, in folders, or of runs or a period: those that the run catalogue names, or else
/// those whose names in the data folders fit. Of runs and periods, files that changed less than half a
/// minute ago are left out. Throws files_not_found when there is no file at all, selection_error for a
/// selection that cannot be followed.
RAVO_EXPORT found_files find_files(const selection& wanted);

}  // namespace ravo

#endif
