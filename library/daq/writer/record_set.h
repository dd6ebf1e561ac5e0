// What the writer needs to know about a generation of the raw format: the sizes of its records, the widths
// of the names in them, and its markers. Everything else is the same in both.
#ifndef RAVO_WRITER_RECORD_SET_H
#define RAVO_WRITER_RECORD_SET_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ravo_raw_generations.h"

namespace ravo::writer {

struct record_set {
  std::string_view signature;
  std::uint32_t reference_table_pattern;
  std::uint32_t event_header_pattern;
  type_generation generation;

  std::size_t dictionary_entry;   ///< bytes
  std::size_t server_block_head;  ///< bytes
  std::size_t subhead;            ///< bytes
  std::size_t dictionary_name;    ///< width of a channel's name in the dictionary
  std::size_t subhead_name;       ///< width of a channel's name in its blocks
  std::size_t server_name;        ///< width

  /// Bytes of the longest names, without the zero byte that ends each of them.
  std::size_t longest_channel_name() const { return std::min(dictionary_name, subhead_name) - 1; }
  std::size_t longest_server_name() const { return server_name - 1; }
  /// Whether files of this generation may hold a type.
  bool takes(const data_type& type) const {
    return type.generation == generation || type.generation == type_generation::both;
  }
};

template <class format>
inline constexpr record_set records_of{
    .signature = {format::signature, sizeof format::signature - 1},
    .reference_table_pattern = format::reference_table_pattern,
    .event_header_pattern = format::event_header_pattern,
    .generation = format::generation,
    .dictionary_entry = sizeof(typename format::dictionary_entry),
    .server_block_head = sizeof(typename format::server_block_head),
    .subhead = sizeof(typename format::subhead),
    .dictionary_name = sizeof(format::dictionary_entry::chan_name),
    .subhead_name = sizeof(format::subhead::chname),
    .server_name = sizeof(format::server_block_head::server),
};

}  // namespace ravo::writer

#endif
