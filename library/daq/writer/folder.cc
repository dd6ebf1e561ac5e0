// Opens, queries and syncs the target folder.
#include "folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "format/folders.h"
#include "format/uninterrupted.h"

namespace ravo::writer {

outcome folder::open(const std::string& path) {
  close();
  if (path.empty())
    return refusal(RAVO_DAQ_WRITER_INV_PARAM, "no folder is given; name the one the files go to");
  path_ = path;  // before the descriptor exists, which would leak if there were no memory for the path
  const int descriptor = uninterrupted::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0)
    return system_refusal("cannot open the folder " + path, errno,
                          "create it, or name one that may be read and written");
  if (uninterrupted::faccessat(descriptor, ".", W_OK | X_OK, AT_EACCESS) != 0) {
    const int error = errno;
    ::close(descriptor);
    return system_refusal("cannot write to the folder " + path, error,
                          "give it write permission, or name another one");
  }
  descriptor_ = descriptor;
  return {};
}

void folder::close() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

std::string folder::path_of(const std::string& name) const { return path_in(path_, name); }

bool folder::holds(const std::string& name) const {
  struct stat unused;
  return uninterrupted::fstatat(descriptor_, name.c_str(), &unused, AT_SYMLINK_NOFOLLOW) == 0;
}

outcome folder::synchronise() const {
  if (uninterrupted::fsync(descriptor_) != 0)
    return system_refusal("cannot bring the folder " + path_ + " to disk", errno,
                          "check the disk; the file that was just completed is in place");
  return {};
}

}  // namespace ravo::writer
