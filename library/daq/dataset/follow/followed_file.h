// A file that was taken: what was handed over of it, and whether events that come later may hold slow
// values of it.
#ifndef RAVO_DATASET_FOLLOWED_FILE_H
#define RAVO_DATASET_FOLLOWED_FILE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "align/event_window.h"

namespace ravo::detail {

struct followed_file {
  /// The times of a slow channel's last values in a file.
  struct slow_reach {
    std::int64_t last = before_all_times;  ///< of the last value
    std::int64_t uncertain =
        before_all_times;  ///< until when there may be others, whose event is not known
  };

  std::string path;
  event_span span;
  handed_over_part part;
  bool has_rest = true;  ///< entries that were not handed over
  std::map<std::string, slow_reach> slow;

  bool is_done() const { return !has_rest && in_microseconds(span.last) <= part.until; }
};

/// Leaves those of the files, of which all was handed over, whose slow values later events may hold.
void keep_held(std::vector<followed_file>& files);

}  // namespace ravo::detail

#endif
