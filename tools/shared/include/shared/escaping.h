// Everything that the tool prints goes through here: names, texts and paths come from
// files and disks, and none of them may move the cursor, change colours, reverse the
// writing direction, end a line or imitate another name. Plain UTF-8 stays as it is.
#ifndef RAVO_SHARED_ESCAPING_H
#define RAVO_SHARED_ESCAPING_H

#include <fmt/format.h>

#include <concepts>
#include <cstdio>
#include <string>
#include <string_view>

namespace ravo {

/// One line for a terminal: control characters (also those of two bytes, U+0080 to U+009F), line
/// and paragraph ends, invisible characters and those that reverse the writing direction, and bytes
/// that are not UTF-8 become \xNN, one for each byte. Text that is escaped already stays as it is.
std::string printable(std::string_view text);
/// The same for each line of a text that has several.
std::string printable_lines(std::string_view text);

/// JSON in which the characters that printable() escapes, and JSON allows, are written as \uNNNN.
std::string escaped_json(std::string_view json);

/// A text of the tool's own that is printed unchanged: a colour, or text that is escaped already.
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

/// Like fmt::format, with each text among the arguments escaped.
template <class... Values>
std::string shown(fmt::format_string<escaped_type<Values>...> form, const Values&... values) {
  const auto format = [&](const auto&... all) { return fmt::vformat(form, fmt::make_format_args(all...)); };
  return format(escaped(values)...);
}

/// The same, printed to standard error.
template <class... Values>
void print_message(fmt::format_string<escaped_type<Values>...> form, const Values&... values) {
  const std::string text = shown<Values...>(form, values...);
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace ravo

#endif
