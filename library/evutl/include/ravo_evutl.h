// The table-access library: reads the tables of a raw file, finds channels, converts and splits the
// data of a block, answers questions about types, times and file names, and prints. It knows nothing
// of readers. Everything above calls these operations only, so that a site can link its own library
// of the same interface.
//
// Statuses are 0 on success and non-zero on failure unless said otherwise. A table comes back through
// the last argument, in host order, in memory that the caller releases with free(); on failure that
// argument is set to null. Nothing here throws.
#ifndef RAVO_EVUTL_H
#define RAVO_EVUTL_H

#include <vector>

#include "ravo_block_access.h"
#include "ravo_export.h"
#include "ravo_raw_format.h"
#include "ravo_run_catalogue.h"

// ---- tables of the current generation -------------------------------------------------------------
// `len` is the file's length in bytes, `fd` its open descriptor. Every offset, length and count of the
// file is checked against `len` before it is used; no more memory is allocated than the file can fill.

/// The page-aligned offset at or below `offset`, for mmap; `*rem` receives offset minus that.
RAVO_EXPORT long ravo_get_page_offset(long len, long offset, long* rem);

/// The file reference table. `tail` is a mapping of the file's end, from the page that holds the last
/// 4 bytes, `tail_length` bytes long; the table itself may lie anywhere and is then read through `fd`.
/// Non-zero: the file is not a readable current-generation file.
RAVO_EXPORT int get_ravo_file_reference_table_m_2010(const unsigned char* tail, long tail_length, long len,
                                                     int fd, ravo_file_reference_table_2010** table);

/// The event index table.
RAVO_EXPORT int ravo_get_event_index_table_m_2010(long len, const ravo_file_reference_table_2010* reference,
                                                  int fd, ravo_event_index_table_2010** table);

/// The channel dictionary.
RAVO_EXPORT int ravo_get_channel_dictionary_table_m_2010(long len,
                                                         const ravo_file_reference_table_2010* reference,
                                                         int fd, ravo_chan_dictionary_table_2010** table);

/// The event channel pointer table with one row per dictionary entry.
RAVO_EXPORT int ravo_get_event_chan_pointers_table_m_2010(long len,
                                                          const ravo_file_reference_table_2010* reference,
                                                          int fd, ravo_event_chan_pointers_table** table);

/// The event channel pointer table with one row per listed name, in list order; a name that is not in
/// the dictionary has an empty (zero) row. -5: none of the names is in the dictionary.
RAVO_EXPORT int ravo_get_event_chan_pointers_table_by_list_m_2010(
    long len, const ravo_file_reference_table_2010* reference, int fd, const std::vector<char*>* names,
    const ravo_chan_dictionary_table_2010* dictionary, ravo_event_chan_pointers_table** table);

/// The environment index dictionary.
RAVO_EXPORT int ravo_get_env_index_dictionary_table_m_2010(long len,
                                                           const ravo_file_reference_table_2010* reference,
                                                           int fd, ravo_env_dictionary_table_2010** table);

/// The XML channel description header with its text.
RAVO_EXPORT int ravo_get_chan_descr_table_m_2010(long len, const ravo_file_reference_table_2010* reference,
                                                 int fd, ravo_xml_chan_descr_header_2010** table);

/// The index (0 or more) of the channel in the dictionary and its entry (which belongs to the
/// dictionary), or a negative value.
RAVO_EXPORT int ravo_find_channel_by_name_2010(const ravo_chan_dictionary_table_2010* dictionary,
                                               const char* name, ravo_chan_dictionary_entry_2010** entry);

// ---- tables of the older generation -----------------------------------------------------------------
// The same operations for files of the older generation, with its records.

/// Non-zero: the file is not a readable older-generation file.
RAVO_EXPORT int get_ravo_file_reference_table_m(const unsigned char* tail, long tail_length, long len,
                                                int fd, ravo_file_reference_table** table);

RAVO_EXPORT int ravo_get_event_index_table_m(long len, const ravo_file_reference_table* reference, int fd,
                                             ravo_event_index_table** table);

RAVO_EXPORT int ravo_get_channel_dictionary_table_m(long len, const ravo_file_reference_table* reference,
                                                    int fd, ravo_chan_dictionary_table** table);

RAVO_EXPORT int ravo_get_event_chan_pointers_table_m(long len, const ravo_file_reference_table* reference,
                                                     int fd, ravo_event_chan_pointers_table** table);

RAVO_EXPORT int ravo_get_event_chan_pointers_table_by_list_m(long len,
                                                             const ravo_file_reference_table* reference,
                                                             int fd, const std::vector<char*>* names,
                                                             const ravo_chan_dictionary_table* dictionary,
                                                             ravo_event_chan_pointers_table** table);

RAVO_EXPORT int ravo_get_env_index_dictionary_table_m(long len, const ravo_file_reference_table* reference,
                                                      int fd, ravo_env_dictionary_table** table);

/// Descriptions are the same XML in both generations: ravo_load_chan_descr (ravo_xml.h) loads them.
RAVO_EXPORT int ravo_get_chan_descr_table_m(long len, const ravo_file_reference_table* reference, int fd,
                                            ravo_xml_chan_descr_header** table);

RAVO_EXPORT int ravo_find_channel_by_name(const ravo_chan_dictionary_table* dictionary, const char* name,
                                          ravo_chan_dictionary_entry** entry);

// ---- data of a block ------------------------------------------------------------------------------

