#include "shared/escaping.h"

#include <algorithm>
#include <cstdint>

namespace ravo {
namespace {

struct letter {
  std::uint32_t code = 0;
  std::size_t bytes = 0;  // 0: not UTF-8
};

// The first character of a text that is not empty.
letter first_letter(std::string_view text) {
  const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char head = byte(0);
  if (head < 0x80) return {head, 1};
  const std::size_t bytes = head >= 0xf0 && head < 0xf5 ? 4 : head >= 0xe0 ? 3 : 2;
  if (head < 0xc2 || head >= 0xf5 || text.size() < bytes) return {};
  std::uint32_t code = head & (0xffu >> (bytes + 1));
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {};
    code = code << 6 | (byte(i) & 0x3fu);
  }
  constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xd800 && code < 0xe000;
  if (code < least[bytes] || is_surrogate || code > 0x10ffff) return {};
  return {code, bytes};
}

struct code_range {
  std::uint32_t first, last;
};
// Characters that a terminal obeys, and those that make a text look like another one.
constexpr code_range hidden[] = {
    {0x00, 0x1f},      // control characters: line ends and escape sequences
    {0x7f, 0x9f},      // delete, and the control characters of two bytes
    {0xad, 0xad},      // an invisible hyphen
    {0x61c, 0x61c},    // direction of writing
    {0x180e, 0x180e},  // an invisible character
    {0x200b, 0x200f},  // invisible characters, and the direction of writing
    {0x2028, 0x202e},  // line and paragraph ends, and the direction of writing
    {0x2060, 0x206f},  // invisible characters, and the direction of writing
    {0xfeff, 0xfeff},  // the byte order mark, which is invisible
    {0xfff9, 0xfffb},  // interlinear annotations
    {0xe0000, 0xe007f},
};

bool is_hidden(std::uint32_t code) {
  return std::any_of(std::begin(hidden), std::end(hidden),
                     [code](const code_range& range) { return code >= range.first && code <= range.last; });
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    const letter one = first_letter(text);
    const std::string_view bytes = text.substr(0, std::max<std::size_t>(one.bytes, 1));
    if (one.bytes != 0 && !is_hidden(one.code))
      shown += bytes;
    else
      for (const char byte : bytes) shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    text.remove_prefix(bytes.size());
  }
  return shown;
}

// Outside JSON's strings there are no such characters.
std::string escaped_json(std::string_view json) {
  std::string shown;
  shown.reserve(json.size());
  while (!json.empty()) {
    const letter one = first_letter(json);
    const std::string_view bytes = json.substr(0, std::max<std::size_t>(one.bytes, 1));
    const bool is_kept = one.bytes == 0 || !is_hidden(one.code);
    if (is_kept) {
      shown += bytes;
    } else if (one.code < 0x10000) {
      shown += fmt::format("\\u{:04x}", one.code);
    } else {
      const std::uint32_t rest = one.code - 0x10000;
      shown += fmt::format("\\u{:04x}\\u{:04x}", 0xd800 + (rest >> 10), 0xdc00 + (rest & 0x3ff));
    }
    json.remove_prefix(bytes.size());
  }
  return shown;
}

std::string printable_lines(std::string_view text) {
  std::string shown;
  for (std::size_t at = 0;;) {
    const std::size_t end = text.find('\n', at);
    shown += printable(text.substr(at, end - at));
    if (end == std::string_view::npos) return shown;
    shown += '\n';
    at = end + 1;
  }
}

}  // namespace ravo
