// The raw files of runs or of a period, by the rules of the readers' requests: the run catalogue is asked,
// and what it cannot answer the names in the data folders tell. Quiet, where the readers print.
#ifndef RAVO_DATASET_REQUESTED_FILES_H
#define RAVO_DATASET_REQUESTED_FILES_H

#include <string>
#include <vector>

#include "ravo_dataset/find_files.h"

namespace ravo::detail {

/// The paths of the raw files in a folder. Throws selection_error for one that cannot be read as a whole:
/// files of it would be missing without a word.
std::vector<std::string> raw_files_of(const std::string& folder);

/// As look_for_files(), in any order.
found_files requested_files(const selection& wanted);

}  // namespace ravo::detail

#endif
