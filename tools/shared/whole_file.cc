#include "shared/whole_file.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "format/folders.h"
#include "format/opened_file.h"
#include "format/uninterrupted.h"

namespace ravo {
namespace {

constexpr std::size_t pending_bytes = std::size_t{1} << 16;

// The path that gives a nameless file a name without privileges.
std::string path_of_descriptor(int file) { return "/proc/self/fd/" + std::to_string(file); }

std::string resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(uninterrupted::realpath(path.c_str()), &std::free);
  return real ? real.get() : path;
}

// Readers never take a file of such a name for a raw file. The process number keeps programs apart;
// the count skips what a killed process of this number left. `take` returns like a system call.
template <class attempt>
std::optional<std::string> take_hidden_name(const std::string& folder, const attempt& take) {
  for (int count = 0; count < 1000; ++count) {
    std::string name =
        folder + "/.ravo_" + std::to_string(::getpid()) + "-" + std::to_string(count) + ".part";
    if (take(name.c_str()) >= 0) return name;
    if (errno != EEXIST) return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

std::string read_whole_file(const std::string& path) {
  const auto fail = [&path] { throw whole_file_failure(path + ": " + std::strerror(errno)); };
  const opened_file file(path.c_str());
  if (file < 0) fail();
  std::string text;
  for (;;) {
    const std::size_t before = text.size();
    text.resize(before + pending_bytes);
    const ssize_t got = uninterrupted::read(file, text.data() + before, pending_bytes);
    if (got < 0) fail();
    text.resize(before + static_cast<std::size_t>(got));
    if (got == 0) return text;
  }
}

std::optional<std::uint64_t> length_of_file(const std::string& path) {
  struct stat about {};
  if (uninterrupted::stat(path.c_str(), &about) != 0 || !S_ISREG(about.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(about.st_size);
}

bool is_there(const std::string& path) { return uninterrupted::access(path.c_str(), F_OK) == 0; }

bool is_same_file(const std::string& one, const std::string& other) {
  struct stat first {
  }, second{};
  return uninterrupted::stat(one.c_str(), &first) == 0 &&
         uninterrupted::stat(other.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

void remove_file(const std::string& path) {
  if (uninterrupted::unlink(path.c_str()) != 0 && errno != ENOENT)
    throw whole_file_failure(path + ": " + std::strerror(errno));
}

void make_folder(const std::string& path) {
  std::set<std::string> changed;
  const int error = make_folders(path, changed);
  if (error != 0)
    throw whole_file_failure(path + ": " +
                             (error == EEXIST ? "is a file, not a folder" : std::strerror(error)));
  for (const std::string& folder : changed) uninterrupted::sync_folder(folder.c_str());
}

whole_file::whole_file(std::string path) : path_(std::move(path)), target_(resolved(path_)) {
  folder_ = std::filesystem::path(target_).parent_path().string();
  if (folder_.empty()) folder_ = ".";
  try {
    begin();
  } catch (...) {
    give_up();
    throw;
  }
}

whole_file::~whole_file() { give_up(); }

void whole_file::begin() {
  if (path_.empty()) fail(ENOENT);
  struct stat about {};
  const bool is_there = uninterrupted::stat(target_.c_str(), &about) == 0;
  if (is_there && S_ISDIR(about.st_mode)) fail(EISDIR);
  is_in_place_ = is_there && !S_ISREG(about.st_mode);
  if (is_in_place_) {
    file_ = uninterrupted::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    if (file_ < 0) fail(errno);
    return;
  }
  // A file without write permission is not replaced either.
  if (is_there && uninterrupted::access(target_.c_str(), W_OK) != 0) fail(errno);
  file_ = uninterrupted::open(folder_.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666);
  if (file_ < 0 || uninterrupted::access(path_of_descriptor(file_).c_str(), F_OK) != 0) begin_hidden();
  // The new file replaces the old one and keeps its permissions.
  if (is_there) (void)::fchmod(file_, about.st_mode & 0777);
}

// For systems without nameless files, or without /proc to name one later.
void whole_file::begin_hidden() {
  if (file_ >= 0) ::close(file_);
  file_ = -1;
  const auto name = take_hidden_name(folder_, [this](const char* hidden) {
    return file_ = uninterrupted::open(hidden, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  });
  if (!name) fail(errno);
  hidden_ = *name;
}

void whole_file::append(std::string_view text) {
  pending_ += text;
  if (pending_.size() >= pending_bytes) write_out();
}

void whole_file::append(std::span<const unsigned char> bytes) {
  append(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

void whole_file::write_out() {
  if (!uninterrupted::write_all(file_, pending_.data(), pending_.size())) fail(errno);
  pending_.clear();
}

void whole_file::give_name() {
  if (hidden_.empty()) {
    // A nameless file cannot replace another file in one step.
    const auto name = take_hidden_name(folder_, [this](const char* hidden) {
      return uninterrupted::linkat(AT_FDCWD, path_of_descriptor(file_).c_str(), AT_FDCWD, hidden,
                                   AT_SYMLINK_FOLLOW);
    });
    if (!name) fail(errno);
    hidden_ = *name;
  }
  if (uninterrupted::rename(hidden_.c_str(), target_.c_str()) != 0) fail(errno);
  hidden_.clear();
}

void whole_file::publish() {
  write_out();
  if (!is_in_place_) {
    if (uninterrupted::fsync(file_) != 0) fail(errno);
    give_name();
    if (uninterrupted::sync_folder(folder_.c_str()) != 0) fail(errno);
  }
  const int file = std::exchange(file_, -1);
  if (::close(file) != 0 && errno != EINTR) fail(errno);
}

void whole_file::give_up() noexcept {
  if (file_ >= 0) ::close(std::exchange(file_, -1));
  if (!hidden_.empty()) uninterrupted::unlink(hidden_.c_str());
  hidden_.clear();
}

void whole_file::fail(int error) const {
  const char* const remedy = error == EFBIG ? "; it is larger than files may become here (ulimit -f)" : "";
  throw whole_file_failure(path_ + ": " + std::strerror(error) + remedy);
}

}  // namespace ravo
