// The words of a raw file as a mutation sees them: big-endian, at any place, and some of them markers.
#ifndef RAVO_FUZZ_WORDS_H
#define RAVO_FUZZ_WORDS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "ravo_raw_format.h"

namespace ravo::fuzz {

inline constexpr std::uint32_t markers[] = {
    RAVO_REFERENCE_TABLE_PATTERN_2010, RAVO_REFERENCE_TABLE_PATTERN,     RAVO_EVENT_INDEX_PATTERN,
    RAVO_CHAN_DICTIONARY_PATTERN,      RAVO_EVENT_CHAN_POINTERS_PATTERN, RAVO_ENV_DICTIONARY_PATTERN,
    RAVO_XML_CHAN_DESCR_PATTERN,       RAVO_EVENT_HEADER_BASKET_PATTERN, RAVO_SERVER_BLOCK_BASKET_PATTERN,
    RAVO_CHANNEL_BASKET_PATTERN,       RAVO_EVENT_HEADER_PATTERN_2010,   RAVO_EVENT_HEADER_PATTERN};

inline bool is_marker(std::uint32_t word) {
  return std::find(std::begin(markers), std::end(markers), word) != std::end(markers);
}

/// 0 if there is no whole word.
inline std::uint32_t word_at(std::string_view bytes, std::size_t at) {
  if (at > bytes.size() || bytes.size() - at < 4) return 0;
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < 4; ++i) word = word << 8 | static_cast<unsigned char>(bytes[at + i]);
  return word;
}

/// Does nothing if there is no whole word.
inline void set_word(std::string& bytes, std::size_t at, std::uint32_t word) {
  if (at > bytes.size() || bytes.size() - at < 4) return;
  for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(word >> (24 - 8 * i));
}

}  // namespace ravo::fuzz

#endif
