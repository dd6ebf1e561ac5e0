#include "convert/staging.h"

#include <fmt/format.h>

#include <cstring>
#include <filesystem>
#include <string_view>

#include "common/failure.h"
#include "format/folders.h"
#include "format/uninterrupted.h"
#include "shared/whole_file.h"

namespace ravo::tool {
namespace {

namespace fs = std::filesystem;

// No folder walk of this system enters a hidden folder, and no raw file has such a name.
constexpr std::string_view prefix = ".ravo_convert_";
constexpr const char* lock_name = "/lock";

[[noreturn]] void refuse(const std::string& path, int error) {
  throw data_failure(fmt::format("{}: {}", path, std::strerror(error)));
}

// Gives the file a new name, but never that of an existing file. Returns 0 or the error.
int give_new_name(const std::string& file, const std::string& target) {
  if (uninterrupted::renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0)
    return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The file system cannot rename without replacing: link a second name; the first one goes with its
  // folder.
  return uninterrupted::linkat(AT_FDCWD, file.c_str(), AT_FDCWD, target.c_str(), 0) == 0 ? 0 : errno;
}

// Whether a lock that is held is still the folder's, and not that of a folder which was removed meanwhile.
bool is_lock_of(int lock, const std::string& folder) {
  struct stat held {
  }, there{};
  return uninterrupted::fstat(lock, &held) == 0 &&
         uninterrupted::stat((folder + lock_name).c_str(), &there) == 0 && held.st_ino == there.st_ino &&
         held.st_dev == there.st_dev;
}

// Removes the lock last: as long as there is anything else, what is left of the
// folder can be distinguished from a folder in use. Returns 0 or the error.
int remove_folder(const std::string& folder) {
  folder_listing names(folder.c_str(), listed::all);
  while (const char* const name = names.next()) {
    if (lock_name + 1 == std::string_view(name)) continue;
    const std::string path = folder + "/" + name;
    if (uninterrupted::unlink(path.c_str()) == 0 || errno == ENOENT) continue;
    std::error_code error = std::make_error_code(static_cast<std::errc>(errno));
    if (errno == EISDIR) fs::remove_all(path, error);
    if (error) return error.value();
  }
  if (!names.is_readable()) return names.error();
  if (uninterrupted::unlink((folder + lock_name).c_str()) != 0 && errno != ENOENT) return errno;
  return uninterrupted::rmdir(folder.c_str()) == 0 ? 0 : errno;
}

// Empty if the folder is in use or has gone by itself.
std::vector<left_behind> remove_if_left(const std::string& folder) {
  const int lock = uninterrupted::open((folder + lock_name).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
  if (lock < 0 && errno != ENOENT) return {{folder, std::strerror(errno)}};
  if (lock < 0) {
    // The folder has nothing in it, yet or any more. A conversion that begins there makes another folder.
    if (uninterrupted::rmdir(folder.c_str()) == 0) return {{folder, ""}};
    if (errno == ENOENT) return {};
    return {{folder, "it has no lock by which to see whether a conversion works in it"}};
  }
  std::vector<left_behind> result;
  if (uninterrupted::flock(lock, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) result.push_back({folder, std::strerror(errno)});
  } else if (is_lock_of(lock, folder)) {
    const int error = remove_folder(folder);
    result.push_back({folder, error == 0 ? "" : std::strerror(error)});
  }
  ::close(lock);
  return result;
}

}  // namespace

staging_folder::staging_folder(const std::string& folder) : folder_(folder) {
  try {
    make_folder(folder);
  } catch (const whole_file_failure& failure) {
    throw data_failure(failure.what());
  }
  // Another conversion may mistake a folder that is not locked yet for an abandoned one.
  constexpr int most_attempts = 100;
  for (int attempt = 0; attempt < most_attempts; ++attempt)
    if (make()) return;
  refuse(folder, EAGAIN);
}

// Returns false if the folder was removed meanwhile.
bool staging_folder::make() {
  path_ = (fs::path(folder_) / prefix).string() + "XXXXXX";
  const std::string pattern = path_;
  const char* const made = uninterrupted::repeat([&] {
    path_ = pattern;
    return mkdtemp(path_.data());
  });
  if (!made) refuse(folder_, errno);
  lock_ = uninterrupted::open((path_ + lock_name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock_ < 0) {
    if (errno == ENOENT) return false;
    const int error = errno;
    uninterrupted::rmdir(path_.c_str());
    refuse(folder_, error);
  }
  // Where the file system has no locks, what a killed conversion left is named and not removed.
  const bool is_taken = uninterrupted::flock(lock_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  if (!is_taken && is_lock_of(lock_, path_)) return true;
  ::close(lock_);
  lock_ = -1;
  return false;
}

staging_folder::~staging_folder() {
  remove_folder(path_);
  ::close(lock_);
}

void staging_folder::publish(const std::string& file, const std::string& target,
                             overwriting existing) const {
  const int error = existing == overwriting::allowed
                        ? (uninterrupted::rename(file.c_str(), target.c_str()) == 0 ? 0 : errno)
                        : give_new_name(file, target);
  if (error == EEXIST) throw data_failure(target + ": is there already; --force replaces it");
  if (error != 0) refuse(target, error);
  if (uninterrupted::sync_folder(folder_.c_str()) != 0) refuse(folder_, errno);
}

std::vector<left_behind> remove_left_behind(const std::string& folder) {
  std::vector<std::string> folders;
  {
    folder_listing names(folder.c_str(), listed::all);
    while (const char* const name = names.next())
      if (std::string_view(name).starts_with(prefix)) folders.push_back((fs::path(folder) / name).string());
  }
  std::vector<left_behind> result;
  for (const std::string& one : folders) {
    struct stat about {};
    if (uninterrupted::lstat(one.c_str(), &about) != 0 || !S_ISDIR(about.st_mode)) continue;
    for (left_behind& left : remove_if_left(one)) result.push_back(std::move(left));
  }
  return result;
}

}  // namespace ravo::tool
