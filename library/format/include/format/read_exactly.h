// Reads a part of a file through its descriptor, whole or not at all. Code and no interface; the reading
// layers compile it in too.
#ifndef RAVO_READ_EXACTLY_H
#define RAVO_READ_EXACTLY_H

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "format/uninterrupted.h"

namespace ravo {

/// False: errno says why. A file that ends too early (ESTALE) is no longer the one whose length was taken.
inline bool read_exactly(int fd, std::uint64_t offset, void* destination, std::size_t length) {
  unsigned char* to = static_cast<unsigned char*>(destination);
  while (length > 0) {
    const ssize_t got = uninterrupted::pread(fd, to, length, static_cast<off_t>(offset));
    if (got == 0) errno = ESTALE;
    if (got <= 0) return false;
    to += got;
    offset += static_cast<std::uint64_t>(got);
    length -= static_cast<std::size_t>(got);
  }
  return true;
}

}  // namespace ravo

#endif
