// When a raw file is complete: the acquisition writes it in one go, so one whose inode has not changed for
// half a minute is. Code and no interface; the reading layers compile it in too.
#ifndef RAVO_SETTLED_FILE_H
#define RAVO_SETTLED_FILE_H

#include <cstdint>
#include <cstdlib>

namespace ravo {

/// A file must have been left alone for longer than this.
inline constexpr int settling_seconds = 29;

/// Whether a file is complete, from the time of its last status change; both in seconds.
inline bool is_settled(std::int64_t status_change, std::int64_t now) {
  return status_change + settling_seconds < now;
}

/// Whether the environment asks to take files without looking at when they changed.
inline bool ignores_close_time() {
  return std::getenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME") != nullptr;
}

}  // namespace ravo

#endif
