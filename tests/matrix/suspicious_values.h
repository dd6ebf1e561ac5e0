// The values that the matrix puts into a word: those at which sums and comparisons go wrong, those that one
// flipped bit makes, and those of the words around it, which are of the same kind.
#ifndef RAVO_TEST_MATRIX_SUSPICIOUS_VALUES_H
#define RAVO_TEST_MATRIX_SUSPICIOUS_VALUES_H

#include <cstdint>
#include <set>
#include <vector>

#include "small_file.h"

namespace ravo::test {

/// The values at which sums and comparisons go wrong.
inline std::set<std::uint32_t> limits(const std::vector<unsigned char>& good, std::size_t at) {
  const auto size = static_cast<std::uint32_t>(good.size());
  const std::uint32_t word = word_at(good, at);
  std::set<std::uint32_t> values{0u,   1u,       0xffffffffu, 0x7fffffffu, 0x80000000u,
                                 size, size + 4, size - 4,    word + 1,    word - 1};
  values.erase(word);
  return values;
}

inline std::set<std::uint32_t> suspicious_values(const std::vector<unsigned char>& good, std::size_t at) {
  const std::uint32_t word = word_at(good, at);
  std::set<std::uint32_t> values = limits(good, at);
  values.insert({word + 4, word - 4, word + 8, word - 8});
  // The words beside it, and in tables of four words a row those above and below.
  for (const std::size_t distance : {4u, 8u, 12u, 16u}) {
    if (at >= distance) values.insert(word_at(good, at - distance));
    if (at + distance + 4 <= good.size()) values.insert(word_at(good, at + distance));
  }
  values.erase(word);
  return values;
}

}  // namespace ravo::test

#endif
