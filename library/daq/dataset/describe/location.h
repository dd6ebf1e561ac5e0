// The place of the block that a row of a column is read from.
#ifndef RAVO_DATASET_LOCATION_H
#define RAVO_DATASET_LOCATION_H

#include <cstdint>
#include <optional>

#include "dataset_state.h"
#include "ravo_dataset/block_place.h"

namespace ravo::detail {

/// `nullopt` if the row has no block. Throws access_error if there are fewer rows.
std::optional<block_place> locate(dataset_state& state, std::size_t channel, std::uint64_t row,
                                  column_rows rows);

}  // namespace ravo::detail

#endif
