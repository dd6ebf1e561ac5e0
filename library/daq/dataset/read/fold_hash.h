// The hash of the digests: events, and bytes after them.
#ifndef RAVO_DATASET_FOLD_HASH_H
#define RAVO_DATASET_FOLD_HASH_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "ravo_core_records.h"
#include "ravo_dataset/status.h"

namespace ravo::detail {

// Multiply and fold: each input word reaches every bit of the state. It has to find damage and mistakes,
// not to resist a deliberate search for two blocks with the same digest.
inline std::uint64_t fold(std::uint64_t a, std::uint64_t b) {
  __extension__ using wide = unsigned __int128;
  const wide product = static_cast<wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline constexpr std::uint64_t first_key = 0x9e3779b97f4a7c15u;
inline constexpr std::uint64_t second_key = 0xc2b2ae3d27d4eb4fu;

inline std::uint64_t word_at(const std::byte* bytes, std::size_t size) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, size);
  return word;
}

inline std::uint64_t hash(std::span<const std::byte> bytes, std::uint64_t state) {
  std::size_t at = 0;
  for (; bytes.size() - at >= 16; at += 16)
    state = fold(word_at(bytes.data() + at, 8) ^ state ^ first_key,
                 word_at(bytes.data() + at + 8, 8) ^ second_key) +
            state;
  for (; at < bytes.size(); at += 8)
    state =
        fold(word_at(bytes.data() + at, std::min<std::size_t>(8, bytes.size() - at)) ^ state, second_key) +
        first_key;
  return fold(state ^ bytes.size(), first_key);
}

/// The state with which the bytes of an event's value begin.
inline std::uint64_t hash(const ravo_time_id& event, value_status status) {
  const std::uint64_t time = std::uint64_t{event.time.timeup} << 32 | event.time.timelow;
  const std::uint64_t what = std::uint64_t{event.event_number} << 8 | static_cast<std::uint8_t>(status);
  return fold(time ^ first_key, what ^ second_key);
}

}  // namespace ravo::detail

#endif
