// Reads a part of a file through its descriptor.
#ifndef RAVO_FORMAT_READ_EXACTLY_H
#define RAVO_FORMAT_READ_EXACTLY_H

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "format/uninterrupted.h"

namespace ravo {

/// Reads up to `length` bytes, fewer only where the file ends. `nullopt` if the system call fails; errno
/// says why.
inline std::optional<std::size_t> read_up_to(int fd, std::uint64_t offset, void* destination,
                                             std::size_t length) {
  auto* const to = static_cast<unsigned char*>(destination);
  std::size_t done = 0;
  while (done < length) {
    const ssize_t got =
        uninterrupted::pread(fd, to + done, length - done, static_cast<off_t>(offset + done));
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

/// Reads exactly `length` bytes. False: errno says why. A file that ends too early (ESTALE) is no longer
/// the file whose length was taken.
inline bool read_exactly(int fd, std::uint64_t offset, void* destination, std::size_t length) {
  const auto got = read_up_to(fd, offset, destination, length);
  if (!got) return false;
  if (*got < length) errno = ESTALE;
  return *got == length;
}

}  // namespace ravo

#endif
