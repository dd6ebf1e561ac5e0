#include "align/channel_table.h"

#include <set>
#include <utility>

#include "format/event_types.h"
#include "ravo_dataset/errors.h"
#include "select/channel_patterns.h"

namespace ravo::detail {

void channel_table::match(const std::vector<std::string>& patterns, const file_scan& scan,
                          const member_finder& find_member) {
  std::set<std::string, std::less<>> names;
  for (const auto& [name, number] : scan.names.numbers()) names.insert(names.end(), name);
  const auto find_and_note = [&](const std::string& channel, const std::string& member) {
    const int number = find_member(scan.names.number_of(channel), channel, member);
    labels_by_name_[channel + ":" + member] = channel + ":" + std::to_string(number);
    return number;
  };
  for (const wanted_channel& wanted : match_channels(patterns, names, find_and_note)) {
    dataset_channel& channel = channels_.emplace_back();
    channel.label = wanted.label();
    channel.name = wanted.name;
    channel.member = wanted.member;
  }
}

void channel_table::take(const std::vector<exact_channel>& exact) {
  is_exact_ = true;
  for (const exact_channel& channel : exact) {
    const std::string label = wanted_channel{channel.name, channel.member}.label();
    dataset_channel& taken = channels_.emplace_back();
    taken.label = label;
    taken.name = channel.name;
    taken.member = channel.member;
    taken.is_slow = channel.is_slow;
    if (!channel.member_name.empty()) labels_by_name_[channel.name + ":" + channel.member_name] = label;
  }
}

std::string channel_table::member_name_of(std::size_t channel) const {
  const dataset_channel& wanted = channels_[channel];
  if (wanted.member < 0) return "";
  const std::string prefix = wanted.name + ":";
  for (auto at = labels_by_name_.lower_bound(prefix);
       at != labels_by_name_.end() && at->first.starts_with(prefix); ++at)
    if (at->second == wanted.label) return at->first.substr(prefix.size());
  return "";
}

std::vector<timed_file> channel_table::place_in_files(const file_scan& scan) {
  std::vector<std::vector<std::size_t>> channels_by_name(scan.names.size());
  for (std::size_t i = 0; i < channels_.size(); ++i)
    if (const auto name = scan.names.find(channels_[i].name)) channels_by_name[*name].push_back(i);
  std::vector<std::uint32_t> masks(channels_.size(), 0);  // of all files, context included
  std::vector<timed_file> timed;
  for (const scanned_file& scanned : scan.files) {
    if (!scanned.is_readable()) continue;
    timed_file& file = timed.emplace_back();
    file.span = scanned.summary.span;
    file.tables = {scanned.summary, std::vector<channel_place>(channels_.size()),
                   static_cast<std::uint32_t>(timed.size() - 1)};
    for (const scanned_file::channel& listed : scanned.channels)
      for (const std::size_t channel : channels_by_name[listed.name]) {
        channel_place& place = file.tables.places[channel];
        // If a file lists a name twice, its first channel counts.
        if (place.row != channel_place::none) continue;
        place = listed.place;
        masks[channel] |= listed.event_mask;
        if (file.tables.is_context) continue;
        channels_[channel].entries += listed.place.count;
        channels_[channel].files += listed.place.count > 0 ? 1 : 0;
        channels_[channel].data_types |= listed.place.dtype_mask;
        channels_[channel].event_types |= listed.event_mask;
      }
  }
  for (std::size_t i = 0; i < channels_.size() && !is_exact_; ++i)
    channels_[i].is_slow = masks[i] != 0 && (masks[i] & ~slow_event_mask) == 0;
  return timed;
}

std::optional<std::size_t> channel_table::find(std::string_view label) const {
  if (const auto by_member = labels_by_name_.find(label); by_member != labels_by_name_.end())
    label = by_member->second;
  std::optional<std::size_t> by_name;
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    if (channels_[i].label == label) return i;
    if (channels_[i].name != label) continue;
    if (by_name) return std::nullopt;
    by_name = i;
  }
  return by_name;
}

std::size_t channel_table::find_or_throw(std::string_view label) const {
  const auto channel = find(label);
  if (!channel)
    throw selection_error("The dataset has no channel \"" + std::string(label) +
                          "\"; channels are called as the selection names them");
  return *channel;
}

std::vector<std::string> channel_table::names() const {
  std::vector<std::string> names;
  for (const dataset_channel& channel : channels_) names.push_back(channel.name);
  return names;
}

std::vector<bool> channel_table::slow() const {
  std::vector<bool> slow;
  for (const dataset_channel& channel : channels_) slow.push_back(channel.is_slow);
  return slow;
}

std::size_t channel_table::bytes() const {
  // Label and name here, the name on the time line, and the label in each ledger: the dataset's, that of a
  // reading, and its list of missing values.
  constexpr std::size_t copies_of_label = 6;
  // The list of matched channels holds them twice while it grows.
  constexpr std::size_t of_channel =
      sizeof(dataset_channel) + sizeof(channel_ledger) + 2 * sizeof(wanted_channel);
  std::size_t bytes = channels_.size() * of_channel;
  for (const dataset_channel& channel : channels_) bytes += copies_of_label * channel.label.size();
  return bytes;
}

}  // namespace ravo::detail
