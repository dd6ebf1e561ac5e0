// The event that is being passed to the writer, with its blocks already encoded. It belongs to no file
// until end_event() decides which file it goes to.
#ifndef RAVO_WRITER_EVENT_PARTS_H
#define RAVO_WRITER_EVENT_PARTS_H

#include <cstdint>
#include <vector>

#include "big_endian.h"
#include "ravo_daq/raw_writer.h"

namespace ravo::writer {

struct event_parts {
  struct server_block {
    ravo_daq_writer_server_block head;
    std::uint64_t bytes;  ///< its head and the blocks of its channels
    std::uint32_t channels;
  };
  struct block {
    std::size_t channel;
    std::size_t server_block;
    std::size_t offset;    ///< in block_bytes
    std::uint32_t length;  ///< as in the subheader, without the padding after it
    RAVO_SUBBLOCK_TYPE dtype;
  };

  ravo_daq_writer_event head;
  std::vector<server_block> server_blocks;
  std::vector<block> blocks;
  byte_vector block_bytes;  ///< all blocks, each padded to a multiple of 4

  void clear() {
    head = {};
    server_blocks.clear();
    blocks.clear();
    block_bytes.clear();
  }
};

}  // namespace ravo::writer

#endif
