#include "times.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <limits>

namespace ravo::tool {
namespace {

// A cursor over the text that is read.
class text_cursor {
 public:
  explicit text_cursor(std::string_view text) : rest_(text) {}

  bool at_end() const { return rest_.empty(); }
  bool skip(char expected) {
    if (rest_.empty() || rest_.front() != expected) return false;
    rest_.remove_prefix(1);
    return true;
  }
  /// Exactly `digits` digits.
  std::optional<int> number(std::size_t digits) {
    if (rest_.size() < digits) return std::nullopt;
    int value = 0;
    for (const char letter : rest_.substr(0, digits)) {
      if (letter < '0' || letter > '9') return std::nullopt;
      value = 10 * value + (letter - '0');
    }
    rest_.remove_prefix(digits);
    return value;
  }
  /// "." and one to six digits, as microseconds; 0 when there is no ".".
  std::optional<std::uint32_t> fraction() {
    if (!skip('.')) return 0;
    std::uint32_t value = 0;
    int digits = 0;
    for (; !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9'; rest_.remove_prefix(1), ++digits)
      value = 10 * value + static_cast<std::uint32_t>(rest_.front() - '0');
    if (digits < 1 || digits > 6) return std::nullopt;
    for (; digits < 6; ++digits) value *= 10;
    return value;
  }
  /// A whole number of seconds that a time stamp can hold.
  std::optional<std::uint32_t> seconds() {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    if (error != std::errc{}) return std::nullopt;
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return value;
  }

 private:
  std::string_view rest_;
};

std::optional<time_stamp> parse_seconds(std::string_view text) {
  text_cursor cursor(text);
  const auto seconds = cursor.seconds();
  const auto fraction = cursor.fraction();
  if (!seconds || !fraction || !cursor.at_end()) return std::nullopt;
  return time_stamp{*seconds, *fraction};
}

std::optional<time_stamp> parse_calendar(std::string_view text) {
  text_cursor cursor(text);
  const auto year = cursor.number(4);
  if (!year || !cursor.skip('-')) return std::nullopt;
  const auto month = cursor.number(2);
  if (!month || !cursor.skip('-')) return std::nullopt;
  const auto day = cursor.number(2);
  if (!day) return std::nullopt;
  int hour = 0, minute = 0, second = 0;
  std::uint32_t fraction = 0;
  if (cursor.skip('T') || cursor.skip(' ')) {
    const auto hours = cursor.number(2);
    if (!hours || !cursor.skip(':')) return std::nullopt;
    const auto minutes = cursor.number(2);
    if (!minutes) return std::nullopt;
    hour = *hours;
    minute = *minutes;
    if (cursor.skip(':')) {
      const auto seconds = cursor.number(2);
      const auto part = cursor.fraction();
      if (!seconds || !part) return std::nullopt;
      second = *seconds;
      fraction = *part;
    }
  }
  cursor.skip('Z');
  const std::chrono::year_month_day date{std::chrono::year{*year},
                                         std::chrono::month{static_cast<unsigned>(*month)},
                                         std::chrono::day{static_cast<unsigned>(*day)}};
  if (!cursor.at_end() || !date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const auto total =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::sys_days{date}.time_since_epoch())
          .count() +
      3600 * hour + 60 * minute + second;
  if (total < 0 || total > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return time_stamp{static_cast<std::uint32_t>(total), fraction};
}

}  // namespace

std::optional<time_stamp> parse_time(std::string_view text) {
  if (const auto time = parse_seconds(text)) return time;
  return parse_calendar(text);
}

std::string format_time(time_stamp time) {
  const std::chrono::sys_seconds moment{std::chrono::seconds{time.timeup}};
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{moment - day};
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count(), time.timelow);
}

double microseconds(time_stamp time) { return time.timeup * 1e6 + time.timelow; }

std::string format_span(double microseconds) {
  const double seconds = microseconds / 1e6;
  if (seconds < 1.0) return fmt::format("{:.0f} ms", seconds * 1e3);
  if (seconds < 60.0) return fmt::format("{:.1f} s", seconds);
  const auto whole = static_cast<long long>(seconds);
  if (whole < 3600) return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
}

}  // namespace ravo::tool
