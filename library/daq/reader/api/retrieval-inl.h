// get_data(): asks the slicer for events until one belongs to the request, and copies its data into the
// reader's own results. Definitions of ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_RETRIEVAL_INL_H
#define RAVO_DAQ_READER_RETRIEVAL_INL_H

#include <atomic>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "api/channel_name.h"
#include "api/cycle_detector.h"
#include "api/file_times.h"
#include "api/reader_texts.h"
#include "api/result_index.h"
#include "decode/allocate.h"
#include "ravo_daq/reader.h"
#include "stopwatch.h"

namespace ravo {

/// Calls of get_data() in this process, of all readers; for inspection in a debugger.
inline std::atomic<unsigned long> get_data_calls{0};

/// The subheader that an entry of the slicer points to; null if it has no subheader.
template <class Subhead>
const Subhead* subheader_of(const ravo_channel_entry_long& element) {
  return std::bit_cast<const Subhead*>(element.sbchdata[0].chhd);
}

/// The data type of a block; the high half only says what a subchannel was cut from.
template <class Subhead>
int type_of(const Subhead& block) {
  return block.dtype & 0xffff;
}

/// Updates and begin- and end-of-run blocks: they come occasionally, and carry the channel's bare name.
template <class G>
bool is_occasional(int dtype) {
  return dtype == G::update_dtype || dtype == G::begin_of_run_dtype || dtype == G::end_of_run_dtype;
}

template <std::size_t size>
std::string_view text_of(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

/// Copies a record from an address of the decoding layer; all zero if there is no record.
template <class Record>
void copy_record(Record& to, std::uint64_t address) {
  if (address == 0)
    to = Record{};
  else
    std::memcpy(&to, std::bit_cast<const void*>(address), sizeof to);
}

template <class G>
int daq_reader<G>::get_data(const ravo_time_id* id, std::vector<ravo_channel_entry_long*>* entries,
                            int mode) try {
  if (!slicer) return RAVO_DAQ_READER_NOT_INIT;  // the last error stays that of start() or clean_up()
  if (!entries) return store(RAVO_DAQ_READER_INV_PARAM);
  get_data_calls.fetch_add(1, std::memory_order_relaxed);
  cur_res.clear();
  entries->clear();
  if (const int status = find_requested_event(id, mode); status != RAVO_DAQ_READER_OK) return status;
  if (const int status = take_elements(); status != RAVO_DAQ_READER_OK) return store(status);
  hand_out(*entries);
  return store(RAVO_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
  std::printf("get_data: no memory for the entries of an event\n");
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

/// Leaves the next event of the request in cur_res.
template <class G>
int daq_reader<G>::find_requested_event(const ravo_time_id* id, int mode) {
  cycle_detector walk;
  for (;;) {
    const int status = ask_slicer(id, mode);
    switch (status) {
      case RAVO_DAQ_SLICER_OK:
        break;
      case RAVO_DAQ_SLICER_INV_PARAM:
      case RAVO_DAQ_SLICER_INTERN_ERROR:
      case RAVO_DAQ_SLICER_OUT_OF_WINDOW:
      case RAVO_DAQ_SLICER_NOT_READY:
        return status;  // not stored, because it is the slicer's
      default:
        std::printf("Unexpected return code %d\n", status);
        return store(status);
    }
    if (cur_res.empty()) {
      note_empty_event();
    } else {
      const place where = place_of(get_reference_event());
      if (where == place::unknown) return store(RAVO_DAQ_READER_INTERN_ERROR);
      if (debug > 1) std::printf("reader.get_data() BELONG: %d\n", where == place::inside ? 1 : 0);
      if (where == place::inside) return RAVO_DAQ_READER_OK;
    }
    // With an explicit id, or a step past the first event, the slicer would give the same answer for ever.
    if (walk.is_closed_by(slicer->current_event_id)) return store(RAVO_DAQ_READER_NO_DATA);
  }
}

template <class G>
int daq_reader<G>::ask_slicer(const ravo_time_id* id, int mode) {
  const stopwatch watch;
  const int status = slicer->get_data(id, &cur_res, mode);
  if (debug < 0 && watch.microseconds() > 1000)
    std::printf(reader_texts<G>::slicer_time, watch.milliseconds());
  if (debug > 1)
    std::printf("reader.get_data() CUR_RES.SIZE(): %d  STATUS: %d\n", static_cast<int>(cur_res.size()),
                status);
  return status;
}

template <class G>
void daq_reader<G>::note_empty_event() {
  ++evs_empty;
  if (debug >= 1) std::printf("BREAKING HERE 1 mode: %d \n", request.synch_mode);
}

/// The event as the first regular channel has it; without a regular channel, as the first channel has it.
template <class G>
ravo_time_id daq_reader<G>::get_reference_event() const {
  const ravo_channel_entry_long* first = nullptr;
  for (const ravo_channel_entry_long* element : cur_res) {
    if (!element) continue;
    if (!first) first = element;
    const subhead* block = subheader_of<subhead>(*element);
    if (!block)
      std::printf(reader_texts<G>::no_channel_header);
    else if (!is_occasional<G>(type_of(*block)))
      return element->event_id;
  }
  return first ? first->event_id : ravo_time_id{};
}

template <class G>
typename daq_reader<G>::place daq_reader<G>::place_of(const ravo_time_id& event) const {
  if (request.synch_mode != RAVO_DAQ_SLICER_SYNCH_MODE_EVID &&
      request.synch_mode != RAVO_DAQ_SLICER_SYNCH_MODE_TIME) {
    std::printf("Unknown synch mode %d\n", request.synch_mode);
    return place::unknown;
  }
  return is_before_start(event) || is_past_stop(event) ? place::outside : place::inside;
}

// If events are aligned by number, the requested number counts; the time counts only without a number.
template <class G>
bool daq_reader<G>::is_before_start(const ravo_time_id& event) const {
  if (request.synch_mode == RAVO_DAQ_SLICER_SYNCH_MODE_EVID && request.start_time.event_number != 0)
    return request.start_time.event_number > event.event_number;
  return time_start != 0 && as_microseconds(event.time) < time_start;
}

template <class G>
bool daq_reader<G>::is_past_stop(const ravo_time_id& event) const {
  if (request.synch_mode == RAVO_DAQ_SLICER_SYNCH_MODE_EVID && request.stop_time.event_number != 0)
    return request.stop_time.event_number < event.event_number;
  return time_stop != 0 && as_microseconds(event.time) > time_stop;
}

/// Copies what cur_res points to into the results.
template <class G>
int daq_reader<G>::take_elements() {
  ++evs;
  for (result_entry* entry : results) {
    if (entry) entry->updated = 0;
  }
  for (const ravo_channel_entry_long* element : cur_res) {
    if (!element) continue;
    current_event_id = element->event_id;
    const subhead* block = subheader_of<subhead>(*element);
    if (!block) continue;
    if (debug > 1) print_comparisons(*block);
    const std::size_t position = find_result(*block);
    if (position == result_index::none) continue;
    if (const int status = take(*element, position); status != RAVO_DAQ_READER_OK) return status;
  }
  return RAVO_DAQ_READER_OK;
}

/// The position of the first result that a block is for.
template <class G>
std::size_t daq_reader<G>::find_result(const subhead& block) const {
  const std::string_view name = text_of(block.chname);
  return is_occasional<G>(type_of(block)) ? index->find_name(name) : index->find_key(name);
}

/// Prints the trace of a walk over the results in their order, up to the result that find_result() finds.
template <class G>
void daq_reader<G>::print_comparisons(const subhead& block) const {
  const bool is_by_name = is_occasional<G>(type_of(block));
  for (const result_entry* entry : results) {
    if (!entry) continue;
    const bool is_equal = is_by_name ? text_of(block.chname) == entry->chan.name
                                     : text_of(block.chname) == channel_key(entry->chan).text();
    std::printf("reader.get_data() FOUND: %d\n", is_equal ? 1 : 0);
    if (is_equal) return;
  }
}

template <class G>
int daq_reader<G>::take(const ravo_channel_entry_long& element, std::size_t position) {
  const ravo_event_chan_ptr_long_entry& from = element.sbchdata[0];
  const subhead& block = *subheader_of<subhead>(element);
  result_entry& entry = *results[position];
  if (block.ldata < static_cast<int>(sizeof(subhead))) return RAVO_DAQ_READER_OK;  // no block at all
  const std::size_t size = static_cast<std::size_t>(block.ldata);
  if (type_of(block) == G::update_dtype) entry.slow = 1;
  if (const int status = make_room(position, size); status != RAVO_DAQ_READER_OK) return status;
  copy_record(entry.evhd, from.evhd);
  copy_record(entry.sbhd, from.sbhd);
  *entry.data = block;
  if (from.data != 0)
    std::memcpy(entry.data + 1, std::bit_cast<const void*>(from.data), size - sizeof(subhead));
  reinterpret_cast<char*>(entry.data)[size] = 0;
  if (debug > 1) std::printf("UPDATED %s\n", channel_key(entry.chan).text());
  entry.updated = 1;
  entry.res = element;
  entry.res.sbchdata[0] = {
      std::bit_cast<std::uint64_t>(&entry.evhd), std::bit_cast<std::uint64_t>(&entry.sbhd),
      std::bit_cast<std::uint64_t>(entry.data), std::bit_cast<std::uint64_t>(entry.data + 1)};
  return RAVO_DAQ_READER_OK;
}

/// Makes room in a result for a block and a zero after it, because the data of slow channels are read as
/// texts. The buffer grows and never shrinks.
template <class G>
int daq_reader<G>::make_room(std::size_t position, std::size_t size) {
  result_entry& entry = *results[position];
  if (entry.data && size <= data_capacity[position]) return RAVO_DAQ_READER_OK;
  void* grown = reallocate(entry.data, size + 1);
  if (!grown) {
    std::printf("Failed to realloc %d of data for %s\n", static_cast<int>(size),
                channel_key(entry.chan).text());
    std::perror("realloc");
    return RAVO_DAQ_READER_INTERN_ERROR;
  }
  entry.data = static_cast<subhead*>(grown);
  data_capacity[position] = size;
  return RAVO_DAQ_READER_OK;
}

/// A slow channel that has been seen once is handed out with every event, with its last value.
template <class G>
void daq_reader<G>::hand_out(std::vector<ravo_channel_entry_long*>& entries) {
  entries.reserve(results.size());
  for (result_entry* entry : results) {
    if (entry && (entry->slow || entry->updated)) entries.push_back(&entry->res);
  }
}

}  // namespace ravo

#endif
