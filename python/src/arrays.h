// NumPy arrays over the memory of C++ objects. None of them copies, all of them are read-only.
#ifndef RAVO_PYTHON_ARRAYS_H
#define RAVO_PYTHON_ARRAYS_H

#include <nanobind/ndarray.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "binding.h"

namespace ravo::python {

template <class Element>
using array_of = nb::ndarray<nb::numpy, const Element, nb::c_contig>;

/// The policy of properties that return an array of its own memory (`array_from`, `array_of_each`), which
/// the object that the property belongs to does not keep.
constexpr auto own_memory = nb::rv_policy::automatic;

/// An array that takes the memory of a vector. `shape`: of all elements; left out, one dimension.
template <class Element>
array_of<Element> array_from(std::vector<Element>&& elements,
                             std::initializer_list<std::size_t> shape = {}) {
  auto kept = std::make_unique<std::vector<Element>>(std::move(elements));
  const std::size_t all[] = {kept->size()};
  const Element* data = kept->data();
  nb::capsule owner(kept.get(), [](void* old) noexcept { delete static_cast<std::vector<Element>*>(old); });
  kept.release();
  if (shape.size() == 0) return array_of<Element>(data, 1, all, owner);
  return array_of<Element>(data, shape.size(), shape.begin(), owner);
}

/// A view of a vector of an object that a property belongs to: the array keeps that object.
template <class Element>
array_of<Element> array_over(const std::vector<Element>& elements) {
  const std::size_t shape[] = {elements.size()};
  return array_of<Element>(elements.data(), 1, shape, nb::handle());
}

/// The same of an enumeration, as the numbers of its enumerators.
template <class Enumeration>
array_of<std::uint8_t> numbers_over(const std::vector<Enumeration>& elements) {
  static_assert(std::is_same_v<std::underlying_type_t<Enumeration>, std::uint8_t>);
  const std::size_t shape[] = {elements.size()};
  return array_of<std::uint8_t>(reinterpret_cast<const std::uint8_t*>(elements.data()), 1, shape,
                                nb::handle());
}

/// One number of each of a list of records.
template <class Record, class Get>
auto array_of_each(const std::vector<Record>& records, Get get) {
  std::vector<std::remove_cvref_t<std::invoke_result_t<Get, const Record&>>> made;
  made.reserve(records.size());
  for (const Record& record : records) made.push_back(get(record));
  return array_from(std::move(made));
}

}  // namespace ravo::python

#endif
