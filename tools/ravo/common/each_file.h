// For verbs that show files one by one: a file that cannot be shown is named, and the others are shown.
#ifndef RAVO_TOOL_EACH_FILE_H
#define RAVO_TOOL_EACH_FILE_H

#include <string>
#include <vector>

#include "common/failure.h"
#include "common/output.h"

namespace ravo::tool {

/// Calls `show` with each file in turn. Prints a data_failure to standard
/// error and goes on with the next file; the exit code is then 1 at the end.
template <class Show>
void for_each_file(const std::vector<std::string>& files, output& out, Show show) {
  bool have_all_been_shown = true;
  for (const std::string& path : files) try {
      show(path);
    } catch (const data_failure& failure) {
      have_all_been_shown = false;
      out.flush();  // so that the message takes the place of the file
      print_message("ravo: {}\n", as_it_is{failure.what()});
    }
  if (!have_all_been_shown) throw verdict(exit_data);
}

}  // namespace ravo::tool

#endif
