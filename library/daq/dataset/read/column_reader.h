// Reads one column: finds its rows and the layout of their values, and then reads all of them with all
// threads, each block directly to its place.
#ifndef RAVO_DATASET_COLUMN_READER_H
#define RAVO_DATASET_COLUMN_READER_H

#include <cstddef>
#include <memory>

#include "dataset_state.h"
#include "ravo_dataset/column.h"

namespace ravo::detail {

/// What the column would be.
column_layout layout_of_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                               const column_options& options);
column_data read_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                        const column_options& options);
/// Reads all blocks of a channel for their digest only, as a part of a reading that has come as far as
/// `of_all` says, and reports to `progress`.
channel_digest read_digest(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                           const progress_function& progress, read_progress& of_all);

}  // namespace ravo::detail

#endif
