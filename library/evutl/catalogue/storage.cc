#include "storage.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>

#include "catalogue/documents.h"
#include "format/folders.h"
#include "format/uninterrupted.h"

namespace ravo::catalogue {
namespace {

std::string system_text(int error) { return std::generic_category().message(error); }

class descriptor {
 public:
  explicit descriptor(int fd) : fd_(fd) {}
  ~descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  descriptor(const descriptor&) = delete;
  descriptor& operator=(const descriptor&) = delete;
  operator int() const { return fd_; }

 private:
  int fd_;
};

std::string folder_of(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

std::string make_folder_of(const std::string& path, std::set<std::string>& changed) {
  const int error = make_folders(folder_of(path), changed);
  return error != 0 ? "its folder cannot be made: " + system_text(error) : "";
}

}  // namespace

stored_text read_text(const std::string& path) {
  // Does not block: the name may be a pipe's, put there by mistake.
  const descriptor fd(uninterrupted::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (fd < 0) {
    if (errno == ENOENT || errno == ENOTDIR) return {};
    return {std::nullopt, system_text(errno)};
  }
  struct stat about {};
  if (uninterrupted::fstat(fd, &about) != 0) return {std::nullopt, system_text(errno)};
  if (!S_ISREG(about.st_mode)) return {std::nullopt, "it is no regular file"};
  if (static_cast<std::uint64_t>(about.st_size) > longest_document) return {std::nullopt, "it is too long"};
  std::string text(static_cast<std::size_t>(about.st_size), '\0');
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t got = uninterrupted::read(fd, text.data() + done, text.size() - done);
    if (got < 0) return {std::nullopt, system_text(errno)};
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  text.resize(done);
  return {std::move(text), {}};
}

std::string replace_text(const std::string& path, const std::string& text, std::set<std::string>& changed) {
  if (text.size() > longest_document) return "it would become too long";
  if (std::string problem = make_folder_of(path, changed); !problem.empty()) return problem;
  // One name is enough, since only the holder of the lock writes; what a crash left there is overwritten.
  const std::string fresh = path + ".new";
  {
    const descriptor fd(uninterrupted::open(
        fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666));
    if (fd < 0) return "it cannot be written: " + system_text(errno);
    if (!uninterrupted::write_all(fd, text.data(), text.size()) || uninterrupted::fsync(fd) != 0) {
      std::string problem = "it cannot be written: " + system_text(errno);
      uninterrupted::unlink(fresh.c_str());
      return problem;
    }
  }
  if (uninterrupted::rename(fresh.c_str(), path.c_str()) == 0) {
    changed.insert(folder_of(path));
    return {};
  }
  std::string problem = "it cannot be replaced: " + system_text(errno);
  uninterrupted::unlink(fresh.c_str());
  return problem;
}

file_lock::file_lock(const std::string& path, std::chrono::milliseconds patience,
                     std::set<std::string>& changed)
    : problem_(make_folder_of(path, changed)) {
  if (!problem_.empty()) return;
  fd_ = uninterrupted::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
  if (fd_ < 0) {
    problem_ = "it cannot be opened: " + system_text(errno);
    return;
  }
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (uninterrupted::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline) {
      problem_ = errno == EWOULDBLOCK ? "another program holds it for too long"
                                      : "it cannot be locked: " + system_text(errno);
      return;
    }
    // The system has no wait for a lock with a time limit; the holder keeps it for milliseconds.
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

file_lock::~file_lock() {
  if (fd_ >= 0) close(fd_);
}

}  // namespace ravo::catalogue
