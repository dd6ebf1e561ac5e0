// Moves a channel from a file to a neighbouring file: leaves the old file's tables, which the last user
// frees, and makes a new reader over the new file's tables, which are shared with other channels or claimed
// from the table-loading thread.
#include <cstdio>
#include <cstring>

#include "arguments.h"
#include "ravo_daq/slicer.h"
#include "scoped_lock.h"
#include "slicer/slicer_texts.h"

namespace ravo {

template <class G>
struct daq_slicer<G>::departure {
  int entry = -1;             // position in files of the file that was left; -1: unknown
  bool tables_freed = false;  // the old reader's tables are gone
};

template <class G>
int daq_slicer<G>::change_config(int chan, int direction, int) {
  if (const int refusal = check_reader(chan, direction); refusal != RAVO_DAQ_SLICER_OK) return refusal;
  const char* name = chans[static_cast<std::size_t>(chan)]->name;
  const departure left = leave_file(chan);
  if (left.entry < 0) {
    std::printf("STRANGE no files found we'll lose the channel[%d] %s\n", chan, name);
    remove_channel(chan);
    return RAVO_DAQ_SLICER_NO_DATA;
  }
  const int entry = neighbour(left.entry, direction);
  if (debug > 0) std::printf("Channel[%d] switching to the next file fentry after: %d\n", chan, entry);
  if (entry < 0 || entry >= static_cast<int>(files.size())) {
    if (debug > 0)
      std::printf("NO FILES can be found [%d] we'll lose the channel[%d] %s\n", entry, chan, name);
    remove_channel(chan);
    return RAVO_DAQ_SLICER_NO_DATA;
  }
  return enter_file(chan, entry, left);
}

template <class G>
int daq_slicer<G>::neighbour(int entry, int direction) const {
  switch (direction) {
    case RAVO_DAQ_READ_CHAN_EVENT_FIRST:
      return 0;
    case RAVO_DAQ_READ_CHAN_EVENT_LAST:
      return static_cast<int>(files.size()) - 1;
    default:
      return entry + direction;
  }
}

template <class G>
typename daq_slicer<G>::departure daq_slicer<G>::leave_file(int chan) {
  typename G::file_tables* tables = read_chans[chan]->get_cfg();
  const char* name = chans[static_cast<std::size_t>(chan)]->name;
  if (debug > 0)
    std::printf("Channel %s switching to the next file %s\n", name,
                tables != nullptr ? text_or_empty(tables->get_file_name()) : "");
  departure left;
  {
    const scoped_lock lock(tmx);
    const int slot = find_slot(tables);
    if (slot >= 0)
      leave_tables(chan, slot, &left);
    else
      leave_unknown_tables(chan, &left);
  }
  if (debug > 0) {
    slicer_texts<G>::leaving_file(chan, name, left.entry);
    std::fflush(stdout);
  }
  return left;
}

// Tables stay while another channel reads them, and until as many departures have been counted as there are
// channels: before that a channel may still need them.
template <class G>
void daq_slicer<G>::leave_tables(int chan, int slot, departure* left) {
  typename G::file_tables* tables = get_tables[slot];
  tables->inc_client_counter();
  left->entry = find_file(tables->get_file_name());
  if (has_other_reader(chan, tables) || tables->get_client_counter() < nchans) return;
  destroy_tables(chan, tables, left);
  get_tables[slot] = nullptr;
  ++task.go;
  pthread_cond_broadcast(&tcond);
}

// Tables that are in no slot are freed with their last reader.
template <class G>
void daq_slicer<G>::leave_unknown_tables(int chan, departure* left) {
  std::printf("STRANGE ravo_file_get_tables not found in the table... removing it anyway\n");
  typename G::file_tables* tables = read_chans[chan]->get_cfg();
  if (tables != nullptr && !has_other_reader(chan, tables)) destroy_tables(chan, tables, left);
}

// The reader's workers may still run over the tables: it is cleaned first.
template <class G>
void daq_slicer<G>::destroy_tables(int chan, typename G::file_tables* tables, departure* left) {
  read_chans[chan]->clean();
  tables->clean_up();
  delete tables;
  left->tables_freed = true;
}

template <class G>
int daq_slicer<G>::find_slot(const typename G::file_tables* tables) const {
  if (tables == nullptr) return -1;
  for (int i = 0; i < task.get_tables_num; ++i)
    if (get_tables[i] == tables) return i;
  return -1;
}

template <class G>
int daq_slicer<G>::find_file(const char* file) const {
  for (std::size_t i = 0; i < files.size(); ++i)
    if (std::strcmp(files[i], file) == 0) return static_cast<int>(i);
  return -1;
}

template <class G>
bool daq_slicer<G>::has_other_reader(int chan, const typename G::file_tables* tables) const {
  for (int i = 0; i < nchans; ++i)
    if (i != chan && read_chans[i] != nullptr && read_chans[i]->get_cfg() == tables) return true;
  return false;
}

template <class G>
typename G::file_tables* daq_slicer<G>::find_shared_tables(int chan, const char* file) {
  const scoped_lock lock(tmx);
  for (int i = 0; i < nchans; ++i) {
    if (i == chan || read_chans[i] == nullptr) continue;
    typename G::file_tables* tables = read_chans[i]->get_cfg();
    if (tables != nullptr && std::strcmp(text_or_empty(tables->get_file_name()), file) == 0) return tables;
  }
  return nullptr;
}

template <class G>
int daq_slicer<G>::enter_file(int chan, int entry, const departure& left) {
  const char* file = files[static_cast<std::size_t>(entry)];
  typename G::file_tables* tables = find_shared_tables(chan, file);
  if (tables == nullptr) tables = find_ready_table(file);
  if (tables == nullptr) {
    if (debug > 0)
      std::printf("%s failed to find get_tbl for  %s\n", chans[static_cast<std::size_t>(chan)]->name, file);
    if (left.tables_freed) remove_channel(chan);
    return RAVO_DAQ_SLICER_NO_DATA;
  }
  if (const int status = create_channel(chan, tables); status != RAVO_DAQ_SLICER_OK) return status;
  if (debug > 0) std::printf("change_config is OK fentry:%d  %s\n", entry, file);
  return RAVO_DAQ_SLICER_OK;
}

}  // namespace ravo
