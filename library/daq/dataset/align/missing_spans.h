// When the values of files that cannot be read may have been recorded, as far as the file
// names say.
#ifndef RAVO_DATASET_MISSING_SPANS_H
#define RAVO_DATASET_MISSING_SPANS_H

#include <string>
#include <vector>

#include "align/timeline.h"
#include "ravo_dataset/ledger.h"

namespace ravo::detail {

/// A file reaches from the time in its name to that of the next file of its stream, among those that were
/// found and those that are missing. Without a time in its name it may be from any time.
std::vector<time_gap> missing_spans(const std::vector<refused_file>& missing,
                                    const std::vector<std::string>& found);

}  // namespace ravo::detail

#endif
