// Memory of decoded blocks. What a file's blocks leave is kept for those of the next file: memory that the
// system hands out anew has to be cleared page by page, which takes longer than copying a plain block.
#ifndef RAVO_DECODE_BLOCK_MEMORY_H
#define RAVO_DECODE_BLOCK_MEMORY_H

#include <cstddef>

namespace ravo {

/// Memory for a block of `size` bytes, unset: of an earlier block where there is some, else by allocate();
/// null if there is none. Given back by give_back_block(), or released with free(). Any thread may call it.
void* take_block(std::size_t size);

/// Keeps the memory of a block for later ones, or frees it: small blocks, and what is beyond
/// `most_kept_memory`. Null does nothing.
void give_back_block(void* memory);

/// Bytes that are kept for all readers of a process together, and after the last of them.
inline constexpr std::size_t most_kept_memory = std::size_t{256} << 20;

}  // namespace ravo

#endif
