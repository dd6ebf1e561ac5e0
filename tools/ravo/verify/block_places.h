// Where the blocks of one channel stand in its basket: a writer puts them one behind another in the order
// of the events, each once. It looks at offsets alone; what stands there is channel_check's matter.
#ifndef RAVO_VERIFY_BLOCK_PLACES_H
#define RAVO_VERIFY_BLOCK_PLACES_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ravo::verify {

/// An event that leads to a block to which another event leads too.
struct repeated_place {
  std::size_t event;
  std::size_t same_as;  ///< the event whose block it is, as far as the others tell
};

/// Counts from 0, each list rising.
struct block_places {
  std::vector<repeated_place> repeated;
  std::vector<std::size_t> displaced;  ///< not where their neighbours let expect them
};

/// Judges the offsets of a channel's blocks, event after event. As few events as possible are named: those
/// that have to be left out for the others to rise.
block_places judge_places(const std::vector<std::uint32_t>& offsets);

/// As few places as possible, rising, without which no value is below the one before it; where that leaves
/// a choice, what is left ends as low as it can.
std::vector<std::size_t> find_falling(const std::vector<std::int64_t>& values);

}  // namespace ravo::verify

#endif
