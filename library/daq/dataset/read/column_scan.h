// The blocks of one column, cut into chunks: reads a chunk, passes each block to sinks, and counts their
// outcomes. Who reads which chunk is decided in column_workers.h.
#ifndef RAVO_DATASET_COLUMN_SCAN_H
#define RAVO_DATASET_COLUMN_SCAN_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "read/block_scan.h"
#include "read/column_plan.h"
#include "read/column_workers.h"

namespace ravo::detail {

/// A block of a column, and the row that it is for.
struct column_block {
  std::uint64_t row;
  std::uint64_t ordinal;  ///< grows from block to block
  bool is_held;           ///< the block belongs to another event than the row
  const entry& where;
  const block_source_file& source;
  const found_block& found;
};

/// Takes the blocks of a column.
class column_sink {
 public:
  /// What a sink makes of one chunk, filled by one worker. If the worker is refused memory, it is dropped
  /// and the chunk is read again.
  class chunk_part {
   public:
    virtual ~chunk_part() = default;
    virtual value_status put(const column_block& block, block_memory& memory) = 0;
    /// The chunk is complete.
    virtual void commit() {}
  };

  virtual ~column_sink() = default;
  /// For a chunk of so many blocks.
  virtual std::unique_ptr<chunk_part> begin(std::size_t chunk, std::size_t blocks,
                                            block_memory& memory) = 0;
  /// Whether the value of a row is there already.
  virtual bool has(std::uint64_t) const { return false; }
  /// Whether the rest of the blocks is of no use.
  virtual bool has_given_up() const { return false; }
};

class column_scan {
 public:
  /// Cuts the blocks into chunks. `ledger` has what is known of the column before it is read.
  column_scan(dataset_state& state, const column_plan& plan, read_ledger& ledger);

  std::size_t chunks() const { return chunks_.size(); }
  /// Bytes of all blocks.
  std::uint64_t stored_bytes() const { return stored_; }

  /// The pass that hands every block to the sinks. The status that the last sink returns is the row's, and
  /// is counted. `statuses` and the ledger start afresh. Ends early when the last sink has given up. Sinks
  /// and statuses are kept by reference.
  column_pass reading(std::span<column_sink* const> sinks, std::vector<value_status>& statuses);
  /// The pass that visits every block, on several threads, and counts nothing.
  column_pass looking(std::function<void(const column_block&, block_memory&)> visit);

 private:
  class chunk_reading;

  void cut_into_chunks();
  void read_chunk(std::size_t number, const segment& part, block_memory& memory,
                  std::span<column_sink* const> sinks, std::vector<value_status>& statuses);
  std::vector<entry> blocks_of(const column_chunk& piece, const segment& part) const;
  column_block block_of(const column_chunk& piece, std::size_t place, const entry& where,
                        const block_source_file& source, const found_block& found) const;
  bool is_held(std::uint64_t row) const { return plan_.column.status[row] != value_status::ok; }

  dataset_state& state_;
  const column_plan& plan_;
  read_ledger& ledger_;
  const read_ledger planned_ledger_;
  std::vector<column_chunk> chunks_;
  std::uint64_t stored_ = 0;
  std::mutex mutex_;  ///< guards the ledger and the sinks' commits while workers run
};

}  // namespace ravo::detail

#endif
