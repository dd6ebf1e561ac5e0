// Registers an exception of C++ that becomes a class of ravo/_errors.py with the same message.
#ifndef RAVO_PYTHON_TRANSLATED_H
#define RAVO_PYTHON_TRANSLATED_H

#include <exception>

#include "binding.h"

namespace ravo::python {

template <class Thrown>
void translate_as(const char* name) {
  // It lives as long as the process: exceptions may come until its end.
  auto* const type = new nb::object(nb::module_::import_("ravo._errors").attr(name));
  nb::register_exception_translator(
      [](const std::exception_ptr& thrown, void* payload) {
        try {
          std::rethrow_exception(thrown);
        } catch (const Thrown& e) {
          PyErr_SetString(static_cast<const nb::object*>(payload)->ptr(), e.what());
        }
      },
      type);
}

}  // namespace ravo::python

#endif
