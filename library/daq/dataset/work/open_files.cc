#include "work/open_files.h"

#include <fcntl.h>
#include <sys/uio.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "format/uninterrupted.h"

namespace ravo::detail {

std::string error_of_the_machine::text() const { return std::generic_category().message(number_); }

file_refusal error_of_the_machine::refusal() const {
  if (number_ == 0) return file_refusal::none;
  return number_ == ENOENT || number_ == ENOTDIR ? file_refusal::missing : file_refusal::machine_error;
}

open_file::open_file(const char* path, std::shared_ptr<std::atomic<int>> error)
    : error_(std::move(error)), file_(path) {
  if (file_.error() != 0) note_error(file_.error());
}

std::optional<std::size_t> open_file::read(std::uint64_t offset, void* into, std::size_t size) const {
  const auto got = file_.read(offset, into, size);
  if (!got) note_error(errno);
  return got;
}

bool open_file::read_all(std::uint64_t offset, void* into, std::size_t size) const {
  return read(offset, into, size) == size;
}

void open_file::expect(std::uint64_t offset, std::size_t size) const {
  if (size == 0) return;  // the system takes 0 for the whole file
  (void)::posix_fadvise(descriptor(), static_cast<off_t>(offset), static_cast<off_t>(size),
                        POSIX_FADV_WILLNEED);
}

bool open_file::is_at_hand(std::uint64_t offset) const {
  char byte;
  const iovec into{&byte, 1};
  return uninterrupted::repeat([&] {
           return ::preadv2(descriptor(), &into, 1, static_cast<off_t>(offset), RWF_NOWAIT);
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
  if (!opened->is_open() || !is_the_same(file, opened->identity())) return nullptr;
  return opened;
}

error_of_the_machine open_files::why_not(std::size_t file) const {
  const std::lock_guard lock(mutex_);
  return error_of_the_machine(*errors_[file]);
}

bool open_files::is_the_same(std::size_t file, const file_identity& found) {
  const std::lock_guard lock(mutex_);
  std::optional<file_identity>& known = identities_[file];
  if (!known) known = found;
  return *known == found;
}

}  // namespace ravo::detail
