// A checked view of bytes that came out of a file: it knows where they end and the byte order of their
// words, and returns a value or `nullopt`.
#ifndef RAVO_BYTE_VIEW_H
#define RAVO_BYTE_VIEW_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace ravo {

/// The order of the bytes of a word: of the file (big-endian) or of this machine (little-endian).
enum class word_order { file, host };

class byte_view {
 public:
  byte_view(const void* data, std::size_t size, word_order order)
      : data_(static_cast<const unsigned char*>(data)), size_(size), order_(order) {}

  std::size_t size() const { return size_; }
  const unsigned char* data() const { return data_; }

  /// Whether `length` bytes lie at `offset`; no sum of the two is formed, so none can wrap.
  bool holds(std::size_t offset, std::size_t length) const {
    return offset <= size_ && length <= size_ - offset;
  }

  /// The 4-byte value at an offset.
  template <class T>
  std::optional<T> at(std::size_t offset) const {
    static_assert(sizeof(T) == 4);
    if (!holds(offset, 4)) return std::nullopt;
    std::uint32_t word;
    std::memcpy(&word, data_ + offset, 4);
    if (order_ == word_order::file) word = __builtin_bswap32(word);
    return std::bit_cast<T>(word);
  }

  /// The part of `length` bytes at an offset.
  std::optional<byte_view> sub(std::size_t offset, std::size_t length) const {
    if (!holds(offset, length)) return std::nullopt;
    return byte_view(data_ + offset, length, order_);
  }

  /// Whether a text field of `length` bytes at an offset has its terminating zero.
  bool has_text(std::size_t offset, std::size_t length) const {
    return holds(offset, length) && length > 0 && std::memchr(data_ + offset, 0, length) != nullptr;
  }

 private:
  const unsigned char* data_;
  std::size_t size_;
  word_order order_;
};

}  // namespace ravo

#endif
