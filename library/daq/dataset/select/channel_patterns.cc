#include "select/channel_patterns.h"

#include <fnmatch.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>
#include <regex>
#include <string_view>

#include "ravo_dataset/errors.h"
#include "ravo_dataset/near_names.h"

namespace ravo::detail {
namespace {

using name_set = std::set<std::string, std::less<>>;

struct pattern {
  std::string text;
  int member = -1;
  std::string member_name;  ///< if the pattern names the member
};

bool is_word(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_';
  });
}

/// Cuts off ":n" or ":MEMBER".
pattern read_pattern(const std::string& text, const name_set& names) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos || names.contains(text)) return {text, -1, ""};
  int member = -1;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, member);
  if (error == std::errc() && stop == end && member >= 0) return {text.substr(0, colon), member, ""};
  std::string name = text.substr(colon + 1);
  if (!is_word(name)) return {text, -1, ""};
  return {text.substr(0, colon), -1, std::move(name)};
}

std::vector<std::string> matches_of_regex(const std::string& text, const name_set& names) {
  std::vector<std::string> found;
  try {
    const std::regex expression(text, std::regex::extended);
    for (const std::string& name : names)
      if (std::regex_match(name, expression)) found.push_back(name);
  } catch (const std::regex_error& error) {
    throw pattern_error("\"~" + text + "\" is no regular expression: " + error.what());
  }
  return found;
}

std::vector<std::string> matches_of(const std::string& text, const name_set& names) {
  if (names.contains(text)) return {text};
  if (text.starts_with('~')) return matches_of_regex(text.substr(1), names);
  std::vector<std::string> found;
  if (text.find_first_of("*?[") == std::string::npos) return found;
  for (const std::string& name : names)
    if (fnmatch(text.c_str(), name.c_str(), 0) == 0) found.push_back(name);
  return found;
}

std::string suggestion(const std::string& text, const name_set& names) {
  if (names.empty()) return ": the files have no channels";
  const std::vector<std::string> near = near_names(text, {names.begin(), names.end()});
  if (!near.empty()) return "; did you mean " + join_or(near) + "?";
  return "; the files have " + std::to_string(names.size()) +
         (names.size() == 1 ? " channel, of another name" : " channels, none of a name like it");
}

}  // namespace

std::vector<wanted_channel> match_channels(const std::vector<std::string>& patterns, const name_set& names,
                                           const member_finder& find_member) {
  std::vector<wanted_channel> wanted;
  std::set<std::string> labels;
  const auto add = [&](const std::string& name, int member) {
    wanted_channel channel{name, member};
    if (labels.insert(channel.label()).second) wanted.push_back(std::move(channel));
  };
  if (patterns.empty())
    for (const std::string& name : names) add(name, -1);
  for (const std::string& text : patterns) {
    const pattern read = read_pattern(text, names);
    const std::vector<std::string> found = matches_of(read.text, names);
    if (found.empty())
      throw selection_error("No channel matches \"" + text + "\"" + suggestion(read.text, names));
    for (const std::string& name : found)
      add(name, read.member_name.empty() ? read.member : find_member(name, read.member_name));
  }
  return wanted;
}

}  // namespace ravo::detail
