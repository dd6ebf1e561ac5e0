// How much one check takes at a time, so that a file with false claims about its
// contents cannot take all memory. The numbers are far above what an acquisition writes
// into one file, and together they keep a check under 128 MiB, whatever the file claims.
#ifndef RAVO_VERIFY_CHECK_LIMITS_H
#define RAVO_VERIFY_CHECK_LIMITS_H

#include <cstdint>

namespace ravo::checks {

/// Bytes of a table that is loaded as a whole: the event index, the dictionary.
inline constexpr std::uint64_t most_table_bytes = 12u << 20;
/// Bytes of the descriptions' XML, and of the XML with what
/// is loaded from it, which may be fifty times as many.
inline constexpr std::uint64_t most_description_bytes = 16u << 20;
inline constexpr std::uint64_t most_loaded_description_bytes = 56u << 20;
inline constexpr std::uint64_t most_events = 400'000;
inline constexpr std::uint64_t most_server_blocks = 800'000;
/// A channel with at least so many entries is checked alone, however many threads there are.
inline constexpr std::uint64_t large_channel = 50'000;
/// Bytes of one block, stored as well as inflated: a frame
/// of 4096 times 4096 pixels of 16 bits with its heads.
inline constexpr std::uint64_t most_block_bytes = (32u << 20) + (64u << 10);
/// Blocks of at least this size are decoded one at a time, however many threads there are.
inline constexpr std::uint64_t large_block_bytes = 2u << 20;

/// A check reads so many times the bytes of a file, and at least this minimum. A good file takes
/// two or three times its bytes, in whatever order its blocks are; one of hundreds of channels of
/// tiny blocks up to ten times, since the heads of the events are read again for each channel.
inline constexpr std::uint64_t read_multiple = 12;
inline constexpr std::uint64_t always_read = 1 << 20;

}  // namespace ravo::checks

#endif
