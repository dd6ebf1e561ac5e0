#include "read/number_totals.h"

#include <algorithm>
#include <bit>
#include <type_traits>

namespace ravo::detail {
namespace {

// A float of these bits is mantissa * 2^(shift - 149).
struct float_parts {
  std::int64_t mantissa;
  unsigned shift;
  bool is_finite;
  bool is_nan;
};

inline float_parts parts_of(float number) {
  const auto bits = std::bit_cast<std::uint32_t>(number);
  const std::uint32_t exponent = bits >> 23 & 0xff, fraction = bits & 0x7fffff;
  const std::int64_t size = fraction | (exponent != 0 ? 0x800000u : 0u);
  return {bits >> 31 != 0 ? -size : size, exponent - (exponent != 0 ? 1 : 0), exponent != 0xff,
          exponent == 0xff && fraction != 0};
}

constexpr std::uint32_t not_finite = 0xff;  // as the exponent of a float

/// Floats are added in groups whose exponents mostly lie close together. As whole multiples of the lowest
/// one they are integers, whose sums need no more than machine words.
constexpr std::size_t group_size = 256;
constexpr std::size_t smallest_group = 8;
constexpr unsigned widest_group = 31;  // 24 bits, and 31, and 8 of the group's size: a sum has 63

struct exponent_range {
  std::uint32_t lowest = not_finite;  ///< without zeros
  std::uint32_t highest = 0;

