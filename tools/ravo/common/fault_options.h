// `ravo simulate --fault`: reads which damage is asked for, and lists the kinds.
#ifndef RAVO_TOOL_FAULT_OPTIONS_H
#define RAVO_TOOL_FAULT_OPTIONS_H

#include <string>
#include <vector>

#include "common/output.h"
#include "ravo_simulator.h"

namespace ravo::tool {

/// Reads "KIND[@FILE]" texts, for `files` files in all. Throws usage_failure, also
/// for two kinds in one file, because the expected findings would not be known.
std::vector<simulated_fault> read_faults(const std::vector<std::string>& texts, int files);

/// Whether the list of kinds is asked for: "list".
bool asks_for_list(const std::vector<std::string>& texts);
void list_faults(bool as_json, output& out);

}  // namespace ravo::tool

#endif
