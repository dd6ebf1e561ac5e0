// Characters of UTF-8 text.
#ifndef RAVO_FORMAT_UTF8_H
#define RAVO_FORMAT_UTF8_H

#include <cstddef>
#include <string_view>

namespace ravo {

/// The number of bytes of the character that begins a text. 0 if no valid character does: half of a
/// surrogate pair, a form that is longer than necessary, U+FFFE or U+FFFF, or a character that is cut off.
std::size_t utf8_character_length(std::string_view text);

}  // namespace ravo

#endif
