// Splits the bytes of a fuzz target's input into small choices, words and texts. After its end an input
// gives zeros and empty texts, so that every input means something.
#ifndef RAVO_FUZZ_INPUT_H
#define RAVO_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace ravo::fuzz {

class input {
 public:
  input(const std::uint8_t* data, std::size_t size) : left_(reinterpret_cast<const char*>(data), size) {}

  bool empty() const { return left_.empty(); }
  std::size_t size() const { return left_.size(); }

  std::uint8_t byte() {
    if (left_.empty()) return 0;
    const auto value = static_cast<std::uint8_t>(left_.front());
    left_.remove_prefix(1);
    return value;
  }
  bool flag() { return (byte() & 1) != 0; }
  std::uint16_t half() {
    const int high = byte();
    return static_cast<std::uint16_t>(high << 8 | byte());
  }
  /// A big-endian word, as in a raw file.
  std::uint32_t word() {
    const std::uint32_t high = half();
    return high << 16 | half();
  }

  /// At most `size` bytes.
  std::string_view take(std::size_t size) {
    const std::string_view taken = left_.substr(0, size);
    left_.remove_prefix(taken.size());
    return taken;
  }
  std::string_view rest() { return take(left_.size()); }
  /// A text up to the next zero byte, which is removed too.
  std::string text() {
    const std::size_t end = std::min(left_.find('\0'), left_.size());
    const std::string taken(take(end));
    byte();
    return taken;
  }

 private:
  std::string_view left_;
};

/// A copy in memory of exactly its size, so that a sanitizer sees every access beyond it. The end of the
/// memory is exact; its beginning is where malloc places it.
class exact_copy {
 public:
  explicit exact_copy(std::string_view bytes)
      : size_(bytes.size()), bytes_(new unsigned char[bytes.size()]) {
    if (!bytes.empty()) std::memcpy(bytes_.get(), bytes.data(), bytes.size());
  }

  unsigned char* data() const { return bytes_.get(); }
  std::size_t size() const { return size_; }
  template <class Record>
  Record* as() const {
    return reinterpret_cast<Record*>(bytes_.get());
  }

 private:
  std::size_t size_;
  std::unique_ptr<unsigned char[]> bytes_;
};

}  // namespace ravo::fuzz

#endif
