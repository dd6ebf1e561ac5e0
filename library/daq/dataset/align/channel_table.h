// The channels of a dataset: which ones the selection's patterns mean, by which labels they are asked for,
// and which of them are slow.
#ifndef RAVO_DATASET_CHANNEL_TABLE_H
#define RAVO_DATASET_CHANNEL_TABLE_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "align/file_scan.h"
#include "align/timeline.h"
#include "ravo_dataset/dataset.h"

namespace ravo::detail {

class channel_table {
 public:
  /// Returns the number of a member that a pattern calls by its name. `name` is the number of the channel
  /// among the names of the scan. Throws selection_error.
  using member_finder =
      std::function<int(std::uint32_t name, const std::string& channel, const std::string& member)>;

  /// Finds the channels. Throws selection_error.
  void match(const std::vector<std::string>& patterns, const file_scan& scan,
             const member_finder& find_member);
  /// Takes channels that were found before, whether or not the files have them.
  void take(const std::vector<exact_channel>& exact);
  /// Finds the channels in the scanned files, counts their entries, and finds out which are slow.
  std::vector<timed_file> place_in_files(const file_scan& scan);

  const std::vector<dataset_channel>& all() const { return channels_; }
  std::size_t size() const { return channels_.size(); }
  const dataset_channel& operator[](std::size_t channel) const { return channels_[channel]; }
  auto begin() const { return channels_.begin(); }
  auto end() const { return channels_.end(); }

  /// The position of a channel by its label, or by its name if only one channel has that name.
  std::optional<std::size_t> find(std::string_view label) const;
  /// The same. Throws selection_error.
  std::size_t find_or_throw(std::string_view label) const;

  /// The name by which a pattern called a channel's member; empty if it had none.
  std::string member_name_of(std::size_t channel) const;

  /// Of each channel.
  std::vector<std::string> names() const;
  std::vector<bool> slow() const;
  /// Bytes that the channels take, here and elsewhere.
  std::size_t bytes() const;

 private:
  std::vector<dataset_channel> channels_;
  bool is_exact_ = false;
  std::map<std::string, std::string, std::less<>> labels_by_name_;  ///< of "NAME:MEMBER": "NAME:n"
};

}  // namespace ravo::detail

#endif
