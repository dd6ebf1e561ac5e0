// Units of measure and axes from the descriptions of channels.
#ifndef RAVO_TOOL_UNITS_H
#define RAVO_TOOL_UNITS_H

#include <cstddef>
#include <string>

#include "ravo_raw_format.h"

namespace ravo::tool {

/// The unit of one member: a channel's units may list one for each, "mm, mm, nC".
std::string unit_of(const std::string& units, std::size_t member, std::size_t members);

/// The axis of a channel's samples: "wavelength, nm"; empty if it is not described.
std::string described_axis(const chan_descr_2010& description);

}  // namespace ravo::tool

#endif
