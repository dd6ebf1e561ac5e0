#include "common/time_grammar.h"

namespace ravo::tool {

const char* const time_help = R"(TIME is one of
  2025-03-01T08:00:00.5      a date and a time of day ("T" or a blank; parts at the end may be left out)
  2025-03-01T08:00+01:00     the same with its offset from UTC, or with Z
  today 08:30, yesterday     a day, from 00:00 when no time of day is said
  now, -5min, -1h30min       now, or so long ago, in d h min s
  1740816000.5               seconds since 1970
  14:05, +5min               with --to: on the day of --from, so long after --from
Times of day are UTC, or as --tz says: +01:00, or a zone such as Europe/Berlin, where summer time is
regarded; a time that its clocks show twice or never is refused.)";

}  // namespace ravo::tool
