// A file that lives in memory and can be opened by its path, so that a target can give the loader thousands
// of files a second.
#ifndef RAVO_FUZZ_MEMORY_FILE_H
#define RAVO_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "expect.h"

namespace ravo::fuzz {

class memory_file {
 public:
  memory_file() : fd_(memfd_create("ravo_fuzz", 0)), path_("/proc/self/fd/" + std::to_string(fd_)) {
    expect(fd_ >= 0, "a file in memory can be made");
  }
  ~memory_file() { close(fd_); }
  memory_file(const memory_file&) = delete;
  memory_file& operator=(const memory_file&) = delete;

  void write(std::string_view bytes) {
    const bool written = ftruncate(fd_, static_cast<off_t>(bytes.size())) == 0 &&
                         pwrite(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
    expect(written, "the file in memory takes the input");
  }

  const std::string& path() const { return path_; }
  int fd() const { return fd_; }

 private:
  int fd_;
  std::string path_;
};

}  // namespace ravo::fuzz

#endif
