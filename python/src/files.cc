// Which files a selection names, and small functions of names and times.
#include "ravo_dataset/find_files.h"

#include <stdexcept>

#include "interruptible.h"
#include "ravo_dataset/near_names.h"
#include "ravo_dataset/time_grammar.h"
#include "times.h"

namespace ravo::python {
namespace {

/// Throws std::invalid_argument for a text that is no time.
std::int64_t read_time_us(std::string_view text, std::int64_t now_us, std::optional<std::int64_t> from_us) {
  time_context context;
  context.now = time_of(now_us);
  if (from_us) context.from = time_of(*from_us);
  const time_reading reading = read_time(text, context);
  if (!reading.time)
    throw std::invalid_argument("The time \"" + std::string(text) + "\" " + reading.problem);
  return ravo::microseconds_of(*reading.time);
}

}  // namespace

void bind_files(nb::module_& module) {
  nb::class_<found_file>(module, "FoundFile", "A file of the answer to a selection.")
      .def_ro("path", &found_file::path)
      .def_ro("by", &found_file::by)
      .def_ro("refusal", &found_file::refusal);
  nb::class_<found_files>(module, "FoundFiles", "The files that a selection names.")
      .def_ro("files", &found_files::files)
      .def_ro("left_out", &found_files::left_out)
      .def_ro("all", &found_files::all)
      .def_ro("problems", &found_files::problems);
  module.def(
      "find_files",
      [](const selection& wanted) {
        return run_interruptible([&](const reading_controls&) { return find_files(wanted); });
      },
      "selection"_a, "The files that a selection names. Raises FilesNotFound when there is none.");
  module.def("near_names", &near_names, "wanted"_a, "names"_a,
             "Up to three names that are spelt nearly alike.");
  module.def("join_or", &join_or, "words"_a, "\"a, b or c\".");
  module.def("read_time_us", &read_time_us, "text"_a, "now_us"_a, "from_us"_a.none() = nb::none(),
             "A time as people write it, in microseconds since 1970. Raises ValueError.");
}

}  // namespace ravo::python
