// Cuts a selection into parts that are selections of their own.
#ifndef RAVO_DATASET_PARTITIONING_H
#define RAVO_DATASET_PARTITIONING_H

#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/partition.h"

namespace ravo::detail {

/// The parts of a selection, in order. Throws selection_error if the options do not say how to cut.
std::vector<partition> cut(dataset_state& state, const partition_options& options);

}  // namespace ravo::detail

#endif
