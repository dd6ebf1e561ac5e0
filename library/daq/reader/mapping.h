// A read-only mapping of a part of a file, released on every path. The part is named by its own offset
// and length; that mappings begin at pages stays in here.
#ifndef RAVO_DAQ_READER_MAPPING_H
#define RAVO_DAQ_READER_MAPPING_H

#include <sys/mman.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ravo_evutl.h"

namespace ravo {

class file_mapping {
 public:
  file_mapping() = default;
  ~file_mapping() { reset(); }
  file_mapping(const file_mapping&) = delete;
  file_mapping& operator=(const file_mapping&) = delete;

  /// Maps from `offset` to `offset + size`. The first `must_have` bytes have to lie in the file of
  /// `file_length` bytes: touching a page behind its end would kill the process. False: errno says why.
  bool map(int fd, long file_length, unsigned long offset, unsigned long size, unsigned long must_have) {
    reset();
    const auto length = static_cast<unsigned long>(file_length);
    if (offset > length || must_have > length - offset) {
      errno = ENXIO;
      return false;
    }
    long rest = 0;
    page_offset_ = static_cast<unsigned long>(
        ravo_get_page_offset(file_length, static_cast<long>(offset), &rest));
    rest_ = static_cast<unsigned long>(rest);
    void* base = mmap(nullptr, rest_ + size, PROT_READ, MAP_SHARED, fd, static_cast<off_t>(page_offset_));
    if (base == MAP_FAILED) return false;
    base_ = static_cast<unsigned char*>(base);
    size_ = rest_ + size;
    return true;
  }

  /// Start of the mapping, which lies at page_offset() in the file.
  unsigned char* base() const { return base_; }
  unsigned long size() const { return size_; }
  unsigned long page_offset() const { return page_offset_; }
  /// The wanted part.
  unsigned char* bytes() const { return base_ + rest_; }

  void reset() {
    if (base_ != nullptr) munmap(base_, size_);
    base_ = nullptr;
    size_ = 0;
  }
  /// Hands the mapping over: whoever takes base() unmaps size() bytes.
  void release() { base_ = nullptr; }

 private:
  unsigned char* base_ = nullptr;
  unsigned long size_ = 0;
  unsigned long page_offset_ = 0;
  unsigned long rest_ = 0;
};

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

/// A heap copy of a basket of `length` bytes, with that length in its head: the one that was checked, should
/// the file have changed since.
inline void copy_basket(void* copy, const void* basket, unsigned long length) {
  std::memcpy(copy, basket, length);
  const std::uint32_t word = __builtin_bswap32(static_cast<std::uint32_t>(length));
  std::memcpy(static_cast<unsigned char*>(copy) + 4, &word, sizeof word);
}

}  // namespace ravo

#endif
