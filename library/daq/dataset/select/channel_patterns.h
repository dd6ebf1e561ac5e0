// The channels that a selection's patterns mean among those that files have.
#ifndef RAVO_DATASET_CHANNEL_PATTERNS_H
#define RAVO_DATASET_CHANNEL_PATTERNS_H

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace ravo::detail {

/// A channel that is read.
struct wanted_channel {
  std::string name;
  int member = -1;  ///< -1: the whole channel
  /// "NAME" or "NAME:member".
  std::string label() const { return member < 0 ? name : name + ":" + std::to_string(member); }
  bool operator==(const wanted_channel&) const = default;
};

/// Returns the number of a member that a channel's pattern calls by name. Throws selection_error if the
/// channel has no such member.
using member_finder = std::function<int(const std::string& channel, const std::string& member)>;

/// The matching channels, in the order of the patterns and within one in that of the names, each once. No
/// patterns: all. Throws selection_error if nothing matches a pattern, and suggests the nearest names.
std::vector<wanted_channel> match_channels(const std::vector<std::string>& patterns,
                                           const std::set<std::string, std::less<>>& names,
                                           const member_finder& find_member);

}  // namespace ravo::detail

#endif
