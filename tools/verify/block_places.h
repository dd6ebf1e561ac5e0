// The positions of one channel's blocks in its basket: a writer stores them back to back in the
// order of the events, each once. Only offsets are checked here; channel_check checks the blocks.
#ifndef RAVO_VERIFY_BLOCK_PLACES_H
#define RAVO_VERIFY_BLOCK_PLACES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ravo::checks {

/// An event that leads to a block to which another event leads too.
struct repeated_place {
  std::size_t event;
  std::size_t same_as;  ///< the event that owns the block, judging by the others
};

/// Indices count from 0, each list rises.
struct block_places {
  std::vector<repeated_place> repeated;
  std::vector<std::size_t> displaced;  ///< not in order with their neighbours
};

/// Judges the offsets of a channel's blocks, event after event. Names
/// as few events as possible: those without which the others rise.
block_places judge_places(const std::vector<std::uint32_t>& offsets);

/// The fewest places, rising, without which no value is below the one before
/// it; if there is a choice, the remaining values end as low as possible.
std::vector<std::size_t> find_falling(const std::vector<std::int64_t>& values);

}  // namespace ravo::checks

#endif
