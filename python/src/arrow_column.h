// Columns in Arrow's layout.
#ifndef RAVO_PYTHON_ARROW_COLUMN_H
#define RAVO_PYTHON_ARROW_COLUMN_H

#include <string>

#include "arrow_export.h"
#include "column.h"

namespace ravo::python {

/// The values of a column; rows without a value are null. Numbers of one shape are nested fixed-size lists,
/// spectra of different lengths large lists; other rows of different shapes a struct of the large list and
/// its shape; name-value lists a struct by record; texts large strings, or large binaries when one of them
/// is not UTF-8. `keeper` owns the column.
arrow_node node_of(const column_data& column, const std::shared_ptr<const void>& keeper);

/// An array of numbers without nulls.
arrow_node plain_node(std::string format, std::string name, const void* data, std::size_t length,
                      const std::shared_ptr<const void>& keeper);

/// Owns a Python object. It may be dropped by any thread.
std::shared_ptr<const void> keeper_of(nb::handle object);

}  // namespace ravo::python

#endif
