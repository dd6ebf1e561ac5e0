// Verbs that look at files one by one: one that cannot be looked at is named, and the others are shown.
#ifndef RAVO_TOOL_EACH_FILE_H
#define RAVO_TOOL_EACH_FILE_H

#include <string>
#include <vector>

#include "common/failure.h"
#include "common/output.h"

namespace ravo::tool {

/// Does `show` with each file in turn. A data_failure is told on standard error, and goes on with the next
/// file; at the end it makes exit code 1.
template <class Show>
void for_each_file(const std::vector<std::string>& files, output& out, Show show) {
  bool have_all_been_shown = true;
  for (const std::string& path : files) try {
      show(path);
    } catch (const data_failure& failure) {
      have_all_been_shown = false;
      out.flush();  // so that the message stands where the file would
      tell("ravo: {}\n", as_it_is{failure.what()});
    }
  if (!have_all_been_shown) throw verdict(exit_data);
}

}  // namespace ravo::tool

#endif
