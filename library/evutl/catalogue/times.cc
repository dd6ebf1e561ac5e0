#include "times.h"

#include <chrono>
#include <cstdio>
#include <limits>

namespace ravo::catalogue {
namespace {

using namespace std::chrono;

year_month_day date_of(day_number day) { return year_month_day(sys_days(days(day))); }

day_number number_of(sys_days date) { return static_cast<day_number>(date.time_since_epoch().count()); }

}  // namespace

calendar_day calendar(day_number day) {
  const year_month_day date = date_of(day);
  return {static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
          static_cast<unsigned>(date.day())};
}

day_number next_month(day_number day) {
  const year_month_day date = date_of(day);
  return number_of(sys_days((date.year() / date.month() + months(1)) / 1));
}

day_number next_year(day_number day) {
  return number_of(sys_days((date_of(day).year() + years(1)) / 1 / 1));
}

std::string day_text(day_number day) {
  const calendar_day date = calendar(day);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", date.year, date.month, date.day);
  return text;
}

std::string time_text(time_stamp time) {
  const std::uint32_t second = time.timeup % seconds_of_a_day;
  char text[80];
  std::snprintf(text, sizeof text, "%sT%02u:%02u:%02u.%06uZ", day_text(day_of(time)).c_str(), second / 3600,
                second / 60 % 60, second % 60, time.timelow);
  return text;
}

std::optional<time_stamp> parse_time(std::string_view text) {
  constexpr std::string_view pattern = "dddd-dd-ddTdd:dd:dd.ddddddZ";
  if (text.size() != pattern.size()) return std::nullopt;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == 'd' ? !digit : text[i] != pattern[i]) return std::nullopt;
  }
  const auto field = [&](std::size_t at, std::size_t digits) {
    unsigned value = 0;
    for (const char digit : text.substr(at, digits))
      value = 10 * value + static_cast<unsigned>(digit - '0');
    return value;
  };
  const year_month_day date{year(static_cast<int>(field(0, 4))), month(field(5, 2)), day(field(8, 2))};
  const std::int64_t hour = field(11, 2), minute = field(14, 2), second = field(17, 2);
  if (!date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::int64_t days_since = sys_days(date).time_since_epoch().count();
  const std::int64_t seconds = days_since * seconds_of_a_day + hour * 3600 + minute * 60 + second;
  if (seconds < 0 || seconds > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return time_stamp{static_cast<std::uint32_t>(seconds), field(20, 6)};
}

}  // namespace ravo::catalogue
