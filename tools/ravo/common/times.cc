#include "common/times.h"

#include <fmt/format.h>

#include <chrono>

namespace ravo::tool {

std::string format_time(time_stamp time) {
  const std::chrono::sys_seconds moment{std::chrono::seconds{time.timeup}};
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{moment - day};
  const std::string second =
      fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  clock.hours().count(), clock.minutes().count(), clock.seconds().count());
  // A file may hold more microseconds than a second has: that is written as it is, and cannot be taken for
  // a time.
  if (time.timelow > 999'999) return fmt::format("{}Z+{}us", second, time.timelow);
  return fmt::format("{}.{:06}Z", second, time.timelow);
}

time_stamp current_time() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  const auto rest = std::chrono::floor<std::chrono::microseconds>(since - seconds);
  return {static_cast<std::uint32_t>(seconds.count()), static_cast<std::uint32_t>(rest.count())};
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
