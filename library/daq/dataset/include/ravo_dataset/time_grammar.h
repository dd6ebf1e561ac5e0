// Times as people write them: a date and a time of day, seconds since 1970, "now", "-5min", "yesterday
// 14:00". What a text means depends only on the text and the given context.
#ifndef RAVO_DATASET_TIME_GRAMMAR_H
#define RAVO_DATASET_TIME_GRAMMAR_H

#include <optional>
#include <string>
#include <string_view>

#include "ravo_core_records.h"
#include "ravo_dataset/time_zone.h"
#include "ravo_export.h"

namespace ravo {

/// What times are relative to.
struct time_context {
  time_stamp now{};
  time_zone zone;                   ///< of times of day without "Z" or an offset
  std::optional<time_stamp> from;   ///< of the end of a window: its beginning, if there is one
  std::string_view from_name = {};  ///< what the beginning is called where it is typed, for messages
};

/// A time, or why there is none: the end of a sentence that begins with the text in question.
struct time_reading {
  std::optional<time_stamp> time;
  std::string problem;
};

/// Reads a time:
///   TIME  = SECONDS | "now" | "-" SPAN | "+" SPAN | DAY [" " CLOCK] | CLOCK | DATE [("T" | " ") CLOCK]
///   [ZONE] SPAN  = { NUMBER ("d" | "h" | "min" | "s") } DAY   = "today" | "yesterday" CLOCK = HH ":" MM
///   [":" SS ["." FRACTION]] DATE  = YYYY "-" MM "-" DD ZONE  = "Z" | ("+" | "-") HH [[":"] MM]
/// "-" SPAN is that long before now; "+" SPAN that long after context.from; a CLOCK alone is on the day of
/// context.from, or today; without a CLOCK a day begins at 00:00. A day of a SPAN is 24 hours.
RAVO_EXPORT time_reading read_time(std::string_view text, const time_context& context);

}  // namespace ravo

#endif
