// The times in the names of raw files. Opens nothing.
#ifndef RAVO_DAQ_READER_FILE_TIMES_H
#define RAVO_DAQ_READER_FILE_TIMES_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "microseconds.h"
#include "ravo_evutl.h"

namespace ravo {

/// The time in a file's name; 0 seconds if it is not known.
struct file_time {
  bool is_known;
  std::int64_t seconds;
};

inline file_time time_of_file(const char* path) {
  time_stamp time{};
  if (get_time_from_file_name(path, &time) != 0) return {false, 0};
  return {true, time.timeup};
}

/// Whole seconds from one file to the next. A single file has no next file; the result is its own time.
inline std::int64_t file_step(std::int64_t first, std::int64_t last, std::size_t files) {
  return files < 2 ? first : (last - first) / (static_cast<std::int64_t>(files) - 1);
}

/// Remembers, of the raw files in a scan, the file that may hold the start of a period: file names contain
/// only the time at which a file begins. The result depends on the order of the scan.
class start_candidate {
 public:
  explicit start_candidate(std::int64_t start) : start_(start) {}

  /// Takes the next file of the scan. The first file is the candidate, even if it begins after the start,
  /// and then stays so, on purpose; a file replaces it only if it begins after it and before the start.
  void take(const char* name, std::int64_t seconds) {
    last_ = seconds;
    if (!name_.empty() && !(seconds > seconds_ && seconds < start_)) return;
    name_ = name;
    seconds_ = seconds;
  }

  /// Whether the candidate is worth opening for a period that ends at `stop`: it, or the last file of the
  /// scan, begins no later. Both files count because, depending on the order of the scan, the candidate may
  /// begin after the period, and its neighbours are tried all the same.
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
