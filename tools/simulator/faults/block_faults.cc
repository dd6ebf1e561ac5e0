// Damage in the blocks of a channel: their heads, their compressed bytes and their data.
#include <lzo/lzo1x.h>
#include <zlib.h>

#include <algorithm>

#include "faults/choice.h"
#include "faults/moved_basket.h"

namespace ravo::simulator {
namespace {

using findings = std::vector<expected_finding>;

// Offsets after a compressed block's head.
constexpr std::uint32_t zip_flags = 0, original_length = 4, compressed_length = 8, compressed_bytes = 12;
const std::vector<std::uint32_t> slow_types = {1, 3, 33};

struct chosen_block {
  const image_channel& channel;
  const image_entry& entry;
  expected_finding line;  ///< without its kind
};

chosen_block block_of(const raw_image& image, const image_channel& channel, const image_entry& entry) {
  return {channel, entry, {"", channel.name, number_of(image, entry.event), entry.block}};
}
chosen_block choose(raw_image& image, stored how, std::vector<std::uint32_t> types = {}) {
  const image_channel& channel = choose_channel(image, how, std::move(types));
  return block_of(image, channel, channel.events[middle(channel.events)]);
}
findings expect(chosen_block block, const char* kind) {
  block.line.kind = kind;
  return {block.line};
}

findings lengthen(raw_image& image, const chosen_block& block, std::int64_t by) {
  image.add(image.length(block.entry), by);
  return expect(block, "block.length");
}
findings length_plain(raw_image& image) {
  return lengthen(image, choose(image, stored::plain, spectrum_types), 4);
}
findings length_shorter(raw_image& image) {
  return lengthen(image, choose(image, stored::plain, spectrum_types), -4);
}
findings length_compressed(raw_image& image) {
  return lengthen(image, choose(image, stored::compressed), 8);
}
findings length_last(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::anyhow);
  return lengthen(image, block_of(image, channel, channel.events.back()), 8);
}
findings length_negative(raw_image& image) {
  const chosen_block block = choose(image, stored::anyhow);
  image.put(image.length(block.entry), 0x80000000);
  return expect(block, "block.length");
}
findings length_no_head(raw_image& image) {
  const chosen_block block = choose(image, stored::anyhow);
  image.put(image.length(block.entry), 12);
  return expect(block, "block.length");
}

// Names end with a zero byte, and the bytes after it stay.
void give_name(raw_image& image, const chosen_block& block, const std::string& name) {
  std::copy_n(name.c_str(), name.size() + 1, image.bytes.begin() + block.entry.block);
}
findings other_name(raw_image& image) {
  const chosen_block block = choose(image, stored::anyhow);
  const bool is_first = &block.channel == &image.channels.front();
  give_name(image, block, (is_first ? image.channels.back() : image.channels.front()).name);
  return expect(block, "block.name");
}
findings foreign_name(raw_image& image) {
  const chosen_block block = choose(image, stored::anyhow);
  give_name(image, block, "FRONT_END/7");
  return expect(block, "block.foreign_name");
}

findings retype(raw_image& image, std::uint32_t type) {
  const chosen_block block = choose(image, stored::anyhow);
  image.put(image.data_type(block.entry), type);
  return expect(block, "block.type");
}
findings unknown_type(raw_image& image) { return retype(image, 59); }
findings type_of_other_generation(raw_image& image) { return retype(image, image.is_older ? 41 : 9); }
findings type_with_high_bits(raw_image& image) {
  const chosen_block block = choose(image, stored::anyhow);
  return retype(image, image.word(image.data_type(block.entry)) | 1u << 16);
}

findings no_compression(raw_image& image) {
  const chosen_block block = choose(image, stored::compressed);
  image.put(block.entry.data + zip_flags, 0);
  return expect(block, "block.zip_header");
}
findings zip_length(raw_image& image) {
  const chosen_block block = choose(image, stored::compressed);
  image.add(block.entry.data + compressed_length, 4);
  return expect(block, "block.zip_header");
}
findings compressed_update(raw_image& image) {
  const chosen_block block = choose(image, stored::plain, slow_types);
  image.put(image.error_bits(block.entry), image.word(image.error_bits(block.entry)) | 1u << 30);
  return expect(block, "block.zip_header");
}

findings reoriginate(raw_image& image, stored how, std::uint32_t length) {
  const chosen_block block = choose(image, how);
  image.put(block.entry.data + original_length, length);
  return expect(block, "block.original_length");
}
findings original_longer(raw_image& image) {
  const chosen_block block = choose(image, stored::compressed);
  return reoriginate(image, stored::compressed, image.word(block.entry.data + original_length) + 4);
}
findings original_shorter(raw_image& image) {
  const chosen_block block = choose(image, stored::compressed);
  return reoriginate(image, stored::compressed, image.word(block.entry.data + original_length) - 4);
}
findings original_absurd(raw_image& image) { return reoriginate(image, stored::compressed, 0x7fffffff); }
findings original_zero(raw_image& image) { return reoriginate(image, stored::compressed, 0); }

// Whether the compression library detects the damage before it has filled the memory.
bool is_noticed(const raw_image& image, const image_entry& entry, stored how) {
  std::vector<unsigned char> inflated(image.word(entry.data + original_length));
  const unsigned char* from = &image.bytes.at(entry.data + compressed_bytes);
  const std::uint32_t length = image.word(entry.data + compressed_length);
  if (how == stored::zlib) {
    uLongf room = inflated.size();
    return uncompress(inflated.data(), &room, from, length) == Z_DATA_ERROR;
  }
  lzo_uint room = inflated.size();
  const int answer = lzo1x_decompress_safe(from, length, inflated.data(), &room, nullptr);
  return answer != LZO_E_OK && answer != LZO_E_OUTPUT_OVERRUN;
}

// Flips one bit, the first one from the middle on whose change is detected.
findings flip(raw_image& image, stored how) {
  const chosen_block block = choose(image, how);
  const std::uint32_t length = image.word(block.entry.data + compressed_length);
  for (std::uint32_t bit = length / 2 * 8; bit < length * 8; ++bit) {
    unsigned char& byte = image.bytes.at(block.entry.data + compressed_bytes + bit / 8);
    byte = static_cast<unsigned char>(byte ^ 1u << bit % 8);
    if (is_noticed(image, block.entry, how)) return expect(block, "block.inflate");
    byte = static_cast<unsigned char>(byte ^ 1u << bit % 8);
  }
  throw simulation_failed("no bit can be turned over that would be noticed");
}
findings flip_zlib(raw_image& image) { return flip(image, stored::zlib); }
findings flip_lzo(raw_image& image) { return flip(image, stored::lzo); }

findings wrong_members(raw_image& image) {
  const chosen_block block = choose(image, stored::plain, spectrum_types);
  image.put(block.entry.data, 99);
  return expect(block, "block.convert");
}
findings wrong_samples(raw_image& image) {
  const chosen_block block = choose(image, stored::plain, spectrum_types);
  image.put(block.entry.data + 4, 0x40000000);
  return expect(block, "block.convert");
}
findings endless_text(raw_image& image) {
  constexpr std::size_t fewest = 1;  // updates are rare
  const image_channel& channel = choose_channel(image, stored::plain, {1, 33}, fewest);
  chosen_block block = block_of(image, channel, channel.events[middle(channel.events)]);
  const std::uint32_t width = image.is_older ? 80 : 256;
  std::fill_n(image.bytes.begin() + block.entry.data, width, static_cast<unsigned char>('x'));
  return expect(block, "block.convert");
}

findings reading_index(raw_image& image) {
  const image_channel& channel = choose_environment(image).channel;
  chosen_block block = block_of(image, channel, channel.events[middle(channel.events)]);
  image.add(block.entry.data, 1);
  return expect(block, "environment.index");
}

// The last two blocks themselves have changed places; nothing points elsewhere
// than before. Either could be the misplaced one: the earlier one is named.
findings swapped_readings(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::plain, slow_types);
  const image_entry &last = channel.events.back(), &before = *(&last - 1);
  const auto begin = image.bytes.begin();
  std::swap_ranges(begin + before.data, begin + before.block + image.word(image.length(before)),
                   begin + last.data);
  return {{"channel.time_back", channel.name, number_of(image, before.event), before.block}};
}

