// Numbers of bytes in readable form.
#ifndef RAVO_TOOL_SIZES_H
#define RAVO_TOOL_SIZES_H

#include <cstdint>
#include <string>

namespace ravo::tool {

/// "812 bytes", "3.6 MiB".
std::string format_size(std::uint64_t bytes);

}  // namespace ravo::tool

#endif
