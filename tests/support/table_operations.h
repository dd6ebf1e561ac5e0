// The records and operations of the table-access library that differ between the generations, under common
// names for typed tests. The layouts in numbers are in raw_layouts.h.
#ifndef RAVO_TEST_TABLE_OPERATIONS_H
#define RAVO_TEST_TABLE_OPERATIONS_H

#include "ravo_evutl.h"

namespace ravo::test {

/// Of the current generation.
struct table_operations_2010 {
  using dictionary_table = ravo_chan_dictionary_table_2010;
  using dictionary_entry_record = ravo_chan_dictionary_entry_2010;
  using server_block_record = ravo_serv_block_head_2010;
  using subhead_record = ravo_serv_block_subhead_2010;
  static constexpr auto get_reference = &get_ravo_file_reference_table_m_2010;
  static constexpr auto get_event_index = &ravo_get_event_index_table_m_2010;
  static constexpr auto get_dictionary = &ravo_get_channel_dictionary_table_m_2010;
  static constexpr auto get_pointers = &ravo_get_event_chan_pointers_table_m_2010;
  static constexpr auto get_pointers_by_list = &ravo_get_event_chan_pointers_table_by_list_m_2010;
  static constexpr auto get_environment = &ravo_get_env_index_dictionary_table_m_2010;
  static constexpr auto get_descriptions = &ravo_get_chan_descr_table_m_2010;
  static constexpr auto find_channel = &ravo_find_channel_by_name_2010;
  static constexpr auto print_server_block = &dump_event_subheader_2010;
  static constexpr auto print_subhead = &dump_event_chanhead_2010;
  static constexpr auto print_block = &print_data_type_2010;
  static constexpr auto print_dictionary = &print_channel_dictionary_table_2010;
  static constexpr auto print_index_entry = &print_event_index_entry_2010;
};

/// Of the older generation.
struct table_operations_2009 {
  using dictionary_table = ravo_chan_dictionary_table;
  using dictionary_entry_record = ravo_chan_dictionary_entry;
  using server_block_record = ravo_serv_block_head;
  using subhead_record = ravo_serv_block_subhead;
  static constexpr auto get_reference = &get_ravo_file_reference_table_m;
  static constexpr auto get_event_index = &ravo_get_event_index_table_m;
  static constexpr auto get_dictionary = &ravo_get_channel_dictionary_table_m;
  static constexpr auto get_pointers = &ravo_get_event_chan_pointers_table_m;
  static constexpr auto get_pointers_by_list = &ravo_get_event_chan_pointers_table_by_list_m;
  static constexpr auto get_environment = &ravo_get_env_index_dictionary_table_m;
  static constexpr auto get_descriptions = &ravo_get_chan_descr_table_m;
  static constexpr auto find_channel = &ravo_find_channel_by_name;
  static constexpr auto print_server_block = &dump_event_subheader;
  static constexpr auto print_subhead = &dump_event_chanhead;
  static constexpr auto print_block = &print_data_type;
  static constexpr auto print_dictionary = &print_channel_dictionary_table;
  static constexpr auto print_index_entry = &print_event_index_entry;
};

}  // namespace ravo::test

#endif
