// Damage in the tables and in the heads of baskets.
#include <algorithm>
#include <string_view>

#include "faults/choice.h"

namespace ravo::simulator {
namespace {

using findings = std::vector<expected_finding>;

constexpr std::uint32_t wrong_marker = 0x0badc0de;

// Spoils a marker or a length of a table, which readers then refuse.
findings spoil(raw_image& image, std::uint32_t at, std::uint32_t value, const char* kind,
               std::uint64_t reported_at) {
  image.put(at, value);
  return {{kind, "", {}, reported_at}};
}

std::uint32_t longer(const raw_image& image, std::uint32_t table, std::uint32_t by) {
  return image.word(table + 4) + by;
}

findings marker_reference(raw_image& image) {
  return spoil(image, image.reference, wrong_marker, "file.reference", image.size() - 4);
}
findings marker_index(raw_image& image) {
  return spoil(image, image.event_index, wrong_marker, "table.event_index", image.event_index);
}
findings marker_dictionary(raw_image& image) {
  return spoil(image, image.dictionary, wrong_marker, "table.dictionary", image.dictionary);
}
findings marker_pointers(raw_image& image) {
  return spoil(image, image.pointers, wrong_marker, "table.pointers", image.pointers);
}
findings marker_environment(raw_image& image) {
  return spoil(image, image.environment, wrong_marker, "table.environment", image.environment);
}
findings marker_descriptions(raw_image& image) {
  return spoil(image, image.descriptions, wrong_marker, "table.descriptions", image.descriptions);
}
findings marker_headers(raw_image& image) {
  return spoil(image, image.event_headers, wrong_marker, "basket.event_headers", image.event_headers);
}
findings marker_servers(raw_image& image) {
  return spoil(image, image.server_blocks, wrong_marker, "basket.server_blocks", image.server_blocks);
}
findings length_reference(raw_image& image) {
  return spoil(image, image.reference + 4, 172, "file.reference", image.size() - 4);
}
findings length_dictionary(raw_image& image) {
  return spoil(image, image.dictionary + 4, longer(image, image.dictionary, 1), "table.dictionary",
               image.dictionary);
}
findings length_pointers(raw_image& image) {
  return spoil(image, image.pointers + 4, longer(image, image.pointers, 16), "table.pointers",
               image.pointers);
}
findings length_environment(raw_image& image) {
  return spoil(image, image.environment + 4, 0x80000000, "table.environment", image.environment);
}
findings length_descriptions(raw_image& image) {
  return spoil(image, image.descriptions + 4, 0x7fffffff, "table.descriptions", image.descriptions);
}
findings length_headers(raw_image& image) {
  return spoil(image, image.event_headers + 4, longer(image, image.event_headers, 36),
               "basket.event_headers", image.event_headers);
}
findings length_servers(raw_image& image) {
  return spoil(image, image.server_blocks + 4, longer(image, image.server_blocks, image.layout.server_head),
               "basket.server_blocks", image.server_blocks);
}
findings too_many_types(raw_image& image) {
  return spoil(image, image.event_index + 4, 33, "table.event_index", image.event_index);
}

findings spoil_basket(raw_image& image, std::uint32_t word, std::uint32_t more) {
  const image_channel& channel = choose_channel(image, stored::anyhow);
  const std::uint32_t basket = channel.events.front().block - 8;
  image.add(basket + word, more);
  return {{"basket.channel", channel.name, {}, basket}};
}
findings marker_channel(raw_image& image) { return spoil_basket(image, 0, 1); }
findings length_channel(raw_image& image) { return spoil_basket(image, 4, 4); }
findings length_channel_negative(raw_image& image) { return spoil_basket(image, 4, 0x80000000); }

findings table_outside(raw_image& image) {
  image.put(image.reference + 148, image.size());
  return {{"table.environment", "", {}, image.size()}};
}

// The environment dictionary seems to be inside the channel dictionary: that one is refused too.
findings tables_overlap(raw_image& image) {
  const std::uint32_t inside = image.dictionary + 16;
  image.put(image.reference + 148, inside);
  return {{"table.dictionary", "", {}, image.dictionary}, {"table.environment", "", {}, inside}};
}

findings headers_outside(raw_image& image) {
  image.put(image.reference + 156, 0xfffffff0);
  return {{"basket.event_headers", "", {}, 0xfffffff0}};
}

findings lost_type(raw_image& image) {
  const std::uint32_t at = image.reference + 12 + 4 * beam_events(image).type;
  image.put(at, 0);
  return {{"table.reference", "", {}, at}};
}

findings wrong_first_basket(raw_image& image) {
  const std::uint32_t at = image.reference + 164;
  for (const image_channel& channel : image.channels)
    if (!channel.events.empty() && channel.events.front().block - 8 != image.word(at)) {
      image.put(at, channel.events.front().block - 8);
      return {{"table.reference", "", {}, at}};
    }
  throw simulation_failed("the file has one channel with data only");
}

// ---- dictionary -----------------------------------------------------------------------------------

image_channel& channel_with_room(raw_image& image) {
  for (image_channel& channel : image.channels)
    if (channel.events.size() > 2 && channel.events.size() < image.row_length) return channel;
  throw simulation_failed("every channel is in every event");
}

findings recount(raw_image& image, image_channel& channel, std::uint32_t count) {
  image.put(image.count(channel), count);
  return {{"dictionary.count", channel.name, {}, image.count(channel)}};
}
findings count_more(raw_image& image) {
  image_channel& channel = channel_with_room(image);
  return recount(image, channel, channel.count + 1);
}
findings count_less(raw_image& image) {
  image_channel& channel = choose_channel(image, stored::anyhow);
  return recount(image, channel, channel.count - 1);
}
findings count_beyond(raw_image& image) {
  return recount(image, choose_channel(image, stored::anyhow), image.row_length + 1);
}
findings count_negative(raw_image& image) {
  image.put(image.count(choose_channel(image, stored::anyhow)), 0xffffffff);
  return {{"table.dictionary", "", {}, image.dictionary}};
}

findings event_mask(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::anyhow);
  image.put(image.event_mask(channel), image.word(image.event_mask(channel)) ^ 1u << 9);
  return {{"dictionary.event_mask", channel.name, {}, image.event_mask(channel)}};
}
findings type_mask(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::anyhow);
  image.put(image.type_mask(channel), image.word(image.type_mask(channel)) ^ 1u << 23);
  return {{"dictionary.type_mask", channel.name, {}, image.type_mask(channel)}};
}

