// The rows of channels, and what the tables of the files say of their values.
#ifndef RAVO_DATASET_MAKE_INDEX_H
#define RAVO_DATASET_MAKE_INDEX_H

#include <memory>
#include <stop_token>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/index.h"

namespace ravo::detail {

/// `channels`: their positions in the dataset. Throws read_cancelled.
dataset_index make_index(const std::shared_ptr<dataset_state>& state,
                         const std::vector<std::size_t>& channels, const index_options& options,
                         const std::stop_token& stop);

}  // namespace ravo::detail

#endif
