#include "process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace ravo::bench {
namespace {

/// The number after a word in a file under /proc/self; 0 if there is none.
std::uint64_t number_of(const char* file, const std::string& word) {
  std::ifstream lines(file);
  for (std::string first; lines >> first;)
    if (std::uint64_t number = 0; first == word && lines >> number) return number;
  return 0;
}

}  // namespace

bytes_read read_so_far() {
  return {number_of("/proc/self/io", "rchar:"), number_of("/proc/self/io", "read_bytes:")};
}

bytes_read operator-(const bytes_read& a, const bytes_read& b) {
  return {a.by_calls - b.by_calls, a.from_storage - b.from_storage};
}

std::uint64_t peak_resident() { return number_of("/proc/self/status", "VmHWM:") * 1024; }

void drop_from_cache(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("cannot open " + path);
  // Pages that are not yet written cannot be dropped.
  const bool dropped = fdatasync(fd) == 0 && posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED) == 0;
  close(fd);
  if (!dropped) throw std::runtime_error("cannot drop " + path);
}

void cap_own_memory(std::uint64_t bytes) {
  const rlimit limit{bytes, bytes};
  if (setrlimit(RLIMIT_DATA, &limit) != 0) throw std::runtime_error("cannot limit memory");
}

}  // namespace ravo::bench
