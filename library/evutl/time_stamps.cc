// Compares time stamps, exactly and within a tolerance.
#include <cstdint>

#include "ravo_evutl.h"

namespace {

// Fits easily: 2^32 seconds are less than 2^52 microseconds.
std::int64_t microseconds(const time_stamp& time) {
  return std::int64_t{time.timeup} * 1000000 + time.timelow;
}

}  // namespace

bool ravo_time_stamp_eq(const time_stamp* a, const time_stamp* b) {
  return a && b && a->timeup == b->timeup && a->timelow == b->timelow;
}

bool ravo_time_stamp_eq(const time_stamp* a, const time_stamp* b, double tolerance, int* sign,
                        double* difference) {
  if (sign) *sign = 0;
  if (difference) *difference = 0;
  if (!a || !b) return false;
  const std::int64_t gap = microseconds(*a) - microseconds(*b);
  // Below 2^53, so the gap is exact as a double too.
  const double size = static_cast<double>(gap < 0 ? -gap : gap);
  const bool within = gap == 0 || size <= tolerance;
  if (sign) *sign = within ? 0 : gap < 0 ? -1 : 1;
  if (difference) *difference = size;
  return within;
}
