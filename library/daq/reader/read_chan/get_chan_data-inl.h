// How a channel reader finds the event that is asked for: which reference the request means, whether to
// look it up by event number or by time, and how the two results correct each other.
#include <cstdint>
#include <cstdio>

#include "arguments.h"
#include "format/time.h"
#include "ravo_daq/read_chan.h"
#include "ravo_evutl.h"
#include "read_chan/read_chan_texts.h"
#include "scoped_lock.h"

namespace ravo {

inline bool is_step(int type) {
  return type == RAVO_DAQ_READ_CHAN_EVENT_PREV || type == RAVO_DAQ_READ_CHAN_EVENT_NEXT;
}

template <class G>
int daq_read_chan<G>::get_chan_data(const ravo_time_id* id, ravo_channel_entry_long** result, int type) {
  if (chnb == nullptr) {
    std::printf(read_chan_texts<G>::data_not_initialized, chan);
    return RAVO_DAQ_READ_CHAN_NOT_INIT;
  }
  if (result == nullptr || !is_request_type(type)) return RAVO_DAQ_READ_CHAN_INV_PARAM;

  const scoped_lock lock(mx);
  if (is_damaged) return RAVO_DAQ_READ_CHAN_INTERN_ERROR;
  ravo_time_id reference{};
  if (!reference_event(id, type, &reference)) {
    std::printf("Start channel is we are here   %d@%d\n", 0, 0);
    return RAVO_DAQ_READ_CHAN_INV_PARAM;
  }
  // A step from the current event goes by time; everything else by number, if there is a number.
  const bool by_number = reference.event_number != 0 && (!is_step(type) || id != nullptr);
  int status = RAVO_DAQ_READ_CHAN_OK;
  ravo_channel_entry_long* entry = by_number ? look_up_number(reference.event_number, type, &status)
                                             : look_up_time(reference.time, type, &status);
  if constexpr (G::has_by_time_fix)
    if (!by_number && this->by_time_fix && entry != nullptr)
      entry = hold_against_numbers(entry, type, &status);
  if (entry == nullptr) return status;
  if constexpr (G::has_by_time_fix) this->event_cur = entry->event_id;
  *result = entry;
  return status;
}

/// False when there is nothing to refer to: no current entry, or neither a number nor a time.
template <class G>
bool daq_read_chan<G>::reference_event(const ravo_time_id* id, int type, ravo_time_id* reference) const {
  if (id != nullptr)
    *reference = *id;
  else if (type == RAVO_DAQ_READ_CHAN_EVENT_FIRST)
    *reference = event_first;
  else if (type == RAVO_DAQ_READ_CHAN_EVENT_LAST)
    *reference = event_last;
  else if (out_cur != nullptr)
    *reference = out_cur->event_id;
  else if (type == RAVO_DAQ_READ_CHAN_EVENT_NEXT)
    *reference = event_first;
  else if (type == RAVO_DAQ_READ_CHAN_EVENT_PREV)
    *reference = event_last;
  return reference->event_number != 0 || reference->time.timeup != 0;
}

// An event without a number cannot limit numbers: the channel's least and greatest numbers do so then.
template <class G>
unsigned daq_read_chan<G>::first_number() const {
  return event_first.event_number != 0 ? event_first.event_number : least_number;
}

template <class G>
unsigned daq_read_chan<G>::last_number() const {
  return event_last.event_number != 0 ? event_last.event_number : greatest_number;
}

template <class G>
ravo_channel_entry_long* daq_read_chan<G>::look_up_number(unsigned number, int type, int* status) {
  std::int64_t wanted = number;
  if (type == RAVO_DAQ_READ_CHAN_EVENT_PREV) wanted -= event_step.event_number;
  if (type == RAVO_DAQ_READ_CHAN_EVENT_NEXT) wanted += event_step.event_number;
  const bool low_limit = type == RAVO_DAQ_READ_CHAN_EVENT_PREV || type == RAVO_DAQ_READ_CHAN_EVENT_CUR;
  const bool high_limit = type == RAVO_DAQ_READ_CHAN_EVENT_NEXT || type == RAVO_DAQ_READ_CHAN_EVENT_CUR;
  if ((low_limit && wanted < first_number()) || (high_limit && wanted > last_number())) {
    *status = RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW;
    return nullptr;
  }
  return find_entry_by_event_id(static_cast<unsigned>(wanted), type, status);
}

// Borrows a second even if the microseconds are equal, which leaves 1000000 microseconds, on purpose.
inline time_stamp step_back(time_stamp time, const time_stamp& step) {
  if (step.timelow >= time.timelow) {
    time.timelow += static_cast<std::uint32_t>(microseconds_per_second);
    time.timeup -= 1;
  }
  return {time.timeup - step.timeup, time.timelow - step.timelow};
}

// A file may hold any number of microseconds: a sum that wrapped would step back, and the walk never end.
inline time_stamp step_forward(const time_stamp& time, const time_stamp& step) {
  constexpr std::uint64_t second = microseconds_per_second;
  const std::uint64_t low = std::uint64_t{time.timelow} + step.timelow;
  return {static_cast<std::uint32_t>(time.timeup + step.timeup + low / second),
          static_cast<std::uint32_t>(low % second)};
}

/// Whether a is before b by more than the tolerance.
inline bool is_before(const time_stamp& a, const time_stamp& b, double tolerance) {
  int sign = 0;
  return !ravo_time_stamp_eq(&a, &b, tolerance, &sign, nullptr) && sign < 0;
}

template <class G>
ravo_channel_entry_long* daq_read_chan<G>::look_up_time(time_stamp time, int type, int* status) {
  if (type == RAVO_DAQ_READ_CHAN_EVENT_PREV) time = step_back(time, event_step.time);
  if (type == RAVO_DAQ_READ_CHAN_EVENT_NEXT) time = step_forward(time, event_step.time);
  const bool low_limit = type == RAVO_DAQ_READ_CHAN_EVENT_PREV || type == RAVO_DAQ_READ_CHAN_EVENT_CUR;
  const bool high_limit = type == RAVO_DAQ_READ_CHAN_EVENT_NEXT || type == RAVO_DAQ_READ_CHAN_EVENT_CUR;
  if ((low_limit && is_before(time, event_first.time, time_diff)) ||
      (high_limit && is_before(event_last.time, time, time_diff))) {
    *status = RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW;
    return nullptr;
  }
  return find_entry_by_time(&time, type, status);
}

// A step by time that lands two or more events away is looked up again by number. The entry found by number
// wins; without one, the entry found by time stays, with the second lookup's status.
template <class G>
ravo_channel_entry_long* daq_read_chan<G>::hold_against_numbers(ravo_channel_entry_long* entry, int type,
                                                                int* status)
  requires G::has_by_time_fix
{
  const std::int64_t number = entry->event_id.event_number;
  const std::int64_t current = this->event_cur.event_number;
  const std::int64_t distance = type == RAVO_DAQ_READ_CHAN_EVENT_NEXT ? number - current : current - number;
  if (!is_step(type) || distance < 2) return entry;
  if (debug_level() > 0) std::printf("Double check instead of time -> by EvID\n");
  ravo_channel_entry_long* by_number = look_up_number(this->event_cur.event_number, type, status);
  return by_number != nullptr ? by_number : entry;
}

template <class G>
void daq_read_chan<G>::get_time_limits(ravo_time_id* first, ravo_time_id* last) {
  const scoped_lock lock(mx);
  if (first != nullptr) *first = event_first;
  if (last != nullptr) *last = event_last;
}

}  // namespace ravo
