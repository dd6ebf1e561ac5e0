// Times as numbers, and spans of time as the tool prints them.
#ifndef RAVO_TOOL_TIMES_H
#define RAVO_TOOL_TIMES_H

#include <string>

#include "format/time.h"

namespace ravo::tool {

/// Microseconds since the epoch.
double microseconds(time_stamp time);

/// A span of time in the unit that suits it: "350 ms", "12.5 s", "3 min 20 s", "2 h 5 min".
std::string format_span(double microseconds);

}  // namespace ravo::tool

#endif
