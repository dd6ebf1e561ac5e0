// Large counts as people read them.
#ifndef RAVO_SHARED_WITH_COMMAS_H
#define RAVO_SHARED_WITH_COMMAS_H

#include <cstdint>
#include <string>

namespace ravo {

/// "1,204".
inline std::string with_commas(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3;) digits.insert(i -= 3, ",");
  return digits;
}

}  // namespace ravo

#endif
