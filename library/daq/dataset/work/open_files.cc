#include "work/open_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "format/uninterrupted.h"

namespace ravo::datasets {

std::string error_of_the_machine::text() const { return std::generic_category().message(number_); }

file_refusal error_of_the_machine::refusal() const {
  if (number_ == 0) return file_refusal::none;
  return number_ == ENOENT || number_ == ENOTDIR ? file_refusal::missing : file_refusal::machine_error;
}

// Without O_NONBLOCK a named pipe would be waited for; regular files do not care.
open_file::open_file(const char* path, std::shared_ptr<std::atomic<int>> error)
    : error_(std::move(error)), descriptor_(uninterrupted::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat found {};
  if (descriptor_ < 0 || uninterrupted::fstat(descriptor_, &found) != 0)
    note_error(errno);
  else if (S_ISREG(found.st_mode))
    status_ = found;
}

open_file::~open_file() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

std::optional<std::size_t> open_file::read(std::uint64_t offset, void* into, std::size_t size) const {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = uninterrupted::pread(descriptor_, static_cast<char*>(into) + done, size - done,
                                             static_cast<off_t>(offset + done));
    if (got < 0) {
      note_error(errno);
      return std::nullopt;
    }
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

bool open_file::read_all(std::uint64_t offset, void* into, std::size_t size) const {
  return read(offset, into, size) == size;
}

void open_file::expect(std::uint64_t offset, std::size_t size) const {
  if (size == 0) return;  // to the system that is all of the file
  (void)::posix_fadvise(descriptor_, static_cast<off_t>(offset), static_cast<off_t>(size),
                        POSIX_FADV_WILLNEED);
}

bool open_file::is_at_hand(std::uint64_t offset) const {
  char byte;
  const iovec into{&byte, 1};
  return uninterrupted::repeat([&] {
           return ::preadv2(descriptor_, &into, 1, static_cast<off_t>(offset), RWF_NOWAIT);
         }) >= 0 ||
         errno != EAGAIN;
}

void open_files::set_paths(std::vector<std::string> paths) {
  const std::lock_guard lock(mutex_);
  by_use_.clear();
  opened_.clear();
  identities_.assign(paths.size(), std::nullopt);
  errors_.clear();
  for (std::size_t i = 0; i < paths.size(); ++i) errors_.push_back(std::make_shared<std::atomic<int>>(0));
  paths_ = std::move(paths);
}

std::shared_ptr<const open_file> open_files::get(std::size_t file) {
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = opened_.find(file); found != opened_.end()) {
      by_use_.splice(by_use_.begin(), by_use_, found->second);
      return found->second->second;
    }
  }
  auto opened = open(file);
  if (!opened) return nullptr;
  const std::lock_guard lock(mutex_);
  if (const auto found = opened_.find(file); found != opened_.end()) return found->second->second;
  by_use_.emplace_front(file, opened);
  try {
    opened_[file] = by_use_.begin();
  } catch (...) {
    by_use_.pop_front();
    throw;
  }
  while (by_use_.size() > limit_ && by_use_.size() > 1) {
    opened_.erase(by_use_.back().first);
    by_use_.pop_back();
  }
  return opened;
}

std::shared_ptr<const open_file> open_files::open(std::size_t file) {
  auto opened = std::make_shared<open_file>(paths_[file].c_str(), errors_[file]);
  const std::optional<struct stat>& found = opened->status();
  if (!found || !is_the_same(file, {found->st_dev, found->st_ino, found->st_size, found->st_mtim}))
    return nullptr;
  return opened;
}

error_of_the_machine open_files::why_not(std::size_t file) const {
  const std::lock_guard lock(mutex_);
  return error_of_the_machine(*errors_[file]);
}

bool open_files::is_the_same(std::size_t file, const identity& found) {
  const std::lock_guard lock(mutex_);
  std::optional<identity>& known = identities_[file];
  if (!known) known = found;
  return known->device == found.device && known->node == found.node && known->length == found.length &&
         known->changed.tv_sec == found.changed.tv_sec && known->changed.tv_nsec == found.changed.tv_nsec;
}

}  // namespace ravo::datasets
