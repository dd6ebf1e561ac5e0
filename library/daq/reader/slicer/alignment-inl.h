// Aligns one event: asks every channel's reader for its entry relative to the target, chooses one event
// from the answers, and collects the entries of exactly that event. A channel whose file has nothing more
// in the direction is moved to the next file (file_switch-inl.h) and asked again.
#include <cstdio>
#include <new>

#include "arguments.h"
#include "microseconds.h"
#include "ravo_daq/slicer.h"
#include "ravo_evutl.h"
#include "slicer/slicer_texts.h"
#include "stopwatch.h"

namespace ravo {

template <class G>
struct daq_slicer<G>::alignment {
  ravo_time_id target;
  int direction;
  ravo_time_id chosen;  // all zero: no event yet
  stopwatch watch;
};

template <class G>
struct daq_slicer<G>::answer {
  int failure;                     // not OK: the whole call returns it
  ravo_channel_entry_long* entry;  // null: the channel contributes nothing
};

template <class G>
bool daq_slicer<G>::is_event_id_eq(const ravo_time_id* a, const ravo_time_id* b, int* cmp) const {
  int order = 0;
  if (a->event_number != 0 && b->event_number != 0)
    order = a->event_number > b->event_number ? 1 : a->event_number < b->event_number ? -1 : 0;
  else
    ravo_time_stamp_eq(&a->time, &b->time, time_diff, &order, nullptr);
  if (cmp != nullptr) *cmp = order;
  return order == 0;
}

template <class G>
int daq_slicer<G>::get_data(const ravo_time_id* id, std::vector<ravo_channel_entry_long*>* res,
                            int direction) try {
  slicer_texts<G>::aligning(debug, current_event_id, synch_mode);
  if (!is_request_type(direction) || res == nullptr) return RAVO_DAQ_SLICER_INV_PARAM;
  res->clear();
  if (G::forgets_event_without_channels && nchans < 1) {
    current_event_id = {};
    return RAVO_DAQ_SLICER_OUT_OF_WINDOW;
  }
  alignment call = begin_alignment(id, direction);
  for (int chan = 0; chan < nchans && read_chans != nullptr; ++chan) {
    const answer got = ask_channel(chan, call);
    if (got.failure != RAVO_DAQ_SLICER_OK) return got.failure;
    if (got.entry != nullptr) choose_event(chan, *got.entry, call);
  }
  if (debug < 0) slicer_texts<G>::time_after_asking(call.watch.microseconds());
  set_event(call.chosen, current_event_id);
  const int alive = collect(*res);
  first_event = 0;
  if (debug > 0)
    std::printf("current_event_id.event_number (output): %d:%d_%d res.size():%d\n",
                static_cast<int>(current_event_id.event_number),
                static_cast<int>(current_event_id.time.timeup),
                static_cast<int>(current_event_id.time.timelow), static_cast<int>(res->size()));
  return alive > 0 ? RAVO_DAQ_SLICER_OK : RAVO_DAQ_SLICER_OUT_OF_WINDOW;
} catch (const std::bad_alloc&) {
  std::printf("get_data: no memory for the entries of an event\n");
  return RAVO_DAQ_SLICER_INTERN_ERROR;
}

// The first call asks for the event that start() found, whatever the caller asks for.
template <class G>
typename daq_slicer<G>::alignment daq_slicer<G>::begin_alignment(const ravo_time_id* id, int direction) {
  if (synch_mode == RAVO_DAQ_SLICER_SYNCH_MODE_TIME) current_event_id.event_number = 0;
  return {id != nullptr ? *id : current_event_id,
          first_event != 0 ? static_cast<int>(RAVO_DAQ_READ_CHAN_EVENT_CUR) : direction,
          {},
          {}};
}

// ---- one channel's answer

template <class G>
typename daq_slicer<G>::answer daq_slicer<G>::ask_channel(int chan, alignment& call) {
  // Moves by direction 0 stay in the file: without a limit such a channel could loop for ever.
  std::size_t moves_left = files.size() + 1;
  while (read_chans[chan] != nullptr && is_in_range(chan, call)) {
    ravo_channel_entry_long* entry = nullptr;
    const int status = ask_reader(chan, call, &entry);
    if (status == RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW && move_channel(chan, call.direction, moves_left))
      continue;
    if (status == RAVO_DAQ_READ_CHAN_OK) return {RAVO_DAQ_SLICER_OK, entry};
    return {judge(chan, status), nullptr};
  }
  return {RAVO_DAQ_SLICER_OK, nullptr};
}

template <class G>
bool daq_slicer<G>::is_in_range(int chan, alignment& call) {
  if (debug == -2) {
    std::printf("Channel %d %u\n", chan, identity(read_chans[chan]));
    read_chans[chan]->print_time_limits();
    std::printf("lop: %d\n", call.direction);
  }
  ravo_time_id first{};
  ravo_time_id last{};
  read_chans[chan]->get_time_limits(&first, &last);
  if (synch_mode == RAVO_DAQ_SLICER_SYNCH_MODE_TIME) call.target.event_number = 0;
  int target_to_first = 0;
  int last_to_target = 0;
  is_event_id_eq(&call.target, &first, &target_to_first);
  is_event_id_eq(&last, &call.target, &last_to_target);
  if (call.direction <= 0 && target_to_first < 0) return false;
  if (call.direction >= 0 && last_to_target < 0) return false;
  return true;
}

template <class G>
int daq_slicer<G>::ask_reader(int chan, const alignment& call, ravo_channel_entry_long** entry) {
  if (debug > 0) std::printf("Calling %d with:%d\n", chan, call.direction);
  if (debug > 1) std::printf("Calling get_chan_data() get_data()\n");
  if (debug < 0) slicer_texts<G>::time_before_asking(call.watch.microseconds());
  const int status = read_chans[chan]->get_chan_data(&call.target, entry, call.direction);
  if (debug > 1) {
    if (const ravo_channel_entry_long* got = *entry)
      std::printf("Got from get_chan_data() get_data() %d:%d_%d (have already %d:%d_%d)\n",
                  static_cast<int>(got->event_id.event_number), static_cast<int>(got->event_id.time.timeup),
                  static_cast<int>(got->event_id.time.timelow), static_cast<int>(call.chosen.event_number),
                  static_cast<int>(call.chosen.time.timeup), static_cast<int>(call.chosen.time.timelow));
    else
      std::printf("rs NULL\n");
  }
  if (debug == -2) std::printf("NEXT %d %d\n", call.direction, status);
  return status;
}

/// What a channel reader's answer without an entry means for the call; printed unless it is an ordinary
/// end of a file.
template <class G>
int daq_slicer<G>::judge(int chan, int status) {
  if (read_chans[chan] == nullptr) return RAVO_DAQ_SLICER_OK;
  const char* name = read_chans[chan]->get_chan_name(nullptr);
  switch (status) {
    case RAVO_DAQ_READ_CHAN_INV_PARAM:
      std::printf("Channel[%d] %s  RAVO_DAQ_READ_CHAN_INV_PARAM\n", chan, name);
      return RAVO_DAQ_SLICER_INTERN_ERROR;
    case RAVO_DAQ_READ_CHAN_INTERN_ERROR:
      std::printf("Channel[%d] %s  RAVO_DAQ_READ_CHAN_INTERN_ERROR\n", chan, name);
      return RAVO_DAQ_SLICER_INTERN_ERROR;
    case RAVO_DAQ_READ_CHAN_NOT_FOUND:
      std::printf("Channel[%d] %s  RAVO_DAQ_READ_CHAN_NOT_FOUND\n", chan, name);
      return RAVO_DAQ_SLICER_INTERN_ERROR;
    case RAVO_DAQ_READ_CHAN_NOT_INIT:
      std::printf("Channel[%d] %s RAVO_DAQ_READ_CHAN_NOT_INIT\n", chan, name);
      return RAVO_DAQ_SLICER_INTERN_ERROR;
    case RAVO_DAQ_READ_CHAN_NOT_READY:
      std::printf("Channel[%d] %s RAVO_DAQ_READ_CHAN_NOT_READY\n", chan, name);
      return RAVO_DAQ_SLICER_NOT_READY;
    case RAVO_DAQ_READ_CHAN_NO_DATA:
      std::printf("Channel[%d] %s  RAVO_DAQ_READ_CHAN_NO_DATA\n", chan, name);
      return RAVO_DAQ_SLICER_OK;
    default:
      return RAVO_DAQ_SLICER_OK;
  }
}

/// Moves the channel on to a file that has events of it; false if it contributes nothing to this event.
template <class G>
bool daq_slicer<G>::move_channel(int chan, int direction, std::size_t& moves_left) {
  while (moves_left > 0) {
    if (!change_file(chan, direction, moves_left)) return false;
    const int status = start_channel(chan, direction);
    if (status == RAVO_DAQ_SLICER_OK) return true;
    if (status != RAVO_DAQ_SLICER_NO_DATA && status != RAVO_DAQ_SLICER_OUT_OF_WINDOW) {
      if (debug > 0)
        std::printf("NO DATA  ANY MORE for %s removing\n", chans[static_cast<std::size_t>(chan)]->name);
      remove_channel(chan);
      return false;
    }
  }
  return false;
}

template <class G>
bool daq_slicer<G>::change_file(int chan, int direction, std::size_t& moves_left) {
  while (moves_left > 0) {
    --moves_left;
    const int status = change_config(chan, direction, 1);
    if (status == RAVO_DAQ_SLICER_OK) return true;
    if (!G::retries_single_channel || status != RAVO_DAQ_SLICER_OUT_OF_WINDOW || nchans != 1) break;
    std::printf("Changing configuration due to out of winndow \n");
  }
  if (debug >= 1)
    std::printf("NO CONGIGS ANY MORE for %s:%d \n", chans[static_cast<std::size_t>(chan)]->name,
                chans[static_cast<std::size_t>(chan)]->subchan);
  return false;
}

// ---- the choice of the event

inline bool is_unset(const ravo_time_id& event) {
  return event.event_number == 0 && event.time.timeup == 0;
}

template <class G>
void daq_slicer<G>::choose_event(int chan, const ravo_channel_entry_long& entry, alignment& call) {
  if (is_unset(call.chosen)) return take_event(chan, entry.event_id, call);
  int order = 0;
  is_event_id_eq(&call.target, &entry.event_id, &order);
  if (debug > 0) std::printf("Diff: %d\n", order);
  switch (call.direction) {
    case RAVO_DAQ_READ_CHAN_EVENT_CUR:
      if (order == 0) call.chosen = entry.event_id;  // its number stays, also when aligning by time
      return;
    case RAVO_DAQ_READ_CHAN_EVENT_NEXT:
    case RAVO_DAQ_READ_CHAN_EVENT_LAST:
      if (order < 0 && is_earlier(entry, call)) take_event(chan, entry.event_id, call);
      return;
    default:
      if (order > 0 && is_farther(entry.event_id, call)) set_event(entry.event_id, call.chosen);
  }
}

// Of the events after the target the earliest is chosen. Of several that are the same event within the time
// difference, the entry with the strictly earliest time is chosen.
template <class G>
bool daq_slicer<G>::is_earlier(const ravo_channel_entry_long& entry, const alignment& call) const {
  int chosen_to_entry = 0;
  is_event_id_eq(&call.chosen, &entry.event_id, &chosen_to_entry);
  if (chosen_to_entry != 0) return chosen_to_entry > 0;
  if (synch_mode != RAVO_DAQ_SLICER_SYNCH_MODE_TIME) return false;
  if (G::update_blocks_lose_ties && call.direction == RAVO_DAQ_READ_CHAN_EVENT_LAST && is_update(entry))
    return false;
  return as_microseconds(call.chosen.time) > as_microseconds(entry.event_id.time);
}

// Of the events before the target, PREV means the latest, FIRST the earliest.
template <class G>
bool daq_slicer<G>::is_farther(const ravo_time_id& event, const alignment& call) const {
  int chosen_to_event = 0;
  is_event_id_eq(&call.chosen, &event, &chosen_to_event);
  return call.direction == RAVO_DAQ_READ_CHAN_EVENT_PREV ? chosen_to_event < 0 : chosen_to_event > 0;
}

template <class G>
bool daq_slicer<G>::is_update(const ravo_channel_entry_long& entry) {
  const auto* block = reinterpret_cast<const typename G::subhead*>(entry.sbchdata[0].chhd);
  return block != nullptr && (block->dtype & 0xffff) == G::update_dtype;
}

template <class G>
void daq_slicer<G>::take_event(int chan, const ravo_time_id& event, alignment& call) const {
  if (debug > 0)
    std::printf("Copying temp evid: %d (from:%d)\n", static_cast<int>(event.event_number), chan);
  set_event(event, call.chosen);
}

// When aligning by time, the slicer's own events have no number.
template <class G>
void daq_slicer<G>::set_event(const ravo_time_id& event, ravo_time_id& own) const {
  own = event;
  if (synch_mode == RAVO_DAQ_SLICER_SYNCH_MODE_TIME) own.event_number = 0;
}

// ---- the entries of the chosen event

/// Returns the number of channels that still have a reader.
template <class G>
int daq_slicer<G>::collect(std::vector<ravo_channel_entry_long*>& res) {
  int alive = 0;
  for (int chan = 0; chan < nchans && read_chans != nullptr; ++chan) {
    if (read_chans[chan] == nullptr) continue;
    ++alive;
    collect_channel(chan, res);
  }
  return alive;
}

template <class G>
void daq_slicer<G>::collect_channel(int chan, std::vector<ravo_channel_entry_long*>& res) {
  if (debug > 1) std::printf("Calling get_chan_data() gete_data() end\n");
  ravo_channel_entry_long* entry = nullptr;
  const int status = read_chans[chan]->get_chan_data(nullptr, &entry, RAVO_DAQ_READ_CHAN_EVENT_CUR);
  if (debug > 2) std::printf("CURRENT %d\n", status);
  if (status != RAVO_DAQ_READ_CHAN_OK || entry == nullptr) return;
  const ravo_time_id& event = entry->event_id;
  const bool found = is_event_id_eq(&current_event_id, &event, nullptr);
  if (debug > 2) slicer_texts<G>::compared_with_current_event(found);
  if (found) {
    res.push_back(entry);
    return;
  }
  if (debug > 1) {
    const typename G::file_tables* tables = read_chans[chan]->get_cfg();
    std::printf("EMPTY %s %d:%d_%d  %d:%d_%d  cfg_status:%x\n", read_chans[chan]->get_chan_name(nullptr),
                static_cast<int>(current_event_id.event_number),
                static_cast<int>(current_event_id.time.timeup),
                static_cast<int>(current_event_id.time.timelow), static_cast<int>(event.event_number),
                static_cast<int>(event.time.timeup), static_cast<int>(event.time.timelow),
                static_cast<unsigned>(tables != nullptr ? tables->status() : 0));
  }
}

}  // namespace ravo
