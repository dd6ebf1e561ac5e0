// Turns one channel's data in host order into a block of the channel's basket: the subheader, and the
// data in file order, compressed where that makes the block smaller.
#ifndef RAVO_WRITER_BLOCK_ENCODER_H
#define RAVO_WRITER_BLOCK_ENCODER_H

#include <cstdint>
#include <span>

#include "big_endian.h"
#include "channel.h"
#include "outcome.h"
#include "record_set.h"

namespace ravo::writer {

class block_encoder {
 public:
  /// `records` must outlive the encoder.
  explicit block_encoder(const record_set& records);

  /// Appends the block to `out`, which then has room for its padding too; `*length` receives its
  /// length. After a refusal `out` is unchanged. `data` must not be longer than a block may be.
  outcome append(const channel& of, RAVO_SUBBLOCK_TYPE dtype, ravo_compression compression,
                 std::span<const unsigned char> data, std::int32_t error, byte_vector& out,
                 std::uint32_t* length);

 private:
  std::size_t compress(ravo_compression compression, int zlib_level);

  const record_set& records_;
  byte_vector ordered_;  // the data in file order
  byte_vector packed_;   // the same, compressed
  byte_vector lzo_work_;
  bool lzo_ready_;
};

}  // namespace ravo::writer

#endif
