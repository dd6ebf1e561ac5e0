// Reads what the name of a raw file tells, <experiment>_<stream>_run<N>_file<M>_<time>.raw, and orders
// files by it. It never opens a file.
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <tuple>

#include "format/file_name_parts.h"
#include "ravo_evutl.h"

namespace {

constexpr std::string_view extension = ".raw";

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The number in `digits`, all of which must be digits.
std::optional<std::uint64_t> number(std::string_view digits) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || !is_digit(digits[0]) || error != std::errc() ||
      end != digits.data() + digits.size())
    return std::nullopt;
  return value;
}

// YYYYMMDDThhmmssZ as seconds since the Unix epoch, when it is a time that exists and fits.
std::optional<std::uint32_t> parse_time(std::string_view text) {
  constexpr std::string_view pattern = "ddddddddTddddddZ";
  if (text.size() != pattern.size()) return std::nullopt;
  for (std::size_t i = 0; i < pattern.size(); ++i)
    if (pattern[i] == 'd' ? !is_digit(text[i]) : text[i] != pattern[i]) return std::nullopt;
  const auto field = [&](std::size_t at, std::size_t digits) {
    return static_cast<int>(*number(text.substr(at, digits)));
  };
  using namespace std::chrono;
  const year_month_day date{year(field(0, 4)), month(static_cast<unsigned>(field(4, 2))),
                            day(static_cast<unsigned>(field(6, 2)))};
  const int hour = field(9, 2), minute = field(11, 2), second = field(13, 2);
  if (!date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::int64_t days = sys_days(date).time_since_epoch().count();
  const std::int64_t seconds = ((days * 24 + hour) * 60 + minute) * 60 + second;
  if (seconds < 0 || seconds > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return static_cast<std::uint32_t>(seconds);
}

// Takes the last part "_<word><number>" off a name and yields the number.
std::optional<std::uint64_t> take_number(std::string_view& name, std::string_view word) {
  const std::size_t underscore = name.rfind('_');
  if (underscore == std::string_view::npos) return std::nullopt;
  const std::string_view part = name.substr(underscore + 1);
  if (part.substr(0, word.size()) != word) return std::nullopt;
  const auto value = number(part.substr(word.size()));
  if (value) name = name.substr(0, underscore);
  return value;
}

}  // namespace

namespace ravo {

std::string_view last_component(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::optional<file_name_parts> parse_file_name(std::string_view path) {
  std::string_view name = last_component(path);
  // A hidden file is one that is not finished, or what a killed program left.
  if (name.starts_with('.')) return std::nullopt;
  if (name.size() < extension.size() || name.substr(name.size() - extension.size()) != extension)
    return std::nullopt;
  name.remove_suffix(extension.size());
  const std::size_t underscore = name.rfind('_');
  if (underscore == std::string_view::npos) return std::nullopt;
  const auto seconds = parse_time(name.substr(underscore + 1));
  if (!seconds) return std::nullopt;
  file_name_parts parts{*seconds, std::nullopt, 0, {}};
  name = name.substr(0, underscore);
  if (const auto file = take_number(name, "file")) {
    parts.file = *file;
    parts.run = take_number(name, "run");
  }
  parts.before_run = name;
  return parts;
}

}  // namespace ravo

namespace {

bool comes_before(const char* a, const char* b) {
  if (!a || !b) return !a && b;
  const auto parts_a = ravo::parse_file_name(a);
  const auto parts_b = ravo::parse_file_name(b);
  if (!parts_a || !parts_b) {
    if (parts_a.has_value() != parts_b.has_value()) return !parts_a;
    return std::strcmp(a, b) < 0;
  }
  // A name without a run or a file number counts as 0.
  const auto key = [](const ravo::file_name_parts& parts) {
    return std::tuple(parts.seconds, parts.run.value_or(0), parts.file);
  };
  if (key(*parts_a) != key(*parts_b)) return key(*parts_a) < key(*parts_b);
  return std::strcmp(a, b) < 0;
}

}  // namespace

int get_time_from_file_name(const char* name, time_stamp* time) {
  if (!name || !time) return 1;
  const auto parts = ravo::parse_file_name(name);
  if (!parts) return 1;
  *time = {parts->seconds, 0};
  return 0;
}

void sort_files(std::vector<char*>* names) {
  if (names) std::sort(names->begin(), names->end(), comes_before);
}
