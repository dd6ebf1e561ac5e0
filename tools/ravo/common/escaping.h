// Everything that the tool prints goes through here: names, texts and paths come out of files and from
// disks, and none of them may move the cursor, change colours, turn the direction of writing, end a line or
// look like another one. Plain UTF-8 stays as it is.
#ifndef RAVO_TOOL_ESCAPING_H
#define RAVO_TOOL_ESCAPING_H

#include <fmt/format.h>

#include <concepts>
#include <cstdio>
#include <string>
#include <string_view>

namespace ravo::tool {

/// One line for a terminal: control characters (also those of two bytes, U+0080 to U+009F), line and
/// paragraph ends, what turns the direction of writing or cannot be seen, and bytes that are no UTF-8, as
/// \xNN a byte. What is escaped already stays as it is.
std::string printable(std::string_view text);
/// The same of each line of a text that has several.
std::string printable_lines(std::string_view text);

/// JSON in which the letters that printable() escapes, and which JSON allows, are written as \uNNNN.
std::string escaped_json(std::string_view json);

/// A text of the tool's own that is printed as it is: a colour, or what is escaped already.
struct as_it_is {
  std::string_view text;
};

inline std::string escaped(std::string_view text) { return printable(text); }
inline std::string_view escaped(const as_it_is& own) { return own.text; }
template <class Value>
  requires(!std::convertible_to<const Value&, std::string_view>)
const Value& escaped(const Value& value) {
  return value;
}
template <class Value>
using escaped_type = std::remove_cvref_t<decltype(escaped(std::declval<const Value&>()))>;

/// As fmt::format, with each text among the arguments escaped.
template <class... Values>
std::string shown(fmt::format_string<escaped_type<Values>...> form, const Values&... values) {
  const auto format = [&](const auto&... all) { return fmt::vformat(form, fmt::make_format_args(all...)); };
  return format(escaped(values)...);
}

/// The same on standard error.
template <class... Values>
void tell(fmt::format_string<escaped_type<Values>...> form, const Values&... values) {
  const std::string text = shown<Values...>(form, values...);
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace ravo::tool

#endif
