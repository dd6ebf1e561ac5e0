// Compares times out of a file, including impossible ones: a million microseconds and more are allowed.
#ifndef RAVO_VERIFY_INSTANTS_H
#define RAVO_VERIFY_INSTANTS_H

#include "format/time.h"

namespace ravo::checks {

/// Whether a clock can show this time.
inline bool is_proper(time_stamp time) { return time.timelow < microseconds_per_second; }
inline bool has_time(time_stamp time) { return time.timeup != 0; }

inline bool is_before(time_stamp a, time_stamp b) { return in_microseconds(a) < in_microseconds(b); }
inline bool is_same(time_stamp a, time_stamp b) { return in_microseconds(a) == in_microseconds(b); }

}  // namespace ravo::checks

#endif
