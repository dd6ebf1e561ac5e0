// Writes and publishes a raw file.
#include "target_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "format/uninterrupted.h"
#include "nameless_file.h"

namespace ravo::writer {

namespace {

constexpr std::size_t pending_bytes = std::size_t{1} << 20;

// Runs of at least this many zeros become holes in the file: rows of slow channels are almost all zeros.
constexpr std::uint64_t smallest_hole = std::uint64_t{1} << 16;

// This path allows giving a nameless file its name without privileges.
std::string path_of_descriptor(int file) { return "/proc/self/fd/" + std::to_string(file); }

}  // namespace

target_file::target_file(const folder& place, std::string name) : folder_(place), name_(std::move(name)) {}

target_file::~target_file() {
  if (file_ >= 0) ::close(file_);
  if (!hidden_name_.empty()) uninterrupted::unlinkat(folder_.descriptor(), hidden_name_.c_str(), 0);
}

outcome target_file::create() {
  pending_.reserve(pending_bytes);
  file_ = uninterrupted::openat(folder_.descriptor(), ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666);
  if (file_ >= 0 && uninterrupted::access(path_of_descriptor(file_).c_str(), F_OK) == 0) return {};
  // Without nameless files, or without /proc to name one later, the file is hidden until publish().
  if (file_ >= 0) ::close(file_);
  file_ = open_hidden(folder_, name_, O_WRONLY, &hidden_name_);
  if (file_ >= 0) return {};
  const int error = errno;
  hidden_name_.clear();
  return system_refusal("cannot create a file in the folder " + folder_.path(), error,
                        "make the folder writable and repeat the call");
}

outcome target_file::append(std::span<const unsigned char> bytes) {
  if (bytes.empty()) return {};
  outcome settled = settle_zeros();
  if (settled.failed()) return settled;
  size_ += bytes.size();
  while (!bytes.empty()) {
    const std::size_t part = std::min(bytes.size(), pending_bytes - pending_.size());
    pending_.insert(pending_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(part));
    bytes = bytes.subspan(part);
    if (pending_.size() < pending_bytes) continue;
    outcome written = write_out();
    if (written.failed()) return written;
  }
  return {};
}

void target_file::append_zeros(std::uint64_t count) {
  zeros_ += count;
  size_ += count;
}

outcome target_file::settle_zeros() {
  const std::uint64_t count = std::exchange(zeros_, 0);
  if (count == 0) return {};
  if (count < smallest_hole && count < pending_bytes - pending_.size()) {
    pending_.insert(pending_.end(), static_cast<std::size_t>(count), 0);
    return {};
  }
  outcome written = write_out();
  if (written.failed()) return written;
  if (uninterrupted::lseek(file_, static_cast<off_t>(count), SEEK_CUR) < 0) return refuse_write(errno);
  return {};
}

outcome target_file::write_out() {
  if (!uninterrupted::write_all(file_, pending_.data(), pending_.size())) return refuse_write(errno);
  pending_.clear();
  return {};
}

outcome target_file::refuse_write(int error) const {
  return system_refusal("cannot write " + folder_.path_of(name_), error, remedy_for_writing(error));
}

int target_file::give_name() {
  const int at = folder_.descriptor();
  if (hidden_name_.empty())
    return uninterrupted::linkat(AT_FDCWD, path_of_descriptor(file_).c_str(), at, name_.c_str(),
                                 AT_SYMLINK_FOLLOW);
  if (uninterrupted::renameat2(at, hidden_name_.c_str(), at, name_.c_str(), RENAME_NOREPLACE) == 0) {
    hidden_name_.clear();
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS) return -1;
  // The final name is added first; the destructor removes the hidden one.
  return uninterrupted::linkat(at, hidden_name_.c_str(), at, name_.c_str(), 0);
}

outcome target_file::publish() {
  outcome written = write_out();
  if (written.failed()) return written;
  if (uninterrupted::fsync(file_) != 0) return refuse_write(errno);
  if (give_name() != 0) {
    const int error = errno;
    return system_refusal("cannot give the finished file its name " + folder_.path_of(name_), error,
                          error == EEXIST ? "move the file of that name away and repeat the call"
                                          : "make the folder writable and repeat the call");
  }
  return {};
}

}  // namespace ravo::writer
