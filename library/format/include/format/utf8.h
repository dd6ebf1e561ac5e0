// Characters of UTF-8 text.
#ifndef RAVO_FORMAT_UTF8_H
#define RAVO_FORMAT_UTF8_H

#include <cstddef>
#include <string_view>

namespace ravo {

/// The bytes of the character with which a text begins. 0 when it begins with none: with half of a
/// surrogate pair, with a form that is longer than it needs to be, with U+FFFE or U+FFFF, or cut off.
std::size_t utf8_character_length(std::string_view text);

}  // namespace ravo

#endif
