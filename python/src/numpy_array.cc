#include "numpy_array.h"

// The oldest NumPy that the package takes.
#define NPY_TARGET_VERSION NPY_1_25_API_VERSION
#define NPY_NO_DEPRECATED_API NPY_1_25_API_VERSION
#include <numpy/arrayobject.h>

#include <algorithm>
#include <array>

namespace ravo::python {
namespace {

int number_of(element_type element) {
  switch (element) {
    case element_type::float32:
      return NPY_FLOAT32;
    case element_type::uint8:
      return NPY_UINT8;
    case element_type::uint16:
      return NPY_UINT16;
    case element_type::uint32:
      return NPY_UINT32;
  }
  return NPY_NOTYPE;
}

}  // namespace

void load_numpy() {
  if (PyArray_ImportNumPyAPI() < 0) throw nb::python_error();
}

nb::object numpy_array_over(const void* data, element_type element, std::span<const std::size_t> shape,
                            nb::handle owner) {
  std::array<npy_intp, 3> sizes{};
  std::copy(shape.begin(), shape.end(), sizes.begin());
  PyArray_Descr* const type = PyArray_DescrFromType(number_of(element));
  nb::object made = nb::steal(PyArray_NewFromDescr(&PyArray_Type, type, static_cast<int>(shape.size()),
                                                   sizes.data(), nullptr, const_cast<void*>(data),
                                                   NPY_ARRAY_C_CONTIGUOUS | NPY_ARRAY_ALIGNED, nullptr));
  if (!made.is_valid()) throw nb::python_error();
  PyObject* const kept = owner.ptr();
  Py_INCREF(kept);  // which the array takes, also where that fails
  if (PyArray_SetBaseObject(reinterpret_cast<PyArrayObject*>(made.ptr()), kept) != 0)
    throw nb::python_error();
  return made;
}

}  // namespace ravo::python
