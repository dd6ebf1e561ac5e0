// Axes from the descriptions of channels.
#ifndef RAVO_TOOL_UNITS_H
#define RAVO_TOOL_UNITS_H

#include <string>

#include "ravo_raw_format.h"

namespace ravo::tool {

/// The axis of a channel's samples: "wavelength, nm"; empty if it is not described.
std::string described_axis(const chan_descr_2010& description);

}  // namespace ravo::tool

#endif
