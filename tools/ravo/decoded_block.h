// The decoded block behind an entry that the reader handed out.
#ifndef RAVO_TOOL_DECODED_BLOCK_H
#define RAVO_TOOL_DECODED_BLOCK_H

#include <zlib.h>

#include <cstdint>
#include <span>

#include "ravo_core_records.h"
#include "ravo_raw_format.h"

namespace ravo::tool {

/// Subheader and data of the entry; null when the entry has no data.
inline const ravo_serv_block_subhead_2010* subheader(const ravo_channel_entry_long& entry) {
  return reinterpret_cast<const ravo_serv_block_subhead_2010*>(entry.sbchdata[0].chhd);
}

inline std::span<const unsigned char> payload(const ravo_serv_block_subhead_2010& head) {
  return {reinterpret_cast<const unsigned char*>(&head + 1),
          static_cast<std::size_t>(head.ldata) - sizeof head};
}

inline std::uint32_t checksum(std::span<const unsigned char> data) {
  return static_cast<std::uint32_t>(crc32(0, data.data(), static_cast<unsigned>(data.size())));
}

}  // namespace ravo::tool

#endif
