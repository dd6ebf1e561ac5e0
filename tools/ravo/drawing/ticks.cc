#include "drawing/ticks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace ravo::drawing {
namespace {

// The least of 1, 2, 5, 10, ... times a power of ten that is not below the number.
double round_up(double number) {
  const double power = std::pow(10.0, std::floor(std::log10(number)));
  for (const double factor : {1.0, 2.0, 5.0})
    // A factor that is slightly too small is a rounding error.
    if (factor * power >= number * (1 - 1e-9)) return factor * power;
  return 10.0 * power;
}

// With as many digits as neighbours need to differ.
std::string label_of(double value, double step) {
  const int step_digits = static_cast<int>(std::floor(std::log10(step) + 1e-9));
  const int decimals = std::max(0, -step_digits);
  if (decimals <= 6 && std::fabs(value) < 1e7) return fmt::format("{:.{}f}", value, decimals);
  const double size = std::fabs(value);
  const int digits = size > 0 ? static_cast<int>(std::floor(std::log10(size))) - step_digits : 0;
  return fmt::format("{:.{}g}", value, std::clamp(digits + 1, 1, 15));
}

}  // namespace

interval with_width(double low, double high) {
  if (low < high && low + (high - low) / 1000 > low) return {low, high};
  const double middle = low / 2 + high / 2;
  const double margin = middle == 0 ? 1 : std::fabs(middle) * 1e-3;
  return {middle - margin, middle + margin};
}

std::vector<tick> round_ticks(interval range, int most) {
  const double width = range.high - range.low;
  for (double step = round_up(width / std::max(most, 1)); std::isfinite(step);
       step = round_up(step * 1.5)) {
    const double first = std::ceil(range.low / step - 1e-9), last = std::floor(range.high / step + 1e-9);
    if (last - first + 1 > most) continue;
    std::vector<tick> ticks;
    for (double i = first; i <= last; ++i) {
      const double value = i == 0 ? 0 : i * step;  // and not -0
      ticks.push_back({value, label_of(value, step)});
    }
    if (!ticks.empty()) return ticks;
    break;
  }
  const double middle = range.low + width / 2;
  return {{middle, fmt::format("{:.7g}", middle)}};
}

}  // namespace ravo::drawing