image_channel& channel_without_data(raw_image& image) {
  for (image_channel& channel : image.channels)
    if (channel.events.empty()) return channel;
  throw simulation_failed("every channel has data");
}

findings key_twice(raw_image& image) {
  const image_channel& channel = channel_without_data(image);
  image.put(channel.at, image.word(image.channels.front().at));
  return {{"dictionary.key", channel.name, {}, channel.at}};
}

// With another name, the channel has no description either.
findings bad_name(raw_image& image) {
  image_channel& channel = channel_without_data(image);
  image.bytes.at(channel.at + 4) = ':';
  channel.name[0] = ':';
  return {{"dictionary.name", channel.name, {}, channel.at},
          {"description.missing", channel.name, {}, channel.at}};
}

findings misspelt_name(raw_image& image) {
  image_channel& channel = channel_without_data(image);
  image.bytes.at(channel.at + 4) = 0xff;
  channel.name[0] = static_cast<char>(0xff);
  return {{"text.encoding", channel.name, {}, channel.at},
          {"description.missing", channel.name, {}, channel.at}};
}

findings idle_mask(raw_image& image) {
  const image_channel& channel = channel_without_data(image);
  image.put(image.event_mask(channel), 2);
  return {{"dictionary.idle_mask", channel.name, {}, image.event_mask(channel)}};
}

findings endless_name(raw_image& image) {
  const image_channel& channel = channel_without_data(image);
  std::fill_n(image.bytes.begin() + channel.at + 4, image.layout.dictionary_name,
              static_cast<unsigned char>('x'));
  return {{"table.dictionary", "", {}, image.dictionary}};
}

// ---- environment dictionary -----------------------------------------------------------------------

findings environment_index(raw_image& image) {
  const auto [channel, at] = choose_environment(image);
  image.add(at + 4, 1000);
  const image_entry& first = channel.events.front();
  return {{"environment.index", channel.name, number_of(image, first.event), first.block,
           channel.events.size()}};
}
findings environment_key(raw_image& image) {
  const auto [channel, at] = choose_environment(image);
  image.put(at, 0xfffffff0);
  return {{"environment.entry", channel.name, {}, image.environment}};
}
findings environment_negative(raw_image& image) {
  const auto [channel, at] = choose_environment(image);
  image.put(at + 4, 0xffffffff);
  for (const image_entry& entry : channel.events) image.put(entry.data, 0xffffffff);
  return {{"environment.negative", "", {}, at}};
}
// The second channel's entry now claims to be the first one's.
findings environment_twice(raw_image& image) {
  const environment_channel first = choose_environment(image, 0), second = choose_environment(image, 1);
  image.put(second.at, image.word(first.at));
  return {{"environment.key", "", {}, second.at},
          {"environment.entry", second.channel.name, {}, image.environment}};
}

