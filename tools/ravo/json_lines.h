// JSON for machines: one object a line, its members in the order in which they were put in.
#ifndef RAVO_TOOL_JSON_LINES_H
#define RAVO_TOOL_JSON_LINES_H

#include <nlohmann/json.hpp>
#include <string>

namespace ravo::tool {

using json = nlohmann::ordered_json;

/// The object and a line end. Bytes that are no UTF-8 (names out of a file may hold any) are replaced.
inline std::string json_line(const json& object) {
  return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace ravo::tool

#endif
