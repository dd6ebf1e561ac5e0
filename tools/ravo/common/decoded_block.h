// The decoded block of an entry that a reader delivered: its subheader's
// values, and its data in host order, in the same form for both generations.
#ifndef RAVO_TOOL_DECODED_BLOCK_H
#define RAVO_TOOL_DECODED_BLOCK_H

#include <zlib.h>

#include <cstdint>
#include <optional>
#include <span>

#include "ravo_core_records.h"

namespace ravo::tool {

struct decoded_block {
  std::uint32_t dtype;  ///< the whole word: the high 16 bits are those of a subchannel
  std::int32_t error;
  std::span<const unsigned char> data;  ///< the reader's
};

/// `nullopt` if the entry has no data. `Subhead` is the subheader of the reader's generation.
template <class Subhead>
std::optional<decoded_block> block_of(const ravo_channel_entry_long& entry) {
  const auto* head = reinterpret_cast<const Subhead*>(entry.sbchdata[0].chhd);
  if (!head) return std::nullopt;
  return decoded_block{static_cast<std::uint32_t>(head->dtype),
                       head->error,
                       {reinterpret_cast<const unsigned char*>(head + 1),
                        static_cast<std::size_t>(head->ldata) - sizeof *head}};
}

inline std::uint32_t checksum(std::span<const unsigned char> data) {
  return static_cast<std::uint32_t>(crc32(0, data.data(), static_cast<unsigned>(data.size())));
}

}  // namespace ravo::tool

#endif
