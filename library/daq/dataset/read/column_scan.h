// Reads all blocks of a column with several threads, in chunks, and passes each to a sink; counts their
// outcomes. Of the workers that have no room one at a time waits for it, and the others give up the memory
// that they have.
#ifndef RAVO_DATASET_COLUMN_SCAN_H
#define RAVO_DATASET_COLUMN_SCAN_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "read/block_scan.h"
#include "read/column_plan.h"
#include "work/memory_turn.h"

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

/// The progress of the reading that a column is a part of.
class column_progress {
 public:
  /// `before`: what was read before this column; null if the reading is of this column only. `report` is
  /// kept by reference, and may be empty.
  column_progress(const progress_function& report, read_progress* before)
      : report_(report), before_(before) {}

  void set_total(std::uint64_t bytes) { total_ = bytes; }
  /// Reports the progress, never less than before, even if blocks are read again.
  void report(std::uint64_t done) const;
  /// Adds what was read to what was read before.
  void close(std::uint64_t done) {
    if (before_ != nullptr) before_->done_bytes += done;
  }

 private:
  const progress_function& report_;
  read_progress* before_;
  std::uint64_t total_ = 0;
  mutable std::uint64_t reported_ = 0;
};

class column_scan {
 public:
  /// Cuts the blocks into chunks. `ledger` has what is known of the column before it is read.
  column_scan(dataset_state& state, const column_plan& plan, read_ledger& ledger,
              column_progress& progress);

  std::size_t chunks() const { return chunks_.size(); }
  /// Stored bytes that were read, of this pass over the blocks.
  std::uint64_t done_bytes() const { return done_; }

  /// Passes every block to the sinks. The status that the last sink returns is the row's, and is counted.
  /// `statuses` and the ledger start afresh. Ends early when the last sink has given up.
  void read(std::span<column_sink* const> sinks, std::vector<value_status>& statuses);
  /// Visits every block, on several threads, and counts nothing.
  void visit(const std::function<void(const column_block&, block_memory&)>& visit);

  /// Takes buffers for the workers to use.
  void give(std::unique_ptr<block_memory> memory);

 private:
  /// Blocks of one list.
  struct chunk {
    std::size_t list = 0;
    std::size_t first = 0;
    std::size_t last = 0;
    std::uint64_t stored = 0;
  };
  using chunk_reader = std::function<void(std::size_t chunk, const segment& part, block_memory& memory)>;

  class chunk_reading;

  void cut_into_chunks();
  void for_each_chunk(const chunk_reader& read, const std::function<bool()>& is_over);
  void read_in_turn(std::size_t number, on_full how, const chunk_reader& read);
  void read_chunk(std::size_t number, const segment& part, block_memory& memory,
                  std::span<column_sink* const> sinks, std::vector<value_status>& statuses);
  std::vector<entry> blocks_of(const chunk& piece, const segment& part) const;
  column_block block_of(const chunk& piece, std::size_t place, const entry& where,
                        const block_source_file& source, const found_block& found) const;
  bool is_held(std::uint64_t row) const { return plan_.column.status[row] != value_status::ok; }
  std::unique_ptr<block_memory> take_memory();

  dataset_state& state_;
  const column_plan& plan_;
  read_ledger& ledger_;
  const read_ledger planned_ledger_;
  column_progress& progress_;
  const std::string what_;
  std::vector<chunk> chunks_;
  std::uint64_t stored_ = 0;
  std::atomic<std::uint64_t> done_{0};
  memory_turn turn_;  ///< of the workers to wait for memory; taken before mutex_
  std::mutex mutex_;  ///< guards what follows, and the ledger and the sinks' commits while workers run
  std::vector<std::unique_ptr<block_memory>> free_;
};

}  // namespace ravo::detail

#endif
