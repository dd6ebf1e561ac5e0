// Where the block of a value lies in its file, and how it is stored: for references to raw files, and for
// people who want to see the bytes.
#ifndef RAVO_DATASET_BLOCK_PLACE_H
#define RAVO_DATASET_BLOCK_PLACE_H

#include <cstdint>
#include <string>

#include "ravo_core_records.h"
#include "ravo_dataset/index.h"
#include "ravo_export.h"
#include "ravo_file_generation.h"

namespace ravo {

enum class block_compression : std::uint8_t {
  none,
  zlib,
  lzo1x,
  unknown,  ///< the block names none that is known
};
/// "none", "zlib" ... Static text.
RAVO_EXPORT const char* block_compression_name(block_compression compression);

/// The place of a block, by the tables and its head. A block is a head and data, which are compressed or
/// not; numbers in it are big-endian.
struct block_place {
  /// recorded, held or stale: the place is known, and decoding is not tried. Otherwise why it is not known;
  /// then only the file, the event and `offset` are set.
  index_status status = index_status::recorded;
  std::string path;
  ravo_file_generation generation = ravo_file_generation::current;
  ravo_time_id recorded_with{};     ///< the event of the block, which is another one for a held value
  std::uint64_t offset = 0;         ///< of the head
  std::uint64_t data_offset = 0;    ///< of the stored data: of a compressed block, of the compressed stream
  std::uint64_t stored_bytes = 0;   ///< of these data
  std::uint64_t decoded_bytes = 0;  ///< of the decoded data, as the block states; 0 if it cannot be decoded
  block_compression compression = block_compression::none;
  std::int32_t data_type = 0;  ///< a RAVO_SUBBLOCK_TYPE, as it is stored
};

}  // namespace ravo

#endif
