#include "format/file_name_parts.h"

#include <charconv>

#include "format/time.h"

namespace ravo {
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

std::string_view last_component(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::optional<file_name_parts> parse_file_name(std::string_view path) {
  std::string_view name = last_component(path);
  // A hidden file is unfinished, or was left by a killed program.
  if (name.starts_with('.')) return std::nullopt;
  if (name.size() < extension.size() || name.substr(name.size() - extension.size()) != extension)
    return std::nullopt;
  name.remove_suffix(extension.size());
  const std::size_t underscore = name.rfind('_');
  if (underscore == std::string_view::npos) return std::nullopt;
  const auto time = read_time_as("YYYYMMDDThhmmssZ", name.substr(underscore + 1));
  if (!time) return std::nullopt;
  file_name_parts parts{time->timeup, std::nullopt, 0, {}};
  name = name.substr(0, underscore);
  if (const auto file = take_number(name, "file")) {
    parts.file = *file;
    parts.run = take_number(name, "run");
  }
  parts.before_run = name;
  return parts;
}

}  // namespace ravo
