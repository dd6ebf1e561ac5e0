// What is added up of numbers while they are decoded: counts, extremes, and exact sums. It does not depend
// on the order in which the numbers come, so that threads and chunks add up to the same result.
#ifndef RAVO_DATASET_NUMBER_TOTALS_H
#define RAVO_DATASET_NUMBER_TOTALS_H

#include <cstddef>
#include <cstdint>
#include <limits>

#include "ravo_dataset/column.h"
#include "ravo_dataset/statistics.h"
#include "read/exact_sum.h"

namespace ravo::detail {

/// Numbers of one type, in host order, at any address.
struct number_run {
  element_type element = element_type::float32;
  const std::byte* first = nullptr;
  std::size_t count = 0;
};

/// Calls visit(number as a double) for each number of a run.
template <class Visit>
void visit_numbers(const number_run& run, const Visit& visit);

struct number_totals {
  std::uint64_t count = 0;
  std::uint64_t nan = 0;
  std::uint64_t infinite = 0;
  double least = std::numeric_limits<double>::infinity();
  double greatest = -std::numeric_limits<double>::infinity();
  float_sum sum;

  void add(const number_run& run);
  void add(const number_totals& other);

  std::uint64_t finite() const { return count - nan - infinite; }
  double mean() const;  ///< NaN if there is no finite number, as the next two
  double least_finite() const;
  double greatest_finite() const;
};

/// The totals with the sum of squares, which takes as long again.
struct number_moments {
  number_totals totals;
  square_sum squares;

  void add(const number_run& run);
  void add(const number_moments& other);
  number_statistics statistics() const;
};

// ---- definitions

template <class Number, class Visit>
void visit_numbers_as(const number_run& run, const Visit& visit) {
  for (std::size_t i = 0; i < run.count; ++i) {
    Number number;
    __builtin_memcpy(&number, run.first + i * sizeof number, sizeof number);
    visit(number);
  }
}

/// Calls visit(number) with the type that the numbers have.
template <class Visit>
void visit_typed_numbers(const number_run& run, const Visit& visit) {
  switch (run.element) {
    case element_type::float32:
      return visit_numbers_as<float>(run, visit);
    case element_type::uint8:
      return visit_numbers_as<std::uint8_t>(run, visit);
    case element_type::uint16:
      return visit_numbers_as<std::uint16_t>(run, visit);
    case element_type::uint32:
      return visit_numbers_as<std::uint32_t>(run, visit);
  }
}

template <class Visit>
void visit_numbers(const number_run& run, const Visit& visit) {
  visit_typed_numbers(run, [&visit](auto number) { visit(static_cast<double>(number)); });
}

}  // namespace ravo::detail

#endif
