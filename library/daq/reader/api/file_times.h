// What the names of raw files tell of time. Opens nothing.
#ifndef RAVO_DAQ_READER_FILE_TIMES_H
#define RAVO_DAQ_READER_FILE_TIMES_H

#include <cstddef>
#include <cstdint>
#include <string>

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

/// Remembers, of the raw files that a scan meets, the one that may hold the start of a period: files carry
/// only the time of their beginning in their names. Depends on the order in which the files are met.
class start_candidate {
 public:
  explicit start_candidate(std::int64_t start) : start_(start) {}

  /// Takes the next file of the scan. The first one is the candidate, also when it begins after the start,
  /// and then stays it, on purpose; another replaces it only between its time and the start.
  void take(const char* name, std::int64_t seconds) {
    last_ = seconds;
    if (!name_.empty() && !(seconds > seconds_ && seconds < start_)) return;
    name_ = name;
    seconds_ = seconds;
  }

  /// Whether the candidate is worth opening for a period that ends at `stop`: it, or the file met last,
  /// begins not after that. Two files are asked because the order in which files are met may have left a
  /// candidate from behind the period in place, whose neighbours will be looked at all the same.
  bool may_serve(std::int64_t stop) const { return !name_.empty() && (seconds_ <= stop || last_ <= stop); }

  const std::string& name() const { return name_; }

 private:
  std::int64_t start_;
  std::string name_;
  std::int64_t seconds_ = 0;
  std::int64_t last_ = 0;
};

}  // namespace ravo

#endif
