// What a reading will take, estimated from the tables and the heads of some blocks.
#ifndef RAVO_DATASET_PLANNING_H
#define RAVO_DATASET_PLANNING_H

#include <string>
#include <vector>

#include "dataset_state.h"

namespace ravo::detail {

read_plan make_plan(dataset_state& state);

/// What is known to be missing since the dataset was opened, in a sentence each.
std::vector<std::string> problems_of_opening(const dataset_state& state);

}  // namespace ravo::detail

#endif
