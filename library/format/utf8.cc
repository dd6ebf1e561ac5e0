#include "format/utf8.h"

#include <cstdint>
#include <iterator>

namespace ravo {
namespace {

/// How a character of a given number of bytes begins, and the first code that needs that many.
struct utf8_form {
  unsigned char mask;
  unsigned char lead;
  std::uint32_t smallest;
};
constexpr utf8_form forms[] = {
    {0x80, 0x00, 0}, {0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};

bool is_character(std::uint32_t code) {
  const bool is_half_of_a_pair = code >= 0xd800 && code <= 0xdfff;
  return code <= 0x10ffff && !is_half_of_a_pair && code != 0xfffe && code != 0xffff;
}

}  // namespace

std::size_t utf8_character_length(std::string_view text) {
  if (text.empty()) return 0;
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  std::size_t length = 1;
  while (length <= std::size(forms) && (byte(0) & forms[length - 1].mask) != forms[length - 1].lead)
    ++length;
  if (length > std::size(forms) || text.size() < length) return 0;
  std::uint32_t code = byte(0) & static_cast<unsigned char>(~forms[length - 1].mask);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3fu);
  }
  return code >= forms[length - 1].smallest && is_character(code) ? length : 0;
}

}  // namespace ravo
