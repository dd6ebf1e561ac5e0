// Makes nameless files with O_TMPFILE, and hidden files where the file system does not support it.
#include "nameless_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "format/uninterrupted.h"

namespace ravo::writer {

int open_hidden(const folder& place, const std::string& stem, int flags, std::string* name) {
  // The process id separates writers; the count skips files that a killed process of the same id has left.
  for (int count = 0; count < 1000; ++count) {
    *name = "." + stem + "." + std::to_string(::getpid()) + "-" + std::to_string(count) + ".part";
    const int file = uninterrupted::openat(place.descriptor(), name->c_str(),
                                           flags | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file >= 0 || errno != EEXIST) return file;
  }
  return -1;
}

int open_nameless(const folder& place, int flags) {
  int file = uninterrupted::openat(place.descriptor(), ".", flags | O_TMPFILE | O_CLOEXEC, 0666);
  // Old kernels fail with EISDIR, file systems without nameless files with EOPNOTSUPP.
  if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return file;
  std::string name;
  file = open_hidden(place, "spool", flags, &name);
  if (file >= 0) uninterrupted::unlinkat(place.descriptor(), name.c_str(), 0);
  return file;
}

}  // namespace ravo::writer