  bool is_narrow() const {
    return highest != not_finite && (highest <= lowest || highest - lowest <= widest_group);
  }
  unsigned shift() const { return lowest == not_finite || lowest == 0 ? 0 : lowest - 1; }
};

exponent_range exponents_of(const number_run& group) {
  exponent_range range;
  visit_numbers_as<float>(group, [&range](float number) {
    const auto bits = std::bit_cast<std::uint32_t>(number);
    const std::uint32_t exponent = bits >> 23 & 0xff;
    range.highest = std::max(range.highest, exponent);
    range.lowest = std::min(range.lowest, bits << 1 == 0 ? not_finite : exponent);
  });
  return range;
}

/// A finite number as a multiple of 2^(shift - 149), where shift is that of its group.
inline std::int64_t multiple_of(float number, unsigned shift) {
  const float_parts parts = parts_of(number);
  return parts.mantissa * (std::int64_t{1} << (std::max(parts.shift, shift) - shift));
}

/// Calls visit(group, range of its exponents) for each group of a run. A few numbers are added one by one.
template <class Visit>
void visit_groups(const number_run& run, const Visit& visit) {
  for (std::size_t at = 0; at < run.count; at += group_size) {
    const number_run group{run.element, run.first + at * sizeof(float),
                           std::min(group_size, run.count - at)};
    visit(group,
          group.count < smallest_group ? exponent_range{.highest = not_finite} : exponents_of(group));
  }
}

/// Adds what lies in a narrow group.
void add_narrow(float_sum& to, const number_run& group, unsigned shift) {
  std::int64_t sum = 0;
  visit_numbers_as<float>(group, [&](float number) { sum += multiple_of(number, shift); });
  to.add(static_cast<std::uint32_t>(sum), shift);
  to.add(sum >> 32, shift + 32);
}

void add_floats(number_totals& to, const number_run& run) {
  float least = std::numeric_limits<float>::infinity(), greatest = -least;
  visit_groups(run, [&](const number_run& group, const exponent_range& range) {
    if (range.is_narrow()) {
      visit_numbers_as<float>(group, [&](float number) {
        least = std::min(least, number);
        greatest = std::max(greatest, number);
      });
      return add_narrow(to.sum, group, range.shift());
    }
    visit_numbers_as<float>(group, [&](float number) {
      const float_parts parts = parts_of(number);
      to.nan += parts.is_nan;
      to.infinite += !parts.is_finite && !parts.is_nan;
      if (!parts.is_finite) return;
      least = std::min(least, number);
      greatest = std::max(greatest, number);
      to.sum.add(parts.mantissa, parts.shift);
    });
  });
  to.least = std::min<double>(to.least, least);
  to.greatest = std::max<double>(to.greatest, greatest);
}

void add_squares_of_floats(square_sum& to, const number_run& run) {
  visit_groups(run, [&](const number_run& group, const exponent_range& range) {
    if (range.is_narrow()) {
      square_sum::large sum = 0;
      visit_numbers_as<float>(group, [&](float number) {
        const std::int64_t multiple = multiple_of(number, range.shift());
        sum += static_cast<square_sum::large>(square_sum::signed_large{multiple} * multiple);
      });
      return to.add_large(sum, 2 * range.shift());
    }
    visit_numbers_as<float>(group, [&](float number) {
      const float_parts parts = parts_of(number);
      if (parts.is_finite) to.add(parts.mantissa * parts.mantissa, 2 * parts.shift);
    });
  });
}

// The exponent of 1 in sums of floats, and in those of their squares.
constexpr unsigned unit = static_cast<unsigned>(-lowest_bit_of_float);
constexpr unsigned square_unit = 2 * unit;

/// A run has less than 2^32 bytes, so that the sum of its integers has less than 2^64.
template <class Integer>
void add_integers(number_totals& to, const number_run& run) {
  std::uint64_t sum = 0;
  Integer least = std::numeric_limits<Integer>::max(), greatest = 0;
  visit_numbers_as<Integer>(run, [&](Integer number) {
    sum += number;
    least = std::min(least, number);
    greatest = std::max(greatest, number);
  });
  if (run.count == 0) return;
  to.sum.add_large(sum, unit);
  to.least = std::min<double>(to.least, least);
  to.greatest = std::max<double>(to.greatest, greatest);
}

template <class Integer>
void add_squares_of(square_sum& to, const number_run& run) {
  square_sum::large sum = 0;
  visit_numbers_as<Integer>(run, [&](Integer number) {
    const std::uint64_t wide = number;
    sum += wide * wide;
  });
  to.add_large(sum, square_unit);
}

}  // namespace

void number_totals::add(const number_run& run) {
  count += run.count;
  switch (run.element) {
    case element_type::float32:
      return add_floats(*this, run);
    case element_type::uint8:
      return add_integers<std::uint8_t>(*this, run);
    case element_type::uint16:
      return add_integers<std::uint16_t>(*this, run);
    case element_type::uint32:
      return add_integers<std::uint32_t>(*this, run);
  }
}

void number_totals::add(const number_totals& other) {
  count += other.count;
  nan += other.nan;
  infinite += other.infinite;
  least = std::min(least, other.least);
  greatest = std::max(greatest, other.greatest);
  sum.add(other.sum);
}

double number_totals::mean() const {
  return finite() == 0 ? number_statistics::none : value_of(sum) / static_cast<double>(finite());
}

// Which of -0 and +0 was met first does not show.
double number_totals::least_finite() const { return finite() == 0 ? number_statistics::none : least + 0.0; }
double number_totals::greatest_finite() const {
  return finite() == 0 ? number_statistics::none : greatest + 0.0;
}

void number_moments::add(const number_run& run) {
  totals.add(run);
  switch (run.element) {
    case element_type::float32:
      return add_squares_of_floats(squares, run);
    case element_type::uint8:
      return add_squares_of<std::uint8_t>(squares, run);
    case element_type::uint16:
      return add_squares_of<std::uint16_t>(squares, run);
    case element_type::uint32:
      return add_squares_of<std::uint32_t>(squares, run);
  }
}

void number_moments::add(const number_moments& other) {
  totals.add(other.totals);
  squares.add(other.squares);
}

number_statistics number_moments::statistics() const {
  number_statistics made;
  made.count = totals.count;
  made.nan = totals.nan;
  made.infinite = totals.infinite;
  made.mean = totals.mean();
  made.least = totals.least_finite();
  made.greatest = totals.greatest_finite();
  if (totals.finite() != 0) made.deviation = deviation_of(totals.sum, squares, totals.finite());
  return made;
}

}  // namespace ravo::detail
