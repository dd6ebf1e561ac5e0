// Channel names as people type them: patterns, the channel of a name, and suggestions for misspelt names.
#ifndef RAVO_TOOL_NAMES_H
#define RAVO_TOOL_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_dataset/near_names.h"

namespace ravo::tool {

class raw_file;

/// Whether the text contains one of the pattern characters * ? [.
bool is_pattern(std::string_view text);
/// Whether a name matches a pattern in the syntax of a shell; * matches "/" too.
bool matches(const std::string& pattern, const std::string& name);

using ravo::join_or;
using ravo::near_names;

/// "did you mean a, b or c?" with names spelt nearly like `wanted`; `otherwise` if there are none.
std::string suggestion(std::string_view wanted, const std::vector<std::string>& names,
                       const char* otherwise);

/// The index of a channel; throws data_failure that suggests similar names.
std::size_t find_channel(const raw_file& file, const std::string& name);

/// A name for a message: in quotes if it is empty or contains blanks.
std::string shown_name(const std::string& name);

}  // namespace ravo::tool

#endif
