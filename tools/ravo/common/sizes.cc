#include "common/sizes.h"

#include <fmt/format.h>

#include <iterator>

namespace ravo::tool {

std::string format_size(std::uint64_t bytes) {
  constexpr const char* units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= 1024.0 && unit + 1 < std::size(units); ++unit) size /= 1024.0;
  return unit == 0 ? fmt::format("{} bytes", bytes) : fmt::format("{:.1f} {}", size, units[unit]);
}

}  // namespace ravo::tool
