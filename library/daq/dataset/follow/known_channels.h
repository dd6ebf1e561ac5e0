// The channels of the files that were taken so far, and which of them a selection's patterns mean: patterns
// go on to find channels that only later files have.
#ifndef RAVO_DATASET_KNOWN_CHANNELS_H
#define RAVO_DATASET_KNOWN_CHANNELS_H

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ravo_dataset/dataset.h"

namespace ravo::detail {

class known_channels {
 public:
  /// Finds a member that a pattern calls by name, in a file that has the channel; throws selection_error.
  using member_in_file =
      std::function<int(const std::string& path, const std::string& channel, const std::string& member)>;

  known_channels(const selection& wanted, member_in_file find_member)
      : wanted_(wanted), find_member_(std::move(find_member)) {}

  /// Adds the channels of a file of a stream.
  void add(const std::vector<dataset_channel>& channels, const std::string& path, std::size_t stream);

  /// The channels that the patterns mean, as a dataset of all files so far would have them. Throws
  /// pattern_error.
  const std::vector<exact_channel>& resolve();
  /// The patterns that nothing matches, by the last resolve().
  const std::vector<std::string>& unmatched() const { return unmatched_; }
  /// The streams whose files have a channel.
  std::set<std::size_t> streams_of(const std::string& name) const {
    const auto known = known_.find(name);
    return known == known_.end() ? std::set<std::size_t>() : known->second.streams;
  }

 private:
  struct known_channel {
    std::uint32_t event_types = 0;
    std::set<std::size_t> streams;
    std::string path;  ///< of a file that has values of it
  };
  int find_member(const std::string& channel, const std::string& member);

  const selection& wanted_;
  member_in_file find_member_;
  std::map<std::string, known_channel, std::less<>> known_;
  std::set<std::string, std::less<>> names_;
  std::map<std::pair<std::string, std::string>, int> members_;
  bool is_resolved_ = false;
  std::vector<exact_channel> resolved_;
  std::vector<std::string> unmatched_;
};

}  // namespace ravo::detail

#endif
