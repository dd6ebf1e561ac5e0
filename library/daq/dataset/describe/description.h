// Descriptions of channels, put together from blocks, dictionaries and the descriptions in the files.
#ifndef RAVO_DATASET_MAKE_DESCRIPTION_H
#define RAVO_DATASET_MAKE_DESCRIPTION_H

#include <memory>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/describe.h"

namespace ravo::detail {

/// `channels`: their positions in the dataset. Throws read_cancelled.
std::vector<channel_description> describe(dataset_state& state, const std::vector<std::size_t>& channels,
                                          const describe_options& options);

}  // namespace ravo::detail

#endif
