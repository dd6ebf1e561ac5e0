// When which channels have values, as far as the tables of the files say: for pictures of long periods and
// many channels. Nothing is decoded, and no block is read; so whether a value can be read is not known.
#ifndef RAVO_DATASET_AVAILABILITY_H
#define RAVO_DATASET_AVAILABILITY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace ravo {

struct availability_options {
  std::size_t bins = 1000;  ///< but no more than microseconds
  /// A part of the time, in microseconds since 1970: from the first on, up to but without the last. Left
  /// out: the time of the first event of the selection, and that of the last.
  std::optional<std::int64_t> from{};
  std::optional<std::int64_t> to{};
  std::stop_token stop{};  ///< ends the reading with read_cancelled
};

/// One channel in one bin of time.
struct availability_bin {
  std::uint64_t recorded = 0;  ///< events with a block of the channel, with which the tables find no fault
  std::uint64_t damaged = 0;   ///< events of the channel whose block cannot be found: tables disagree
  /// Whether a file that cannot be read is from this time and has, or may have, values of the channel.
  bool is_file_missing = false;
};

struct channel_availability {
  std::string channel;
  std::vector<availability_bin> bins;
};

struct availability_map {
  /// Bin i is from edges[i] up to but without edges[i + 1], in microseconds since 1970.
  std::vector<std::int64_t> edges;
  std::vector<channel_availability> channels;  ///< in the order of the dataset
};

}  // namespace ravo

#endif
