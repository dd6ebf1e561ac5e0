#include "common/names.h"

#include <fnmatch.h>

namespace ravo::tool {
bool is_pattern(std::string_view text) { return text.find_first_of("*?[") != std::string_view::npos; }

bool matches(const std::string& pattern, const std::string& name) {
  return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

std::string suggestion(std::string_view wanted, const std::vector<std::string>& names,
                       const char* otherwise) {
  const std::vector<std::string> near = near_names(wanted, names);
  return near.empty() ? otherwise : "did you mean " + join_or(near) + "?";
}

std::string shown_name(const std::string& name) {
  return name.empty() || name.find(' ') != std::string::npos ? "'" + name + "'" : name;
}

}  // namespace ravo::tool
