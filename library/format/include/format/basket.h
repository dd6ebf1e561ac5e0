// The head with which each basket of a raw file begins.
#ifndef RAVO_FORMAT_BASKET_H
#define RAVO_FORMAT_BASKET_H

#include <cstdint>
#include <cstring>

namespace ravo {

/// A big-endian word of a mapped or copied part of a file.
inline std::uint32_t big_endian_word(const void* bytes) {
  std::uint32_t word;
  std::memcpy(&word, bytes, sizeof word);
  return __builtin_bswap32(word);
}

/// A basket's head: marker word and length.
inline constexpr unsigned long basket_head_size = 8;

/// The length word of a basket whose head is at `basket`; what it says may be negative.
inline std::int32_t basket_length(const void* basket) {
  return static_cast<std::int32_t>(big_endian_word(static_cast<const unsigned char*>(basket) + 4));
}

}  // namespace ravo

#endif
