// Names of event types and data types as people see them: without the prefix, which says nothing.
#ifndef RAVO_TOOL_TYPE_NAMES_H
#define RAVO_TOOL_TYPE_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravo::tool {

/// "NORMAL" of RAVO_EV_NORMAL; the number of a type that has no name.
std::string event_type_name(int type);
/// The types of a mask's bits.
std::vector<std::string> event_type_names(std::uint32_t mask);
/// The type of a name, with or without prefix, capitals alike, or of a number. Throws usage_failure that
/// tells what may have been meant.
int event_type_of(const std::string& text);

/// "BLOCK_BPM_2010"; the number of a type that is not known. Only the low 16 bits count.
std::string data_type_name(int dtype);

}  // namespace ravo::tool

#endif
