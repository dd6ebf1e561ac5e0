// What is computed of channels while their blocks are decoded, each in one pass over the files: statistics,
// envelopes, histograms and digests.
#ifndef RAVO_DATASET_COMPUTED_H
#define RAVO_DATASET_COMPUTED_H

#include <cstddef>
#include <memory>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/digest.h"
#include "ravo_dataset/envelope.h"
#include "ravo_dataset/histogram.h"
#include "ravo_dataset/statistics.h"
#include "ravo_dataset/value_digest.h"

namespace ravo::detail {

std::vector<channel_statistics> read_statistics(const std::shared_ptr<dataset_state>& state,
                                                const std::vector<std::size_t>& channels,
                                                const statistics_options& options);

/// Throws selection_error for a number of bins or a part of the axis that makes no sense.
channel_envelope read_envelope(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                               const envelope_options& options);

/// Throws selection_error for limits or numbers of bins that make no sense. Without limits there are two
/// passes.
channel_histogram read_histogram(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                                 const histogram_options& options);

/// The digests of all channels' blocks, and those of their values.
std::vector<named_digest> read_digests(const std::shared_ptr<dataset_state>& state,
                                       const digest_options& options);
std::vector<named_value_digest> read_value_digests(const std::shared_ptr<dataset_state>& state,
                                                   const digest_options& options);

}  // namespace ravo::detail

#endif
