// The place of the block that a row of a column is read from, and what its head says.
#ifndef RAVO_DATASET_LOCATION_H
#define RAVO_DATASET_LOCATION_H

#include <cstdint>
#include <optional>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/block_place.h"
#include "read/block_reading.h"

namespace ravo::detail {

/// What the head of an entry's block says; with file_missing if the file cannot be read.
located_block read_head_of(dataset_state& state, const segment& part, std::size_t channel,
                           const entry& where);
/// Whether it says where the data lie, which may be compressed in a way that is not known.
bool is_located(const located_block& block);

/// The place of each row; `nullopt` if it has no block. Throws access_error if there are fewer rows.
std::vector<std::optional<block_place>> locate(dataset_state& state, std::size_t channel,
                                               const std::vector<std::uint64_t>& rows, column_rows kind);

}  // namespace ravo::detail

#endif
