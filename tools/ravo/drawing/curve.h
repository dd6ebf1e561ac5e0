// Values over an axis, such as a spectrum's: groups of equally spaced samples.
#ifndef RAVO_DRAWING_CURVE_H
#define RAVO_DRAWING_CURVE_H

#include <cstddef>
#include <functional>
#include <optional>
#include <span>

#include "drawing/dots.h"
#include "drawing/ticks.h"

namespace ravo::drawing {

struct curve {
  double start = 0;         ///< of the axis: where the first sample of the first group is
  double step = 1;          ///< from sample to sample
  double group_step = 0;    ///< from group to group
  std::size_t samples = 0;  ///< of each group
  std::span<const float> values;

  std::size_t groups() const { return samples == 0 ? 0 : values.size() / samples; }
};

/// The curve with an axis that can be drawn: an axis that is not finite, or has no step, counts the
/// samples.
curve with_axis(curve given);

/// From the least to the greatest finite value; `nullopt` if there is none.
std::optional<interval> values_of(const curve& drawn);
/// The part of the axis that the curve covers.
interval axis_of(const curve& drawn);

/// Walks along the curve in a picture of so many dots: passes each finite value and the
/// one before it in its group, or the value itself twice if there is none before it.
void walk(const curve& drawn, interval axis, interval values, place size,
          const std::function<void(place from, place to)>& take);

}  // namespace ravo::drawing

#endif
