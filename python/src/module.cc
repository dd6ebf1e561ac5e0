// The extension module ravo._core: the dataset layer as Python objects. The package's Python modules are
// what users see.
#include "binding.h"
#include "numpy_array.h"
#include "ravo_version.h"

NB_MODULE(_core, module) {
  using namespace ravo::python;
  module.doc() = "The dataset layer of the C++ library. Use the package `ravo` instead.";
  module.attr("version") = RAVO_VERSION;
  load_numpy();
  bind_errors();
  bind_enumerations(module);
  bind_selection(module);
  bind_ledger(module);
  bind_digest(module);
  bind_plan(module);
  bind_partition(module);
  bind_description(module);
  bind_index(module);
  bind_column(module);
  bind_table(module);
  bind_event(module);
  bind_statistics(module);
  bind_files(module);
  bind_dataset(module);
  bind_follow(module);
  bind_simulate(module);
  bind_verify(module);
  bind_writer(module);
}
