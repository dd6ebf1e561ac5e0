// The test for finished files; see closed_file.h.
#include "reader/closed_file.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>

namespace ravo {

namespace {
// A file must have been left alone for longer than this.
constexpr std::int64_t settling_seconds = 29;
}  // namespace

bool is_closed(std::int64_t status_change, std::int64_t now) {
  return status_change + settling_seconds < now;
}

raw_file_state state_of_raw_file(const char* path) {
  struct stat found {};
  if (stat(path, &found) != 0) return raw_file_state::missing;
  return is_closed(found.st_ctime, std::time(nullptr)) ? raw_file_state::closed : raw_file_state::growing;
}

bool ignores_close_time() { return std::getenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME") != nullptr; }

}  // namespace ravo
