// Ends the slicer: stops the thread, and frees everything that it and the channels hold. Works in every
// state, even after a start that failed half-way.
#include <cstdio>
#include <cstdlib>

#include "ravo_daq/slicer.h"
#include "scoped_lock.h"
#include "slicer/slicer_texts.h"

namespace ravo {

// The thread uses the names and the tables, and the channels' workers use the tables: both are stopped
// before anything is freed. The order of the printed lines is still: channels, thread, readers.
template <class G>
void daq_slicer<G>::clean_up() {
  const bool had_thread = tid != pthread_t{};
  const pthread_t thread = tid;
  stop_table_thread();
  stop_readers();
  free_files();
  free_channels();
  if (had_thread) tell_of_thread(thread);
  free_tables();
  free_readers();
  nchans = 0;
  cur_file = -1;
  prev_file = -1;
  current_event_id = {};
  not_found_channels.clear();
}

// The thread may be waiting for a credit, or for the stop.
template <class G>
void daq_slicer<G>::stop_table_thread() {
  if (tid == pthread_t{}) return;
  task.stop = 1;
  {
    const scoped_lock lock(tmx);
    task.go = 1;
    pthread_cond_broadcast(&tcond);
  }
  if (pthread_join(tid, nullptr) == 0) tid = pthread_t{};
}

template <class G>
void daq_slicer<G>::tell_of_thread(pthread_t thread) const {
  if (debug <= 0) return;
  if (tid == pthread_t{})
    slicer_texts<G>::thread_joined();
  else
    std::printf("Failed to join table_thread: %lu\n", thread);
}

template <class G>
void daq_slicer<G>::stop_readers() {
  for (int chan = 0; chan < nchans && read_chans != nullptr; ++chan)
    if (read_chans[chan] != nullptr) clean_reader(chan);
}

template <class G>
void daq_slicer<G>::free_files() {
  for (char* file : files) std::free(file);
  files.clear();
}

template <class G>
void daq_slicer<G>::free_channels() {
  for (std::size_t chan = 0; chan < chans.size(); ++chan) {
    if (debug > 0) {
      std::printf("slicer clean_up chans[%d]\n", static_cast<int>(chan));
      std::fflush(stdout);
    }
    std::free(chans[chan]);
  }
  chans.clear();
  chansp.clear();
}

template <class G>
void daq_slicer<G>::free_tables() {
  for (int i = 0; i < task.get_tables_num; ++i) {
    if (get_tables[i] == nullptr) continue;
    get_tables[i]->clean_up();
    delete get_tables[i];
  }
  std::free(get_tables);
  get_tables = nullptr;
  task.get_tables = nullptr;
  task.get_tables_num = 0;
}

template <class G>
void daq_slicer<G>::free_readers() {
  for (int chan = 0; chan < nchans && read_chans != nullptr; ++chan) {
    if (read_chans[chan] == nullptr) continue;
    if (debug > 0) {
      std::printf("slicer clean_up read_chans[%d]\n", chan);
      std::fflush(stdout);
    }
    destroy_reader(chan);
  }
  std::free(read_chans);
  read_chans = nullptr;
}

}  // namespace ravo
