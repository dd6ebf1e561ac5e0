// Units of measure as descriptions of channels name them.
#ifndef RAVO_TOOL_UNITS_H
#define RAVO_TOOL_UNITS_H

#include <cstddef>
#include <string>

namespace ravo::tool {

/// The unit of one member: a channel's units may list one for each, "mm, mm, nC".
std::string unit_of(const std::string& units, std::size_t member, std::size_t members);

}  // namespace ravo::tool

#endif
