#include "verify/block_places.h"

#include <algorithm>
#include <functional>
#include <unordered_map>

namespace ravo::verify {
namespace {

// Whether each event is in the longest list that rises, by piling up: of all lists of a length the one that
// ends lowest is kept, and each event remembers which one it continues.
std::vector<bool> find_rising(const std::vector<std::uint32_t>& offsets) {
  constexpr std::size_t none = static_cast<std::size_t>(-1);
  std::vector<std::size_t> ends;  // of the list of each length
  std::vector<std::size_t> before(offsets.size(), none);
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    const auto end =
        std::lower_bound(ends.begin(), ends.end(), offsets[i],
                         [&](std::size_t event, std::uint32_t offset) { return offsets[event] < offset; });
    if (end != ends.begin()) before[i] = *std::prev(end);
    if (end == ends.end())
      ends.push_back(i);
    else if (offsets[i] != offsets[*end])  // of equal ones the first stays
      *end = i;
  }
  std::vector<bool> rising(offsets.size());
  for (std::size_t i = ends.empty() ? none : ends.back(); i != none; i = before[i]) rising[i] = true;
  return rising;
}

}  // namespace

block_places judge_places(const std::vector<std::uint32_t>& offsets) {
  block_places found;
  if (std::is_sorted(offsets.begin(), offsets.end(), std::less_equal<>())) return found;
  const std::vector<bool> rising = find_rising(offsets);
  std::unordered_map<std::uint32_t, std::size_t> owners;
  for (std::size_t i = 0; i < offsets.size(); ++i)
    if (rising[i]) owners.emplace(offsets[i], i);
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    if (rising[i]) continue;
    const auto [owner, is_first] = owners.emplace(offsets[i], i);
    if (is_first)
      found.displaced.push_back(i);
    else
      found.repeated.push_back({i, owner->second});
  }
  return found;
}

}  // namespace ravo::verify
