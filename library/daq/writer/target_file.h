// A raw file while it is assembled. It has no name until publish(), which gives it the final one only
// when every byte is on disk, and never in place of a file that is there already.
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
  /// Something else has to be appended behind zeros: a file does not end in a hole.
  void append_zeros(std::uint64_t count);
  /// Bytes appended so far: the offset at which the next ones will lie.
  std::uint64_t size() const { return size_; }
  /// The name itself is on disk once the folder is synchronised.
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
  std::uint64_t zeros_ = 0;  // behind pending_; neighbouring runs make one
  std::uint64_t size_ = 0;
};

}  // namespace ravo::writer

#endif
