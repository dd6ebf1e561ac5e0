// What the tables and headers of a file say, as far as they could be read: the
// common basis for checking its channels. It is the same for both generations.
#ifndef RAVO_VERIFY_FILE_MAP_H
#define RAVO_VERIFY_FILE_MAP_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <unordered_map>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_raw_format.h"

namespace ravo::checks {

/// An event header, and its place in the event index.
struct event_entry {
  static constexpr std::uint32_t not_in_index = std::numeric_limits<std::uint32_t>::max();

  std::uint32_t number;
  std::int32_t type;
  time_stamp time;
  std::uint32_t length;
  std::int32_t servers;                   ///< number of server blocks
  std::uint32_t position = not_in_index;  ///< among the events of its type
  bool is_sure = true;                    ///< the index does not contradict it
};

/// The head of a server block.
struct server_entry {
  time_stamp time;
  std::int32_t length;
  std::int32_t pulse;
  std::int32_t channels;
  std::uint32_t event = 0;  ///< its event header; valid if `file_map::servers_belong`
};

/// A channel in the dictionary, and its basket.
struct channel_entry {
  std::string name;
  std::uint32_t key;
  std::uint32_t event_mask;
  std::uint32_t type_mask;
  std::int32_t count;
  std::uint64_t basket = 0;  ///< offset of its head; 0: none, or not known
  std::uint64_t basket_end = 0;
  bool is_usable = true;  ///< its basket overlaps no other part
};

/// One event of the index, in the list of its type.
using listed_event = ravo_event_info_entry_2010;

/// The events of one type.
struct type_entry {
  int type;
  std::uint64_t offset;  ///< of the entry in the file
  ravo_event_index_entry_head_2010 head;
  std::vector<listed_event> events;
};

/// A part of the file.
struct part {
  std::uint64_t begin;
  std::uint64_t end;
  const char* what;
  std::ptrdiff_t row = -1;  ///< of the channel whose basket it is
};

struct file_map {
  ravo_file_reference_table_2010 reference{};
  std::uint64_t reference_offset = 0;

  bool has_index = false;
  std::vector<type_entry> types;

  bool has_dictionary = false;
  std::vector<channel_entry> channels;      ///< one for each row of the pointers
  std::vector<std::uint32_t> rows_by_name;  ///< of the channels, in the order of their names

  bool has_environment = false;
  std::uint64_t environment_offset = 0;
  std::unordered_map<std::uint32_t, std::int32_t>
      environment;  ///< by the channel's key: the index in its readings

  bool has_pointers = false;
  std::uint64_t pointers_offset = 0;  ///< of the first row
  std::uint32_t row_length = 0;       ///< entries in a row

  std::uint64_t headers_offset = 0;  ///< of the first event header
  std::vector<event_entry> events;
  std::uint64_t servers_offset = 0;  ///< of the first server block's head
  std::vector<server_entry> servers;
  bool servers_belong = false;  ///< the event of each server block is known

  /// Begins of the parts of the file, sorted: a part that ends at one of them has the right length.
  std::vector<std::uint64_t> part_begins;
  std::vector<part> parts;
};

}  // namespace ravo::checks

#endif
