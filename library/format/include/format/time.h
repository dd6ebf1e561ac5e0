// Times of the raw format: arithmetic, and the one place where dates are turned into numbers and back.
// Times are in UTC, with days of 86,400 seconds. The dataset layer parses times as people write them
// (ravo_dataset/time_grammar.h).
#ifndef RAVO_FORMAT_TIME_H
#define RAVO_FORMAT_TIME_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ravo_core_records.h"

namespace ravo {

inline constexpr std::int64_t seconds_per_day = 86400;
inline constexpr std::int64_t microseconds_per_second = 1'000'000;

// ---- arithmetic

/// Microseconds since 1970, exact, also as a double: 2^32 seconds are less than 2^52 microseconds. The
/// microseconds of a damaged file may be more than a second's; they count all the same.
constexpr std::int64_t in_microseconds(const time_stamp& time) {
  return std::int64_t{time.timeup} * microseconds_per_second + time.timelow;
}

/// Compares the two words, seconds first: this is the order in time of all stamps with less than 1,000,000
/// microseconds.
constexpr bool is_before(const time_stamp& a, const time_stamp& b) {
  return a.timeup != b.timeup ? a.timeup < b.timeup : a.timelow < b.timelow;
}
constexpr bool is_same(const time_stamp& a, const time_stamp& b) {
  return a.timeup == b.timeup && a.timelow == b.timelow;
}

/// The time so many microseconds after 1970. `nullopt` for what a time stamp cannot represent: times before
/// 1970 and from 2106 on.
std::optional<time_stamp> time_at(std::int64_t microseconds);

/// The time by this machine's clock.
time_stamp current_time();

// ---- dates

struct calendar_date {
  int year;
  unsigned month;  ///< 1 to 12
  unsigned day;    ///< 1 to 31
};
/// The date of a day, counted from 1970-01-01.
calendar_date date_of(std::int64_t day);
/// The day of a date; `nullopt` for a date that does not exist, such as February 30.
std::optional<std::int64_t> day_of(const calendar_date& date);

// ---- text

/// "2025-03-01".
std::string date_text(std::int64_t day);
/// "2025-03-01T08:00:05" of seconds since 1970.
std::string second_text(std::int64_t seconds);
/// "2025-03-01T08:00:05.000120Z". With more microseconds than a second has, which a damaged file may hold,
/// "2025-03-01T08:00:05Z+1000000us": not a time, and not mistaken for one.
std::string time_text(const time_stamp& time);

/// Reads a time that is written in exactly the given form. In the form each of the letters Y M D h m s f
/// stands for one digit of year, month, day, hour, minute, second and microsecond; other characters stand
/// for themselves: "YYYYMMDDThhmmssZ". `nullopt` for any other text, for dates and times of day that do
/// not exist, and for what a time stamp cannot represent.
std::optional<time_stamp> read_time_as(std::string_view form, std::string_view text);

}  // namespace ravo

#endif
