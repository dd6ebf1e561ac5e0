// Brent's cycle detection over the events of a walk: a search among them ends when they come round again.
// It needs no memory of the way: each event is compared with the one before and with a landmark that moves
// on.
#ifndef RAVO_DAQ_READER_CYCLE_DETECTOR_H
#define RAVO_DAQ_READER_CYCLE_DETECTOR_H

#include "ravo_core_records.h"

namespace ravo {

class cycle_detector {
 public:
  /// Takes the next event of the walk; true when it closes a cycle, of one event or of several.
  bool is_closed_by(const ravo_time_id& event) {
    if (steps_ > 0 && is_same(event, before_)) return true;
    if (has_landmark_ && is_same(event, landmark_)) return true;
    before_ = event;
    ++steps_;
    // The distance between landmarks doubles, so that at last a whole cycle lies after one. An all-zero
    // event is no landmark: it only says that no channel had an answer.
    if (steps_ >= next_landmark_ && !is_same(event, {})) {
      landmark_ = event;
      has_landmark_ = true;
      next_landmark_ = 2 * steps_;
    }
    return false;
  }

 private:
  static bool is_same(const ravo_time_id& a, const ravo_time_id& b) {
    return a.event_number == b.event_number && a.time.timeup == b.time.timeup &&
           a.time.timelow == b.time.timelow;
  }

  ravo_time_id before_{};
  ravo_time_id landmark_{};
  bool has_landmark_ = false;
  unsigned long steps_ = 0;
  unsigned long next_landmark_ = 1;
};

}  // namespace ravo

#endif
