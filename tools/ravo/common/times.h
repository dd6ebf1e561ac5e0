// Times as the tool writes them, and spans of time. How times are read is time_grammar.h's.
#ifndef RAVO_TOOL_TIMES_H
#define RAVO_TOOL_TIMES_H

#include <string>

#include "format/time.h"

namespace ravo::tool {

/// In UTC, with microseconds and "Z". With more microseconds than a second has, which a damaged file may
/// say, "2025-03-01T08:00:05Z+1000000us".
std::string format_time(time_stamp time);

/// Microseconds since the epoch.
double microseconds(time_stamp time);

/// A span of time, with the unit that suits it: "350 ms", "12.5 s", "3 min 20 s", "2 h 5 min".
std::string format_span(double microseconds);

}  // namespace ravo::tool

#endif
