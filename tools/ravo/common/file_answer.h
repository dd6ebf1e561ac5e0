// What the dataset layer finds for a selection of runs or of a period, for people and programs: which
// files, how each was found, why others are left out, and why there are none.
#ifndef RAVO_TOOL_FILE_ANSWER_H
#define RAVO_TOOL_FILE_ANSWER_H

#include <string>
#include <vector>

#include "common/output.h"
#include "common/print_form.h"
#include "ravo_dataset/find_files.h"

namespace ravo::tool {

/// Where a run or a period is looked for when nothing else is said.
inline constexpr const char* default_catalogue = "/daq/ravo/admtemp/";

/// The selection with the catalogue that goes without saying.
selection with_usual_catalogue(selection wanted);

/// Says why a selection of runs or of a period has no files, and what to do.
[[noreturn]] void refuse_without_files(const selection& wanted);

/// Prints where the answer comes from, and of each file how it was found and whether it would be read.
/// Throws data_failure when there is no file.
void explain_files(const selection& wanted, print_form form, output& out);

/// Says on standard error how many files do not bear the stream's name, if any: a folder is searched by
/// run, time and experiment only.
void tell_other_streams(const std::vector<std::string>& files, const std::string& stream);

}  // namespace ravo::tool

#endif
