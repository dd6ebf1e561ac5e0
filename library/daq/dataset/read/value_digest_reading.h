// Computes the digests of the values of channels while their blocks are decoded.
#ifndef RAVO_DATASET_VALUE_DIGEST_READING_H
#define RAVO_DATASET_VALUE_DIGEST_READING_H

#include <cstddef>
#include <memory>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/value_digest.h"

namespace ravo::detail {

/// Of all channels, in one pass over the files.
std::vector<named_value_digest> read_value_digests(const std::shared_ptr<dataset_state>& state,
                                                   const digest_options& options);

}  // namespace ravo::detail

#endif
