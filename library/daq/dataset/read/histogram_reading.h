// Computes histograms of a channel while its blocks are decoded.
#ifndef RAVO_DATASET_HISTOGRAM_READING_H
#define RAVO_DATASET_HISTOGRAM_READING_H

#include <cstddef>
#include <memory>

#include "dataset_state.h"
#include "ravo_dataset/histogram.h"

namespace ravo::detail {

/// Throws selection_error for limits or numbers of bins that make no sense.
channel_histogram read_histogram(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                                 const histogram_options& options);

}  // namespace ravo::detail

#endif
