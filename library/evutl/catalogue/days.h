// Days as the catalogue counts them, from the Unix epoch in UTC.
#ifndef RAVO_CATALOGUE_DAYS_H
#define RAVO_CATALOGUE_DAYS_H

#include <cstdint>

#include "format/time.h"

namespace ravo::catalogue {

/// Days since 1970-01-01 UTC.
using day_number = std::uint32_t;

inline constexpr day_number last_day = 0xFFFFFFFFu / seconds_per_day;

constexpr day_number day_of(time_stamp time) {
  return static_cast<day_number>(time.timeup / seconds_per_day);
}

inline day_number first_day(int year, unsigned month) {
  return static_cast<day_number>(ravo::day_of({year, month, 1}).value());
}
/// The first day of the month after that of `day`.
inline day_number next_month(day_number day) {
  const calendar_date date = date_of(day);
  return date.month == 12 ? first_day(date.year + 1, 1) : first_day(date.year, date.month + 1);
}
/// The first day of the year after that of `day`.
inline day_number next_year(day_number day) { return first_day(date_of(day).year + 1, 1); }

}  // namespace ravo::catalogue

#endif
