// Times and days as the catalogue writes them: 2025-03-01T08:00:00.104512Z, in UTC, and days counted from
// the Unix epoch.
#ifndef RAVO_CATALOGUE_TIMES_H
#define RAVO_CATALOGUE_TIMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ravo_core_records.h"

namespace ravo::catalogue {

/// Days since 1970-01-01 UTC.
using day_number = std::uint32_t;

inline constexpr std::uint32_t seconds_of_a_day = 86400;
inline constexpr day_number last_day = 0xFFFFFFFFu / seconds_of_a_day;

constexpr day_number day_of(time_stamp time) { return time.timeup / seconds_of_a_day; }

struct calendar_day {
  int year;
  unsigned month;
  unsigned day;
};
calendar_day calendar(day_number day);
/// The first day of the month after that of `day`.
day_number next_month(day_number day);
/// The first day of the year after that of `day`.
day_number next_year(day_number day);

std::string day_text(day_number day);

std::string time_text(time_stamp time);
/// Exactly what time_text writes: six decimals and "Z". Nothing for anything else.
std::optional<time_stamp> parse_time(std::string_view text);

constexpr bool earlier(time_stamp a, time_stamp b) {
  return a.timeup != b.timeup ? a.timeup < b.timeup : a.timelow < b.timelow;
}
constexpr bool same(time_stamp a, time_stamp b) { return a.timeup == b.timeup && a.timelow == b.timelow; }

}  // namespace ravo::catalogue

#endif
