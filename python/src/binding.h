// What the files of the binding share: the subjects that they bind.
#ifndef RAVO_PYTHON_BINDING_H
#define RAVO_PYTHON_BINDING_H

#include <nanobind/nanobind.h>
#include <nanobind/stl/array.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/string_view.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

namespace ravo::python {

namespace nb = nanobind;
using namespace nb::literals;

void bind_errors();
void bind_enumerations(nb::module_& module);
void bind_selection(nb::module_& module);
void bind_ledger(nb::module_& module);
void bind_digest(nb::module_& module);
void bind_plan(nb::module_& module);
void bind_partition(nb::module_& module);
void bind_description(nb::module_& module);
void bind_index(nb::module_& module);
void bind_column(nb::module_& module);
void bind_table(nb::module_& module);
void bind_event(nb::module_& module);
void bind_statistics(nb::module_& module);
void bind_files(nb::module_& module);
void bind_dataset(nb::module_& module);
void bind_follow(nb::module_& module);
void bind_simulate(nb::module_& module);
void bind_verify(nb::module_& module);
void bind_writer(nb::module_& module);

}  // namespace ravo::python

#endif
