// Reads the stored blocks of one channel in windows of its files, with memory for them: for columns, for
// batches of events, and for code that needs only a few blocks.
#ifndef RAVO_DATASET_BLOCK_SCAN_H
#define RAVO_DATASET_BLOCK_SCAN_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dataset_state.h"
#include "format/byte_view.h"
#include "read/block_reading.h"

namespace ravo::detail {

/// The most bytes that are read in one piece: fewer if the memory limit is low.
inline std::size_t window_bytes(const memory_budget& memory) {
  return std::clamp<std::size_t>(memory.limit() / 16, 64 * 1024, largest_window);
}

/// Where the blocks of a channel in a file come from. `opened` is kept as long as the source is used.
block_source_file source_of(dataset_state& state, const segment& part, std::size_t channel,
                            std::uint32_t file, std::shared_ptr<const open_file>& opened);

/// What one thread needs to read and decode blocks. Its buffers come from the budget's pool.
class block_memory {
 public:
  /// `what` is named in the message if the memory limit is too small.
  block_memory(memory_budget& memory, std::string what, on_full how)
      : memory_(memory), what_(std::move(what)), how_(how) {}

  unsigned char* fit_window(std::size_t size) { return fit(read_.window, size); }
  unsigned char* fit_block(std::size_t size) { return fit(read_.block, size); }
  unsigned char* fit_inflated(std::size_t size) { return fit(inflated_, size); }
  unsigned char* fit_decoded(std::size_t size) { return fit(decoded_, size); }
  const read_buffers& buffers() const { return read_; }
  memory_budget& budget() const { return memory_; }

  /// Whether to wait if there is no room for a buffer. Before it waits, the memory of decoded blocks is
  /// given back.
  on_full how() const { return how_; }
  void set_how(on_full how) { how_ = how; }

 private:
  unsigned char* fit(pooled_buffer& buffer, std::size_t size);

  memory_budget& memory_;
  std::string what_;
  on_full how_;
  read_buffers read_;
  pooled_buffer inflated_;
  pooled_buffer decoded_;
};

/// Blocks of one channel, read by one thread.
class block_scan {
 public:
  block_scan(dataset_state& state, std::size_t channel, block_memory& memory)
      : state_(state), channel_(channel), memory_(memory) {}

  /// A block that was found, or why it was not; valid during the visit.
  using visitor =
      std::function<void(std::size_t index, const block_source_file& source, const found_block& found)>;

  /// The window that reads blocks from `first` on.
  block_window window_at(const std::vector<entry>& blocks, std::size_t first) const;
  /// Reads a window and visits its blocks.
  void read(const segment& part, const std::vector<entry>& blocks, std::size_t first,
            const block_window& window, const visitor& visit);
  /// Reads all of them.
  void read_all(const segment& part, const std::vector<entry>& blocks, const visitor& visit);

 private:
  dataset_state& state_;
  std::size_t channel_;
  block_memory& memory_;
};

/// The payload of a block as it lies in the file, once it is inflated; `nullopt` and why.
std::optional<byte_view> inflate(const found_block& found, block_memory& memory, value_status& status);

}  // namespace ravo::detail

#endif
