#include "faults/moved_basket.h"

#include <algorithm>

namespace ravo::simulator {
namespace {

constexpr std::uint32_t basket_head = 8, reference_size = 168, first_basket = 164, tail_size = 4;
constexpr std::uint32_t to_block = 8, to_data = 12;  // in an entry of the pointers

std::uint32_t basket_of(const image_channel& channel) { return channel.events.front().block - basket_head; }

std::vector<unsigned char> block_at(const raw_image& image, const image_entry& entry) {
  const std::uint32_t length = (image.word(image.length(entry)) + 3) / 4 * 4;
  const auto begin = image.bytes.begin() + entry.block;
  return {begin, begin + length};
}

// The tail points to the last copy of the reference table.
void end_with_reference_table(raw_image& image) {
  const std::vector<unsigned char> table(image.bytes.begin() + image.reference,
                                         image.bytes.begin() + image.reference + reference_size);
  image.reference = image.size();
  image.bytes.insert(image.bytes.end(), table.begin(), table.end());
  image.bytes.resize(image.bytes.size() + tail_size);
  image.put(image.size() - tail_size, image.reference);
}

}  // namespace

void move_basket(raw_image& image, image_channel& channel, const std::vector<std::size_t>& events,
                 const block_edit& edit) {
  const std::uint32_t before = basket_of(channel), basket = image.size();
  image.bytes.resize(basket + basket_head);
  image.put(basket, image.word(before));
  for (const std::size_t event : events) {
    image_entry& entry = channel.events.at(event);
    std::vector<unsigned char> block = block_at(image, entry);
    edit(event, block);
    entry.block = image.size();
    entry.data = entry.block + image.layout.block_head;
    image.put(entry.at + to_block, entry.block);
    image.put(entry.at + to_data, entry.data);
    image.bytes.insert(image.bytes.end(), block.begin(), block.end());
  }
  image.put(basket + 4, image.size() - basket);
  end_with_reference_table(image);
  if (image.word(image.reference + first_basket) != before) return;
  std::uint32_t first = basket;
  for (const image_channel& other : image.channels)
    if (&other != &channel && !other.events.empty()) first = std::min(first, basket_of(other));
  image.put(image.reference + first_basket, first);
}

}  // namespace ravo::simulator
