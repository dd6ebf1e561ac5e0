// A file that is being checked. It is read piece by piece and never mapped:
// if it is truncated meanwhile, a read fails and the program goes on.
#ifndef RAVO_VERIFY_CHECKED_FILE_H
#define RAVO_VERIFY_CHECKED_FILE_H

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "check_limits.h"
#include "format/raw_file.h"

namespace ravo::checks {

/// A part of the file that it had when it was opened cannot be read any more; what() says why.
struct file_lost : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// So much was read that no sensible writer can have made the file.
struct read_too_much : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class checked_file {
 public:
  /// Throws file_lost if there is no readable regular file at the path.
  explicit checked_file(const std::string& path);

  int descriptor() const { return file_.descriptor(); }
  std::uint64_t size() const { return file_.length(); }
  /// Whether this range was within the file when it was opened.
  bool holds(std::uint64_t offset, std::uint64_t length) const {
    return offset <= size() && length <= size() - offset;
  }
  /// Reads bytes that the file holds. Throws file_lost, and
  /// read_too_much if all reads together exceed most_read().
  void read(std::uint64_t offset, void* into, std::size_t length) const;
  /// A big-endian word that the file holds.
  std::uint32_t word(std::uint64_t offset) const;
  /// Whether size or time of change differ from those at the
  /// opening. Throws file_lost if the system refuses to say.
  bool has_changed() const;

  /// Bytes read so far, by all threads.
  std::uint64_t bytes_read() const { return bytes_read_; }
  std::uint64_t most_read() const { return read_multiple * size() + always_read; }

 private:
  raw_file file_;
  mutable std::atomic<std::uint64_t> bytes_read_{0};
};

/// A part of the file in memory that moves along with sequential reading. After a jump only the
/// requested bytes are read, so that the total is a small multiple of the request in whatever order.
class window {
 public:
  /// Reads up to `ahead` bytes at a time.
  window(const checked_file& file, std::size_t ahead) : file_(file), ahead_(ahead) {}
  /// Bytes that the file holds; good until the next call.
  const unsigned char* at(std::uint64_t offset, std::size_t length);
  /// Frees the memory.
  void release() { bytes_ = {}; }

 private:
  const checked_file& file_;
  std::size_t ahead_;
  std::size_t step_ = 0;  ///< bytes of the last read; grows with each sequential read
  std::uint64_t begin_ = 0;
  std::vector<unsigned char> bytes_;
};

}  // namespace ravo::checks

#endif
