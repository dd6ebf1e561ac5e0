// A column in Python.
#ifndef RAVO_PYTHON_COLUMN_H
#define RAVO_PYTHON_COLUMN_H

#include <cstdint>
#include <vector>

#include "binding.h"
#include "ravo_dataset/column.h"

namespace ravo::python {

/// Arrays of a column keep it, so it does not count for the dataset's memory limit: Python's users have no
/// other way to give the memory back than to drop the arrays.
struct column_handle {
  column_data data;
  std::vector<std::int64_t> times_us;
  nb::object memory;  ///< the caller's array that the values are in, if it gave one

  explicit column_handle(column_data&& read, nb::object into = {});
};

/// "float32", "uint16" ... as NumPy calls it.
nb::dlpack::dtype dtype_of(element_type type);

/// The schema of a column's values for Arrow, and the values: PyCapsules "arrow_schema" and "arrow_array".
/// The array keeps `self`, the Python object of the column.
nb::object arrow_schema_of(const column_handle& column);
nb::object arrow_array_of(nb::handle self);

}  // namespace ravo::python

#endif
