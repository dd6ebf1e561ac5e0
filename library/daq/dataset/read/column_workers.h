// Passes over the blocks of one or several columns by all threads: chunk by chunk, in the order of the
// files. Of the workers that have no room one at a time waits for it, and the others give up the memory
// that they have.
#ifndef RAVO_DATASET_COLUMN_WORKERS_H
#define RAVO_DATASET_COLUMN_WORKERS_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "dataset_state.h"
#include "read/block_scan.h"
#include "work/memory_turn.h"

namespace ravo::detail {

/// The progress of the reading that columns are a part of.
class column_progress {
 public:
  /// `before`: what was read before these columns; null if the reading is of these only. `report` is kept
  /// by reference, and may be empty.
  column_progress(const progress_function& report, read_progress* before)
      : report_(report), before_(before) {}

  void add_total(std::uint64_t bytes) { total_ += bytes; }
  std::uint64_t total() const { return total_; }
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

/// A piece of a column, for one worker.
struct column_chunk {
  std::size_t segment = 0;
  std::size_t list = 0;  ///< of the column's plan
  std::size_t first = 0;
  std::size_t last = 0;
  std::uint64_t stored = 0;
};

/// What is done with the chunks of one column. It is kept by those who made it as long as it runs.
struct column_pass {
  const std::vector<column_chunk>* chunks = nullptr;
  std::function<void(std::size_t chunk, const segment& part, block_memory& memory)> read;
  /// Whether the rest of the chunks is of no use.
  std::function<bool()> is_over;
};

class column_workers {
 public:
  /// `what` is named in the message if the memory limit is too small.
  column_workers(dataset_state& state, column_progress& progress, std::string what)
      : state_(state), progress_(progress), what_(std::move(what)) {}

  /// Passes whose bytes count as read. Those that `progress` counts and that are not among them were read.
  void read(const std::vector<column_pass>& passes);
  /// Passes in advance, which read nothing for good.
  void look(const std::vector<column_pass>& passes);
  /// Stored bytes that were read, by the last passes and before.
  std::uint64_t done_bytes() const { return done_; }

  /// Takes buffers for the workers to use.
  void give(std::unique_ptr<block_memory> memory);

 private:
  struct piece {
    const column_pass* pass;
    std::size_t chunk;
  };
  void run(const std::vector<column_pass>& passes, bool counts);
  void read_in_turn(const piece& next, on_full how);
  std::unique_ptr<block_memory> take_memory();

  dataset_state& state_;
  column_progress& progress_;
  const std::string what_;
  std::atomic<std::uint64_t> done_{0};
  memory_turn turn_;  ///< of the workers to wait for memory; taken before mutex_
  std::mutex mutex_;  ///< guards what follows
  std::vector<std::unique_ptr<block_memory>> free_;
};

}  // namespace ravo::detail

#endif
