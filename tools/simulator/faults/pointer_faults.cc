// Damage in the event channel pointers.
#include <algorithm>

#include "faults/choice.h"
#include "faults/moved_basket.h"

namespace ravo::simulator {
namespace {

using findings = std::vector<expected_finding>;

constexpr std::uint32_t outside = 0xfffffff0;
// Offsets in an entry.
constexpr std::uint32_t to_event = 0, to_server = 4, to_block = 8, to_data = 12;
constexpr std::uint32_t basket_head = 8;

struct chosen_entry {
  const image_channel& channel;
  const image_entry& entry;
  std::uint32_t number;
};

chosen_entry choose(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::anyhow);
  const image_entry& entry = channel.events[middle(channel.events)];
  return {channel, entry, number_of(image, entry.event)};
}

findings lead(raw_image& image, const chosen_entry& chosen, std::uint32_t word, std::uint32_t where,
              const char* kind) {
  image.put(chosen.entry.at + word, where);
  expected_finding line{kind, chosen.channel.name, chosen.number, chosen.entry.at + word};
  if (word == to_event) line.event.reset();
  return {line};
}

findings event_outside(raw_image& image) {
  return lead(image, choose(image), to_event, outside, "pointer.event_header");
}
findings event_between(raw_image& image) {
  const chosen_entry chosen = choose(image);
  return lead(image, chosen, to_event, chosen.entry.event + 4, "pointer.event_header");
}
findings server_outside(raw_image& image) {
  return lead(image, choose(image), to_server, outside, "pointer.server_block");
}
findings server_of_another(raw_image& image) {
  const chosen_entry chosen = choose(image);
  return lead(image, chosen, to_server, (&chosen.entry + 1)->server, "pointer.server_block");
}
findings block_outside(raw_image& image) {
  return lead(image, choose(image), to_block, outside, "pointer.block");
}
findings block_in_the_tail(raw_image& image) {
  return lead(image, choose(image), to_block, image.size() - 8, "pointer.block");
}
findings block_of_another(raw_image& image) {
  const chosen_entry chosen = choose(image);
  for (const image_channel& other : image.channels)
    if (&other != &chosen.channel && !other.events.empty())
      return lead(image, chosen, to_block, other.events.back().block, "pointer.block");
  throw simulation_failed("the file has one channel with data only");
}
findings data_elsewhere(raw_image& image) {
  const chosen_entry chosen = choose(image);
  return lead(image, chosen, to_data, chosen.entry.data + 4, "pointer.data");
}
findings first_block_outside(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::anyhow);
  const image_entry& entry = channel.events.front();
  return lead(image, {channel, entry, number_of(image, entry.event)}, to_block, outside, "pointer.block");
}

findings empty_entry(raw_image& image) {
  const chosen_entry chosen = choose(image);
  for (const std::uint32_t word : {to_server, to_block, to_data}) image.put(chosen.entry.at + word, 0);
  return lead(image, chosen, to_event, 0, "pointer.event_header");
}

findings swapped(raw_image& image) {
  const chosen_entry chosen = choose(image);
  const std::uint32_t here = chosen.entry.at, next = (&chosen.entry + 1)->at;
  for (const std::uint32_t word : {to_event, to_server, to_block, to_data}) {
    const std::uint32_t mine = image.word(here + word);
    image.put(here + word, image.word(next + word));
    image.put(next + word, mine);
  }
  return {{"pointer.order", chosen.channel.name, chosen.number, next}};
}

findings shared_block(raw_image& image) {
  const chosen_entry chosen = choose(image);
  const image_entry& before = *(&chosen.entry - 1);
  image.put(chosen.entry.at + to_data, before.data);
  return lead(image, chosen, to_block, before.block, "pointer.block");
}

findings distant_block(raw_image& image) {
  constexpr std::size_t enough = 5, away = 2;
  const image_channel& channel = choose_channel(image, stored::anyhow, {}, enough);
  const std::size_t i = middle(channel.events);
  const image_entry &entry = channel.events[i], &other = channel.events[i - away];
  image.put(entry.at + to_data, other.data);
  return lead(image, {channel, entry, number_of(image, entry.event)}, to_block, other.block,
              "pointer.block");
}

// The event gets the other one's block and data, and keeps its header and server.
void give_block(raw_image& image, const image_entry& event, const image_entry& of) {
  image.put(event.at + to_block, of.block);
  image.put(event.at + to_data, of.data);
}

// A channel whose blocks cannot be distinguished, not even by their lengths.
const image_channel& choose_equal_blocks(raw_image& image) {
  constexpr std::size_t enough = 8;
  const image_channel& channel = choose_channel(image, stored::plain, spectrum_types, enough);
  for (const image_entry& one : channel.events)
    if (image.word(image.length(one)) != image.word(image.length(channel.events.front())))
      throw simulation_failed("the channel's blocks differ in length");
  return channel;
}

expected_finding out_of_order(const raw_image& image, const image_channel& channel, std::size_t i,
                              std::uint64_t count) {
  const image_entry& entry = channel.events[i];
  return {"pointer.block_order", channel.name, number_of(image, entry.event), entry.at + to_block, count};
}

