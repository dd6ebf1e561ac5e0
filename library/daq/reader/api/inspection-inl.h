// Inspects one raw file that does not belong to a request: counts, describes and prints what it holds. The
// file is in the list only while it is loaded; its tables stay in the reader's own loader. Definitions of
// ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_INSPECTION_INL_H
#define RAVO_DAQ_READER_INSPECTION_INL_H

#include <pthread.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>

#include "api/reader_texts.h"
#include "decode/table_operations.h"
#include "ravo_daq/reader.h"
#include "scoped_lock.h"

namespace ravo {

/// The first path of the list that contains a text, or null.
template <class G>
const char* daq_reader<G>::find_file(const char* text) const {
  const auto found = std::find_if(files.begin(), files.end(),
                                  [&](const char* path) { return std::strstr(path, text) != nullptr; });
  return found == files.end() ? nullptr : *found;
}

/// Loads a file that is about to be removed from the list; the loader keeps the address of the path.
/// Without memory it fails like any other load, so that the file is removed then too.
template <class G>
int daq_reader<G>::load_inspected(const char* path, int descr_mode, const std::vector<char*>* names) try {
  inspected_path = path;
  return get_tables.get_all_tables(inspected_path.c_str(), descr_mode, names);
} catch (const std::bad_alloc&) {
  get_tables.clean_up();
  return RAVO_DAQ_READER_INTERN_ERROR;
}

template <class G>
int daq_reader<G>::get_number_of_channels(const char* file, int* count, int descr_mode) try {
  if (!file || !*file || !count) return store(RAVO_DAQ_READER_INV_PARAM);
  get_tables.clean_up();
  if (const int status = add_file(file, false); status != RAVO_DAQ_READER_OK) return status;
  const char* path = find_file(file);
  if (!path) return RAVO_DAQ_READER_INTERN_ERROR;  // the last status stays
  const int failure = load_inspected(path, descr_mode, &chans);
  remove_file(file);
  if (failure != 0) return store(RAVO_DAQ_READER_NO_DATA);

  const typename G::dictionary_table* table = get_tables.get_cdt_table();
  if (!table || table->pattern != RAVO_CHAN_DICTIONARY_PATTERN) return store(RAVO_DAQ_READER_INTERN_ERROR);
  const int length = table->length - static_cast<int>(sizeof *table);
  if (length <= 0) return store(RAVO_DAQ_READER_NO_DATA);
  *count = length / static_cast<int>(sizeof(typename G::dictionary_entry));
  return store(RAVO_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

template <class G>
void daq_reader<G>::print_all_channels(const char* file) {
  int count = 0;
  if (get_number_of_channels(file, &count, 0) == RAVO_DAQ_READER_OK)
    table_operations<G>::print_dictionary(get_tables.get_cdt_table());
}

/// The number of dictionary entries that can be asked for: by a bound that uses the size of an older entry
/// for both generations, and so allows more entries than the table holds, but never beyond the table.
template <class G>
int daq_reader<G>::count_searched_channels() const {
  const typename G::dictionary_table* table = get_tables.get_cdt_table();
  const int length = table->length - static_cast<int>(sizeof *table);
  return std::min(length / static_cast<int>(sizeof(ravo_chan_dictionary_entry)),
                  length / static_cast<int>(sizeof(typename G::dictionary_entry)));
}

template <class G>
int daq_reader<G>::fill_chan_descr(const char* file, std::vector<typename G::chan_descr*>* found) try {
  if (!file || !*file || !found) return store(RAVO_DAQ_READER_INV_PARAM);
  int count = 0;
  if (const int status = get_number_of_channels(file, &count, 1); status != RAVO_DAQ_READER_OK)
    return status;
  const std::vector<typename G::chan_descr*>& descriptions = *get_tables.get_descr_list();
  if (descriptions.empty()) return store(RAVO_DAQ_READER_NO_DATA);

  std::unordered_map<std::string_view, const typename G::dictionary_entry*> channels;
  const typename G::dictionary_entry* entries = get_tables.get_cdt_table()->channel_entry();
  for (int i = 0; i < count_searched_channels(); ++i)
    channels.try_emplace(entries[i].chan_name, entries + i);
  for (typename G::chan_descr* description : descriptions) {
    if (!description) continue;
    const auto channel = channels.find(description->prop_name);
    if (channel == channels.end()) continue;
    description->count = channel->second->count;
    found->push_back(description);
  }
  return store(RAVO_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

template <class G>
int daq_reader<G>::print_event_index_table(const char* file, int event_type) try {
  if (!file || !*file) return store(RAVO_DAQ_READER_INV_PARAM);
  get_tables.clean_up();
  if (const int status = add_file(file, true); status != RAVO_DAQ_READER_OK) return status;
  const char* path = find_file(file);
  if (!path) return store(RAVO_DAQ_READER_INTERN_ERROR);
  const int failure = load_inspected(path, 0, nullptr);
  remove_file(inspected_path.c_str());
  if (failure != 0) return store(RAVO_DAQ_READER_NO_DATA);

  const typename G::event_index_table* table = get_tables.get_eit_table();
  if (!table) {
    std::printf("No event index table\n");
    return store(RAVO_DAQ_READER_INTERN_ERROR);
  }
  if (table->pattern != RAVO_EVENT_INDEX_PATTERN) {
    std::printf("Wrong pattern for index table\n");
    return store(RAVO_DAQ_READER_INTERN_ERROR);
  }
  if (table->nevent_types <= 0) {
    std::printf("No events in event index table\n");
    return store(RAVO_DAQ_READER_NO_DATA);
  }
  const auto* entry = table->event_index_entry();
  for (int i = 0; i < table->nevent_types; ++i, entry = entry->next()) {
    if (event_type < 0 || event_type == entry->event_type)
      table_operations<G>::print_event_index_entry(entry);
  }
  return store(RAVO_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

/// Decodes one channel of a file and lets `print` print from its channel reader. Meant for a reader without
/// a request: the reader's channel names are replaced, on purpose.
template <class G>
template <class Print>
void daq_reader<G>::print_channel_of_file(const char* file, const char* channel, Print print) try {
  if (!file || !*file || !channel) {
    std::printf(reader_texts<G>::printer_input);
    return;
  }
  // A copy, because the reader must not keep the caller's text; the copy and the room for it are made
  // before the file is added to the list.
  std::string name = channel;
  chans.reserve(1);
  get_tables.clean_up();
  if (add_file(file, true) != RAVO_DAQ_READER_OK) {
    std::printf(reader_texts<G>::printer_no_file, file);
    return;
  }
  const char* path = find_file(file);
  if (!path) {
    std::printf(reader_texts<G>::printer_lost_file, file);
    return;
  }
  inspected_channel.swap(name);
  chans.assign(1, inspected_channel.data());
  const int failure = load_inspected(path, 0, &chans);
  remove_file(file);
  if (failure != 0) {
    std::printf(reader_texts<G>::printer_no_channel, inspected_channel.c_str(), file);
    return;
  }
  typename G::read_chan decoded(&get_tables, inspected_channel.c_str(), -1, nullptr);
  pthread_mutex_t* mutex = nullptr;
  pthread_cond_t* condition = nullptr;
  int* flag = nullptr;
  if (decoded.start(&mutex, &condition, &flag) != RAVO_DAQ_READ_CHAN_OK) {
    std::printf(reader_texts<G>::printer_not_started, inspected_channel.c_str());
    return;
  }
  wait_for_flag(*mutex, *condition, *flag);
  print(decoded);
  decoded.clean();
} catch (const std::bad_alloc&) {
  set_error(RAVO_DAQ_READER_INTERN_ERROR);
}

template <class G>
void daq_reader<G>::print_channel_event_headers(const char* file, const char* channel)
  requires G::prints_channels
{
  print_channel_of_file(file, channel, [](auto& decoded) { decoded.print_event_headers(); });
}

template <class G>
void daq_reader<G>::print_channel_server_block_headers(const char* file, const char* channel)
  requires G::prints_channels
{
  print_channel_of_file(file, channel, [](auto& decoded) { decoded.print_server_block_headers(); });
}

template <class G>
void daq_reader<G>::print_channel_channel_headers(const char* file, const char* channel)
  requires G::prints_channels
{
  print_channel_of_file(file, channel, [](auto& decoded) { decoded.print_channel_headers(); });
}

template <class G>
void daq_reader<G>::print_channel_channel(const char* file, const char* channel)
  requires G::prints_channels
{
  print_channel_of_file(file, channel, [](auto& decoded) { decoded.print_channel(); });
}

}  // namespace ravo

#endif
