// A file opened for reading, closed with its scope.
#ifndef RAVO_OPENED_FILE_H
#define RAVO_OPENED_FILE_H

#include <unistd.h>

#include "format/uninterrupted.h"

namespace ravo {

class opened_file {
 public:
  // Does not block, even if the path names a pipe.
  explicit opened_file(const char* path)
      : fd_(uninterrupted::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~opened_file() {
    if (fd_ >= 0) close(fd_);
  }
  opened_file(const opened_file&) = delete;
  opened_file& operator=(const opened_file&) = delete;

  /// The descriptor; negative when the file could not be opened.
  operator int() const { return fd_; }

 private:
  int fd_;
};

}  // namespace ravo

#endif
