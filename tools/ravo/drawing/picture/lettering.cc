#include "drawing/picture/lettering.h"

#include <algorithm>
#include <cstdlib>

namespace ravo::drawing {
namespace {

bool begins_letter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) != 0x80; }

// The offsets at which letters begin, and the end.
std::vector<std::size_t> letters_of(const std::string& words) {
  std::vector<std::size_t> begins;
  for (std::size_t i = 0; i < words.size(); ++i)
    if (begins_letter(words[i])) begins.push_back(i);
  begins.push_back(words.size());
  return begins;
}

// The greatest count up to `most` that fits; texts grow with the number of letters.
template <class Fits>
std::size_t most_that_fit(std::size_t most, Fits fits) {
  std::size_t low = 0, high = most;
  while (low < high) {
    const std::size_t middle = (low + high + 1) / 2;
    if (fits(middle))
      low = middle;
    else
      high = middle - 1;
  }
  return low;
}

// The end of the text's first line.
std::size_t end_of_line(const std::string& words, const text_style& style, double width,
                        const text_ruler& ruler) {
  const std::vector<std::size_t> begins = letters_of(words);
  const std::size_t letters = most_that_fit(begins.size() - 1, [&](std::size_t count) {
    return ruler.width_of(words.substr(0, begins[count]), style) <= width;
  });
  const std::size_t end = begins[std::max<std::size_t>(letters, 1)];
  if (end >= words.size()) return words.size();
  const std::size_t blank = words.find_last_of(" /", end - 1);
  return blank == std::string::npos || blank < end / 2 ? end : blank + 1;
}

}  // namespace

std::string fitted(const std::string& words, const text_style& style, double width,
                   const text_ruler& ruler) {
  if (ruler.width_of(words, style) <= width) return words;
  const std::vector<std::size_t> begins = letters_of(words);
  const auto shortened = [&](std::size_t letters) {
    const std::size_t before = (letters + 1) / 2, after = letters / 2;
    return words.substr(0, begins[before]) + "…" + words.substr(begins[begins.size() - 1 - after]);
  };
  return shortened(most_that_fit(begins.size() - 1, [&](std::size_t letters) {
    return ruler.width_of(shortened(letters), style) <= width;
  }));
}

std::vector<std::string> wrapped(const std::string& words, const text_style& style, double width,
                                 std::size_t most, const text_ruler& ruler) {
  std::vector<std::string> lines;
  std::string rest = words;
  while (!rest.empty() && lines.size() < most) {
    const bool is_last = lines.size() + 1 == most;
    const std::size_t end = is_last ? rest.size() : end_of_line(rest, style, width, ruler);
    std::string line = rest.substr(0, end);
    rest.erase(0, end);
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(fitted(line, style, width, ruler));
  }
  return lines;
}

std::string as_in_print(const std::string& label) {
  static constexpr const char* raised[] = {"⁰", "¹", "²", "³", "⁴", "⁵", "⁶", "⁷", "⁸", "⁹"};
  const std::size_t e = label.find('e');
  const bool has_power = e != std::string::npos && e > 0 && label.find_first_of("0123456789") < e;
  std::string mantissa = label.substr(0, has_power ? e : label.size());
  if (mantissa.starts_with('-')) mantissa.replace(0, 1, "−");
  if (!has_power) return mantissa;
  const int power = std::atoi(label.c_str() + e + 1);
  std::string text = mantissa + "×10" + (power < 0 ? "⁻" : "");
  for (const char digit : std::to_string(std::abs(power))) text += raised[digit - '0'];
  return text;
}

}  // namespace ravo::drawing
