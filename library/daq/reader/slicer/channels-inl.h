// One channel's reader: creation over a file's tables, start and position, removal. Which file a channel
// reads is decided elsewhere (start-inl.h, file_switch-inl.h).
#include <cstdio>
#include <new>

#include "arguments.h"
#include "ravo_daq/slicer.h"
#include "scoped_lock.h"
#include "slicer/slicer_texts.h"
#include "stopwatch.h"

namespace ravo {

/// OK if the channel has a reader and the direction is valid.
template <class G>
int daq_slicer<G>::check_reader(int chan, int direction) const {
  if (!is_channel(chan) || !is_request_type(direction)) return RAVO_DAQ_SLICER_INV_PARAM;
  if (read_chans == nullptr) return RAVO_DAQ_SLICER_NOT_INIT;
  if (read_chans[chan] == nullptr) return RAVO_DAQ_SLICER_NO_DATA;
  return RAVO_DAQ_SLICER_OK;
}

template <class G>
int daq_slicer<G>::create_channel(int chan, typename G::file_tables* tables) {
  const stopwatch watch;
  if (!is_channel(chan) || tables == nullptr) return RAVO_DAQ_SLICER_INV_PARAM;
  if (read_chans == nullptr) return RAVO_DAQ_SLICER_NOT_INIT;
  const typename G::chan_param& channel = *chans[static_cast<std::size_t>(chan)];
  if (debug > 0)
    slicer_texts<G>::creating_channel(channel.name, channel.subchan,
                                      text_or_empty(tables->get_file_name()));
  remove_channel(chan);
  read_chans[chan] =
      new (std::nothrow) typename G::read_chan(tables, channel.name, channel.subchan, nullptr);
  if (const int status = configure_reader(chan); status != RAVO_DAQ_SLICER_OK) {
    remove_channel(chan);
    return status;
  }
  if (debug < 0) slicer_texts<G>::creation_time(watch.microseconds());
  return RAVO_DAQ_SLICER_OK;
}

template <class G>
int daq_slicer<G>::configure_reader(int chan) {
  const typename G::chan_param& channel = *chans[static_cast<std::size_t>(chan)];
  typename G::read_chan* reader = read_chans[chan];
  if (reader == nullptr) {
    std::printf("Failed to create read_chans[%d] for %s:%d\n", chan, channel.name, channel.subchan);
    return RAVO_DAQ_SLICER_INTERN_ERROR;
  }
  if constexpr (G::has_by_time_fix) reader->set_by_time_fix(this->by_time_fix);
  if (reader->set_time_diff(&event_time_diff) != RAVO_DAQ_READ_CHAN_OK) {
    std::printf("Failed to set time difference read_chans[%d] for %s:%d\n", chan, channel.name,
                channel.subchan);
    return RAVO_DAQ_SLICER_INTERN_ERROR;
  }
  if (reader->set_step(&event_step) != RAVO_DAQ_READ_CHAN_OK) {
    std::printf("Failed to set event step read_chans[%d] for %s:%d\n", chan, channel.name, channel.subchan);
    return RAVO_DAQ_SLICER_INTERN_ERROR;
  }
  return RAVO_DAQ_SLICER_OK;
}

template <class G>
int daq_slicer<G>::start_channel(int chan, int direction) {
  if (const int refusal = check_reader(chan, direction); refusal != RAVO_DAQ_SLICER_OK) return refusal;
  const stopwatch watch;
  typename G::read_chan* reader = read_chans[chan];
  pthread_mutex_t* mutex = nullptr;
  pthread_cond_t* condition = nullptr;
  int* flag = nullptr;
  if (const int status = reader->start(&mutex, &condition, &flag); status != RAVO_DAQ_READ_CHAN_OK) {
    const typename G::chan_param& channel = *chans[static_cast<std::size_t>(chan)];
    std::printf("Start failed for read_chans[%d] for %s:%d  erro: %d\n", chan, channel.name,
                channel.subchan, status);
    return status;
  }
  wait_for_flag(*mutex, *condition, *flag);
  if (reader->out_total == 0) return RAVO_DAQ_SLICER_NO_DATA;
  const int status = position_channel(chan, direction);
  if (debug < 0) slicer_texts<G>::start_time(watch.microseconds());
  return status;
}

// A channel that moves backwards, or to the end, enters a file at its last event.
template <class G>
int daq_slicer<G>::position_channel(int chan, int direction) {
  const bool at_last =
      direction == RAVO_DAQ_READ_CHAN_EVENT_PREV || direction == RAVO_DAQ_READ_CHAN_EVENT_LAST;
  if (debug > 1) {
    if (at_last)
      std::printf("Calling get_chan_data() start channel (low)\n");
    else
      slicer_texts<G>::positioning_at_first_event();
  }
  ravo_channel_entry_long* entry = nullptr;
  return read_chans[chan]->get_chan_data(
      nullptr, &entry, at_last ? RAVO_DAQ_READ_CHAN_EVENT_LAST : RAVO_DAQ_READ_CHAN_EVENT_FIRST);
}

template <class G>
void daq_slicer<G>::remove_channel(int chan) {
  if (!is_channel(chan) || read_chans == nullptr || read_chans[chan] == nullptr) return;
  clean_reader(chan);
  if (debug > 0) std::printf("DELETING read_chans[%d] %u\n", chan, identity(read_chans[chan]));
  destroy_reader(chan);
}

template <class G>
void daq_slicer<G>::clean_reader(int chan) {
  read_chans[chan]->clean_descr();
  read_chans[chan]->clean();
}

template <class G>
void daq_slicer<G>::destroy_reader(int chan) {
  delete read_chans[chan];
  read_chans[chan] = nullptr;
}

template <class G>
const char* daq_slicer<G>::get_name_of_empty_channel() const {
  if (nchans == 0 || read_chans == nullptr) return "No channels created";
  for (int chan = 0; chan < nchans; ++chan)
    if (read_chans[chan] == nullptr || read_chans[chan]->out_total == 0)
      return chans[static_cast<std::size_t>(chan)]->name;
  return "No channels known without events";
}

}  // namespace ravo
