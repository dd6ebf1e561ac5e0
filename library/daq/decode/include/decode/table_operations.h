// Which operations of the table-access library serve which generation: the one place where the reading
// layers' templates meet it for anything that differs.
#ifndef RAVO_DECODE_TABLE_OPERATIONS_H
#define RAVO_DECODE_TABLE_OPERATIONS_H

#include <cstdint>

#include "ravo_evutl.h"
#include "ravo_evutl_optional.h"
#include "ravo_raw_generations.h"
#include "ravo_xml.h"

namespace ravo {

/// Where the part of a file begins that get_reference_table needs a copy of: the page with the last 4
/// bytes, which lead to the table.
inline long offset_of_tail(long length) {
  long rest = 0;
  return ravo_get_page_offset(length, length < 4 ? 0 : length - 4, &rest);
}

/// The operations of a generation are those of its format.
template <class G>
struct table_operations : table_operations<typename G::format> {};

/// Operations common to both: the run catalogue holds files of both, and descriptions are the same XML.
struct shared_table_operations {
  /// The bytes that loading a table takes; 0 if the site's library does not report it, and for a table that
  /// is refused.
  static std::uint64_t table_memory(long length, const ravo_file_reference_table_2010* reference, int file,
                                    ravo_table_kind table) {
    unsigned long bytes = 0;
    const bool is_known = ravo_get_table_memory != nullptr &&
                          ravo_get_table_memory(length, reference, file, table, &bytes) == 0;
    return is_known ? bytes : 0;
  }
  static constexpr auto load_chan_descr = &ravo_load_chan_descr;
  static constexpr auto print_description = &print_ravo_chan_descr;
  static constexpr auto get_files_for_runs = &::get_files_for_runs;
  static constexpr auto get_files_for_period = &::get_files_for_period;
  static constexpr auto get_time_for_run = &::get_time_for_run;
  static constexpr auto free_found_files = &ravo_free_root_xml_files;
};

template <>
struct table_operations<raw_format_2010> : shared_table_operations {
  static constexpr auto get_reference_table = &get_ravo_file_reference_table_m_2010;
  static constexpr auto get_event_index_table = &ravo_get_event_index_table_m_2010;
  static constexpr auto get_dictionary_table = &ravo_get_channel_dictionary_table_m_2010;
  static constexpr auto get_chan_pointers_table = &ravo_get_event_chan_pointers_table_m_2010;
  static constexpr auto get_chan_pointers_table_by_list =
      &ravo_get_event_chan_pointers_table_by_list_m_2010;
  static constexpr auto get_env_dictionary_table = &ravo_get_env_index_dictionary_table_m_2010;
  static constexpr auto get_chan_descr_table = &ravo_get_chan_descr_table_m_2010;
  static constexpr auto find_channel_by_name = &ravo_find_channel_by_name_2010;
  static constexpr auto cut_unzipped_block = &device_to_one_channel_2010;
  static constexpr auto cut_plain_block = &device_to_one_channel_2010;
  static constexpr auto print_server_block_head = &dump_event_subheader_2010;
  static constexpr auto print_subhead = &dump_event_chanhead_2010;
  static constexpr auto print_block = &print_data_type_2010;
  static constexpr auto print_dictionary = &print_channel_dictionary_table_2010;
  static constexpr auto print_event_index_entry = &print_event_index_entry_2010;
  /// Null if the table-access library does not have it.
  static auto is_event_header() { return &ravo_is_event_header_2010; }
};

template <>
struct table_operations<raw_format_2009> : shared_table_operations {
  static constexpr auto get_reference_table = &get_ravo_file_reference_table_m;
  static constexpr auto get_event_index_table = &ravo_get_event_index_table_m;
  static constexpr auto get_dictionary_table = &ravo_get_channel_dictionary_table_m;
  static constexpr auto get_chan_pointers_table = &ravo_get_event_chan_pointers_table_m;
  static constexpr auto get_chan_pointers_table_by_list = &ravo_get_event_chan_pointers_table_by_list_m;
  static constexpr auto get_env_dictionary_table = &ravo_get_env_index_dictionary_table_m;
  static constexpr auto get_chan_descr_table = &ravo_get_chan_descr_table_m;
  static constexpr auto find_channel_by_name = &ravo_find_channel_by_name;
  static constexpr auto cut_unzipped_block = &device_to_one_channel_2009;
  static constexpr auto cut_plain_block = &device_to_one_channel;
  static constexpr auto print_server_block_head = &dump_event_subheader;
  static constexpr auto print_subhead = &dump_event_chanhead;
  static constexpr auto print_block = &print_data_type;
  static constexpr auto print_dictionary = &print_channel_dictionary_table;
  static constexpr auto print_event_index_entry = &::print_event_index_entry;
  static auto is_event_header() { return &ravo_is_event_header; }
};

}  // namespace ravo

#endif
