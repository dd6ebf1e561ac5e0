// A raw file while it is being assembled. It has no name until publish(), which gives it the final name
// only when every byte is on disk, and never replaces an existing file.
#ifndef RAVO_WRITER_TARGET_FILE_H
#define RAVO_WRITER_TARGET_FILE_H

#include <cstdint>
#include <span>
#include <string>

#include "big_endian.h"
#include "folder.h"
#include "outcome.h"

namespace ravo::writer {

class target_file {
 public:
  target_file(const folder& place, std::string name);
  /// A file that was not published disappears.
  ~target_file();
  target_file(const target_file&) = delete;
  target_file& operator=(const target_file&) = delete;

  outcome create();
  outcome append(std::span<const unsigned char> bytes);
  /// Other bytes must be appended after the zeros: a file must not end in a hole.
  void append_zeros(std::uint64_t count);
  /// Bytes appended so far: the offset of the next byte.
  std::uint64_t size() const { return size_; }
  /// The name itself is on disk once the folder has been synced.
  outcome publish();

 private:
  outcome settle_zeros();
  outcome write_out();
  outcome refuse_write(int error) const;
  int give_name();

  const folder& folder_;
  std::string name_;
  std::string hidden_name_;  // where the file system has no nameless files; otherwise empty
  int file_ = -1;
  byte_vector pending_;
  std::uint64_t zeros_ = 0;  // after pending_; adjacent runs of zeros are merged
  std::uint64_t size_ = 0;
};

}  // namespace ravo::writer

#endif
