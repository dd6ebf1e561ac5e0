// From entries to decoded bytes: reads the stored blocks of one channel of one file in large pieces, finds
// each with the one decoder, and gives its outcome as a status.
#ifndef RAVO_DATASET_BLOCK_READING_H
#define RAVO_DATASET_BLOCK_READING_H

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

#include "align/dictionary_names.h"
#include "align/file_tables.h"
#include "decode/stored_block.h"
#include "ravo_dataset/status.h"
#include "work/memory_budget.h"

namespace ravo::detail {

/// A stored block that was found, or why it was not.
struct found_block {
  value_status status = value_status::truncated;
  stored_payload payload;
  std::int32_t stored_type = 0;  ///< as it lies in the file
  std::int32_t type = 0;         ///< as it is handed out
  std::int32_t error = 0;        ///< error bits, without the one for compression
};

/// Where blocks come from.
struct block_source_file {
  const open_file* file = nullptr;  ///< null: the file is missing
  const char* channel = "";
  const known_file* known = nullptr;
  std::uint32_t dtype_mask = 0;  ///< of the channel's dictionary entry
  std::uint64_t basket_end = 0;
  dictionary_names* names = nullptr;

  bool is_current() const { return known->generation == ravo_file_generation::current; }
  std::uint64_t largest_block = std::numeric_limits<std::uint64_t>::max();  ///< bytes, as it is decoded
};

/// Bytes of the window that reads `blocks` from `first` on, and how many of them it holds: blocks that lie
/// back to back are read together, up to `most` bytes or one block. Of a block whose place is larger than
/// `largest_block` only the head is read, which says whether the block itself is too large.
struct block_window {
  std::uint64_t offset = 0;
  std::size_t bytes = 0;
  std::size_t blocks = 0;
};
inline constexpr std::size_t largest_window = std::size_t{1} << 18;
block_window next_window(const std::vector<entry>& blocks, std::size_t first, std::size_t most,
                         std::uint64_t largest_block);

/// The buffers for windows, and for blocks that are longer than their place.
struct read_buffers {
  pooled_buffer window;
  pooled_buffer block;
};

/// Reads a window into `buffers.window`, which has room for it, finds its blocks and passes each on, with
/// its position in `blocks`. A block that says that it is longer than its place is read again by itself:
/// `fit_block` makes `buffers.block` large enough. What is passed on is valid during the call.
void read_window(const block_source_file& source, const std::vector<entry>& blocks, std::size_t first,
                 const block_window& window, const read_buffers& buffers,
                 const std::function<void(std::size_t)>& fit_block,
                 const std::function<void(std::size_t, const found_block&)>& take);

/// What the head of a block says of it; `part` needs to hold the head only.
struct block_head {
  bool is_known = false;
  bool is_compressed = false;
  std::uint64_t decoded = 0;  ///< bytes
};
block_head read_head(const block_source_file& source, const file_part& part, const entry& where);

/// Where the data of a block lie, and how they are stored; `part` needs to hold the head only.
struct located_block {
  value_status status = value_status::truncated;  ///< ok, or what the head shows to be wrong
  stored_form form = stored_form::plain;
  unzipper by = unzipper::zlib;
  std::uint64_t data_at = 0;  ///< offset in the file
  std::uint64_t stored = 0;   ///< bytes
  std::uint64_t decoded = 0;  ///< bytes; 0 where it is not known how they are compressed
  std::int32_t type = 0;
};
located_block locate_block(const block_source_file& source, const file_part& part, const entry& where);

/// Inflates a compressed block into `payload.room` bytes, in file order. ok, or why not.
value_status inflate(const found_block& block, unsigned char* into);
/// Decodes a block, in host order, and keeps the requested member of it, -1 for all of it:
/// however the block is stored, and whatever the classic readers would return. `into` has
/// decoded_room() bytes.
struct decoded_value {
  value_status status = value_status::ok;
  std::size_t length = 0;  ///< bytes
  std::int32_t type = 0;
};
std::size_t decoded_room(const found_block& block, int member);
decoded_value decode_member(const block_source_file& source, const found_block& block, int member,
                            unsigned char* into);

}  // namespace ravo::detail

#endif
