// Comparing times out of a file, also such as no clock says: a million microseconds and more are allowed.
#ifndef RAVO_VERIFY_INSTANTS_H
#define RAVO_VERIFY_INSTANTS_H

#include <cstdint>

#include "ravo_core_records.h"

namespace ravo::verify {

inline constexpr std::uint32_t microseconds_in_second = 1'000'000;
/// Whether a clock can say this.
inline bool is_proper(time_stamp time) { return time.timelow < microseconds_in_second; }
inline bool has_time(time_stamp time) { return time.timeup != 0; }

inline std::int64_t microseconds(time_stamp time) {
  return std::int64_t{1'000'000} * time.timeup + std::int64_t{time.timelow};
}
inline bool is_before(time_stamp a, time_stamp b) { return microseconds(a) < microseconds(b); }
inline bool is_same(time_stamp a, time_stamp b) { return microseconds(a) == microseconds(b); }

}  // namespace ravo::verify

#endif
