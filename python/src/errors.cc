// C++ exceptions become those of ravo/_errors.py, with the same message.
#include "ravo_dataset/errors.h"

#include "binding.h"

namespace ravo::python {
namespace {

/// The classes of ravo/_errors.py. They live as long as the process: exceptions may come until its end.
struct error_classes {
  nb::object module = nb::module_::import_("ravo._errors");
  nb::object error = module.attr("Error");
  nb::object selection = module.attr("SelectionError");
  nb::object pattern = module.attr("PatternError");
  nb::object files_not_found = module.attr("FilesNotFound");
  nb::object missing_data = module.attr("MissingData");
  nb::object file_left_out = module.attr("FileLeftOut");
  nb::object file_missing = module.attr("FileMissing");
  nb::object memory_exceeded = module.attr("MemoryExceeded");
  nb::object access = module.attr("AccessError");
  nb::object json = module.attr("JsonError");
  nb::object cancelled = module.attr("Cancelled");
};

void raise(const nb::object& type, const std::exception& thrown) {
  PyErr_SetString(type.ptr(), thrown.what());
}

void translate(const std::exception_ptr& thrown, void* payload) {
  const error_classes& classes = *static_cast<const error_classes*>(payload);
  try {
    std::rethrow_exception(thrown);
  } catch (const files_not_found& e) {
    raise(classes.files_not_found, e);
  } catch (const pattern_error& e) {
    raise(classes.pattern, e);
  } catch (const selection_error& e) {
    raise(classes.selection, e);
  } catch (const file_left_out& e) {
    raise(e.file.reason == file_refusal::missing ? classes.file_missing : classes.file_left_out, e);
  } catch (const missing_data& e) {
    raise(classes.missing_data, e);
  } catch (const memory_exceeded& e) {
    raise(classes.memory_exceeded, e);
  } catch (const access_error& e) {
    raise(classes.access, e);
  } catch (const json_error& e) {
    raise(classes.json, e);
  } catch (const read_cancelled& e) {
    raise(classes.cancelled, e);
  } catch (const dataset_error& e) {
    raise(classes.error, e);
  }
}

}  // namespace

void bind_errors() { nb::register_exception_translator(translate, new error_classes); }

}  // namespace ravo::python