// ---- descriptions ---------------------------------------------------------------------------------

findings missing_description(raw_image& image) {
  const image_channel& channel = image.channels.at(image.channels.size() / 2);
  const std::string wanted = "prop_name=\"" + channel.name + "\"";
  const auto begin = image.bytes.begin() + image.descriptions;
  const auto found = std::search(begin, image.bytes.end(), wanted.begin(), wanted.end());
  if (found == image.bytes.end()) throw simulation_failed("the channel has no description");
  *(found + 11) = '_';
  return {{"description.missing", channel.name, {}, channel.at}};
}

findings bad_descriptions(raw_image& image) {
  image.bytes.at(image.descriptions + 8) = 'x';
  return {{"description.text", "", {}, image.descriptions}};
}

constexpr fault_kind kinds[] = {
    {"marker-reference", "wrong marker: the reference table", marker_reference},
    {"marker-index", "wrong marker: the event index", marker_index},
    {"marker-dictionary", "wrong marker: the channel dictionary", marker_dictionary},
    {"marker-pointers", "wrong marker: the event channel pointers", marker_pointers},
    {"marker-environment", "wrong marker: the environment dictionary", marker_environment},
    {"marker-descriptions", "wrong marker: the channel descriptions", marker_descriptions},
    {"marker-event-headers", "wrong marker: the event header basket", marker_headers},
    {"marker-server-blocks", "wrong marker: the server block basket", marker_servers},
    {"marker-channel", "wrong marker: a channel's basket", marker_channel},
    {"length-reference", "wrong length: the reference table", length_reference},
    {"length-dictionary", "wrong length: no whole number of entries in the dictionary", length_dictionary},
    {"length-pointers", "wrong length: the event channel pointers", length_pointers},
    {"length-environment", "wrong length: the environment dictionary, negative", length_environment},
    {"length-descriptions", "wrong length: the channel descriptions, beyond the file", length_descriptions},
    {"length-event-headers", "wrong length: the event header basket", length_headers},
    {"length-server-blocks", "wrong length: the server block basket", length_servers},
    {"length-channel", "wrong length: a channel's basket", length_channel},
    {"length-channel-negative", "wrong length: a channel's basket, negative", length_channel_negative},
    {"too-many-types", "the event index has more types than there are", too_many_types},
    {"table-outside", "the reference table leads out of the file", table_outside},
    {"tables-overlap", "a table begins inside another", tables_overlap},
    {"event-headers-outside", "the event header basket is not in the file", headers_outside},
    {"lost-type", "the reference table does not lead to the events of a type", lost_type},
    {"wrong-first-basket", "the reference table leads to another basket than the first",
     wrong_first_basket},
    {"count-more", "the dictionary counts an event too many", count_more},
    {"count-less", "the dictionary counts an event too few", count_less},
    {"count-beyond", "the dictionary counts more events than a row has room for", count_beyond},
    {"count-negative", "the dictionary counts less than nothing", count_negative},
    {"event-mask", "the dictionary names an event type that the channel is not in", event_mask},
    {"type-mask", "the dictionary names a data type that the channel does not have", type_mask},
    {"key-twice", "two channels have the same key", key_twice},
    {"bad-name", "a channel has a ':' in its name", bad_name},
    {"misspelt-name", "a channel's name is not UTF-8", misspelt_name},
    {"idle-mask", "the dictionary names event types for a channel without events", idle_mask},
    {"endless-name", "a channel's name has no end", endless_name},
    {"environment-index", "the environment dictionary has another index than a channel's readings",
     environment_index},
    {"environment-key", "the environment dictionary has a channel that there is not", environment_key},
    {"environment-negative",
     "a channel has a negative index in the environment dictionary, and its readings too",
     environment_negative},
    {"environment-twice", "the environment dictionary has a channel twice, and another not at all",
     environment_twice},
    {"missing-description", "a channel has no description", missing_description},
    {"bad-descriptions", "the descriptions are no XML", bad_descriptions},
};

}  // namespace

std::span<const fault_kind> table_faults() { return kinds; }

}  // namespace ravo::simulator
