// Channel names as people type them: patterns, and what they may have meant.
#ifndef RAVO_TOOL_NAMES_H
#define RAVO_TOOL_NAMES_H

#include <string>
#include <string_view>
#include <vector>

namespace ravo::tool {

/// Whether the text holds one of the pattern letters * ? [.
bool is_pattern(std::string_view text);
/// Whether a name matches a pattern as a shell understands it; * matches "/" too.
bool matches(const std::string& pattern, const std::string& name);

/// Up to three of `names` that are spelt nearly like `wanted`, the nearest first.
std::vector<std::string> near_names(std::string_view wanted, const std::vector<std::string>& names);

/// A name for a message: in quotes when it is empty, or blanks in it would be lost.
std::string shown_name(const std::string& name);

/// "a", "a or b", "a, b or c".
std::string join_or(const std::vector<std::string>& words);

}  // namespace ravo::tool

#endif
