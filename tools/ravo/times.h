// Times as people write them, in UTC: 2025-03-01T08:00:00.104512Z, or seconds since the Unix epoch.
#ifndef RAVO_TOOL_TIMES_H
#define RAVO_TOOL_TIMES_H

#include <optional>
#include <string>
#include <string_view>

#include "ravo_core_records.h"

namespace ravo::tool {

/// A date and time ("T" or a blank between them; seconds, their fraction and "Z" may be left out), a date
/// alone, or seconds since the epoch with up to six decimals. Nothing for anything else.
std::optional<time_stamp> parse_time(std::string_view text);

/// With microseconds and "Z".
std::string format_time(time_stamp time);

/// Microseconds since the epoch.
double microseconds(time_stamp time);

/// A span of time, with the unit that suits it: "350 ms", "12.5 s", "3 min 20 s", "2 h 5 min".
std::string format_span(double microseconds);

}  // namespace ravo::tool

#endif
