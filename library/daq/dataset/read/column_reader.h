// Reads columns: finds their rows and the layout of their values, and then reads all of them with all
// threads, each block directly to its place.
#ifndef RAVO_DATASET_COLUMN_READER_H
#define RAVO_DATASET_COLUMN_READER_H

#include <cstddef>
#include <memory>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/column.h"
#include "read/column_plan.h"

namespace ravo::detail {

/// What the column would be.
column_layout layout_of_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                               const column_options& options);
column_data read_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                        const column_options& options);
/// Several columns, in one pass over the files.
std::vector<column_data> read_columns(const std::shared_ptr<dataset_state>& state,
                                      const std::vector<std::size_t>& channels,
                                      const column_options& options);
/// One of several parts of a column that are read one after the other. `extent`: that of all parts. `place`
/// is where planning begins, and then where that of the next part may begin. `may_repeat`: a part that does
/// not fit into the memory is read again as smaller ones, and counts then.
column_data read_chunk_of_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                                 const column_options& options, reading_extent extent, walk_place& place,
                                 bool may_repeat);

}  // namespace ravo::detail

#endif
