// Checks one channel of a file: its row of pointers, the heads of its blocks, and,
// unless only heads are wanted, every block through the decoder that readers use.
#ifndef RAVO_VERIFY_CHANNEL_CHECK_H
#define RAVO_VERIFY_CHANNEL_CHECK_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "checked_file.h"
#include "file_map.h"
#include "finding_list.h"
#include "shift.h"

namespace ravo::checks {

/// State shared by the channels of a file while they are checked in parallel.
struct channel_surroundings {
  channel_surroundings(const checked_file& its_file, const file_map& its_map, verification_depth how_deep)
      : file(its_file),
        map(its_map),
        deep(how_deep),
        usual(find_usual_times(its_map)),
        channels_of_server(its_map.servers.size()),
        bytes_of_server(its_map.servers.size()) {}

  const checked_file& file;
  const file_map& map;
  verification_depth deep;
  usual_times usual;
  std::mutex large_channel;  ///< locked while one is checked, for the same reason; before large_block
  std::mutex large_block;    ///< locked while one is decoded, so that memory holds only one of them
  // Sums over the blocks, for each server block.
  std::vector<std::atomic<std::uint32_t>> channels_of_server;
  std::vector<std::atomic<std::uint64_t>> bytes_of_server;
  std::atomic<std::uint64_t> blocks{0};
  /// Called now and then, by each thread, with the bytes checked since; may throw to end the check.
  std::function<void(std::uint64_t)> report;
};

template <class G>
finding_list check_channel(channel_surroundings& around, std::size_t row);

/// Checks that a channel without events names no event types.
template <class G>
void check_idle_mask(const file_map& map, std::size_t row, finding_list& findings);

}  // namespace ravo::checks

#endif
