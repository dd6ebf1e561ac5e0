#include "drawing/stretch.h"

#include <algorithm>
#include <cstddef>

namespace ravo::drawing {
namespace {

interval without_ends(std::vector<float> pixels) {
  const std::size_t cut = pixels.size() / 100;
  const auto low = pixels.begin() + static_cast<std::ptrdiff_t>(cut);
  std::nth_element(pixels.begin(), low, pixels.end());
  const float least = *low;
  const auto high = pixels.end() - 1 - static_cast<std::ptrdiff_t>(cut);
  std::nth_element(pixels.begin(), high, pixels.end());
  return {double{least}, double{*high}};
}

interval found(const grey_picture& frame, stretch how, double most) {
  switch (how) {
    case stretch::none:
      return {0, most};
    case stretch::minmax:
      return brightness_of(frame);
    case stretch::percentile:
      return frame.pixels.empty() ? interval{0, 0} : without_ends(frame.pixels);
  }
  return {0, most};
}

}  // namespace

interval stretched(const grey_picture& frame, stretch how, double most) {
  interval range = found(frame, how, most);
  if (!(range.low < range.high)) range.high = range.low + 1;  // all equal: dark
  return range;
}

}  // namespace ravo::drawing
