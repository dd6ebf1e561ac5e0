#include "convert/staging.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "failure.h"

namespace ravo::tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string& path, int error) {
  throw data_failure(fmt::format("{}: {}", path, std::strerror(error)));
}

// A new name for the file; never in place of another one. 0, or the error.
int give_new_name(const std::string& file, const std::string& target) {
  if (renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // The file system cannot rename so: a second name, and the first one goes with its folder.
  return link(file.c_str(), target.c_str()) == 0 ? 0 : errno;
}

void synchronise(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

}  // namespace

staging_folder::staging_folder(const std::string& folder) : folder_(folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (std::error_code unseen; error || !fs::is_directory(folder, unseen))
    throw data_failure(fmt::format("{}: {}", folder, error ? error.message() : "is a file, not a folder"));
  path_ = (fs::path(folder) / ".ravo_convert_XXXXXX").string();
  if (!mkdtemp(path_.data())) refuse(folder, errno);
}

staging_folder::~staging_folder() {
  std::error_code error;
  fs::remove_all(path_, error);
}

void staging_folder::publish(const std::string& file, const std::string& target,
                             overwriting existing) const {
  const int error = existing == overwriting::allowed
                        ? (rename(file.c_str(), target.c_str()) == 0 ? 0 : errno)
                        : give_new_name(file, target);
  if (error == EEXIST) throw data_failure(target + ": is there already; --force replaces it");
  if (error != 0) refuse(target, error);
  synchronise(folder_);
}

}  // namespace ravo::tool
