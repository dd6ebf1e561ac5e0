#include "common/units.h"

#include <algorithm>

namespace ravo::tool {

std::string unit_of(const std::string& units, std::size_t member, std::size_t members) {
  const auto commas = static_cast<std::size_t>(std::count(units.begin(), units.end(), ','));
  if (commas == 0 || (members > 1 && commas + 1 != members)) return units;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < member && i < commas; ++i) begin = units.find(',', begin) + 1;
  const std::string unit = units.substr(begin, units.find(',', begin) - begin);
  return unit.substr(std::min(unit.find_first_not_of(' '), unit.size()));
}

std::string described_axis(const chan_descr_2010& description) {
  if (description.dims.empty()) return {};
  const dim_descr& samples = *description.dims.front();
  const std::string name = *samples.dim_name ? samples.dim_name : samples.dim_desc;
  const std::string units = samples.units;
  return name + (name.empty() || units.empty() ? "" : ", ") + units;
}

}  // namespace ravo::tool
