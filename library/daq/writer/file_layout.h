// Computes where each part of a raw file lies from the contents of the file, before anything is written.
// The same sum decides whether one more event still fits, so a limit is never exceeded.
//
// The order of the parts: signature, event headers, server-block headers, channel baskets in the order
// of the channels, channel dictionary, event index, pointer table, environment dictionary, channel
// descriptions, reference table, and the word that holds the reference table's offset.
#ifndef RAVO_WRITER_FILE_LAYOUT_H
#define RAVO_WRITER_FILE_LAYOUT_H

#include <cstdint>
#include <limits>

#include "record_set.h"

namespace ravo::writer {

/// What a file holds, in numbers.
struct file_contents {
  std::uint64_t channels = 0;
  std::uint64_t environment_channels = 0;
  std::uint64_t description_bytes = 0;
  std::uint64_t events = 0;
  std::uint64_t event_types = 0;  ///< that have events
  std::uint64_t server_blocks = 0;
  std::uint64_t baskets = 0;          ///< channels that have blocks
  std::uint64_t block_bytes = 0;      ///< of all channels, with the padding between blocks
  std::uint64_t longest_channel = 0;  ///< bytes of blocks of the channel that has the most bytes
  std::uint64_t longest_row = 0;      ///< blocks of the channel that has the most blocks

  /// Adds a block of `bytes` bytes, padding included, of a channel that had `row` blocks in
  /// `basket` bytes before.
  void add_block(std::uint64_t bytes, std::uint64_t row, std::uint64_t basket);
};

struct file_layout {
  file_layout(const file_contents& contents, const record_set& records);

  std::uint64_t event_headers;
  std::uint64_t server_blocks;
  std::uint64_t channel_baskets;
  std::uint64_t channel_dictionary;
  std::uint64_t event_index;
  std::uint64_t pointer_table;
  std::uint64_t environment_dictionary;
  std::uint64_t descriptions;
  std::uint64_t reference_table;
  std::uint64_t total;

  std::uint64_t event_headers_length;
  std::uint64_t server_blocks_length;
  std::uint64_t longest_basket_length;
  std::uint64_t channel_dictionary_length;
  std::uint64_t pointer_table_length;
  std::uint64_t environment_dictionary_length;
  std::uint64_t descriptions_length;

  /// Whether every offset fits its unsigned word and every length its signed word.
  bool fits() const;
};

/// Offsets are unsigned 32-bit words, and so is the file's length, since readers store it in such a word.
inline constexpr std::uint64_t largest_file = std::numeric_limits<std::uint32_t>::max();
/// Lengths of tables, baskets and blocks are signed 32-bit words.
inline constexpr std::uint64_t largest_length = std::numeric_limits<std::int32_t>::max();

}  // namespace ravo::writer

#endif
