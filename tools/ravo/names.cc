#include "names.h"

#include <fnmatch.h>

#include <algorithm>
#include <cctype>

namespace ravo::tool {
namespace {

char folded(char letter) { return static_cast<char>(std::toupper(static_cast<unsigned char>(letter))); }

// How many letters must be changed, put in or left out to make one word of the other, capitals alike.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = diagonal + (folded(a[i - 1]) == folded(b[j - 1]) ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
    }
  }
  return row[b.size()];
}

std::string last_part(std::string_view name) {
  const auto slash = name.rfind('/');
  return std::string(slash == std::string_view::npos ? name : name.substr(slash + 1));
}

}  // namespace

bool is_pattern(std::string_view text) { return text.find_first_of("*?[") != std::string_view::npos; }

bool matches(const std::string& pattern, const std::string& name) {
  return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

std::vector<std::string> near_names(std::string_view wanted, const std::vector<std::string>& names) {
  struct candidate {
    std::size_t distance;
    const std::string* name;
  };
  const std::size_t most = wanted.size() / 4 + 1;
  std::vector<candidate> candidates;
  for (const std::string& name : names) {
    // A name typed without its leading parts counts as near, too.
    const std::size_t far = std::min(distance(wanted, name), distance(wanted, last_part(name)) + 1);
    if (far <= most || (wanted.size() > 2 && name.find(wanted) != std::string::npos))
      candidates.push_back({far, &name});
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const candidate& a, const candidate& b) { return a.distance < b.distance; });
  std::vector<std::string> near;
  for (const candidate& one : candidates) {
    // Beside a name that is almost right, one that is half right only confuses.
    if (near.size() == 3 || one.distance > 2 * candidates.front().distance + 1) break;
    near.push_back(*one.name);
  }
  return near;
}

std::string shown_name(const std::string& name) {
  return name.empty() || name.find(' ') != std::string::npos ? "'" + name + "'" : name;
}

std::string join_or(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " or " : ", ";
    text += words[i];
  }
  return text;
}

}  // namespace ravo::tool
