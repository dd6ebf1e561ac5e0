// Damage in the event channel pointers.
#include <array>
#include <utility>

#include "simulator/faults/choice.h"

namespace ravo::simulator {
namespace {

using findings = std::vector<expected_finding>;

constexpr std::uint32_t outside = 0xfffffff0;
// Offsets in an entry.
constexpr std::uint32_t to_event = 0, to_server = 4, to_block = 8, to_data = 12;

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
};

}  // namespace

std::span<const fault_kind> pointer_faults() { return kinds; }

}  // namespace ravo::simulator
