// Finds runs and file numbers in names; see raw_file_names.h.
#include "files/raw_file_names.h"

#include <charconv>
#include <cstddef>

namespace ravo {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }

std::string_view leading_digits(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && is_digit(text[count])) ++count;
  return text.substr(0, count);
}

// The number in `digits`; `nullopt` if there are no digits, or the number does not fit an int.
std::optional<int> number(std::string_view digits) {
  int value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return value;
}

}  // namespace

bool names_run(std::string_view name, int first, int last) {
  constexpr std::string_view word = "_run";
  for (std::size_t at = name.find(word); at != std::string_view::npos; at = name.find(word, at + 1)) {
    const std::string_view rest = name.substr(at + word.size());
    const std::string_view digits = leading_digits(rest);
    if (digits.empty() || digits.front() == '0' || rest.substr(digits.size(), 1) != "_") continue;
    const std::optional<int> run = number(digits);
    if (run && *run >= first && *run <= last) return true;
  }
  return false;
}

std::optional<file_number> find_file_number(std::string_view name) {
  constexpr std::string_view word = "file";
  for (std::size_t at = name.rfind(word); at != std::string_view::npos;
       at = at == 0 ? std::string_view::npos : name.rfind(word, at - 1)) {
    const std::size_t begin = at + word.size();
    const std::string_view digits = leading_digits(name.substr(begin));
    if (digits.empty()) continue;
    const std::optional<int> value = number(digits);
    if (!value) return std::nullopt;
    return file_number{name.substr(0, begin), digits, *value};
  }
  return std::nullopt;
}

std::string name_up_to_number(const file_number& number, std::int64_t value) {
  return std::string(number.before) + std::to_string(value) + '_';
}

}  // namespace ravo
