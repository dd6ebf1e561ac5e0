// What a selection is for the reader: the part of it that the reader can do, and a refusal that names the
// rest.
#ifndef RAVO_TOOL_CLASSIC_REQUEST_H
#define RAVO_TOOL_CLASSIC_REQUEST_H

#include "common/print_form.h"
#include "common/reading.h"
#include "common/selection_options.h"

namespace ravo::tool {

/// The reader's request for a selection that was made of these arguments. Throws usage_failure for what the
/// reader cannot do.
read_request classic_request(const selection& wanted, const selection_arguments& arguments,
                             const limit_arguments& limits, int debug);

/// Prints which files the reader would read for a selection of runs or of a period, and why.
void explain_files(const selection& wanted, int debug, print_form form, output& out);

/// The request for files of a selection of runs or of a period.
file_request file_request_of(const selection& wanted);

}  // namespace ravo::tool

#endif
