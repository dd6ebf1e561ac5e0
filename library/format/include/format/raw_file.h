// A raw file that is open for reading: which file it is, how long it is, and its bytes. What they mean is
// not known here.
#ifndef RAVO_FORMAT_RAW_FILE_H
#define RAVO_FORMAT_RAW_FILE_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "format/opened_file.h"

namespace ravo {

/// Which file it is, and in which state: a file that was replaced or written to has another identity.
struct file_identity {
  std::uint64_t device = 0;
  std::uint64_t node = 0;
  std::int64_t length = 0;
  std::int64_t changed = 0;  ///< when its content changed last, in nanoseconds since 1970

  bool operator==(const file_identity&) const = default;
};

file_identity identity_of(const struct stat& status);

/// A regular file, read through its descriptor and not through a mapping: one that is cut short meanwhile
/// then ends a read and not the process. Reading is safe from several threads.
class raw_file {
 public:
  /// Opens the file without waiting for anybody, should the path name a pipe.
  explicit raw_file(const char* path);

  /// Whether a regular file is open.
  bool is_open() const { return error_ == 0 && S_ISREG(status_.st_mode); }
  /// The error number of the machine when it refused to open the file; 0 without one. A file that is not
  /// open without an error is a folder, a pipe or a device.
  int error() const { return error_; }

  int descriptor() const { return descriptor_; }
  /// What the system said of the file when it was opened.
  const struct stat& status() const { return status_; }
  std::uint64_t length() const { return static_cast<std::uint64_t>(status_.st_size); }
  file_identity identity() const { return identity_of(status_); }
  /// What the identity is now; `nullopt`, with the reason in errno, if the system does not say.
  std::optional<file_identity> identity_now() const;

  /// Reads up to `size` bytes at an offset, fewer only where the file ends. `nullopt` when the machine
  /// fails; errno says why.
  std::optional<std::size_t> read(std::uint64_t offset, void* into, std::size_t size) const;
  /// Reads exactly `size` bytes. False: errno says why, ESTALE where the file ends too early.
  bool read_exactly(std::uint64_t offset, void* into, std::size_t size) const;

 private:
  opened_file descriptor_;
  struct stat status_ {};
  int error_ = 0;
};

}  // namespace ravo

#endif
