// The raw files that a selection names: listed, in folders, or found by run or period as the readers'
// requests find them.
#ifndef RAVO_DATASET_FIND_FILES_H
#define RAVO_DATASET_FIND_FILES_H

#include <string>
#include <vector>

#include "ravo_dataset/selection.h"

namespace ravo::datasets {

/// Paths, each once, by the times in their names. Throws selection_error when there are none.
std::vector<std::string> find_files(const selection& wanted);

}  // namespace ravo::datasets

#endif
