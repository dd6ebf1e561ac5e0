#include "ravo_dataset/near_names.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace ravo {
namespace {

char folded(char letter) { return static_cast<char>(std::toupper(static_cast<unsigned char>(letter))); }

// The edit distance of two words: letters changed, inserted or removed; case does not count.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = diagonal + (folded(a[i - 1]) == folded(b[j - 1]) ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
    }
  }
  return row[b.size()];
}

std::string_view last_part(std::string_view name) {
  const auto slash = name.rfind('/');
  return slash == std::string_view::npos ? name : name.substr(slash + 1);
}

// A name typed without its leading parts counts as near, too.
std::size_t distance_of_name(std::string_view wanted, std::string_view name) {
  return std::min(distance(wanted, name), distance(wanted, last_part(name)) + 1);
}

}  // namespace

std::vector<std::string> near_names(std::string_view wanted, const std::vector<std::string>& names) {
  struct candidate {
    std::size_t distance;
    const std::string* name;
  };
  const auto pattern_at = wanted.find_first_of("*?[");
  const bool is_pattern = pattern_at != std::string_view::npos;
  wanted = wanted.substr(0, pattern_at);
  if (wanted.empty()) return {};
  const std::size_t most = wanted.size() / 4 + 1;
  std::vector<candidate> candidates;
  for (const std::string& name : names) {
    const std::string_view compared =
        std::string_view(name).substr(0, is_pattern ? wanted.size() : name.size());
    const std::size_t far = is_pattern ? distance(wanted, compared) : distance_of_name(wanted, name);
    const bool is_part = !is_pattern && wanted.size() > 2 && name.find(wanted) != std::string::npos;
    // A word whose letters all have to be changed is not near, however short it is.
    if ((far <= most && far < wanted.size()) || is_part) candidates.push_back({far, &name});
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const candidate& a, const candidate& b) { return a.distance < b.distance; });
  std::vector<std::string> near;
  for (const candidate& one : candidates) {
    // Next to a name that is almost right, one that is half right only confuses.
    if (near.size() == 3 || one.distance > 2 * candidates.front().distance + 1) break;
    near.push_back(*one.name);
  }
  return near;
}

std::string join_or(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " or " : ", ";
    text += words[i];
  }
  return text;
}

}  // namespace ravo
