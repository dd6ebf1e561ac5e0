// Names of event types and data types in readable form: without their common prefix.
#ifndef RAVO_TOOL_TYPE_NAMES_H
#define RAVO_TOOL_TYPE_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravo::tool {

/// "NORMAL" for RAVO_EV_NORMAL; the number of a type that has no name.
std::string event_type_name(int type);
/// The names of the types in a mask.
std::vector<std::string> event_type_names(std::uint32_t mask);
/// The type with this name, with or without prefix, in capitals or not,
/// or with this number. Throws usage_failure that suggests similar names.
int event_type_of(const std::string& text);

/// "BLOCK_BPM_2010"; the number of an unknown type. Only the low 16 bits count.
std::string data_type_name(int dtype);

}  // namespace ravo::tool

#endif
