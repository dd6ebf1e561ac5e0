// Sums without rounding: a fixed-point number that is wide enough for everything that is added to it. So a
// sum does not depend on the order of its terms, and sums of parts add up to the sum of the whole.
#ifndef RAVO_DATASET_EXACT_SUM_H
#define RAVO_DATASET_EXACT_SUM_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace ravo::detail {

/// An integer of `size` digits to the base 2^32, the lowest first. Digits may be larger than the base or
/// negative until they are carried, so that adding to one of them touches no other.
template <std::size_t size>
class wide_integer {
 public:
  /// Adds value * 2^shift; `value` has 49 bits at most, with its sign.
  void add(std::int64_t value, unsigned shift) {
    if (++added_ == most_added) carry();
    const unsigned at = shift / 32, bits = shift % 32;
    const std::int64_t low = static_cast<std::int64_t>(static_cast<std::uint32_t>(value)) << bits;
    const std::int64_t high = (value >> 32) * (std::int64_t{1} << bits);
    digits_[at] += static_cast<std::uint32_t>(low);
    digits_[at + 1] += (low >> 32) + static_cast<std::uint32_t>(high);
    digits_[at + 2] += high >> 32;
  }
  void add(const wide_integer& other) {
    carry();
    wide_integer more = other;
    more.carry();
    for (std::size_t i = 0; i < size; ++i) digits_[i] += more.digits_[i];
    added_ = 1;
  }
  /// Adds value * 2^shift for a large value that is not negative.
  __extension__ using large = unsigned __int128;
  __extension__ using signed_large = __int128;
  void add_large(large value, unsigned shift) {
    constexpr unsigned piece = 32;
    for (; value != 0; value >>= piece, shift += piece)
      add(static_cast<std::int64_t>(static_cast<std::uint32_t>(value)), shift);
  }

  /// Brings each digit but the highest, which has the sign, into the range of the base.
  void carry() {
    added_ = 0;
    for (std::size_t i = 0; i + 1 < size; ++i) {
      digits_[i + 1] += digits_[i] >> 32;
      digits_[i] &= 0xffffffff;
    }
  }
  const std::array<std::int64_t, size>& digits() const { return digits_; }

 private:
  /// An addition changes a digit by less than 2^34.
  static constexpr std::uint32_t most_added = std::uint32_t{1} << 28;
  std::array<std::int64_t, size> digits_{};
  std::uint32_t added_ = 0;
};

/// The digits for `terms` of up to 2^64 terms whose bits lie below 2^bits, and the sign.
constexpr std::size_t digits_for(std::size_t bits) { return (bits + 64) / 32 + 3; }

// A float is a whole multiple of 2^-149 below 2^128, and its square one of 2^-298 below 2^256. Integers of
// 32 bits are among both.
inline constexpr int lowest_bit_of_float = -149;
using float_sum = wide_integer<digits_for(128 + 149)>;
using square_sum = wide_integer<digits_for(256 + 298)>;

/// sum * 2^-149, rounded once.
double value_of(float_sum sum);
/// The standard deviation of `count` numbers with this sum (in 2^-149) and this sum of squares (in 2^-298):
/// the root of count * squares - sum^2, which is exact before it is rounded, divided by the count.
double deviation_of(float_sum sum, square_sum squares, std::uint64_t count);

}  // namespace ravo::detail

#endif
