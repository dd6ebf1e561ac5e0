#include "select/selection_words.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "format/time.h"
#include "ravo_dataset/errors.h"

namespace ravo::detail {
namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// The byte that "\xNN" stands for at the beginning of a text; `nullopt` if there is none.
std::optional<char> escaped_byte(std::string_view text) {
  constexpr std::size_t length = 4;
  if (text.size() < length || !text.starts_with("\\x")) return std::nullopt;
  unsigned byte = 0;
  const char* const end = text.data() + length;
  const auto [stop, error] = std::from_chars(text.data() + 2, end, byte, 16);
  if (error != std::errc() || stop != end) return std::nullopt;
  return static_cast<char>(byte);
}

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

/// Whether a byte may be printed as "\xNN", which is read back in quotes only.
bool may_be_escaped(char c) { return is_control(c) || static_cast<unsigned char>(c) >= 0x80; }

/// Reads a character in quotes, which stands for itself, or a byte that is written with "\\".
char read_quoted(std::string_view text, std::size_t& at) {
  if (const auto byte = escaped_byte(text.substr(at))) {
    at += 3;
    return *byte;
  }
  const bool is_escaped =
      text[at] == '\\' && at + 1 < text.size() && (text[at + 1] == '"' || text[at + 1] == '\\');
  return text[is_escaped ? ++at : at];
}

/// Reads the word at `at`, and moves `at` to the end of the word.
selection_word read_word(std::string_view text, std::size_t& at) {
  selection_word word;
  const std::size_t begin = at;
  std::string part;
  bool quoting = false;
  for (; at < text.size() && (quoting || !is_blank(text[at])); ++at) {
    const char c = text[at];
    if (c == '"') {
      quoting = !quoting;
    } else if (quoting) {
      part += read_quoted(text, at);
    } else if (c == '=' && word.key.empty() && word.values.empty()) {
      word.key = std::move(part);
      part.clear();
    } else if (c == ',') {
      word.values.push_back(std::move(part));
      part.clear();
    } else {
      part += c;
    }
  }
  word.text = text.substr(begin, at - begin);
  if (quoting) throw selection_error("The quote in " + word.text + " has no end");
  word.values.push_back(std::move(part));
  return word;
}

template <class Number>
std::optional<Number> whole_number(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The digits after a decimal point as microseconds; digits after the sixth are cut off.
std::optional<std::uint32_t> read_fraction(std::string_view digits) {
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos)
    return std::nullopt;
  std::string six(digits.substr(0, 6));
  six.resize(6, '0');
  return whole_number<std::uint32_t>(six);
}

/// Cuts ".FRACTION" off a text; 0 if there is none, `nullopt` if it is malformed.
std::optional<std::uint32_t> cut_fraction(std::string_view& text) {
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos) return 0;
  const auto fraction = read_fraction(text.substr(point + 1));
  text = text.substr(0, point);
  return fraction;
}

struct time_unit {
  std::string_view name;
  std::uint64_t microseconds;
};
constexpr time_unit units[] = {
    {"h", 3'600'000'000}, {"min", 60'000'000}, {"s", 1'000'000}, {"ms", 1000}, {"us", 1}};

}  // namespace

std::vector<selection_word> split_words(std::string_view text) {
  std::vector<selection_word> words;
  for (std::size_t at = 0;;) {
    while (at < text.size() && is_blank(text[at])) ++at;
    if (at == text.size()) return words;
    words.push_back(read_word(text, at));
  }
}

std::string quoted(std::string_view value) {
  const bool is_plain = value.find_first_of(" ,\"=") == std::string_view::npos &&
                        std::none_of(value.begin(), value.end(), &may_be_escaped);
  if (!value.empty() && is_plain) return std::string(value);
  constexpr const char* digits = "0123456789abcdef";
  std::string text = "\"";
  for (const char c : value) {
    if (is_control(c)) {
      text += {'\\', 'x', digits[c >> 4], digits[c & 15]};
      continue;
    }
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + '"';
}

std::string key_of(const char* words) {
  std::string key = words;
  std::replace(key.begin(), key.end(), ' ', '_');
  return key;
}

std::optional<std::uint32_t> read_number(std::string_view text) {
  return whole_number<std::uint32_t>(text);
}

std::string write_time(const time_stamp& time) {
  std::string written = second_text(time.timeup);
  if (time.timelow != 0) {
    char text[16];
    std::snprintf(text, sizeof text, ".%06u",
                  static_cast<unsigned>(time.timelow % microseconds_per_second));
    written += text;
    written.erase(written.find_last_not_of('0') + 1);
  }
  return written + 'Z';
}

std::optional<std::uint64_t> read_span(std::string_view text) {
  const std::size_t unit_at = text.find_first_not_of("0123456789.");
  if (unit_at == std::string_view::npos) return std::nullopt;
  for (const time_unit& unit : units) {
    if (text.substr(unit_at) != unit.name) continue;
    std::string_view number = text.substr(0, unit_at);
    const auto fraction = cut_fraction(number);
    const auto whole = whole_number<std::uint64_t>(number);
    if (!fraction || !whole || *whole > 1'000'000'000'000'000u / unit.microseconds) return std::nullopt;
    return *whole * unit.microseconds + *fraction * unit.microseconds / 1'000'000;
  }
  return std::nullopt;
}

std::string write_span(std::uint64_t microseconds) {
  for (const time_unit& unit : units)
    if (microseconds % unit.microseconds == 0 && (microseconds != 0 || unit.microseconds == 1))
      return std::to_string(microseconds / unit.microseconds) + std::string(unit.name);
  return "0us";
}

}  // namespace ravo::detail
