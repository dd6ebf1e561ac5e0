#include "common/request_options.h"

#include <fmt/format.h>

#include <charconv>

#include "common/failure.h"

namespace ravo::tool {
namespace {

// More runs than any request means; each costs an access to the disk.
constexpr int most_runs = 1'000'000;

}  // namespace

run_range runs_option(const std::string& text) {
  run_range runs{};
  const char* const end = text.data() + text.size();
  auto part = std::from_chars(text.data(), end, runs.first);
  bool is_good = part.ec == std::errc() && runs.first >= 0;
  runs.last = runs.first;
  if (is_good && part.ptr != end) {
    is_good = *part.ptr == '-';
    part = std::from_chars(part.ptr + 1, end, runs.last);
    is_good = is_good && part.ec == std::errc() && part.ptr == end && runs.last >= runs.first;
  }
  if (!is_good)
    throw usage_failure(fmt::format("--run: '{}' is no run; write 1207, or 1207-1210 for several", text));
  if (runs.last - runs.first >= most_runs)
    throw usage_failure(fmt::format("--run: '{}' are more than {} runs", text, most_runs));
  return runs;
}

time_zone zone_option(const std::string& name) {
  if (const auto zone = time_zone::named(name)) return *zone;
  throw usage_failure(fmt::format(
      "--tz: '{}' is no time zone that this machine knows; write +01:00 or a name such as Europe/Berlin",
      name));
}

time_stamp time_option(const char* option, const std::string& text, const time_context& context) {
  const time_reading read = read_time(text, context);
  if (!read.time) throw usage_failure(fmt::format("{}: '{}' {}", option, text, read.problem));
  return *read.time;
}

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
