// `ravo simulate --fault`: reads which damage is asked for, lists the kinds,
// and writes beside the damaged files what a check of them has to find.
#ifndef RAVO_TOOL_FAULT_OPTIONS_H
#define RAVO_TOOL_FAULT_OPTIONS_H

#include <string>
#include <vector>

#include "common/output.h"
#include "simulator/faults/faults.h"

namespace ravo::tool {

/// Reads "KIND[@FILE]" texts, for `files` files in all. Throws usage_failure, also
/// for two kinds in one file, because the expected findings would not be known.
std::vector<simulator::fault_request> read_faults(const std::vector<std::string>& texts, int files);

/// Whether the list of kinds is asked for: "list".
bool asks_for_list(const std::vector<std::string>& texts);
void list_faults(bool as_json, output& out);

/// Writes FILE.expected.json: one object for each finding, with those members of `ravo verify
/// --json` that identify it. Findings that belong to no file go to `folder`/all.expected.json.
/// Removes old ones beside the `files`, which were just written. Throws data_failure.
void write_expectations(const std::vector<simulator::expectation>& expected,
                        const std::vector<std::string>& files, const std::string& folder);

}  // namespace ravo::tool

#endif
