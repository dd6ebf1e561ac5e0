// Moves a channel's basket to the end of a simulated file, so that its
// blocks can have another order or other lengths while nothing else
// moves. Its old bytes become bytes between parts, which have no meaning.
#ifndef RAVO_SIMULATOR_MOVED_BASKET_H
#define RAVO_SIMULATOR_MOVED_BASKET_H

#include <cstddef>
#include <functional>
#include <vector>

#include "faults/raw_image.h"

namespace ravo::simulator {

/// Edits a block with its padding; the number is that of its event in the row.
using block_edit = std::function<void(std::size_t event, std::vector<unsigned char>& block)>;

/// Writes the blocks of the channel in the order of `events`, which names each of
/// its events once. The channel's entries point to their new places afterwards.
void move_basket(
    raw_image& image, image_channel& channel, const std::vector<std::size_t>& events,
    const block_edit& edit = [](std::size_t, std::vector<unsigned char>&) {});

}  // namespace ravo::simulator

#endif
