// Whether texts out of a file meet the rules for texts of raw files.
#ifndef RAVO_VERIFY_TEXTS_H
#define RAVO_VERIFY_TEXTS_H

#include <algorithm>
#include <string>
#include <string_view>

#include "shared/json_lines.h"

namespace ravo::checks {

/// Whether a text is UTF-8.
inline bool is_utf8(std::string_view text) {
  const auto is_ascii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
  if (std::all_of(text.begin(), text.end(), is_ascii)) return true;
  try {
    json(std::string(text)).dump();  // which refuses what is not UTF-8
    return true;
  } catch (const json::type_error&) {
    return false;
  }
}

}  // namespace ravo::checks

#endif
