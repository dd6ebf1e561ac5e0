#include "format/raw_file.h"

#include <cerrno>

#include "format/read_exactly.h"
#include "format/uninterrupted.h"

namespace ravo {

file_identity identity_of(const struct stat& status) {
  constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;
  return {status.st_dev, status.st_ino, status.st_size,
          status.st_mtim.tv_sec * nanoseconds_per_second + status.st_mtim.tv_nsec};
}

raw_file::raw_file(const char* path) : descriptor_(path) {
  if (descriptor_ < 0 || uninterrupted::fstat(descriptor_, &status_) != 0) error_ = errno;
}

std::optional<file_identity> raw_file::identity_now() const {
  struct stat status {};
  if (uninterrupted::fstat(descriptor_, &status) != 0) return std::nullopt;
  return identity_of(status);
}

std::optional<std::size_t> raw_file::read(std::uint64_t offset, void* into, std::size_t size) const {
  return read_up_to(descriptor_, offset, into, size);
}

bool raw_file::read_exactly(std::uint64_t offset, void* into, std::size_t size) const {
  return ravo::read_exactly(descriptor_, offset, into, size);
}

}  // namespace ravo
