// Channel names as people type them: patterns, and what they may have meant.
#ifndef RAVO_TOOL_NAMES_H
#define RAVO_TOOL_NAMES_H

#include <string>
#include <string_view>
#include <vector>

#include "ravo_dataset/near_names.h"

namespace ravo::tool {

/// Whether the text holds one of the pattern letters * ? [.
bool is_pattern(std::string_view text);
/// Whether a name matches a pattern as a shell understands it; * matches "/" too.
bool matches(const std::string& pattern, const std::string& name);

using ravo::join_or;
using ravo::near_names;

/// "did you mean a, b or c?" of what is spelt nearly like `wanted`; else what is said otherwise.
std::string suggestion(std::string_view wanted, const std::vector<std::string>& names,
                       const char* otherwise);

/// A name for a message: in quotes when it is empty, or blanks in it would be lost.
std::string shown_name(const std::string& name);

}  // namespace ravo::tool

#endif
