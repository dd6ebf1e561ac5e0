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
#include "read/item.h"
#include "read/row_selector.h"

namespace ravo::detail {

/// Blocks of one segment and the rows that they are for.
struct block_list {
  std::size_t segment = 0;
  std::vector<std::uint32_t> index;  ///< among the channel's entries
  std::vector<std::uint64_t> row;
  std::vector<std::uint32_t> stored;  ///< bytes
};

/// A row that holds the value of another row.
struct row_copy {
  std::uint64_t row;
  std::uint64_t from;
};

/// The place of a segment in the walk over a column: what comes before it.
struct walk_place {
  std::size_t segment = 0;
  std::size_t events = 0;  ///< selected ones, whatever the step
  std::uint64_t rows = 0;
};

/// Which rows are planned.
struct plan_request {
  column_rows rows = column_rows::recorded;
  row_selector wanted;
  /// Whether the reading, of which this may be one of several plans, takes all rows.
  reading_extent extent = reading_extent::whole;
  value_part part;  ///< a channel that is a member has that one
  walk_place from;  ///< no wanted row lies before it

  static plan_request of(const column_options& options);
};

struct column_plan {
  std::size_t channel = 0;
  value_part part;
  walk_place last;  ///< the last segment that was visited
  std::vector<block_list> lists;
  std::vector<row_copy> copies;
  /// With its rows, and the status that each will have if its block can be read; without values.
  column_data column;
  std::shared_ptr<kept_memory> memory;  ///< goes with the column
};

/// Aligns the selection as far as the wanted rows go. What is missing and belongs to no row goes to
/// `ledger`, whose only channel it is; null: it does not count.
column_plan make_plan(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                      const plan_request& request, read_ledger* ledger);
/// The same for several channels, in one walk over the segments; a ledger for each.
std::vector<column_plan> make_plans(const std::shared_ptr<dataset_state>& state,
                                    const std::vector<std::size_t>& channels, const plan_request& request,
                                    const std::vector<read_ledger*>& ledgers);

}  // namespace ravo::detail

#endif
