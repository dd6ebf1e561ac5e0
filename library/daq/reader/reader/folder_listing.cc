// Reading a directory; see folder_listing.h.
#include "reader/folder_listing.h"

#include <cerrno>

namespace ravo {

folder_listing::folder_listing(const char* path) : folder_(opendir(path)) {}

const char* folder_listing::next() {
  if (!is_readable()) return nullptr;
  errno = 0;
  const dirent* entry = readdir(folder_.get());
  if (!entry) has_failed_ = errno != 0;
  return entry ? entry->d_name : nullptr;
}

}  // namespace ravo
