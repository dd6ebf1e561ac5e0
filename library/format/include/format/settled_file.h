// Decides when a raw file is complete: the acquisition writes it in one go, so it is complete when its
// inode has not changed for half a minute. Internal code, no interface; the reading layers compile it in.
#ifndef RAVO_SETTLED_FILE_H
#define RAVO_SETTLED_FILE_H

#include <cstdint>
#include <cstdlib>

namespace ravo {

/// A file must have been unchanged for longer than this.
inline constexpr int settling_seconds = 29;

/// Whether a file is complete, from the time of its last status change; both in seconds.
inline bool is_settled(std::int64_t status_change, std::int64_t now) {
  return status_change + settling_seconds < now;
}

/// Whether the environment asks to accept files no matter when they changed.
inline bool ignores_close_time() {
  return std::getenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME") != nullptr;
}

}  // namespace ravo

#endif
