// Suggestions for a name that does not exist: the same rule for channels, verbs, options
// and kinds.
#ifndef RAVO_DATASET_NEAR_NAMES_H
#define RAVO_DATASET_NEAR_NAMES_H

#include <string>
#include <string_view>
#include <vector>

#include "ravo_export.h"

namespace ravo {

/// Up to three of `names` that are spelt nearly like `wanted`, the nearest first, ignoring case. Of a
/// pattern only the part before its first * ? or [ counts. Empty if no name is near.
RAVO_EXPORT std::vector<std::string> near_names(std::string_view wanted,
                                                const std::vector<std::string>& names);

/// "a", "a or b", "a, b or c".
RAVO_EXPORT std::string join_or(const std::vector<std::string>& words);

}  // namespace ravo

#endif
