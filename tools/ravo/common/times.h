// Times and time spans as the tool prints them. time_grammar.h is for reading times.
#ifndef RAVO_TOOL_TIMES_H
#define RAVO_TOOL_TIMES_H

#include <string>

#include "format/time.h"

namespace ravo::tool {

/// In UTC, with microseconds and "Z". If a damaged file has more microseconds
/// than a second, the format is "2025-03-01T08:00:05Z+1000000us".
std::string format_time(time_stamp time);

/// Microseconds since the epoch.
double microseconds(time_stamp time);

/// A span of time in the unit that suits it: "350 ms", "12.5 s", "3 min 20 s", "2 h 5 min".
std::string format_span(double microseconds);

}  // namespace ravo::tool

#endif