/// Copies `words` 4-byte words, reversing the bytes of each; source may equal destination.
RAVO_EXPORT void ravo_swap4(const void* source, void* destination, int words);

/// Brings the data of a block of type `dtype` (low 16 bits) into host order. `length` bytes are read
/// and written; destination may equal source. Non-zero: the data are corrupt or inconsistent with
/// their type, and the destination is undefined.
RAVO_EXPORT int ravo_convert_data(const void* source, void* destination, int dtype, int length);

/// The number of subchannels that one block of the type (low 16 bits) holds; 0 for a type that is not
/// a channel's data. The second argument is not used.
RAVO_EXPORT int get_channel_number(int dtype, int);

/// Cuts one subchannel out of a decoded block (subheader and data in host order). False on success:
/// `*cut` is then a new block named "NAME:subchannel", to be released with free(), or null when blocks
/// of this type are not cut. True when it failed; `*cut` is then null. `block` is left as it is.
RAVO_EXPORT bool device_to_one_channel_2010(const ravo_serv_block_subhead_2010* block, int subchannel, int,
                                            int, ravo_serv_block_subhead_2010** cut);

/// The same for blocks of the older generation, whose members become blocks of its own types. A block
/// whose name leaves no room for ":subchannel" in the 32 bytes of the subheader cannot be cut: if names
/// were shortened, those that differ only at their end would be confused.
RAVO_EXPORT bool device_to_one_channel_2009(const ravo_serv_block_subhead* block, int subchannel, int, int,
                                            ravo_serv_block_subhead** cut);
/// Does the same: there were two ways to store blocks, and callers distinguish them.
RAVO_EXPORT bool device_to_one_channel(const ravo_serv_block_subhead* block, int subchannel, int, int,
                                       ravo_serv_block_subhead** cut);

// ---- types, times, names --------------------------------------------------------------------------

/// Whether events of the type are slow (begin and end of run, environment, update).
RAVO_EXPORT bool is_slow_event(int event_type);

/// The structure of events of the type: a RAVO_EV_STRUCT_TYPE.
RAVO_EXPORT int get_event_struct_type(int event_type);

/// The name of an event type, for example "RAVO_EV_NORMAL"; "UNKNOWN" for any other. Static text.
RAVO_EXPORT const char* event_name_itoa(int event_type);

/// Whether two stamps are equal.
RAVO_EXPORT bool ravo_time_stamp_eq(const time_stamp* a, const time_stamp* b);

/// Whether two stamps lie within `tolerance` microseconds. `*sign` (may be null) is -1, 0 or 1 as a
/// lies before, within or after b; `*difference` (may be null) is the size of the gap in microseconds.
RAVO_EXPORT bool ravo_time_stamp_eq(const time_stamp* a, const time_stamp* b, double tolerance, int* sign,
                                    double* difference);

/// The time coded in a raw file's name (a path is allowed; only its last component counts):
/// seconds, with microseconds 0. Non-zero when the name holds no time.
RAVO_EXPORT int get_time_from_file_name(const char* name, time_stamp* time);

/// Orders raw files in place by the time in their names, then run, then file number. Names without a
/// time come first, in alphabetical order.
RAVO_EXPORT void sort_files(std::vector<char*>* names);

/// The number of the event at a time, or 0 when that is not known: the site has to set its event
/// clock, with ravo_set_event_clock or with the environment variables "RAVO_EVENT_CLOCK_EPOCH" (seconds
/// since the Unix epoch at which event number 0 would have been) and "RAVO_EVENT_CLOCK_RATE" (events per
/// second), which count when the function was not called.
RAVO_EXPORT unsigned ravo_get_event_id(const time_stamp* time);

/// Sets the site's event clock for ravo_get_event_id; a rate of 0 or less clears it.
RAVO_EXPORT void ravo_set_event_clock(double epoch, double rate);

// ---- printers (standard output; headers and blocks in host order) ---------------------------------

RAVO_EXPORT void print_ravo_zip_header(const ravo_zip_header* header);
RAVO_EXPORT void dump_event_header_(const ravo_eventheader* header);
RAVO_EXPORT void dump_event_subheader_2010(const ravo_serv_block_head_2010* header);
RAVO_EXPORT void dump_event_chanhead_2010(const ravo_serv_block_subhead_2010* header);
/// Prints a block's subheader and its data, by its type. Reads `ldata` bytes from `block` on.
RAVO_EXPORT void print_data_type_2010(const ravo_serv_block_subhead_2010* block);
RAVO_EXPORT void print_ravo_chan_descr(const std::vector<chan_descr_2010*>* descriptions);
RAVO_EXPORT void dump_event_subheader(const ravo_serv_block_head* header);
RAVO_EXPORT void dump_event_chanhead(const ravo_serv_block_subhead* header);
RAVO_EXPORT void print_data_type(const ravo_serv_block_subhead* block);
/// Prints every channel of the dictionary: key, name, event types, data types and number of events.
RAVO_EXPORT void print_channel_dictionary_table_2010(const ravo_chan_dictionary_table_2010* dictionary);
RAVO_EXPORT void print_channel_dictionary_table(const ravo_chan_dictionary_table* dictionary);
/// Prints one event type's entry of the event index table: its limits and its events.
RAVO_EXPORT void print_event_index_entry_2010(const ravo_event_index_entry_2010* entry);
RAVO_EXPORT void print_event_index_entry(const ravo_event_index_entry* entry);

#endif
