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

std::vector<timed_file> channel_table::place_in_files(const file_scan& scan) {
  std::vector<std::vector<std::size_t>> channels_by_name(scan.names.size());
  for (std::size_t i = 0; i < channels_.size(); ++i)
    channels_by_name[scan.names.number_of(channels_[i].name)].push_back(i);
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
        channels_[channel].entries += listed.place.count;
        channels_[channel].files += listed.place.count > 0 ? 1 : 0;
        channels_[channel].data_types |= listed.place.dtype_mask;
        channels_[channel].event_types |= listed.event_mask;
      }
  }
  for (dataset_channel& channel : channels_)
    channel.is_slow = channel.event_types != 0 && (channel.event_types & ~slow_event_mask) == 0;
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
