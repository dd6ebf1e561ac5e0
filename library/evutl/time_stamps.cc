// Compares time stamps, exactly and within a tolerance.
#include <cstdint>

#include "format/time.h"
#include "ravo_evutl.h"

bool ravo_time_stamp_eq(const time_stamp* a, const time_stamp* b) {
  return a && b && ravo::is_same(*a, *b);
}

bool ravo_time_stamp_eq(const time_stamp* a, const time_stamp* b, double tolerance, int* sign,
                        double* difference) {
  if (sign) *sign = 0;
  if (difference) *difference = 0;
  if (!a || !b) return false;
  const std::int64_t gap = ravo::in_microseconds(*a) - ravo::in_microseconds(*b);
  // Below 2^53, so the gap is exact as a double too.
  const double size = static_cast<double>(gap < 0 ? -gap : gap);
  const bool within = gap == 0 || size <= tolerance;
  if (sign) *sign = within ? 0 : gap < 0 ? -1 : 1;
  if (difference) *difference = size;
  return within;
}
