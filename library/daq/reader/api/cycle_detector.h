// Brent's cycle detector for the events of a walk: a search ends when the events repeat. It does not store
// the path: each event is compared with its predecessor and with a landmark, which is renewed from time to
// time.
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
    // The distance between landmarks doubles, so that eventually a whole cycle fits between two landmarks.
    // An all-zero event is not a landmark: it only means that no channel had an answer.
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
