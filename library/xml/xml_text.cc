// Checks characters: well-formed UTF-8, shortest form, no surrogates, no forbidden control characters.
// Resolves the references that XML has without a document type; no others are supported, so nothing in a
// file can make the reader open anything else.
#include "xml_text.h"

#include <charconv>
#include <cstdint>

#include "format/utf8.h"

namespace ravo::xml {

namespace {

struct named_reference {
  std::string_view name;
  char character;
};

constexpr named_reference named_references[] = {
    {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};

std::string encode(std::uint32_t code) {
  const auto tail = [&](int shift) { return static_cast<char>(0x80 | ((code >> shift) & 0x3f)); };
  if (code < 0x80) return {static_cast<char>(code)};
  if (code < 0x800) return {static_cast<char>(0xc0 | code >> 6), tail(0)};
  if (code < 0x10000) return {static_cast<char>(0xe0 | code >> 12), tail(6), tail(0)};
  return {static_cast<char>(0xf0 | code >> 18), tail(12), tail(6), tail(0)};
}

// The text of a reference, given without its '&' and ';'; empty if there is no such reference.
std::string resolve(std::string_view reference) {
  for (const named_reference& row : named_references)
    if (row.name == reference) return {row.character};
  if (reference.size() < 2 || reference[0] != '#') return {};
  const int base = reference[1] == 'x' ? 16 : 10;
  const std::string_view digits = reference.substr(base == 16 ? 2 : 1);
  std::uint32_t code = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code, base);
  if (error != std::errc() || end != digits.data() + digits.size() || code > 0x10ffff) return {};
  const std::string character = encode(code);
  return is_allowed(character) ? character : std::string();
}

}  // namespace

std::size_t character_length(std::string_view text) {
  const std::size_t length = utf8_character_length(text);
  if (length != 1) return length;
  const auto first = static_cast<unsigned char>(text[0]);
  return first >= 0x20 || first == '\t' || first == '\n' || first == '\r' ? 1 : 0;
}

bool is_allowed(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = character_length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::optional<std::string> attribute_value(std::string_view raw) {
  std::string value;
  while (!raw.empty()) {
    const char c = raw.front();
    if (c == '<') return std::nullopt;
    if (c != '&') {
      value += c == '\t' || c == '\n' || c == '\r' ? ' ' : c;
      raw.remove_prefix(1);
      continue;
    }
    const std::size_t end = raw.find(';');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string character = resolve(raw.substr(1, end - 1));
    if (character.empty()) return std::nullopt;
    value += character;
    raw.remove_prefix(end + 1);
  }
  return value;
}

}  // namespace ravo::xml
