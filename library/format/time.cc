#include "format/time.h"

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <limits>

namespace ravo {
namespace {

/// The number in a text whose digits are where the form has the letter; 0 if the form lacks the letter.
unsigned field(std::string_view form, std::string_view text, char letter) {
  unsigned value = 0;
  for (std::size_t i = 0; i < form.size(); ++i)
    if (form[i] == letter) value = 10 * value + static_cast<unsigned>(text[i] - '0');
  return value;
}

bool has_form(std::string_view form, std::string_view text) {
  constexpr std::string_view digits = "YMDhmsf";
  if (text.size() != form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool is_digit = text[i] >= '0' && text[i] <= '9';
    if (digits.find(form[i]) != std::string_view::npos ? !is_digit : text[i] != form[i]) return false;
  }
  return true;
}

}  // namespace

std::optional<time_stamp> time_at(std::int64_t microseconds) {
  const std::int64_t seconds = microseconds / microseconds_per_second;
  if (microseconds < 0 || seconds > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return time_stamp{static_cast<std::uint32_t>(seconds),
                    static_cast<std::uint32_t>(microseconds % microseconds_per_second)};
}

time_stamp current_time() {
  using namespace std::chrono;
  const auto since_1970 = floor<microseconds>(system_clock::now().time_since_epoch());
  return time_at(since_1970.count()).value_or(time_stamp{});
}

calendar_date date_of(std::int64_t day) {
  using namespace std::chrono;
  const year_month_day date{sys_days(days(day))};
  return {static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
          static_cast<unsigned>(date.day())};
}

std::optional<std::int64_t> day_of(const calendar_date& date) {
  using namespace std::chrono;
  const year_month_day checked{year(date.year), month(date.month), std::chrono::day(date.day)};
  if (!checked.ok()) return std::nullopt;
  return sys_days(checked).time_since_epoch().count();
}

std::string date_text(std::int64_t day) {
  const calendar_date date = date_of(day);
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", date.year, date.month, date.day);
  return text;
}

std::string second_text(std::int64_t seconds) {
  const std::int64_t day = seconds >= 0 ? seconds / seconds_per_day : (seconds + 1) / seconds_per_day - 1;
  const auto second = static_cast<unsigned>(seconds - day * seconds_per_day);
  char text[40];
  std::snprintf(text, sizeof text, "T%02u:%02u:%02u", second / 3600, second / 60 % 60, second % 60);
  return date_text(day) + text;
}

std::string time_text(const time_stamp& time) {
  char text[40];
  const bool is_time = time.timelow < microseconds_per_second;
  std::snprintf(text, sizeof text, is_time ? ".%06uZ" : "Z+%uus", time.timelow);
  return second_text(time.timeup) + text;
}

std::optional<time_stamp> read_time_as(std::string_view form, std::string_view text) {
  if (!has_form(form, text)) return std::nullopt;
  const auto part = [&](char letter) { return field(form, text, letter); };
  const auto day = day_of({static_cast<int>(part('Y')), part('M'), part('D')});
  const std::int64_t hour = part('h'), minute = part('m'), second = part('s');
  if (!day || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::int64_t seconds = *day * seconds_per_day + hour * 3600 + minute * 60 + second;
  return time_at(seconds * microseconds_per_second + part('f'));
}

}  // namespace ravo
