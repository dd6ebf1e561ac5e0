#include "ravo_dataset/time_grammar.h"

#include <algorithm>
#include <charconv>

#include "format/time.h"

namespace ravo {

namespace {

// More than time stamps can hold, yet small enough that sums in microseconds do not overflow.
constexpr std::int64_t longest_span = std::int64_t{1} << 33;

// A moment in microseconds since 1970, before it is known to fit into a time stamp.
using moment = std::int64_t;

time_reading refuse(std::string problem) { return {std::nullopt, std::move(problem)}; }

time_reading accept(moment microseconds) {
  const auto time = time_at(microseconds);
  if (!time) return refuse("lies outside the years 1970 to 2106, which time stamps can say");
  return {time, ""};
}

// A cursor over the text that is read.
class text_cursor {
 public:
  explicit text_cursor(std::string_view text) : rest_(text) {}

  bool at_end() const { return rest_.empty(); }
  std::string_view rest() const { return rest_; }
  bool skip(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
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
  /// A whole number that 32 bits can hold.
  std::optional<std::uint32_t> whole() {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    if (error != std::errc{}) return std::nullopt;
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return value;
  }
  /// "." and one to six digits, as microseconds; 0 when there is no ".".
  std::optional<std::uint32_t> fraction() {
    if (!skip(".")) return 0;
    std::uint32_t value = 0;
    int digits = 0;
    for (; !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9'; rest_.remove_prefix(1), ++digits)
      value = 10 * value + static_cast<std::uint32_t>(rest_.front() - '0');
    if (digits < 1 || digits > 6) return std::nullopt;
    for (; digits < 6; ++digits) value *= 10;
    return value;
  }
  /// HH:MM[:SS[.FRACTION]], as microseconds since 00:00.
  std::optional<moment> clock() {
    const auto hour = number(2);
    if (!hour || !skip(":")) return std::nullopt;
    const auto minute = number(2);
    if (!minute || *hour > 23 || *minute > 59) return std::nullopt;
    const moment minutes = moment{60'000'000} * (60 * *hour + *minute);
    if (!skip(":")) return minutes;
    const auto second = number(2);
    const auto part = fraction();
    if (!second || *second > 59 || !part) return std::nullopt;
    return minutes + microseconds_per_second * *second + *part;
  }
  /// YYYY-MM-DD, as days since 1970.
  std::optional<std::int64_t> date() {
    const auto year = number(4);
    if (!year || !skip("-")) return std::nullopt;
    const auto month = number(2);
    if (!month || !skip("-")) return std::nullopt;
    const auto day = number(2);
    if (!day) return std::nullopt;
    return day_of({*year, static_cast<unsigned>(*month), static_cast<unsigned>(*day)});
  }
  /// { NUMBER UNIT }, in seconds; at least one.
  std::optional<std::int64_t> span() {
    std::int64_t seconds = 0;
    do {
      const auto count = whole();
      if (!count) return std::nullopt;
      if (skip("min"))
        seconds += std::int64_t{60} * *count;
      else if (skip("d"))
        seconds += seconds_per_day * *count;
      else if (skip("h"))
        seconds += std::int64_t{3600} * *count;
      else if (skip("s"))
        seconds += *count;
      else
        return std::nullopt;
      seconds = std::min(seconds, longest_span);
    } while (!at_end());
    return seconds;
  }

 private:
  std::string_view rest_;
};

// The time at which the clocks of a zone show a given day and time of day.
time_reading shown_in(const time_zone& zone, std::int64_t day, moment clock) {
  const std::int64_t shown = day * seconds_per_day + clock / microseconds_per_second;
  const auto moments = zone.moments_of(shown);
  if (moments.size() == 1)
    return accept(moments.front() * microseconds_per_second + clock % microseconds_per_second);
  const std::string text = second_text(shown);
  if (moments.empty())
    return refuse("is a time that never was in " + zone.name() + ": clocks are put forward over " + text);
  return refuse("was twice in " + zone.name() + ", where clocks are put back; write " + text +
                format_offset(shown - moments[0]) + " for the first time or " + text +
                format_offset(shown - moments[1]));
}

// The day that the clocks of a zone show at a time, as days since 1970.
std::int64_t day_in(const time_zone& zone, time_stamp time) {
  const std::int64_t shown = time.timeup + zone.offset_at(time.timeup);
  return shown >= 0 ? shown / seconds_per_day : (shown - seconds_per_day + 1) / seconds_per_day;
}

// Each of these reads one form; `nullopt` if the text has another form.

std::optional<time_reading> read_seconds(std::string_view text) {
  text_cursor cursor(text);
  const auto seconds = cursor.whole();
  const auto fraction = cursor.fraction();
  if (!seconds || !fraction || !cursor.at_end()) return std::nullopt;
  return accept(in_microseconds({*seconds, *fraction}));
}

std::optional<time_reading> read_span(std::string_view text, const time_context& context) {
  text_cursor cursor(text);
  const bool is_ago = cursor.skip("-");
  if (!is_ago && !cursor.skip("+")) return std::nullopt;
  const auto span = cursor.span();
  if (!span) return std::nullopt;
  if (is_ago) return accept(in_microseconds(context.now) - *span * microseconds_per_second);
  if (!context.from)
    return refuse(context.from_name.empty()
                      ? "counts from the beginning of a window, and there is no window here"
                      : "counts from " + std::string(context.from_name) + ", which is not given");
  return accept(in_microseconds(*context.from) + *span * microseconds_per_second);
}

std::optional<time_reading> read_day(std::string_view text, const time_context& context) {
  text_cursor cursor(text);
  std::int64_t day = day_in(context.zone, context.now);
  if (cursor.skip("yesterday"))
    --day;
  else if (!cursor.skip("today"))
    return std::nullopt;
  std::optional<moment> clock = 0;
  if (cursor.skip(" ")) clock = cursor.clock();
  if (!clock || !cursor.at_end()) return std::nullopt;
  return shown_in(context.zone, day, *clock);
}

std::optional<time_reading> read_clock(std::string_view text, const time_context& context) {
  text_cursor cursor(text);
  const auto clock = cursor.clock();
  if (!clock || !cursor.at_end()) return std::nullopt;
  return shown_in(context.zone, day_in(context.zone, context.from.value_or(context.now)), *clock);
}

std::optional<time_reading> read_date(std::string_view text, const time_context& context) {
  text_cursor cursor(text);
  const auto day = cursor.date();
  if (!day) return std::nullopt;
  std::optional<moment> clock = 0;
  if (cursor.skip("T") || cursor.skip(" ")) clock = cursor.clock();
  if (!clock) return std::nullopt;
  if (cursor.at_end()) return shown_in(context.zone, *day, *clock);
  if (cursor.rest() == "Z") return shown_in(time_zone(), *day, *clock);
  const auto offset = parse_offset(cursor.rest());
  if (!offset) return std::nullopt;
  return accept((*day * seconds_per_day - *offset) * microseconds_per_second + *clock);
}

}  // namespace

time_reading read_time(std::string_view text, const time_context& context) {
  if (text == "now") return {context.now, ""};
  if (const auto read = read_seconds(text)) return *read;
  if (const auto read = read_span(text, context)) return *read;
  if (const auto read = read_day(text, context)) return *read;
  if (const auto read = read_clock(text, context)) return *read;
  if (const auto read = read_date(text, context)) return *read;
  return refuse("is no time; write 2025-03-01T08:00:00.5Z, 'yesterday 14:00', -5min or seconds since 1970");
}

}  // namespace ravo
