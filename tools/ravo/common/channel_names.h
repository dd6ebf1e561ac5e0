// Finds channels of a raw file by name.
#ifndef RAVO_TOOL_CHANNEL_NAMES_H
#define RAVO_TOOL_CHANNEL_NAMES_H

#include <cstddef>
#include <string>

#include "common/raw_file.h"

namespace ravo::tool {

/// The index of a channel; throws data_failure that suggests similar names.
std::size_t find_channel(const raw_file& file, const std::string& name);

}  // namespace ravo::tool

#endif
