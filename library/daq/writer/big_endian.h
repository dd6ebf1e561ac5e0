// Assembles the bytes of a raw file: appends words in big-endian order and pads texts with zero bytes to
// the width of their field.
#ifndef RAVO_WRITER_BIG_ENDIAN_H
#define RAVO_WRITER_BIG_ENDIAN_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "ravo_core_records.h"

namespace ravo::writer {

using byte_vector = std::vector<unsigned char>;

inline void put_word(byte_vector& out, std::uint32_t word) {
  const unsigned char bytes[4] = {static_cast<unsigned char>(word >> 24),
                                  static_cast<unsigned char>(word >> 16),
                                  static_cast<unsigned char>(word >> 8), static_cast<unsigned char>(word)};
  out.insert(out.end(), bytes, bytes + 4);
}

inline void put_int(byte_vector& out, std::int32_t word) {
  put_word(out, static_cast<std::uint32_t>(word));
}

/// Appends a word that the caller has already checked against the limit of its field.
inline void put_size(byte_vector& out, std::uint64_t size) {
  put_word(out, static_cast<std::uint32_t>(size));
}

inline void put_time(byte_vector& out, const time_stamp& time) {
  put_word(out, time.timeup);
  put_word(out, time.timelow);
}

/// `text` is shorter than `width`, so that a zero byte always ends it.
inline void put_text(byte_vector& out, std::string_view text, std::size_t width) {
  out.insert(out.end(), text.begin(), text.end());
  out.insert(out.end(), width - text.size(), 0);
}

/// Overwrites the word at `offset`, which has been appended before.
inline void set_word(byte_vector& out, std::size_t offset, std::uint32_t word) {
  for (std::size_t i = 0; i < 4; ++i) out[offset + i] = static_cast<unsigned char>(word >> (24 - 8 * i));
}

/// Blocks and tables begin at multiples of 4; zero bytes fill the gap before the next one.
inline constexpr std::uint64_t up_to_word(std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; }

/// Makes room for `count` more elements and keeps amortised growth. Code that must not fail half-way
/// makes room first and appends afterwards.
template <class element>
void make_room(std::vector<element>& list, std::size_t count) {
  const std::size_t wanted = list.size() + count;
  if (wanted <= list.capacity()) return;
  list.reserve(wanted < 2 * list.capacity() ? 2 * list.capacity() : wanted);
}

}  // namespace ravo::writer

#endif
