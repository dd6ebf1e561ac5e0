// The places of an axis's labels, and their texts.
#ifndef RAVO_DRAWING_TICKS_H
#define RAVO_DRAWING_TICKS_H

#include <string>
#include <vector>

namespace ravo::drawing {

struct tick {
  double value;
  std::string label;
};

/// A closed interval of numbers; `low` is less than `high`.
struct interval {
  double low;
  double high;

  /// 0 at the low end, 1 at the high one.
  double part(double value) const { return (value - low) / (high - low); }
};

/// The interval, widened if it has no width, so that an axis can be drawn.
interval with_width(double low, double high);

/// Round numbers, 1, 2 or 5 times a power of ten apart,
/// inside the interval; at most `most` of them, at least 1.
std::vector<tick> round_ticks(interval range, int most);

}  // namespace ravo::drawing

#endif
