// Computes the envelope of a channel while its blocks are decoded.
#ifndef RAVO_DATASET_ENVELOPE_READING_H
#define RAVO_DATASET_ENVELOPE_READING_H

#include <cstddef>
#include <memory>

#include "dataset_state.h"
#include "ravo_dataset/envelope.h"

namespace ravo::detail {

/// Throws selection_error for a number of bins or a part of the axis that makes no sense.
channel_envelope read_envelope(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                               const envelope_options& options);

}  // namespace ravo::detail

#endif
