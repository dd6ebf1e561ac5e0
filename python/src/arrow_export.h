// Arrays in Arrow's layout, and how they are handed to another library: the structures and rules of the
// Arrow C data interface, https://arrow.apache.org/docs/format/CDataInterface.html.
#ifndef RAVO_PYTHON_ARROW_EXPORT_H
#define RAVO_PYTHON_ARROW_EXPORT_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "binding.h"

namespace ravo::python {

/// One array with its type, and the arrays that it consists of.
struct arrow_node {
  std::string format;  ///< as the interface writes types: "f", "+w:1024" ...
  std::string name;
  bool is_nullable = true;
  std::int64_t length = 0;
  std::int64_t null_count = 0;
  std::vector<const void*> buffers;
  std::vector<arrow_node> children;
  std::vector<std::shared_ptr<const void>> memory;  ///< of the buffers
};

/// PyCapsules "arrow_schema", "arrow_array" and "arrow_array_stream", the last of one batch.
nb::object schema_capsule(const arrow_node& node);
nb::object array_capsule(const arrow_node& node);
nb::object stream_capsule(arrow_node node);

}  // namespace ravo::python

#endif
