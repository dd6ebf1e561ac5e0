// The slicer before it starts: construction, settings, and the copies of the request's files and channels.
#include <cstdlib>
#include <cstring>
#include <new>

#include "decode/allocate.h"
#include "microseconds.h"
#include "ravo_daq/slicer.h"
#include "scoped_lock.h"
#include "slicer/slicer_texts.h"

namespace ravo {

template <class G>
daq_slicer<G>::daq_slicer() : event_time_diff(G::default_time_diff), event_step(G::default_period) {
  pthread_mutex_init(&tmx, nullptr);
  pthread_cond_init(&tcond, nullptr);
}

template <class G>
daq_slicer<G>::~daq_slicer() {
  clean_up();
  pthread_cond_destroy(&tcond);
  pthread_mutex_destroy(&tmx);
}

// The table-loading thread reads the level too.
template <class G>
void daq_slicer<G>::set_debug(int level) {
  const scoped_lock lock(tmx);
  debug = level;
}

template <class G>
int daq_slicer<G>::set_synch_mode(int wanted) {
  if (is_started()) return RAVO_DAQ_SLICER_NOT_ALLOWED;
  if (wanted == RAVO_DAQ_SLICER_SYNCH_MODE_EVID || wanted == RAVO_DAQ_SLICER_SYNCH_MODE_TIME)
    synch_mode = wanted;
  return RAVO_DAQ_SLICER_OK;
}

template <class G>
int daq_slicer<G>::set_num_of_get_tables(int number) {
  if (number < 1) return RAVO_DAQ_SLICER_INV_PARAM;
  get_tables_num = number;
  return RAVO_DAQ_SLICER_OK;
}

template <class G>
int daq_slicer<G>::set_time_diff(const time_stamp* diff) {
  if (is_started()) return RAVO_DAQ_SLICER_NOT_ALLOWED;
  if (diff == nullptr) return RAVO_DAQ_SLICER_INV_PARAM;
  event_time_diff = *diff;
  time_diff = as_microseconds(*diff);
  return RAVO_DAQ_SLICER_OK;
}

template <class G>
int daq_slicer<G>::set_event_step(const ravo_time_id* step) {
  if (is_started()) return RAVO_DAQ_SLICER_NOT_ALLOWED;
  if (step == nullptr) return RAVO_DAQ_SLICER_INV_PARAM;
  event_step = *step;
  return RAVO_DAQ_SLICER_OK;
}

template <class G>
int daq_slicer<G>::init(const std::vector<char*>* file_names,
                        const std::vector<typename G::chan_param*>* channels, int loader_mode) try {
  if (file_names == nullptr || channels == nullptr) return RAVO_DAQ_SLICER_INV_PARAM;
  clean_up();
  if (!copy_files(*file_names) || !copy_channels(*channels)) {
    clean_up();
    return RAVO_DAQ_SLICER_INTERN_ERROR;
  }
  mode = loader_mode;
  if (files.empty() || chans.empty()) {
    slicer_texts<G>::nothing_to_read(files.size(), chans.size());
    return RAVO_DAQ_SLICER_NO_DATA;
  }
  get_tables_num = static_cast<int>(files.size());
  nchans = static_cast<int>(chans.size());
  return RAVO_DAQ_SLICER_OK;
} catch (const std::bad_alloc&) {
  clean_up();
  return RAVO_DAQ_SLICER_INTERN_ERROR;
}

template <class G>
bool daq_slicer<G>::copy_files(const std::vector<char*>& names) {
  files.reserve(names.size());  // so that push_back() cannot fail and leak a copy
  for (const char* name : names) {
    if (name == nullptr || *name == '\0') continue;
    const std::size_t size = std::strlen(name) + 1;
    auto* copy = static_cast<char*>(allocate(size));
    if (copy == nullptr) {
      slicer_texts<G>::no_memory_for_file(static_cast<int>(size), name);
      return false;
    }
    std::memcpy(copy, name, size);
    files.push_back(copy);
  }
  return true;
}

template <class G>
bool daq_slicer<G>::copy_channels(const std::vector<typename G::chan_param*>& channels) {
  chans.reserve(channels.size());
  chansp.reserve(channels.size());
  for (const typename G::chan_param* channel : channels) {
    if (channel == nullptr) continue;
    auto* copy = static_cast<typename G::chan_param*>(allocate(sizeof(typename G::chan_param)));
    if (copy == nullptr) {
      slicer_texts<G>::no_memory_for_channel(channel->name);
      return false;
    }
    *copy = *channel;
    chans.push_back(copy);
    chansp.push_back(copy->name);
  }
  return true;
}

}  // namespace ravo
