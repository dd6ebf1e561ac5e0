#include "follow/known_channels.h"

#include "format/event_types.h"
#include "ravo_dataset/errors.h"
#include "select/channel_patterns.h"

namespace ravo::detail {

void known_channels::add(const std::vector<dataset_channel>& channels, const std::string& path,
                         std::size_t stream) {
  is_resolved_ = false;
  for (const dataset_channel& channel : channels) {
    names_.insert(channel.name);
    known_channel& known = known_[channel.name];
    known.event_types |= channel.event_types;
    if (channel.entries == 0) continue;
    known.streams.insert(stream);
    known.path = path;
  }
}

int known_channels::find_member(const std::string& channel, const std::string& member) {
  const auto known = members_.find({channel, member});
  if (known != members_.end()) return known->second;
  return members_[{channel, member}] = find_member_(known_.at(channel).path, channel, member);
}

const std::vector<exact_channel>& known_channels::resolve() {
  if (!wanted_.exact.empty()) return wanted_.exact;
  if (is_resolved_) return resolved_;
  const member_finder find = [this](const std::string& channel, const std::string& member) {
    return find_member(channel, member);
  };
  std::vector<std::string> matching;
  unmatched_.clear();
  for (const std::string& pattern : wanted_.channels) {
    try {
      match_channels({pattern}, names_, find);
      matching.push_back(pattern);
    } catch (const pattern_error&) {
      throw;
    } catch (const selection_error&) {
      unmatched_.push_back(pattern);
    }
  }
  resolved_.clear();
  const bool has_nothing = matching.empty() && !wanted_.channels.empty();
  const auto found = has_nothing ? std::vector<wanted_channel>() : match_channels(matching, names_, find);
  for (const wanted_channel& channel : found) {
    const std::uint32_t types = known_.at(channel.name).event_types;
    exact_channel& exact = resolved_.emplace_back();
    exact.name = channel.name;
    exact.member = channel.member;
    exact.is_slow = types != 0 && (types & ~slow_event_mask) == 0;
    for (const auto& [called, number] : members_)
      if (called.first == channel.name && number == channel.member) exact.member_name = called.second;
  }
  is_resolved_ = true;
  return resolved_;
}

}  // namespace ravo::detail
