// A raw file that is open for reading: which file it is, how long it is, and its bytes. Nothing here
// interprets them.
#ifndef RAVO_FORMAT_RAW_FILE_H
#define RAVO_FORMAT_RAW_FILE_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "format/opened_file.h"

namespace ravo {

/// Identifies a file and its state: a file that was replaced or written to has another identity.
struct file_identity {
  std::uint64_t device = 0;
  std::uint64_t node = 0;
  std::int64_t length = 0;
  std::int64_t changed = 0;  ///< when its content changed last, in nanoseconds since 1970

  bool operator==(const file_identity&) const = default;
};

file_identity identity_of(const struct stat& status);

/// A regular file, read through its descriptor and not through a mapping, so that a file that is truncated
/// meanwhile ends a read and not the process. Reading is safe from several threads.
class raw_file {
 public:
  /// Opens the file; does not block, even if the path names a pipe.
  explicit raw_file(const char* path);

  /// Whether a regular file is open.
  bool is_open() const { return error_ == 0 && S_ISREG(status_.st_mode); }
  /// The errno value if the system refused to open the file, otherwise 0. A file that is not open although
  /// there is no error is a folder, a pipe or a device.
  int error() const { return error_; }

  int descriptor() const { return descriptor_; }
  /// The file's status when it was opened.
  const struct stat& status() const { return status_; }
  std::uint64_t length() const { return static_cast<std::uint64_t>(status_.st_size); }
  file_identity identity() const { return identity_of(status_); }
  /// The identity now; `nullopt`, with the reason in errno, if the system does not report it.
  std::optional<file_identity> identity_now() const;

  /// Reads up to `size` bytes at an offset, fewer only where the file ends. `nullopt` if the system call
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
