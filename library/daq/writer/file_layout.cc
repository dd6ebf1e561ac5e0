// The sums of file_layout.h.
#include "file_layout.h"

#include <algorithm>

#include "big_endian.h"
#include "ravo_raw_format.h"

namespace ravo::writer {

void file_contents::add_block(std::uint64_t bytes, std::uint64_t row, std::uint64_t basket) {
  if (row == 0) ++baskets;
  block_bytes += bytes;
  longest_channel = std::max(longest_channel, basket + bytes);
  longest_row = std::max(longest_row, row + 1);
}

file_layout::file_layout(const file_contents& contents, const record_set& records)
    : event_headers_length(sizeof(ravo_event_header_basket) + contents.events * sizeof(ravo_eventheader)),
      server_blocks_length(sizeof(ravo_server_block_basket) +
                           contents.server_blocks * records.server_block_head),
      longest_basket_length(sizeof(ravo_channel_basket) + contents.longest_channel),
      channel_dictionary_length(sizeof(ravo_chan_dictionary_table) +
                                contents.channels * records.dictionary_entry),
      pointer_table_length(sizeof(ravo_event_chan_pointers_table) +
                           contents.channels * contents.longest_row * sizeof(ravo_event_chan_ptr_entry)),
      environment_dictionary_length(sizeof(ravo_env_dictionary_table) +
                                    contents.environment_channels * sizeof(ravo_env_dictionary_entry)),
      descriptions_length(sizeof(ravo_xml_chan_descr_header) + contents.description_bytes) {
  event_headers = records.signature.size();
  server_blocks = event_headers + event_headers_length;
  channel_baskets = server_blocks + server_blocks_length;
  channel_dictionary =
      channel_baskets + contents.baskets * sizeof(ravo_channel_basket) + contents.block_bytes;
  event_index = channel_dictionary + channel_dictionary_length;
  pointer_table = event_index + sizeof(ravo_event_index_table) +
                  contents.event_types * sizeof(ravo_event_index_entry_head) +
                  contents.events * sizeof(ravo_event_info_entry);
  environment_dictionary = pointer_table + pointer_table_length;
  descriptions = environment_dictionary + environment_dictionary_length;
  reference_table = up_to_word(descriptions + descriptions_length);
  total = reference_table + sizeof(ravo_file_reference_table) + sizeof(std::uint32_t);
}

}  // namespace ravo::writer
