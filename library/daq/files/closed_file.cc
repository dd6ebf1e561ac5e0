// Checks whether a file is finished; see closed_file.h.
#include "files/closed_file.h"

#include <sys/stat.h>

#include <ctime>

#include "format/uninterrupted.h"

namespace ravo {

raw_file_state state_of_raw_file(const char* path) {
  struct stat found {};
  if (uninterrupted::stat(path, &found) != 0) return raw_file_state::missing;
  return is_settled(found.st_ctime, std::time(nullptr)) ? raw_file_state::closed : raw_file_state::growing;
}

}  // namespace ravo
