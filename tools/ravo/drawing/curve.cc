#include "drawing/curve.h"

#include <algorithm>
#include <cmath>

namespace ravo::drawing {
namespace {

// The index of the dot among `dots`, from the low end.
int dot_of(interval range, double value, int dots) {
  return static_cast<int>(std::lround(std::clamp(range.part(value), 0.0, 1.0) * (dots - 1)));
}

}  // namespace

curve with_axis(curve given) {
  if (!std::isfinite(given.start) || !std::isfinite(given.step) || given.step == 0) {
    given.start = 0;
    given.step = 1;
    given.group_step = static_cast<double>(given.samples);
  }
  if (!std::isfinite(given.group_step)) given.group_step = 0;
  return given;
}

std::optional<interval> values_of(const curve& drawn) {
  std::optional<interval> range;
  for (const float value : drawn.values) {
    if (!std::isfinite(value)) continue;
    const double number = double{value};
    if (!range) range = interval{number, number};
    range->low = std::min(range->low, number);
    range->high = std::max(range->high, number);
  }
  return range;
}

interval axis_of(const curve& drawn) {
  const double along = drawn.step * static_cast<double>(drawn.samples == 0 ? 0 : drawn.samples - 1);
  const double groups =
      drawn.group_step * static_cast<double>(drawn.groups() == 0 ? 0 : drawn.groups() - 1);
  const double low = drawn.start + std::min(along, 0.0) + std::min(groups, 0.0);
  const double high = drawn.start + std::max(along, 0.0) + std::max(groups, 0.0);
  return with_width(low, high);
}

void walk(const curve& drawn, interval axis, interval values, place size,
          const std::function<void(place from, place to)>& take) {
  for (std::size_t group = 0; group < drawn.groups(); ++group) {
    std::optional<place> before;
    for (std::size_t i = 0; i < drawn.samples; ++i) {
      const float value = drawn.values[group * drawn.samples + i];
      if (!std::isfinite(value)) {
        before.reset();
        continue;
      }
      const double x =
          drawn.start + drawn.group_step * static_cast<double>(group) + drawn.step * static_cast<double>(i);
      const place here{dot_of(axis, x, size.x), size.y - 1 - dot_of(values, double{value}, size.y)};
      take(before.value_or(here), here);
      before = here;
    }
  }
}

}  // namespace ravo::drawing
