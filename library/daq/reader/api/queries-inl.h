// Queries about a reader's files, the channels of a loaded file and the reader's own channels. Definitions
// of ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_QUERIES_INL_H
#define RAVO_DAQ_READER_QUERIES_INL_H

#include "ravo_daq/reader.h"

namespace ravo {

template <class G>
int daq_reader<G>::get_number_of_files() const {
  return static_cast<int>(files.size());
}

template <class G>
char* daq_reader<G>::get_file_name(int position) {
  return position >= 0 && position < get_number_of_files() ? files[static_cast<std::size_t>(position)]
                                                           : nullptr;
}

template <class G>
std::vector<typename G::chan_descr*>* daq_reader<G>::get_descr_list() {
  return get_tables.get_descr_list();
}

template <class G>
char* daq_reader<G>::get_channel_name(int position, int* count, int* ev_mask, int* dtype_mask) {
  typename G::dictionary_table* table = get_tables.get_cdt_table();
  if (position < 0 || !table || table->pattern != RAVO_CHAN_DICTIONARY_PATTERN) return nullptr;
  if (table->length <= static_cast<int>(sizeof *table)) return nullptr;
  if (position >= count_searched_channels()) return nullptr;
  typename G::dictionary_entry& channel = table->channel_entry()[position];
  if (count) *count = channel.count;
  if (ev_mask) *ev_mask = static_cast<int>(channel.ev_mask);
  if (dtype_mask) *dtype_mask = static_cast<int>(channel.dtype_mask);
  return channel.chan_name;
}

template <class G>
char* daq_reader<G>::get_channel_name(int position, int* subchan) {
  // A position equal to the number of channels passes the bound, but there is no channel.
  if (position < 0 || static_cast<std::size_t>(position) >= results.size()) return nullptr;
  result_entry* entry = results[static_cast<std::size_t>(position)];
  if (!entry) return nullptr;
  if (subchan) *subchan = entry->chan.subchan;
  return entry->chan.name;
}

}  // namespace ravo

#endif
