// Which time window a request for runs gets. Times are whole seconds; 0 is an unknown one. Asks nobody.
#ifndef RAVO_DAQ_READER_RUN_WINDOW_H
#define RAVO_DAQ_READER_RUN_WINDOW_H

#include <algorithm>
#include <cstdint>
#include <limits>

#include "ravo_core_records.h"

namespace ravo {

/// The asked-for window as it is, the window of the runs, or none at all.
enum class window_choice { asked, runs, open };

inline window_choice choose_window(std::int64_t asked_start, std::int64_t asked_stop,
                                   std::int64_t runs_start, std::int64_t runs_stop) {
  if (runs_start == 0 || runs_stop == 0) return window_choice::open;
  if (runs_start == runs_stop) return window_choice::asked;
  const bool do_overlap = runs_stop >= asked_start && asked_stop >= runs_start;
  return do_overlap ? window_choice::asked : window_choice::runs;
}

/// The seconds of a run's end. Windows count in whole seconds, so that an end within a second is rounded
/// up: the run's last events lie before it.
inline std::int64_t whole_second_after(const time_stamp& end) {
  const std::int64_t seconds = std::int64_t{end.timeup} + (end.timelow > 0 ? 1 : 0);
  return std::min<std::int64_t>(seconds, std::numeric_limits<std::uint32_t>::max());
}

}  // namespace ravo

#endif
