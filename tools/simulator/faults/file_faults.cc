// What copy jobs, full disks and crashes do to whole files.
#include <algorithm>

#include "faults/choice.h"

namespace ravo::simulator {
namespace {

using findings = std::vector<expected_finding>;

// Cut at the offset, or a little before it: the last word must not point anywhere by chance.
findings cut(raw_image& image, std::size_t length) {
  do {
    image.bytes.resize(length--);
  } while (image.bytes.size() >= 4 && image.word(image.bytes.size() - 4) < image.bytes.size());
  return {{"file.reference", "", {}, image.bytes.size() - 4}};
}

findings empty(raw_image& image) {
  image.bytes.clear();
  return {{"file.reference", "", {}, 0}};
}

findings truncated(raw_image& image) { return cut(image, image.reference + 40); }

findings cut_in_basket(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::anyhow);
  return cut(image, channel.events[middle(channel.events)].data + 10);
}

findings lost_tail(raw_image& image) {
  image.put(image.size() - 4, image.size());
  return {{"file.reference", "", {}, image.size() - 4}};
}

findings bad_signature(raw_image& image) {
  image.bytes.at(3) = '?';
  return {{"file.signature", "", {}, 0}};
}

// A hole that a copy job left: zeros where a block was.
findings hole(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::compressed);
  const image_entry& entry = channel.events[middle(channel.events)];
  std::fill_n(image.bytes.begin() + entry.block, image.word(image.length(entry)),
              static_cast<unsigned char>(0));
  return {{"block.type", channel.name, number_of(image, entry.event), entry.block}};
}

constexpr fault_kind kinds[] = {
    {"empty", "nothing is left of the file", empty},
    {"truncated", "the end is cut off, within the reference table", truncated},
    {"cut-in-basket", "the end is cut off, within a block", cut_in_basket},
    {"lost-tail", "the last word leads nowhere", lost_tail},
    {"bad-signature", "the first bytes are overwritten", bad_signature},
    {"hole", "zeros where a block was", hole},
};

}  // namespace

std::span<const fault_kind> file_faults() { return kinds; }

}  // namespace ravo::simulator
