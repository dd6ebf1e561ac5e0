// The records, markers, codes and rules of each generation of the raw format under common names, for
// templates that handle both. What the records hold is in ravo_raw_format.h.
#ifndef RAVO_RAW_GENERATIONS_H
#define RAVO_RAW_GENERATIONS_H

#include <cstddef>
#include <cstdint>

#include "ravo_data_types.h"
#include "ravo_export.h"
#include "ravo_raw_format.h"

namespace ravo {

/// The current generation.
struct RAVO_EXPORT raw_format_2010 {
  /// The format of a generation that extends this record, for templates that take a format.
  using format = raw_format_2010;
  using reference_table = ravo_file_reference_table_2010;
  using event_index_table = ravo_event_index_table_2010;
  using event_index_entry = ravo_event_index_entry_2010;
  using dictionary_table = ravo_chan_dictionary_table_2010;
  using dictionary_entry = ravo_chan_dictionary_entry_2010;
  using env_dictionary_table = ravo_env_dictionary_table_2010;
  using xml_header = ravo_xml_chan_descr_header_2010;
  using event_header_basket = ravo_event_header_basket_2010;
  using server_block_basket = ravo_server_block_basket_2010;
  using channel_basket = ravo_channel_basket_2010;
  using server_block_head = ravo_serv_block_head_2010;
  using subhead = ravo_serv_block_subhead_2010;
  using update_block = ravo_upd_data_block_2010;
  using chan_pointers_table = ravo_event_chan_pointers_table;
  using chan_pointers_table_entry = ravo_event_chan_ptr_entry;

  static constexpr const char (&signature)[17] = RAVO_FILE_SIGNATURE_2010;
  static constexpr std::uint32_t reference_table_pattern = RAVO_REFERENCE_TABLE_PATTERN_2010;
  static constexpr std::uint32_t event_header_pattern = RAVO_EVENT_HEADER_PATTERN_2010;
  /// Types of this generation or of both may be written.
  static constexpr type_generation generation = type_generation::current;
  /// The type of one member that was cut out of a spectrum or a region of interest.
  static constexpr RAVO_SUBBLOCK_TYPE single_channel = RAVO_BLOCK_1CHAN_2010;
  /// Size of a channel name with its closing zero.
  static constexpr std::size_t name_size = 256;
  /// Type of a decoded update, environment, begin- or end-of-run block.
  static constexpr int update_dtype = RAVO_UPD_BLOCK_2010;
  static constexpr int begin_of_run_dtype = RAVO_BOR_BLOCK_2010;
  static constexpr int end_of_run_dtype = RAVO_EOR_BLOCK_2010;
  /// Subchannels are cut out of generic spectra too, although their type says nothing about members.
  static constexpr bool cuts_generic_spectra = true;
  /// The default folder of the files of this generation.
  static constexpr const char* default_data_dir = "/daq/ravo_ext/LINAC/";
};

/// The older generation.
struct RAVO_EXPORT raw_format_2009 {
  using format = raw_format_2009;
  using reference_table = ravo_file_reference_table;
  using event_index_table = ravo_event_index_table;
  using event_index_entry = ravo_event_index_entry;
  using dictionary_table = ravo_chan_dictionary_table;
  using dictionary_entry = ravo_chan_dictionary_entry;
  using env_dictionary_table = ravo_env_dictionary_table;
  using xml_header = ravo_xml_chan_descr_header;
  using event_header_basket = ravo_event_header_basket;
  using server_block_basket = ravo_server_block_basket;
  using channel_basket = ravo_channel_basket;
  using server_block_head = ravo_serv_block_head;
  using subhead = ravo_serv_block_subhead;
  using update_block = ravo_upd_data_block;
  using chan_pointers_table = ravo_event_chan_pointers_table;
  using chan_pointers_table_entry = ravo_event_chan_ptr_entry;

  static constexpr const char (&signature)[17] = RAVO_FILE_SIGNATURE;
  static constexpr std::uint32_t reference_table_pattern = RAVO_REFERENCE_TABLE_PATTERN;
  static constexpr std::uint32_t event_header_pattern = RAVO_EVENT_HEADER_PATTERN;
  static constexpr type_generation generation = type_generation::older;
  static constexpr RAVO_SUBBLOCK_TYPE single_channel = RAVO_BLOCK_SINGLE;
  static constexpr std::size_t name_size = 80;
  static constexpr int update_dtype = RAVO_UPD_BLOCK;
  static constexpr int begin_of_run_dtype = RAVO_BOR_BLOCK;
  static constexpr int end_of_run_dtype = RAVO_EOR_BLOCK;
  static constexpr bool cuts_generic_spectra = false;
  static constexpr const char* default_data_dir = "";
};

}  // namespace ravo

#endif
