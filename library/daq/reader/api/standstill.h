// Notices that a walk over events no longer gets anywhere, so that a search among them ends. Needs no
// memory of the way: it compares each event with the one before and with a landmark that moves on.
#ifndef RAVO_DAQ_READER_STANDSTILL_H
#define RAVO_DAQ_READER_STANDSTILL_H

#include "ravo_core_records.h"

namespace ravo {

class standstill {
 public:
  /// Takes the next event of the walk; true when the walk stands still or goes round in a circle.
  bool is_reached_with(const ravo_time_id& event) {
    if (steps_ > 0 && is_same(event, before_)) return true;
    if (has_landmark_ && is_same(event, landmark_)) return true;
    before_ = event;
    ++steps_;
    // After ever longer ways, so that any circle is once walked whole past a landmark. An all-zero event
    // is none: it only tells that no channel had an answer.
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
