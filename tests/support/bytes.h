// Builds the bytes of a raw file by hand, word by word, so that tests state what is on disk without
// asking the code under test. It knows big-endian words, texts of fixed width and nothing of tables.
#ifndef RAVO_TEST_BYTES_H
#define RAVO_TEST_BYTES_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace ravo::test {

class bytes {
 public:
  /// Appends one big-endian word.
  bytes& u32(std::uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8)
      content_.push_back(static_cast<unsigned char>(word >> shift));
    return *this;
  }
  bytes& i32(std::int32_t word) { return u32(static_cast<std::uint32_t>(word)); }
  bytes& f32(float value) { return u32(std::bit_cast<std::uint32_t>(value)); }

  /// Appends a text padded with zero bytes to `width`; a text that fills the width has no zero.
  bytes& text(std::string_view value, std::size_t width) {
    if (value.size() > width) throw std::length_error("text wider than its field");
    content_.insert(content_.end(), value.begin(), value.end());
    return fill(width - value.size());
  }

  /// Appends `count` equal bytes.
  bytes& fill(std::size_t count, unsigned char value = 0) {
    content_.insert(content_.end(), count, value);
    return *this;
  }

  /// Appends raw bytes. One by one: GCC 12 takes inserting a text of known length into an empty vector for
  /// an overflow at -O3.
  bytes& raw(std::string_view value) {
    for (const char byte : value) content_.push_back(static_cast<unsigned char>(byte));
    return *this;
  }
  bytes& append(const bytes& other) {
    content_.insert(content_.end(), other.content_.begin(), other.content_.end());
    return *this;
  }

  /// Overwrites the word at an offset.
  bytes& set_u32(std::size_t offset, std::uint32_t word) {
    for (int i = 0; i < 4; ++i)
      content_.at(offset + static_cast<std::size_t>(i)) = static_cast<unsigned char>(word >> (24 - 8 * i));
    return *this;
  }
  bytes& set_i32(std::size_t offset, std::int32_t word) {
    return set_u32(offset, static_cast<std::uint32_t>(word));
  }

  /// The word at an offset.
  std::uint32_t word(std::size_t offset) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | content_.at(offset + i);
    return value;
  }

  /// Cuts the content, or fills it with zeros, to `size` bytes.
  bytes& resize(std::size_t size) {
    content_.resize(size);
    return *this;
  }

  std::size_t size() const { return content_.size(); }
  unsigned char* data() { return content_.data(); }
  const unsigned char* data() const { return content_.data(); }
  const std::vector<unsigned char>& vector() const { return content_; }

 private:
  std::vector<unsigned char> content_;
};

}  // namespace ravo::test

#endif
