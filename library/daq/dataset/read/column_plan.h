// The rows of a column, before anything is decoded: which events they are, and which block is for which
// row.
#ifndef RAVO_DATASET_COLUMN_PLAN_H
#define RAVO_DATASET_COLUMN_PLAN_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/column.h"

namespace ravo::detail {

/// Blocks of one segment and the rows that they are for.
struct block_list {
  std::size_t segment = 0;
  std::vector<std::uint32_t> index;  ///< among the channel's entries
  std::vector<std::uint64_t> row;
};

/// A row that holds the value of another row.
struct row_copy {
  std::uint64_t row;
  std::uint64_t from;
};

struct column_plan {
  std::size_t channel = 0;
  int member = -1;
  std::vector<block_list> lists;
  std::vector<row_copy> copies;
  /// With its rows, and the status that each will have if its block can be read; without values.
  column_data column;
  std::shared_ptr<kept_memory> memory;  ///< goes with the column
};

/// Aligns the selection. What is missing and belongs to no row goes to `ledger`, whose only channel it is.
column_plan make_plan(const std::shared_ptr<dataset_state>& state, std::size_t channel, column_rows rows,
                      read_ledger& ledger);

}  // namespace ravo::detail

#endif
