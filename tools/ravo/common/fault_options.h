// `ravo simulate --fault`: reads what damage is asked for, lists what there is, and writes beside the
// damaged files what a check of them has to find.
#ifndef RAVO_TOOL_FAULT_OPTIONS_H
#define RAVO_TOOL_FAULT_OPTIONS_H

#include <string>
#include <vector>

#include "common/output.h"
#include "simulator/faults/faults.h"

namespace ravo::tool {

/// Of "KIND[@FILE]" texts, for `files` files in all. Throws usage_failure, also for two kinds in one file:
/// what is to be found would not be known then.
std::vector<simulator::fault_request> read_faults(const std::vector<std::string>& texts, int files);

/// Whether the kinds are asked for: "list".
bool asks_for_list(const std::vector<std::string>& texts);
void list_faults(bool as_json, output& out);

/// Writes FILE.expected.json: one object a finding, with those members of `ravo verify --json` that tell
/// it. What belongs to no file goes to `folder`/all.expected.json. Older ones beside the `files`, which
/// were just written, are removed. Throws data_failure.
void write_expectations(const std::vector<simulator::expectation>& expected,
                        const std::vector<std::string>& files, const std::string& folder);

}  // namespace ravo::tool

#endif
