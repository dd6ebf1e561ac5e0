#include "faults/raw_image.h"

namespace ravo::simulator {
namespace {

constexpr record_layout current_layout{272, 256, 260, 284, 256, 268};
constexpr record_layout older_layout{96, 80, 84, 76, 48, 44};
constexpr std::uint32_t older_reference_marker = 0xfeafeaf3;

}  // namespace

raw_image::raw_image(std::vector<unsigned char> its_bytes) : bytes(std::move(its_bytes)) {
  reference = word(bytes.size() - 4);
  is_older = word(reference) == older_reference_marker;
  layout = is_older ? older_layout : current_layout;
  event_index = word(reference + 8);
  dictionary = word(reference + 140);
  pointers = word(reference + 144);
  environment = word(reference + 148);
  descriptions = word(reference + 152);
  event_headers = word(reference + 156);
  server_blocks = word(reference + 160);
  row_length = word(pointers + 8);
  read_dictionary();
  read_event_index();
}

std::uint32_t raw_image::word(std::uint64_t at) const {
  std::uint32_t value = 0;
  for (std::uint64_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(at + i);
  return value;
}

void raw_image::put(std::uint64_t at, std::uint32_t value) {
  for (std::uint64_t i = 0; i < 4; ++i)
    bytes.at(at + i) = static_cast<unsigned char>(value >> (24 - 8 * i));
}

void raw_image::read_dictionary() {
  const std::uint32_t rows = (word(dictionary + 4) - 8) / layout.dictionary_entry;
  for (std::uint32_t row = 0; row < rows; ++row) {
    const std::uint32_t at = dictionary + 8 + row * layout.dictionary_entry;
    image_channel channel{
        reinterpret_cast<const char*>(&bytes.at(at + 4)), at, word(at + layout.dictionary_masks + 8), {}};
    for (std::uint32_t i = 0; i < channel.count; ++i) {
      const std::uint32_t entry = pointers + 12 + 16 * (row * row_length + i);
      channel.events.push_back({entry, word(entry), word(entry + 4), word(entry + 8), word(entry + 12)});
    }
    channels.push_back(std::move(channel));
  }
}

void raw_image::read_event_index() {
  std::uint32_t at = event_index + 8;
  for (std::uint32_t i = 0; i < word(event_index + 4); ++i) {
    image_type type{word(at), at, {}};
    const std::uint32_t events = word(at + 28);
    at += 32;
    for (std::uint32_t event = 0; event < events; ++event, at += 16) type.events.push_back(at);
    types.push_back(std::move(type));
  }
}

}  // namespace ravo::simulator
