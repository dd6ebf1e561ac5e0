// The raw files of runs or of a period, by the rules of the readers' requests: the run catalogue is asked
// first, then the file names in the data folders. Prints nothing, unlike the readers.
#ifndef RAVO_DATASET_REQUESTED_FILES_H
#define RAVO_DATASET_REQUESTED_FILES_H

#include <string>
#include <vector>

#include "ravo_dataset/find_files.h"

namespace ravo::detail {

/// The paths of the raw files in a folder. Throws selection_error if the folder cannot be read completely:
/// files would be missing silently.
std::vector<std::string> raw_files_of(const std::string& folder);

/// Like look_for_files(), in any order.
found_files requested_files(const selection& wanted);

}  // namespace ravo::detail

#endif
