// Channels of a raw file by their names.
#ifndef RAVO_TOOL_CHANNEL_NAMES_H
#define RAVO_TOOL_CHANNEL_NAMES_H

#include <cstddef>
#include <string>

#include "common/raw_file.h"

namespace ravo::tool {

/// The index of a channel; throws data_failure that tells what may have been meant.
std::size_t find_channel(const raw_file& file, const std::string& name);

}  // namespace ravo::tool

#endif
