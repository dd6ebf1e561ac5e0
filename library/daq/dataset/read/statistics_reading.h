// Computes statistics of channels while their blocks are decoded.
#ifndef RAVO_DATASET_STATISTICS_READING_H
#define RAVO_DATASET_STATISTICS_READING_H

#include <cstddef>
#include <memory>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/statistics.h"

namespace ravo::detail {

/// In one pass over the files.
std::vector<channel_statistics> read_statistics(const std::shared_ptr<dataset_state>& state,
                                                const std::vector<std::size_t>& channels,
                                                const statistics_options& options);

}  // namespace ravo::detail

#endif
