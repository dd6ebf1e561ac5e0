// What somebody may have meant who typed a name that is not there: one rule for channels, verbs, options
// and kinds.
#ifndef RAVO_DATASET_NEAR_NAMES_H
#define RAVO_DATASET_NEAR_NAMES_H

#include <string>
#include <string_view>
#include <vector>

#include "ravo_export.h"

namespace ravo {

/// Up to three of `names` that are spelt nearly like `wanted`, the nearest first; capitals do not count. Of
/// a pattern, what stands before its first * ? or [ counts. Nothing where all are far away.
RAVO_EXPORT std::vector<std::string> near_names(std::string_view wanted,
                                                const std::vector<std::string>& names);

/// "a", "a or b", "a, b or c".
RAVO_EXPORT std::string join_or(const std::vector<std::string>& words);

}  // namespace ravo

#endif
