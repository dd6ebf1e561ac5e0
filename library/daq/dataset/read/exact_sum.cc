#include "read/exact_sum.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

namespace ravo::detail {
namespace {

/// A number that is not negative, by its digits to the base 2^32, the lowest first.
using magnitude = std::vector<std::uint32_t>;

/// The digits of the absolute value of a sum that is carried.
template <std::size_t size>
magnitude magnitude_of(const wide_integer<size>& sum, bool& is_negative) {
  const auto& digits = sum.digits();
  is_negative = digits.back() < 0;
  magnitude all;
  std::int64_t carried = 0;
  for (std::size_t i = 0; i < size; ++i) {
    carried += is_negative ? -digits[i] : digits[i];
    all.push_back(static_cast<std::uint32_t>(carried));
    carried >>= 32;
  }
  all.push_back(static_cast<std::uint32_t>(carried));
  return all;
}

magnitude product(const magnitude& a, const magnitude& b) {
  magnitude all(a.size() + b.size(), 0);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::uint64_t carried = 0;
    for (std::size_t j = 0; j < b.size(); ++j) {
      carried += std::uint64_t{a[i]} * b[j] + all[i + j];
      all[i + j] = static_cast<std::uint32_t>(carried);
      carried >>= 32;
    }
    all[i + b.size()] = static_cast<std::uint32_t>(carried);
  }
  return all;
}

/// a - b, which is not negative.
magnitude difference(magnitude a, const magnitude& b) {
  a.resize(std::max(a.size(), b.size()), 0);
  std::int64_t borrowed = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    borrowed += std::int64_t{a[i]} - (i < b.size() ? b[i] : 0);
    a[i] = static_cast<std::uint32_t>(borrowed);
    borrowed >>= 32;
  }
  return a;
}

/// all * 2^exponent, rounded once: the highest 64 bits, of which the lowest stands for all below it.
double rounded(const magnitude& all, int exponent) {
  std::size_t top = all.size();
  while (top > 0 && all[top - 1] == 0) --top;
  if (top == 0) return 0;
  const auto digit = [&](std::size_t below_top) -> std::uint64_t {
    return below_top < top ? all[top - 1 - below_top] : 0;
  };
  const int unused = std::countl_zero(all[top - 1]);
  std::uint64_t bits = (digit(0) << 32 | digit(1)) << unused;
  bits |= unused == 0 ? 0 : digit(2) >> (32 - unused);
  bool has_more = unused == 0 ? digit(2) != 0 : (digit(2) << unused & 0xffffffff) != 0;
  for (std::size_t i = 3; i < top && !has_more; ++i) has_more = digit(i) != 0;
  if (has_more) bits |= 1;
  const int shift = (static_cast<int>(top) - 2) * 32 - unused;
  return std::ldexp(static_cast<double>(bits), shift + exponent);
}

}  // namespace

double value_of(float_sum sum) {
  sum.carry();
  bool is_negative = false;
  const magnitude all = magnitude_of(sum, is_negative);
  const double value = rounded(all, lowest_bit_of_float);
  return is_negative ? -value : value;
}

double deviation_of(float_sum sum, square_sum squares, std::uint64_t count) {
  sum.carry();
  squares.carry();
  bool is_negative = false;
  const magnitude of_sum = magnitude_of(sum, is_negative);
  const magnitude of_squares = magnitude_of(squares, is_negative);
  const magnitude times{static_cast<std::uint32_t>(count), static_cast<std::uint32_t>(count >> 32)};
  const magnitude spread = difference(product(of_squares, times), product(of_sum, of_sum));
  return std::sqrt(rounded(spread, 2 * lowest_bit_of_float)) / static_cast<double>(count);
}

}  // namespace ravo::detail
