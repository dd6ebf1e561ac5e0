// Which bytes the XML text of descriptions may hold: UTF-8 without the control characters that XML
// forbids; and what an attribute's raw text stands for.
#ifndef RAVO_XML_TEXT_H
#define RAVO_XML_TEXT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ravo::xml {

/// The length of the character that begins `text`, 1 to 4 bytes, or 0 if XML does not allow it.
std::size_t character_length(std::string_view text);

/// Whether the whole text consists of characters that XML allows.
bool is_allowed(std::string_view text);

/// The value of an attribute from its raw text: the five named references and character references are
/// replaced, line ends and tabs become blanks. `nullopt` if the text is not well formed.
std::optional<std::string> attribute_value(std::string_view raw);

}  // namespace ravo::xml

#endif
