// Starts the slicer: creates the slots, the thread that fills them and the channels' first readers, and
// finds the event that the first get_data() delivers.
#include <cstdio>
#include <cstring>
#include <new>

#include "decode/allocate.h"
#include "ravo_daq/slicer.h"
#include "ravo_evutl.h"
#include "scoped_lock.h"
#include "slicer/slicer_texts.h"

namespace ravo {

template <class G>
int daq_slicer<G>::start() try {
  if (files.empty() || chans.empty()) return RAVO_DAQ_SLICER_NO_DATA;
  if (is_started()) return RAVO_DAQ_SLICER_NOT_ALLOWED;
  if (!create_slots()) return RAVO_DAQ_SLICER_INTERN_ERROR;
  fill_task();
  if (!start_table_thread()) return RAVO_DAQ_SLICER_INTERN_ERROR;
  if (find_ready_table(files.front()) == nullptr) return RAVO_DAQ_SLICER_INTERN_ERROR;
  if (!create_reader_slots()) return RAVO_DAQ_SLICER_INTERN_ERROR;
  for (int chan = 0; chan < nchans; ++chan)
    if (const int status = begin_channel(chan); status != RAVO_DAQ_SLICER_OK) return status;
  for (int chan = 0; chan < nchans; ++chan)
    if (read_chans[chan] != nullptr) consider_first_event(chan);
  return RAVO_DAQ_SLICER_OK;
} catch (const std::bad_alloc&) {
  return RAVO_DAQ_SLICER_INTERN_ERROR;
}

/// An array of `count` null pointers; or null, with the reason printed.
template <class T>
T** create_null_pointers(int count, const char* text) {
  const std::size_t size = static_cast<std::size_t>(count) * sizeof(T*);
  void* pointers = allocate(size);
  if (pointers == nullptr) {
    perror("malloc");
    std::printf("%s", text);
    return nullptr;
  }
  std::memset(pointers, 0, size);
  return static_cast<T**>(pointers);
}

template <class G>
bool daq_slicer<G>::create_slots() {
  get_tables = create_null_pointers<typename G::file_tables>(get_tables_num,
                                                             "Failed to allocate get_tables pointers\n");
  return get_tables != nullptr;
}

template <class G>
bool daq_slicer<G>::create_reader_slots() {
  read_chans =
      create_null_pointers<typename G::read_chan>(nchans, "Failed to allocate read_chans pointers\n");
  return read_chans != nullptr;
}

template <class G>
void daq_slicer<G>::fill_task() {
  task.slicer = static_cast<typename G::slicer*>(this);
  task.files = &files;
  task.chans = &chansp;
  task.get_tables = get_tables;
  task.get_tables_num = get_tables_num;
  task.tmx = &tmx;
  task.tcond = &tcond;
  task.ready = 0;
  task.go = get_tables_num;
  task.mode = mode;
  task.stop = 0;
  task.status = 0;
  task.next_file = 0;
  task.starved = 0;
}

template <class G>
bool daq_slicer<G>::start_table_thread() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setscope(&attributes, PTHREAD_SCOPE_SYSTEM);
  const int error = pthread_create(&tid, &attributes, G::table_thread, &task);
  pthread_attr_destroy(&attributes);
  if (error == 0) return true;
  tid = pthread_t{};
  std::printf("failed to start table_thread thread\n");
  return false;
}

// A channel that is in no file is left out; the start does not fail because of it.
template <class G>
int daq_slicer<G>::begin_channel(int chan) {
  typename G::file_tables* tables = nullptr;
  {
    // Looked up again for each channel: if a file is listed twice, an earlier channel may have freed the
    // tables by leaving the file.
    const scoped_lock lock(tmx);
    tables = find_tables(files.front());
  }
  if (tables == nullptr) {
    slicer_texts<G>::no_file_with_events(debug, chans[static_cast<std::size_t>(chan)]->name,
                                         chans[static_cast<std::size_t>(chan)]->subchan);
    leave_out(chan);
    return RAVO_DAQ_SLICER_OK;
  }
  if (const int status = create_channel(chan, tables); status != RAVO_DAQ_SLICER_OK) {
    slicer_texts<G>::channel_not_created(debug, chan);
    return status;
  }
  if (!find_first_file_with_events(chan)) leave_out(chan);
  return RAVO_DAQ_SLICER_OK;
}

template <class G>
bool daq_slicer<G>::find_first_file_with_events(int chan) {
  const typename G::chan_param& channel = *chans[static_cast<std::size_t>(chan)];
  for (std::size_t moves = 0;; ++moves) {
    const int status = start_channel(chan, RAVO_DAQ_READ_CHAN_EVENT_FIRST);
    if (status == RAVO_DAQ_SLICER_OK) return true;
    if (status != RAVO_DAQ_SLICER_NO_DATA && status != RAVO_DAQ_SLICER_OUT_OF_WINDOW) {
      slicer_texts<G>::channel_not_started(debug, channel.name, channel.subchan, status);
      return false;
    }
    // More moves than files happen only if the list names a file twice.
    if (moves > files.size() ||
        change_config(chan, RAVO_DAQ_READ_CHAN_EVENT_NEXT, moves == 0 ? 0 : 1) != RAVO_DAQ_SLICER_OK) {
      slicer_texts<G>::no_file_with_events(debug, channel.name, channel.subchan);
      return false;
    }
  }
}

template <class G>
void daq_slicer<G>::leave_out(int chan) {
  if (!not_found_channels.empty()) not_found_channels += ";";
  not_found_channels += chans[static_cast<std::size_t>(chan)]->name;
  slicer_texts<G>::leaving_channel_out(debug);
  if (read_chans[chan] == nullptr) return;
  clean_reader(chan);
  destroy_reader(chan);
}

template <class G>
void daq_slicer<G>::consider_first_event(int chan) {
  if (debug > 1) std::printf("Calling get_chan_data() start\n");
  ravo_channel_entry_long* entry = nullptr;
  const int status = read_chans[chan]->get_chan_data(nullptr, &entry, RAVO_DAQ_READ_CHAN_EVENT_CUR);
  if (status != RAVO_DAQ_READ_CHAN_OK || entry == nullptr) {
    if (debug == -1) std::printf("FIRST -> %d\n", status);
    return;
  }
  if (debug == -1) {
    std::printf("FIRST OK\n");
    read_chans[chan]->print_time_limits();
  }
  if (is_before_current_event(entry->event_id)) set_event(entry->event_id, current_event_id);
}

template <class G>
bool daq_slicer<G>::is_before_current_event(const ravo_time_id& event) const {
  if (current_event_id.event_number == 0 && current_event_id.time.timeup == 0) return true;
  if (current_event_id.event_number != 0) return event.event_number < current_event_id.event_number;
  int order = 0;
  ravo_time_stamp_eq(&current_event_id.time, &event.time, time_diff, &order, nullptr);
  return order > 0;
}

}  // namespace ravo
