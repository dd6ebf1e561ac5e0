// Which raw files a selection names, and what is known to be missing among them. Nothing is printed, and no
// file is opened.
#ifndef RAVO_DATASET_FIND_FILES_H
#define RAVO_DATASET_FIND_FILES_H

#include <cstdint>
#include <string>
#include <vector>

#include "ravo_dataset/ledger.h"
#include "ravo_dataset/selection.h"
#include "ravo_export.h"

namespace ravo {

/// Why a file belongs to the answer to a selection.
enum class found_by : std::uint8_t {
  listing,       ///< the selection lists it, or a folder that it is in
  catalogue,     ///< the run catalogue lists it
  name,          ///< its name in a data folder fits
  earlier_name,  ///< by its name it begins before the period, and may extend into it
  later_name,    ///< by its name it is the first one after the period
  context,       ///< the selection lists it, or a folder that it is in, for slow values alone
};

/// A file of the answer. If it is taken, refusal is none; otherwise missing or still_written, or of a file
/// that the selection lists as left out the reason that it gives.
struct found_file {
  std::string path;
  found_by by = found_by::listing;
  file_refusal refusal = file_refusal::none;
};

/// The answer to a selection that names files, runs or a period.
struct found_files {
  std::vector<std::string> files;  ///< paths, each once, by the times in their names
  /// Files that belong to the answer and are not in it: still written, or not where they should be. Each
  /// path once.
  std::vector<refused_file> left_out;
  /// Those of `files` and of `left_out` together, by the times in their names: how each was found.
  std::vector<found_file> all;
  /// Other problems of the answer: runs without files, damaged catalogue files.
  std::vector<reading_problem> problems;
};

/// Files that are listed, in folders, or of runs or a period: those that the run catalogue names, or else
/// those whose names in the data folders fit. Of runs and periods, files that changed less than half a
/// minute ago are left out. Throws files_not_found when there is no file at all, selection_error for a
/// selection that makes no sense.
RAVO_EXPORT found_files find_files(const selection& wanted);

/// The same for code that explains an answer: if there is no file at all, `files` is empty, `left_out` and
/// `problems` say why, and nothing is thrown for it.
RAVO_EXPORT found_files look_for_files(const selection& wanted);

}  // namespace ravo

#endif
