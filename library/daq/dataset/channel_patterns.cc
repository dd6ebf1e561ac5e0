#include "channel_patterns.h"

#include <fnmatch.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <regex>
#include <string_view>
#include <utility>

#include "ravo_dataset/errors.h"

namespace ravo::datasets {
namespace {

using name_set = std::set<std::string, std::less<>>;

struct pattern {
  std::string text;
  int member = -1;
};

/// Cuts ":n" off; a channel's own name has no colon.
pattern read_pattern(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return {text, -1};
  int member = -1;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, member);
  if (error != std::errc() || stop != end || member < 0) return {text, -1};
  return {text.substr(0, colon), member};
}

std::vector<std::string> matches_of_regex(const std::string& text, const name_set& names) {
  std::vector<std::string> found;
  try {
    const std::regex expression(text, std::regex::extended);
    for (const std::string& name : names)
      if (std::regex_match(name, expression)) found.push_back(name);
  } catch (const std::regex_error& error) {
    throw selection_error("\"~" + text + "\" is no regular expression: " + error.what());
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

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// How many letters have to be put in, left out or changed, but for their case.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = diagonal + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

std::string nearest_names(const std::string& text, const name_set& names) {
  constexpr std::size_t most = 3;
  std::vector<std::pair<std::size_t, std::string_view>> by_distance;
  for (const std::string& name : names) by_distance.emplace_back(distance(text, name), name);
  const std::size_t count = std::min(most, by_distance.size());
  std::partial_sort(by_distance.begin(), by_distance.begin() + static_cast<std::ptrdiff_t>(count),
                    by_distance.end());
  std::string list;
  for (std::size_t i = 0; i < count; ++i) list += (i == 0 ? "" : ", ") + std::string(by_distance[i].second);
  return list;
}

}  // namespace

std::vector<wanted_channel> match_channels(const std::vector<std::string>& patterns,
                                           const name_set& names) {
  std::vector<wanted_channel> wanted;
  std::set<std::string> labels;
  const auto add = [&](const std::string& name, int member) {
    wanted_channel channel{name, member};
    if (labels.insert(channel.label()).second) wanted.push_back(std::move(channel));
  };
  if (patterns.empty())
    for (const std::string& name : names) add(name, -1);
  for (const std::string& text : patterns) {
    const pattern read = read_pattern(text);
    const std::vector<std::string> found = matches_of(read.text, names);
    if (found.empty())
      throw selection_error("No channel matches \"" + text + "\"" +
                            (names.empty() ? ": the files have no channels"
                                           : "; the nearest are " + nearest_names(read.text, names)));
    for (const std::string& name : found) add(name, read.member);
  }
  return wanted;
}

}  // namespace ravo::datasets
