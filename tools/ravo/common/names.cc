#include "common/names.h"

#include <fmt/format.h>
#include <fnmatch.h>

#include "common/failure.h"
#include "common/raw_file.h"

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

std::size_t find_channel(const raw_file& file, const std::string& name) {
  std::vector<std::string> names;
  const auto channels = file.channels();
  for (std::size_t i = 0; i < channels.size(); ++i) {
    if (name == channels[i].chan_name) return i;
    names.emplace_back(channels[i].chan_name);
  }
  throw data_failure(
      fmt::format("{}: no channel {}; {}", file.path(), shown_name(name),
                  suggestion(name, names, "`ravo channels FILE` lists those that are there")));
}

std::string shown_name(const std::string& name) {
  return name.empty() || name.find(' ') != std::string::npos ? "'" + name + "'" : name;
}

}  // namespace ravo::tool
