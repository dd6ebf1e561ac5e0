// Lookups in a channel reader's output array, by event number and by time: first a binary search, then a
// scan of the array from its start while it is not complete, then, for a step, the nearest event.
//
// A scan ends at an entry that a worker still has to fill: nothing is known after it. An entry that no
// worker will fill any more (its block is damaged) is skipped, as if the file did not hold it.
#include <cstdio>
#include <cstdlib>

#include "ravo_daq/read_chan.h"
#include "ravo_evutl.h"
#include "stopwatch.h"

namespace ravo {

inline bool is_decoded(const ravo_channel_entry_long& entry) {
  return entry.event_id.event_number != RAVO_EVENT_NUMBER_UNDECODED;
}

template <class G>
int daq_read_chan<G>::debug_level() const {
  return cfg == nullptr ? 0 : cfg->debug;
}

template <class G>
bool daq_read_chan<G>::is_awaited(const ravo_channel_entry_long& entry) const {
  return !is_decoded(entry) && running > 0 && all_done == 0;
}

/// The first decoded entry from `index` to `last`; `last` + 1 if no entry is decoded.
template <class G>
int daq_read_chan<G>::next_decoded(int index, int last) const {
  while (index <= last && !is_decoded(out[index])) ++index;
  return index;
}

// ---- by event number ----

/// Whether a channel's entries can be searched.
inline int status_of_entries(const ravo_channel_entry_long* entries, int total, bool is_damaged) {
  if (entries == nullptr) return RAVO_DAQ_READ_CHAN_NOT_INIT;
  if (is_damaged) return RAVO_DAQ_READ_CHAN_INTERN_ERROR;
  return total == 0 ? RAVO_DAQ_READ_CHAN_NO_DATA : RAVO_DAQ_READ_CHAN_OK;
}

template <class G>
ravo_channel_entry_long* daq_read_chan<G>::find_entry_by_event_id(unsigned event_number, int type,
                                                                  int* status) {
  const stopwatch watch;
  int result = RAVO_DAQ_READ_CHAN_OK;
  int& answer = status != nullptr ? *status : result;
  answer = event_number == 0 ? RAVO_DAQ_READ_CHAN_INV_PARAM : status_of_entries(out, out_total, is_damaged);
  if (answer != RAVO_DAQ_READ_CHAN_OK) return nullptr;

  ravo_channel_entry_long* found = exact_number(event_number);
  const bool go_on = found != nullptr || scan_number(event_number, &found);
  if constexpr (G::traces_lookups) print_entries_once();
  if (go_on && found == nullptr) found = nearest_number(event_number, type);

  if constexpr (G::traces_lookups)
    this->index_to_start_search = found == nullptr ? -1 : static_cast<int>(found - out);
  if (found != nullptr)
    out_cur = found;
  else
    answer = RAVO_DAQ_READ_CHAN_NO_DATA;
  if (G::traces_lookups && debug_level() < 0 && watch.microseconds() > 1000)
    std::printf("get_by_event_id()  %f msec event_id:%d\n", watch.milliseconds(),
                static_cast<int>(event_number));
  return found;
}

template <class G>
ravo_channel_entry_long* daq_read_chan<G>::exact_number(unsigned event_number) const {
  int low = 0;
  int high = out_total - 1;
  while (low <= high) {
    const int middle = low + (high - low) / 2;
    const int probe = next_decoded(middle, high);
    if (probe > high || out[probe].event_id.event_number > event_number)
      high = middle - 1;
    else if (out[probe].event_id.event_number < event_number)
      low = probe + 1;
    else
      return &out[probe];
  }
  return nullptr;
}

/// Scans from the first entry on. False: an awaited entry ends the whole lookup.
template <class G>
bool daq_read_chan<G>::scan_number(unsigned event_number, ravo_channel_entry_long** found) const {
  for (int i = 0; *found == nullptr && i < out_total; ++i) {
    if (is_awaited(out[i])) return false;
    if (is_decoded(out[i]) && out[i].event_id.event_number == event_number) *found = &out[i];
  }
  return true;
}

/// For NEXT the entry with the smallest number above, for PREV the entry with the greatest number below;
/// the first of several equal entries wins. Null for other types.
template <class G>
ravo_channel_entry_long* daq_read_chan<G>::nearest_number(unsigned event_number, int type) const {
  ravo_channel_entry_long* nearest = nullptr;
  if (type != RAVO_DAQ_READ_CHAN_EVENT_NEXT && type != RAVO_DAQ_READ_CHAN_EVENT_PREV) return nearest;
  unsigned best = 0;
  for (int i = 0; i < out_total; ++i) {
    const unsigned number = out[i].event_id.event_number;
    if (number == 0 || !is_decoded(out[i])) continue;
    const bool wanted =
        type == RAVO_DAQ_READ_CHAN_EVENT_NEXT ? number > event_number : number < event_number;
    const unsigned distance = number > event_number ? number - event_number : event_number - number;
    if (!wanted || (nearest != nullptr && distance >= best)) continue;
    nearest = &out[i];
    best = distance;
  }
  return nearest;
}

template <class G>
void daq_read_chan<G>::print_entries_once()
  requires G::traces_lookups
{
  if (!this->once) return;
  this->once = false;
  for (int i = 0; i < out_total; ++i)
    std::printf("[%d] %d\t%d:%d\n", i, static_cast<int>(out[i].event_id.event_number),
                static_cast<int>(out[i].event_id.time.timeup),
                static_cast<int>(out[i].event_id.time.timelow));
}

// ---- by time ----

template <class G>
ravo_channel_entry_long* daq_read_chan<G>::find_entry_by_time(const time_stamp* time, int type,
                                                              int* status) {
  int result = RAVO_DAQ_READ_CHAN_OK;
  int& answer = status != nullptr ? *status : result;
  answer = time == nullptr  ? RAVO_DAQ_READ_CHAN_INV_PARAM
           : out == nullptr ? RAVO_DAQ_READ_CHAN_NOT_INIT
           : is_damaged     ? RAVO_DAQ_READ_CHAN_INTERN_ERROR
           : out_total == 0 ? RAVO_DAQ_READ_CHAN_NO_DATA
                            : RAVO_DAQ_READ_CHAN_OK;
  if (answer != RAVO_DAQ_READ_CHAN_OK) return nullptr;

  ravo_channel_entry_long* found = nullptr;
  const bool go_on = search_time(*time, &found) && scan_time(*time, &found);
  if (go_on && found == nullptr) found = nearest_time(*time, type);
  if (found == nullptr) {
    answer = RAVO_DAQ_READ_CHAN_NO_DATA;
    return nullptr;
  }
  out_cur = found;
  return found;
}

/// Binary search. False: an entry without a time ends the whole lookup.
template <class G>
bool daq_read_chan<G>::search_time(const time_stamp& time, ravo_channel_entry_long** found) const {
  int low = 0;
  int high = out_total - 1;
  while (low <= high) {
    const int middle = low + (high - low) / 2;
    const int probe = next_decoded(middle, high);
    if (probe > high) {
      high = middle - 1;
      continue;
    }
    const time_stamp& at = out[probe].event_id.time;
    int sign = 0;
    if (ravo_time_stamp_eq(&time, &at) || ravo_time_stamp_eq(&time, &at, time_diff, &sign, nullptr)) {
      *found = &out[probe];
      return true;
    }
    if (sign < 0) {
      high = middle - 1;
      continue;
    }
    if (at.timeup == 0) return false;
    low = probe + 1;
  }
  return true;
}

/// Scans from the first entry on. False: as for search_time, and at an awaited entry.
template <class G>
bool daq_read_chan<G>::scan_time(const time_stamp& time, ravo_channel_entry_long** found) const {
  for (int i = 0; *found == nullptr && i < out_total; ++i) {
    if (is_awaited(out[i])) return false;
    if (!is_decoded(out[i])) continue;
    const time_stamp& at = out[i].event_id.time;
    if (at.timeup == 0) return false;
    if (ravo_time_stamp_eq(&time, &at, time_diff, nullptr, nullptr)) *found = &out[i];
  }
  return true;
}

template <class G>
ravo_channel_entry_long* daq_read_chan<G>::nearest_time(const time_stamp& time, int type) const {
  ravo_channel_entry_long* nearest = nullptr;
  if (type != RAVO_DAQ_READ_CHAN_EVENT_NEXT && type != RAVO_DAQ_READ_CHAN_EVENT_PREV) return nearest;
  double best = 0.0;  // exactly 0 means that there is no candidate yet
  for (int i = 0; i < out_total; ++i) {
    if (!is_decoded(out[i])) continue;
    int sign = 0;
    double difference = 0.0;
    ravo_time_stamp_eq(&time, &out[i].event_id.time, time_diff, &sign, &difference);
    const bool wanted = type == RAVO_DAQ_READ_CHAN_EVENT_NEXT ? sign < 0 : sign > 0;
    if (!wanted || (best != 0.0 && difference >= best)) continue;
    nearest = &out[i];
    best = difference;
  }
  return nearest;
}

}  // namespace ravo