// The offset of an update's time: after the name and the status.
std::uint32_t time_of_update(const raw_image& image) { return (image.is_older ? 80 : 256) + 4; }
constexpr std::uint32_t time_of_reading = 8;

findings split_second(raw_image& image, std::vector<std::uint32_t> types, std::uint32_t time) {
  constexpr std::size_t fewest = 1;  // updates are rare
  const image_channel& channel = choose_channel(image, stored::plain, std::move(types), fewest);
  const chosen_block block = block_of(image, channel, channel.events[middle(channel.events)]);
  image.add(block.entry.data + time, -1);
  image.add(block.entry.data + time + 4, 1'000'000);
  return expect(block, "block.reading_time");
}
findings reading_microseconds(raw_image& image) { return split_second(image, {3}, time_of_reading); }
findings update_microseconds(raw_image& image) {
  return split_second(image, {1, 33}, time_of_update(image));
}

findings misspelt_property(raw_image& image) {
  constexpr std::size_t fewest = 1;
  const image_channel& channel = choose_channel(image, stored::plain, {1, 33}, fewest);
  const chosen_block block = block_of(image, channel, channel.events[middle(channel.events)]);
  image.bytes.at(block.entry.data) = 0xff;
  return expect(block, "text.encoding");
}

// Changes a word of what a zlib block holds; the sums of its event and its server count the new length.
void put_compressed(raw_image& image, image_channel& channel, std::size_t chosen, std::uint32_t at,
                    std::uint32_t value) {
  const std::uint32_t head = image.layout.block_head;
  std::int64_t longer = 0;
  std::vector<std::size_t> order(channel.events.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  const image_entry& entry = channel.events[chosen];
  const std::uint32_t length = image.word(image.length(entry)),
                      packed = image.word(entry.data + compressed_length);
  move_basket(image, channel, order, [&](std::size_t event, std::vector<unsigned char>& block) {
    if (event != chosen) return;
    std::vector<unsigned char> data(image.word(entry.data + original_length));
    uLongf room = data.size();
    uncompress(data.data(), &room, block.data() + head + compressed_bytes, packed);
    for (std::uint32_t i = 0; i < 4; ++i) data[at + i] = static_cast<unsigned char>(value >> (24 - 8 * i));
    uLongf now = compressBound(room);
    block.resize(head + compressed_bytes + now);
    compress(block.data() + head + compressed_bytes, &now, data.data(), room);
    longer = static_cast<std::int64_t>(now) - std::int64_t{packed};
    block.resize((head + compressed_bytes + now + 3) / 4 * 4);
  });
  image.put(image.length(entry), static_cast<std::uint32_t>(length + longer));
  image.add(entry.data + compressed_length, longer);
  for (const std::uint32_t sum : {entry.server + server_length, entry.event + header_length})
    image.add(sum, longer);
}

// Older spectra have no spare words; the generic spectra of both generations do.
findings spare_word(raw_image& image) {
  constexpr std::uint32_t spare = 28, generic_spectrum = 28;
  if (!image.is_older) {
    const chosen_block block = choose(image, stored::plain, spectrum_types);
    image.put(block.entry.data + spare, 1);
    return expect(block, "block.spare_words");
  }
  image_channel& channel = choose_channel(image, stored::anyhow, {generic_spectrum});
  const std::size_t chosen = middle(channel.events);
  const image_entry& entry = channel.events[chosen];
  if (how_stored(image, entry) == stored::plain)
    image.put(entry.data + spare, 1);
  else if (how_stored(image, entry) == stored::zlib)
    put_compressed(image, channel, chosen, spare, 1);
  else
    throw simulation_failed(
        "generic spectra of LZO blocks are not damaged in this way; choose another compression");
  return expect(block_of(image, channel, channel.events[chosen]), "block.spare_words");
}

findings more_zip_flags(raw_image& image) {
  const chosen_block block = choose(image, stored::compressed);
  image.put(block.entry.data + zip_flags, image.word(block.entry.data + zip_flags) | 4);
  return expect(block, "block.zip_flags");
}

// The block of an update is four bytes longer than the update; the sums of event and server count them.
findings long_update(raw_image& image) {
  constexpr std::size_t fewest = 1;
  constexpr std::uint32_t more = 4;
  image_channel& channel = choose_channel(image, stored::plain, {1, 33}, fewest);
  const std::size_t chosen = middle(channel.events);
  std::vector<std::size_t> order(channel.events.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  move_basket(image, channel, order, [&](std::size_t event, std::vector<unsigned char>& block) {
    if (event == chosen) block.resize(block.size() + more, 0x2a);
  });
  const image_entry& entry = channel.events[chosen];
  for (const std::uint32_t length :
       {image.length(entry), entry.server + server_length, entry.event + header_length})
    image.add(length, more);
  return expect(block_of(image, channel, entry), "block.reading_length");
}

constexpr fault_kind kinds[] = {
    {"length-block", "wrong length: a plain block", length_plain},
    {"length-block-shorter", "wrong length: a plain block, too short", length_shorter},
    {"length-block-compressed", "wrong length: a compressed block", length_compressed},
    {"length-block-last", "wrong length: a channel's last block", length_last},
    {"length-block-negative", "wrong length: a block, negative", length_negative},
    {"length-block-no-head", "wrong length: a block, shorter than its own head", length_no_head},
    {"other-name", "a block bears another channel's name", other_name},
    {"foreign-name", "a block bears a name that no channel has", foreign_name},
    {"unknown-type", "a block has a data type that there is not", unknown_type},
    {"other-type", "a block has a data type of the other generation", type_of_other_generation},
    {"high-type", "a block's data type has bits that only blocks in memory have", type_with_high_bits},
    {"no-compression", "a zip header names no compression", no_compression},
    {"zip-length", "a zip header has a wrong length", zip_length},
    {"compressed-update", "a slow reading is said to be compressed", compressed_update},
    {"original-longer", "a zip header has too large an original length", original_longer},
    {"original-shorter", "a zip header has too small an original length", original_shorter},
    {"original-absurd", "a zip header has an original length that nothing could have", original_absurd},
    {"original-zero", "a zip header has an original length of nothing", original_zero},
    {"flipped-bit", "a bit is turned over in a zlib block", flip_zlib},
    {"flipped-bit-lzo", "a bit is turned over in an LZO block", flip_lzo},
    {"wrong-members", "a spectrum has more members than its type", wrong_members},
    {"wrong-samples", "a spectrum has more samples than bytes", wrong_samples},
    {"reading-index", "an environment reading bears another channel's index", reading_index},
    {"swapped-readings", "two readings of a slow channel have changed places", swapped_readings},
    {"reading-microseconds", "a reading's time has more than a million microseconds", reading_microseconds},
    {"update-microseconds", "an update's time has more than a million microseconds", update_microseconds},
    {"misspelt-property", "the name in a slow reading is not UTF-8", misspelt_property},
    {"spare-word", "a spare word of a block is not 0", spare_word},
    {"more-zip-flags", "a zip header has a flag that is not defined", more_zip_flags},
    {"long-update", "a block is longer than the update that it holds", long_update},
    {"endless-text", "the name in a slow reading has no end", endless_text},
};

}  // namespace

std::span<const fault_kind> block_faults() { return kinds; }

}  // namespace ravo::simulator
