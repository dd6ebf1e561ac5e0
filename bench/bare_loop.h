// The yardstick of the benchmarks: loops that do only what is indispensable. A block is inflated with the
// library that the reader uses, its words are swapped, and it gets memory of its own. Nothing is checked,
// and nothing is indexed for later use.
#ifndef RAVO_BENCH_BARE_LOOP_H
#define RAVO_BENCH_BARE_LOOP_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ravo_raw_format.h"

namespace ravo::bench {

/// Which words of the data are swapped.
enum class swapped { all_words, image_head, image_ext_head };

/// Which library inflates blocks that zlib wrote.
enum class inflater { zlib, libdeflate };

/// A file in memory, mapped anew, and unmapped with the object.
class mapped_file {
 public:
  explicit mapped_file(const std::string& path);
  ~mapped_file();
  mapped_file(const mapped_file&) = delete;
  mapped_file& operator=(const mapped_file&) = delete;
  const unsigned char* at(std::uint32_t offset) const { return bytes_ + offset; }

 private:
  unsigned char* bytes_ = nullptr;
  std::size_t size_ = 0;
};

/// Blocks that a bare loop has made; frees them.
class bare_blocks {
 public:
  bare_blocks() = default;
  ~bare_blocks();
  bare_blocks(const bare_blocks&) = delete;
  bare_blocks& operator=(const bare_blocks&) = delete;

  struct block {
    unsigned char* bytes = nullptr;  ///< subheader and data
    std::size_t size = 0;
  };
  std::vector<block> blocks;
};

/// Copies whole words with the bytes of each reversed; source and destination may be the same.
void swap_words(const unsigned char* from, unsigned char* to, std::size_t bytes);

/// Decodes the blocks at these places into `into`, on that many threads.
void decode_bare(const mapped_file& file, std::span<const ravo_event_chan_ptr_entry> places, swapped words,
                 inflater by, int threads, bare_blocks& into);

/// A block of which only the values are wanted, and where they go.
struct value_place {
  const mapped_file* file = nullptr;
  std::uint32_t subheader = 0;  ///< offset in the file
  std::byte* into = nullptr;
};

/// The layout of a block's data: a head, followed by values only.
struct value_layout {
  std::size_t head = 0;     ///< bytes
  std::size_t element = 4;  ///< bytes of a value: 1, 2 or 4
};

/// Inflates (with libdeflate), swaps and stores the values of all places, on that many threads: the work
/// that no way of reading these bytes can avoid.
void store_values(std::span<const value_place> places, const value_layout& layout, int threads);

}  // namespace ravo::bench

#endif
