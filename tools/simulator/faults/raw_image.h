// A raw file's bytes, to be damaged: where its parts are and how to overwrite a word of
// them. It knows the layout by its own numbers and shares no code with what checks files, so
// that the two cannot err alike. It trusts the file, which the simulator has just written.
#ifndef RAVO_SIMULATOR_RAW_IMAGE_H
#define RAVO_SIMULATOR_RAW_IMAGE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ravo::simulator {

/// Sizes and offsets that differ between the generations.
struct record_layout {
  std::uint32_t dictionary_entry, dictionary_name, dictionary_masks;  ///< two masks, then the count
  std::uint32_t server_head, server_name;                             ///< the name is at 16
  std::uint32_t block_head;                                           ///< ends with type, error and length
};

/// Where one event of one channel lies; the offsets of the words are those of a pointer table's entry.
struct image_entry {
  std::uint32_t at;  ///< of the entry
  std::uint32_t event, server, block, data;
};

struct image_channel {
  std::string name;
  std::uint32_t at;  ///< of its dictionary entry
  std::uint32_t count;
  std::vector<image_entry> events;
};

struct image_type {
  std::uint32_t type;
  std::uint32_t at;                   ///< of its entry in the event index
  std::vector<std::uint32_t> events;  ///< where each of its events stands in the index
};

class raw_image {
 public:
  explicit raw_image(std::vector<unsigned char> bytes);

  std::vector<unsigned char> bytes;
  bool is_older = false;
  record_layout layout;
  std::uint32_t reference = 0;  ///< offset of the reference table
  std::uint32_t event_index = 0, dictionary = 0, pointers = 0, environment = 0, descriptions = 0;
  std::uint32_t event_headers = 0, server_blocks = 0;  ///< of the baskets
  std::uint32_t row_length = 0;
  std::vector<image_channel> channels;
  std::vector<image_type> types;

  std::uint32_t word(std::uint64_t at) const;
  void put(std::uint64_t at, std::uint32_t word);
  void add(std::uint64_t at, std::int64_t more) { put(at, static_cast<std::uint32_t>(word(at) + more)); }
  std::uint32_t size() const { return static_cast<std::uint32_t>(bytes.size()); }

  // Fields of a dictionary entry.
  std::uint32_t event_mask(const image_channel& channel) const {
    return channel.at + layout.dictionary_masks;
  }
  std::uint32_t type_mask(const image_channel& channel) const { return event_mask(channel) + 4; }
  std::uint32_t count(const image_channel& channel) const { return event_mask(channel) + 8; }
  // Fields of a block's head.
  std::uint32_t data_type(const image_entry& entry) const { return entry.block + layout.block_head - 12; }
  std::uint32_t error_bits(const image_entry& entry) const { return data_type(entry) + 4; }
  std::uint32_t length(const image_entry& entry) const { return data_type(entry) + 8; }

 private:
  void read_dictionary();
  void read_event_index();
};

// Offsets in an event header, and in one event of the index.
inline constexpr std::uint32_t header_length = 4, header_number = 8, header_time = 16, header_servers = 32;
inline constexpr std::uint32_t indexed_time = 0, indexed_number = 8, indexed_header = 12;
// Offsets in the head of a server block; the number of channels is its last word.
inline constexpr std::uint32_t server_time = 0, server_length = 8, server_pulse = 12, server_name = 16;

}  // namespace ravo::simulator

#endif
