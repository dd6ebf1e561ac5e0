// Times cross the border as one number: microseconds since 1970, UTC.
#ifndef RAVO_PYTHON_TIMES_H
#define RAVO_PYTHON_TIMES_H

#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>

#include "ravo_dataset/values.h"

namespace ravo::python {

inline std::optional<std::int64_t> microseconds_of(const std::optional<time_stamp>& time) {
  if (!time) return std::nullopt;
  return ravo::microseconds_of(*time);
}

/// Throws std::invalid_argument for a time that files cannot hold.
inline time_stamp time_of(std::int64_t microseconds) {
  constexpr std::int64_t second = 1'000'000;
  if (microseconds < 0 || microseconds / second > std::numeric_limits<std::uint32_t>::max()) {
    throw std::invalid_argument("Times lie between 1970 and 2106");
  }
  return {static_cast<std::uint32_t>(microseconds / second),
          static_cast<std::uint32_t>(microseconds % second)};
}

}  // namespace ravo::python

#endif
