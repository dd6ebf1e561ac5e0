// Counts by time what the tables of the files say of each channel.
#ifndef RAVO_DATASET_DESCRIBE_AVAILABILITY_H
#define RAVO_DATASET_DESCRIBE_AVAILABILITY_H

#include "dataset_state.h"
#include "ravo_dataset/availability.h"

namespace ravo::detail {

/// Aligns all that is not aligned yet. Throws selection_error for bins or a time that make no sense.
availability_map make_availability(dataset_state& state, const availability_options& options);

}  // namespace ravo::detail

#endif
