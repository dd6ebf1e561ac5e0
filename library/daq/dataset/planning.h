// What a reading will take, from the tables and the heads of some blocks.
#ifndef RAVO_DATASET_PLANNING_H
#define RAVO_DATASET_PLANNING_H

#include "dataset_state.h"

namespace ravo {

/// The events of the selection, whatever the step. Aligns the segments that were not yet, with all threads.
std::size_t count_events(dataset_state& state);

read_plan make_plan(dataset_state& state);

}  // namespace ravo

#endif
