#include "faults/choice.h"

#include <algorithm>

namespace ravo::simulator {

const std::vector<std::uint32_t> spectrum_types = {6, 10, 11, 12, 38, 42, 43, 44};

stored how_stored(const raw_image& image, const image_entry& entry) {
  constexpr std::uint32_t compressed_bit = 1u << 30;
  if ((image.word(image.error_bits(entry)) & compressed_bit) == 0) return stored::plain;
  return (image.word(entry.data) & 1) != 0 ? stored::zlib : stored::lzo;
}

image_channel& choose_channel(raw_image& image, stored how, std::vector<std::uint32_t> types,
                              std::size_t events) {
  for (image_channel& channel : image.channels) {
    if (channel.events.size() < events) continue;
    const image_entry& first = channel.events.front();
    const stored found = how_stored(image, first);
    const bool is_stored_so =
        how == stored::anyhow || how == found || (how == stored::compressed && found != stored::plain);
    const bool is_of_type = types.empty() || std::find(types.begin(), types.end(),
                                                       image.word(image.data_type(first))) != types.end();
    if (is_stored_so && is_of_type) return channel;
  }
  throw simulation_failed(
      "no channel of the file can be damaged in this way; choose other channels, more events or "
      "another compression");
}

environment_channel choose_environment(const raw_image& image, std::size_t place) {
  constexpr std::uint32_t environment_type = 3, entry_size = 8;
  for (const image_channel& channel : image.channels) {
    if (channel.events.empty() || image.word(image.data_type(channel.events.front())) != environment_type)
      continue;
    if (place-- > 0) continue;
    const std::uint32_t end = image.environment + image.word(image.environment + 4);
    for (std::uint32_t at = image.environment + 8; at < end; at += entry_size)
      if (image.word(at) == image.word(channel.at)) return {channel, at};
    break;
  }
  throw simulation_failed("the file has too few channels with environment readings for this fault");
}

image_type& beam_events(raw_image& image) {
  constexpr std::uint32_t normal = 1;
  constexpr std::size_t fewest = 6;
  for (image_type& type : image.types)
    if (type.type == normal && type.events.size() >= fewest) return type;
  throw simulation_failed("the file has too few events for this fault");
}

}  // namespace ravo::simulator
