// Parts of a file in memory: copied, or mapped read-only. A part is identified by its own offset and
// length; callers need not know that mappings begin at pages. A copy is read through the descriptor and not
// through a mapping: if the file is truncated meanwhile, that is an error and not the end of the process.
#ifndef RAVO_DAQ_READER_MAPPING_H
#define RAVO_DAQ_READER_MAPPING_H

#include <sys/mman.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "format/basket.h"
#include "format/read_exactly.h"
#include "ravo_evutl.h"

// The parts of files that the library has mapped at the moment, for the guard that a program may turn on
// (ravo_mapping_guard.h): the guard handles only faults in these, and records which of them had a fault.
namespace ravo::guarded_mappings {

/// Enters a mapping. Without memory for the list the mapping is not guarded.
void add(const void* base, std::size_t size);
/// Must be called before the mapping is unmapped.
void remove(const void* base);
/// Whether pages of the mapping that begins at `base` were missing from the file when they were accessed,
/// and read as zeros since. False if there is no such mapping.
bool is_damaged(const void* base);

}  // namespace ravo::guarded_mappings

namespace ravo {

/// Whether `size` bytes from `offset` on lie in a file of `file_length` bytes; if not, errno is set.
inline bool lies_in_file(long file_length, unsigned long offset, unsigned long size) {
  const auto length = static_cast<unsigned long>(file_length);
  if (offset <= length && size <= length - offset) return true;
  errno = ENXIO;
  return false;
}

/// Copies `size` bytes from `offset` on. False: errno says why.
inline bool copy_part(int fd, long file_length, unsigned long offset, void* to, unsigned long size) {
  return lies_in_file(file_length, offset, size) && read_exactly(fd, offset, to, size);
}

/// The page at which a mapping of the bytes at `offset` begins, and how far after it they begin.
struct page_place {
  page_place(long file_length, unsigned long offset) {
    long after = 0;
    page_offset =
        static_cast<unsigned long>(ravo_get_page_offset(file_length, static_cast<long>(offset), &after));
    rest = static_cast<unsigned long>(after);
  }
  unsigned long page_offset;
  unsigned long rest;
};

/// A mapping, released on every path.
class file_mapping {
 public:
  file_mapping() = default;
  ~file_mapping() { reset(); }
  file_mapping(const file_mapping&) = delete;
  file_mapping& operator=(const file_mapping&) = delete;

  /// Maps from `offset` to `offset + size`, all of which must lie in the file of `file_length` bytes:
  /// touching a page after its end would kill the process. False: errno says why.
  bool map(int fd, long file_length, unsigned long offset, unsigned long size) {
    reset();
    if (!lies_in_file(file_length, offset, size)) return false;
    const page_place place(file_length, offset);
    void* base =
        mmap(nullptr, place.rest + size, PROT_READ, MAP_SHARED, fd, static_cast<off_t>(place.page_offset));
    if (base == MAP_FAILED) return false;
    base_ = static_cast<unsigned char*>(base);
    size_ = place.rest + size;
    page_offset_ = place.page_offset;
    rest_ = place.rest;
    guarded_mappings::add(base_, size_);
    return true;
  }

  /// Start of the mapping, which lies at page_offset() in the file.
  unsigned char* base() const { return base_; }
  unsigned long size() const { return size_; }
  unsigned long page_offset() const { return page_offset_; }
  /// The part that was asked for.
  unsigned char* bytes() const { return base_ + rest_; }

  /// Gives up the mapping: the new owner of base() calls unmap() with base() and size().
  void release() { base_ = nullptr; }
  static void unmap(unsigned char* base, unsigned long size) {
    if (base == nullptr) return;
    guarded_mappings::remove(base);
    munmap(base, size);
  }

 private:
  void reset() {
    unmap(base_, size_);
    base_ = nullptr;
  }

  unsigned char* base_ = nullptr;
  unsigned long size_ = 0;
  unsigned long page_offset_ = 0;
  unsigned long rest_ = 0;
};

/// The length word of the basket at `offset` of a file. False: it cannot be read; errno says why.
inline bool read_basket_length(int fd, long file_length, unsigned long offset, std::int32_t& length) {
  unsigned char head[basket_head_size];
  if (!copy_part(fd, file_length, offset, head, sizeof head)) return false;
  length = basket_length(head);
  return true;
}

/// Copies a basket of `length` bytes, and writes that length into its head: it has been checked, while the
/// file may have changed since.
inline bool copy_basket(int fd, long file_length, unsigned long offset, void* copy, unsigned long length) {
  if (!copy_part(fd, file_length, offset, copy, length)) return false;
  const std::uint32_t word = __builtin_bswap32(static_cast<std::uint32_t>(length));
  std::memcpy(static_cast<unsigned char*>(copy) + 4, &word, sizeof word);
  return true;
}

}  // namespace ravo

#endif
