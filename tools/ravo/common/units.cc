#include "common/units.h"

namespace ravo::tool {

std::string described_axis(const chan_descr_2010& description) {
  if (description.dims.empty()) return {};
  const dim_descr& samples = *description.dims.front();
  const std::string name = *samples.dim_name ? samples.dim_name : samples.dim_desc;
  const std::string units = samples.units;
  return name + (name.empty() || units.empty() ? "" : ", ") + units;
}

}  // namespace ravo::tool
