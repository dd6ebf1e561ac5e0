// What the names of raw files tell of time. Opens nothing.
#ifndef RAVO_DAQ_READER_FILE_TIMES_H
#define RAVO_DAQ_READER_FILE_TIMES_H

#include <cstddef>
#include <cstdint>

#include "microseconds.h"
#include "ravo_evutl.h"

namespace ravo {

/// The time in a file's name; 0 seconds when it is not known.
struct file_time {
  bool is_known;
  std::int64_t seconds;
};

inline file_time time_of_file(const char* path) {
  time_stamp time{};
  if (get_time_from_file_name(path, &time) != 0) return {false, 0};
  return {true, time.timeup};
}

/// Seconds from one file to the next, whole. A single file has no next one; its own time stands in.
inline std::int64_t file_step(std::int64_t first, std::int64_t last, std::size_t files) {
  return files < 2 ? first : (last - first) / (static_cast<std::int64_t>(files) - 1);
}

}  // namespace ravo

#endif
