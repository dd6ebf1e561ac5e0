#include "common/times.h"

#include <fmt/format.h>

namespace ravo::tool {

double microseconds(time_stamp time) { return static_cast<double>(in_microseconds(time)); }

std::string format_span(double microseconds) {
  const double seconds = microseconds / 1e6;
  if (seconds < 1.0) return fmt::format("{:.0f} ms", seconds * 1e3);
  if (seconds < 60.0) return fmt::format("{:.1f} s", seconds);
  const auto whole = static_cast<long long>(seconds);
  if (whole < 3600) return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
}

}  // namespace ravo::tool
