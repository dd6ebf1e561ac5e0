// The files that the dataset layer finds for a selection of runs or of a period, for people and
// programs: which files, how each was found, why others are left out, and why there are none.
#ifndef RAVO_TOOL_FILE_ANSWER_H
#define RAVO_TOOL_FILE_ANSWER_H

#include <string>
#include <vector>

#include "common/output.h"
#include "ravo_dataset/find_files.h"

namespace ravo::tool {

/// The catalogue that is searched for a run or a period by default.
inline constexpr const char* default_catalogue = "/daq/ravo/admtemp/";

/// The selection with the default catalogue unless it names one.
selection with_usual_catalogue(selection wanted);

/// Throws data_failure that says why a selection of runs or of a period has no files, and what to do.
[[noreturn]] void refuse_without_files(const selection& wanted);

/// Prints which source gave the answer, and for each file how it was found
/// and whether it would be read. Throws data_failure if there is no file.
void explain_files(const selection& wanted, print_form form, output& out);

/// Prints to standard error how many files do not have the stream's
/// name, if any: a folder is searched by run, time and experiment only.
void report_other_streams(const std::vector<std::string>& files, const std::string& stream);

}  // namespace ravo::tool

#endif
