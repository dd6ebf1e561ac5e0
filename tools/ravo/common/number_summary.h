// Count, mean, least and greatest of many numbers; values that are not finite are only counted.
#ifndef RAVO_TOOL_NUMBER_SUMMARY_H
#define RAVO_TOOL_NUMBER_SUMMARY_H

#include <cmath>
#include <cstddef>
#include <string>

namespace ravo::tool {

struct number_summary {
  std::string name;  ///< of the member
  std::size_t count = 0;
  std::size_t not_finite = 0;
  double mean = 0;
  double min = 0;
  double max = 0;

  bool has_any() const { return count > not_finite; }
};

/// Summarises `count` numbers; `at` returns the number at an index.
template <class At>
number_summary summarise_numbers(std::size_t count, At at) {
  number_summary summary;
  summary.count = count;
  double sum = 0;
  std::size_t finite = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const auto value = static_cast<double>(at(i));
    if (!std::isfinite(value)) {
      ++summary.not_finite;
      continue;
    }
    if (finite == 0 || value < summary.min) summary.min = value;
    if (finite == 0 || value > summary.max) summary.max = value;
    sum += value;
    ++finite;
  }
  if (finite > 0) summary.mean = sum / static_cast<double>(finite);
  return summary;
}

}  // namespace ravo::tool

#endif