findings blocks_swapped(raw_image& image) {
  const image_channel& channel = choose_equal_blocks(image);
  const std::size_t one = 2, other = channel.events.size() - 2;
  give_block(image, channel.events[one], channel.events[other]);
  give_block(image, channel.events[other], channel.events[one]);
  return {out_of_order(image, channel, one, 2)};
}

// From `first` on, each event has the next one's block, and the last event has that of `first`.
const image_channel& rotate_blocks(raw_image& image, std::size_t first) {
  const image_channel& channel = choose_equal_blocks(image);
  for (std::size_t i = first; i + 1 < channel.events.size(); ++i)
    give_block(image, channel.events[i], channel.events[i + 1]);
  give_block(image, channel.events.back(), channel.events[first]);
  return channel;
}
findings blocks_rotated(raw_image& image) {
  const image_channel& channel = rotate_blocks(image, 1);
  return {out_of_order(image, channel, channel.events.size() - 1, 1)};
}
findings all_blocks_rotated(raw_image& image) {
  const image_channel& channel = rotate_blocks(image, 0);
  return {{"basket.first_block", channel.name, {}, channel.events.front().at + to_block},
          out_of_order(image, channel, channel.events.size() - 1, 1)};
}

// A basket whose blocks are not in the order of the events. It becomes the last part of the file.
findings blocks_reversed(raw_image& image) {
  image_channel& channel = choose_channel(image, stored::anyhow);
  std::vector<std::size_t> order(channel.events.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = order.size() - 1 - i;
  move_basket(image, channel, order);
  return {{"basket.first_block", channel.name, {}, channel.events.front().at + to_block},
          out_of_order(image, channel, 0, order.size() - 1)};
}
findings later_blocks_reversed(raw_image& image) {
  image_channel& channel = choose_channel(image, stored::anyhow);
  std::vector<std::size_t> order(channel.events.size());
  for (std::size_t i = 1; i < order.size(); ++i) order[i] = order.size() - i;
  move_basket(image, channel, order);
  return {out_of_order(image, channel, 1, order.size() - 2)};
}

// A channel gets the row of a channel before it which has as many events of the same types.
findings row_of_another(raw_image& image) {
  constexpr std::size_t enough = 3;
  const auto is_like = [&](const image_channel& a, const image_channel& b) {
    return a.events.size() == b.events.size() &&
           image.word(image.event_mask(a)) == image.word(image.event_mask(b));
  };
  for (std::size_t i = 0; i < image.channels.size(); ++i) {
    const image_channel& owner = image.channels[i];
    if (owner.events.size() < enough) continue;
    for (std::size_t j = i + 1; j < image.channels.size(); ++j) {
      const image_channel& other = image.channels[j];
      if (!is_like(owner, other)) continue;
      constexpr std::uint32_t entry_size = 16;
      std::copy_n(image.bytes.begin() + owner.events.front().at, owner.events.size() * entry_size,
                  image.bytes.begin() + other.events.front().at);
      const image_entry& first = owner.events.front();
      return {{"table.overlap", other.name, {}, first.block - basket_head},
              {"block.name", other.name, number_of(image, first.event), first.block, owner.events.size()}};
    }
  }
  throw simulation_failed("the file has no two channels with the same events");
}

constexpr fault_kind kinds[] = {
    {"pointer-event-outside", "a pointer to an event header leads out of the file", event_outside},
    {"pointer-event-between", "a pointer leads between two event headers", event_between},
    {"pointer-server-outside", "a pointer to a server block leads out of the file", server_outside},
    {"pointer-server-of-another", "a pointer leads to a server block of another event", server_of_another},
    {"pointer-block-outside", "a pointer to a block leads out of the file", block_outside},
    {"pointer-block-tail", "a pointer to a block leads into the last bytes", block_in_the_tail},
    {"pointer-block-of-another", "a pointer leads to a block of another channel", block_of_another},
    {"pointer-data", "a pointer leads past the beginning of the data", data_elsewhere},
    {"pointer-first-block", "the first pointer of a channel leads out of the file", first_block_outside},
    {"pointer-empty", "an entry of a channel's row is empty", empty_entry},
    {"pointers-swapped", "two events of a channel change places", swapped},
    {"pointer-shared-block", "two events of a channel have the same block", shared_block},
    {"pointer-distant-block", "two events of a channel that are not neighbours have the same block",
     distant_block},
    {"blocks-swapped", "two events of a channel have each other's block, both of the same length",
     blocks_swapped},
    {"blocks-rotated", "from a channel's second event on, each has the next one's block", blocks_rotated},
    {"blocks-rotated-all", "each event of a channel has the next one's block", all_blocks_rotated},
    {"blocks-reversed", "a channel's blocks stand in reverse, in the file's last basket", blocks_reversed},
    {"blocks-reversed-but-first", "the same behind the block of the first event", later_blocks_reversed},
    {"row-of-another", "a channel's pointers are those of another channel", row_of_another},
};

}  // namespace

std::span<const fault_kind> pointer_faults() { return kinds; }

}  // namespace ravo::simulator
