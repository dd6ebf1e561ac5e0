#include "block_places.h"

#include <algorithm>
#include <functional>
#include <unordered_map>

namespace ravo::checks {
namespace {

// Whether each value is in the longest list in which each one may follow the one before. Patience sorting:
// for each length the list with the lowest end is kept, and each value remembers the one it continues.
template <class Value, class MayFollow>
std::vector<bool> find_rising(const std::vector<Value>& values, const MayFollow& may_follow) {
  constexpr std::size_t none = static_cast<std::size_t>(-1);
  std::vector<std::size_t> ends;  // the last value of the list of each length
  std::vector<std::size_t> before(values.size(), none);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto end = std::partition_point(
        ends.begin(), ends.end(), [&](std::size_t other) { return may_follow(values[other], values[i]); });
    if (end != ends.begin()) before[i] = *std::prev(end);
    if (end == ends.end())
      ends.push_back(i);
    else if (values[i] != values[*end])  // of equal values the first stays
      *end = i;
  }
  std::vector<bool> rising(values.size());
  for (std::size_t i = ends.empty() ? none : ends.back(); i != none; i = before[i]) rising[i] = true;
  return rising;
}

}  // namespace

block_places judge_places(const std::vector<std::uint32_t>& offsets) {
  block_places found;
  if (std::is_sorted(offsets.begin(), offsets.end(), std::less_equal<>())) return found;
  const std::vector<bool> rising = find_rising(offsets, std::less<>());
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

std::vector<std::size_t> find_falling(const std::vector<std::int64_t>& values) {
  std::vector<std::size_t> falling;
  if (std::is_sorted(values.begin(), values.end())) return falling;
  const std::vector<bool> rising = find_rising(values, std::less_equal<>());
  for (std::size_t i = 0; i < values.size(); ++i)
    if (!rising[i]) falling.push_back(i);
  return falling;
}

}  // namespace ravo::checks
