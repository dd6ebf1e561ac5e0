#include "deflate_stream.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "input.h"

namespace ravo::fuzz {
namespace {

// Of the format: how many symbols the counts in a block's head can state, and the longest code.
constexpr std::size_t least_literals = 257, most_literals = 288;
constexpr std::size_t least_distances = 1, most_distances = 32;
constexpr unsigned longest_code = 15;
constexpr std::size_t length_symbols = 19;

class bit_writer {
 public:
  void put(unsigned value, unsigned bits) {
    for (unsigned i = 0; i < bits; ++i) put_bit(value >> i & 1);
  }
  /// Codes are stored with their first bit first.
  void put_code(unsigned code, unsigned bits) {
    for (unsigned i = bits; i > 0; --i) put_bit(code >> (i - 1) & 1);
  }
  std::string take() { return std::move(bytes_); }

 private:
  void put_bit(unsigned bit) {
    if (used_ % 8 == 0) bytes_ += '\0';
    bytes_.back() = static_cast<char>(static_cast<unsigned char>(bytes_.back()) | bit << used_ % 8);
    ++used_;
  }

  std::string bytes_;
  std::size_t used_ = 0;
};

/// What is left of the code space, in units of the longest code; negative: too many codes.
int space_left(const std::vector<unsigned>& lengths) {
  int left = 1 << longest_code;
  for (const unsigned length : lengths)
    if (length != 0) left -= 1 << (longest_code - length);
  return left;
}

/// Lengths for `count` symbols: some from the input, and the rest, unless the input says otherwise, such
/// that the code is complete.
std::vector<unsigned> choose_lengths(input& from, std::size_t count) {
  std::vector<unsigned> lengths(count, 0);
  const std::size_t given = from.byte() % 16;
  for (std::size_t i = 0; i < given; ++i) {
    const std::size_t symbol = from.half() % count;
    lengths[symbol] = from.byte() % (longest_code + 1);
    if (space_left(lengths) < 0) lengths[symbol] = 0;
  }
  if (from.byte() % 4 == 0) return lengths;
  for (std::size_t symbol = 0; symbol < count && space_left(lengths) > 0; ++symbol) {
    if (lengths[symbol] != 0) continue;
    const auto left = static_cast<unsigned>(space_left(lengths));
    for (unsigned length = 1; length <= longest_code && lengths[symbol] == 0; ++length)
      if (1u << (longest_code - length) <= left && symbol + 1 < count) lengths[symbol] = length;
  }
  return lengths;
}

/// A block with codes of its own. Its lengths are always written in the same way: four bits each.
void put_block_head(bit_writer& to, input& from) {
  const std::size_t literals = least_literals + from.byte() % (most_literals - least_literals + 1);
  const std::size_t distances = least_distances + from.byte() % (most_distances - least_distances + 1);
  to.put(static_cast<unsigned>(literals - least_literals), 5);
  to.put(static_cast<unsigned>(distances - least_distances), 5);
  to.put(length_symbols - 4, 4);
  constexpr unsigned repeats = 3;  // the first of the order: they get no code
  for (std::size_t i = 0; i < length_symbols; ++i) to.put(i < repeats ? 0 : 4, 3);
  for (const std::size_t count : {literals, distances})
    for (const unsigned length : choose_lengths(from, count)) to.put_code(length, 4);
}

}  // namespace

std::string make_deflate_stream(input& from) {
  bit_writer to;
  const bool is_last = from.byte() % 8 != 0;
  to.put(is_last ? 1 : 0, 1);
  to.put(2, 2);
  put_block_head(to, from);
  for (const char byte : from.take(from.byte())) to.put(static_cast<unsigned char>(byte), 8);
  std::string stream = to.take();
  if (!is_last) stream.append(from.rest());
  return stream;
}

std::string wrap(const std::string& stream, std::size_t room) {
  const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
      libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
  std::vector<unsigned char> into(room);
  std::size_t used = 0, produced = 0;
  const auto verdict = libdeflate_deflate_decompress_ex(decompressor.get(), stream.data(), stream.size(),
                                                        into.data(), into.size(), &used, &produced);
  if (verdict != LIBDEFLATE_SUCCESS) used = stream.size(), produced = 0;
  const std::uint32_t sum = libdeflate_adler32(1, into.data(), produced);
  std::string wrapped = "\x78\x9c" + stream.substr(0, used);
  for (int shift = 24; shift >= 0; shift -= 8) wrapped += static_cast<char>(sum >> shift);
  return wrapped;
}

}  // namespace ravo::fuzz
