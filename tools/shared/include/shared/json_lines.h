// JSON for machines: one object per line, its members in the order of insertion.
#ifndef RAVO_SHARED_JSON_LINES_H
#define RAVO_SHARED_JSON_LINES_H

#include <nlohmann/json.hpp>
#include <string>

#include "shared/escaping.h"

namespace ravo {

using json = nlohmann::ordered_json;

/// The object and a line end. Bytes that are not UTF-8 (names out of a file may
/// contain any) are replaced, and characters that a terminal obeys are escaped.
inline std::string json_line(const json& object) {
  return escaped_json(object.dump(-1, ' ', false, json::error_handler_t::replace)) + "\n";
}

}  // namespace ravo

#endif
