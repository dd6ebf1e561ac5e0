// NumPy arrays made by NumPy's own functions. An event's values are many and small: by way of the buffer
// protocol an array of each would take five times as long.
#ifndef RAVO_PYTHON_NUMPY_ARRAY_H
#define RAVO_PYTHON_NUMPY_ARRAY_H

#include <cstddef>
#include <span>

#include "binding.h"
#include "ravo_dataset/column.h"

namespace ravo::python {

/// Once, when the module is loaded. Throws ImportError where NumPy is not there.
void load_numpy();

/// A read-only array over memory that `owner` keeps. `shape`: up to three dimensions.
nb::object numpy_array_over(const void* data, element_type element, std::span<const std::size_t> shape,
                            nb::handle owner);

}  // namespace ravo::python

#endif
