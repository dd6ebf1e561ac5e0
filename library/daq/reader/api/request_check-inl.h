// Completes and checks a request before it is started, and trims the file list to it. Definitions of
// ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_REQUEST_CHECK_INL_H
#define RAVO_DAQ_READER_REQUEST_CHECK_INL_H

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "api/file_times.h"
#include "api/reader_texts.h"
#include "format/malloc_owner.h"
#include "ravo_daq/reader.h"
#include "ravo_evutl.h"

namespace ravo {

inline void complete_stop_time(ravo_time_id& stop) {
  if (stop.time.timeup == 0) stop.time = {static_cast<std::uint32_t>(std::time(nullptr)), 0};
}

inline void complete_event_numbers(ravo_time_id& start, ravo_time_id& stop) {
  if (start.event_number == 0) start.event_number = ravo_get_event_id(&start.time);
  if (stop.event_number == 0) stop.event_number = ravo_get_event_id(&stop.time);
}

inline bool are_event_numbers_in_order(const ravo_time_id& start, const ravo_time_id& stop) {
  if (start.event_number == 0 || stop.event_number == 0 || start.event_number <= stop.event_number)
    return true;
  std::printf("Wrong Event IDs start:%d > stop:%d\n", static_cast<int>(start.event_number),
              static_cast<int>(stop.event_number));
  return false;
}

inline bool are_times_in_order(const time_stamp& start, const time_stamp& stop) {
  const bool are_given = start.timeup != 0 || stop.timeup != 0;
  if (!are_given || as_microseconds(start) <= as_microseconds(stop)) return true;
  std::printf("Wrong Time start:%d_%d > stop:%d_%d\n", static_cast<int>(start.timeup),
              static_cast<int>(start.timelow), static_cast<int>(stop.timeup),
              static_cast<int>(stop.timelow));
  return false;
}

template <class G>
int daq_reader<G>::check_request() try {
  // Works on copies, so that a refused request stays unchanged.
  ravo_time_id start = request.start_time;
  ravo_time_id stop = request.stop_time;
  complete_stop_time(stop);
  complete_event_numbers(start, stop);
  if (!are_event_numbers_in_order(start, stop)) return store(RAVO_DAQ_READER_INV_PARAM);
  if (!are_times_in_order(start.time, stop.time)) return store(RAVO_DAQ_READER_INV_PARAM);
  request.start_time = start;
  request.stop_time = stop;
  time_start = as_microseconds(start.time);
  time_stop = as_microseconds(stop.time);
  if (!takes_files_untrimmed() && !files.empty()) trim_files();
  return store(RAVO_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

/// Whether the files need no trimming, because the run catalogue named them; true once.
template <class G>
bool daq_reader<G>::takes_files_untrimmed() {
  if constexpr (G::trusts_run_catalogue) return std::exchange(this->found_from_run_catalogue, false);
  return false;
}

template <class G>
void daq_reader<G>::trim_files() {
  const file_time first = time_of_file(files.front());
  const file_time last = time_of_file(files.back());
  if (!first.is_known) std::printf(reader_texts<G>::no_start_time);
  if (!last.is_known) std::printf(reader_texts<G>::no_stop_time);
  const std::int64_t step = file_step(first.seconds, last.seconds, files.size());
  std::vector<char*> kept;
  std::vector<malloc_owner<char>> trimmed;
  kept.reserve(files.size());
  trimmed.reserve(files.size());
  for (std::size_t i = 0; i < files.size(); ++i) {
    const file_time time = time_of_file(files[i]);
    if (time.is_known && may_hold_request(i, time.seconds, step))
      kept.push_back(files[i]);
    else
      trimmed.emplace_back(files[i]);
  }
  files = std::move(kept);
  for (const malloc_owner<char>& path : trimmed) put_down_trimmed(path.get());
}

/// Records that a file is outside the period, even if it was recorded as taken before.
template <class G>
void daq_reader<G>::put_down_trimmed(const std::string& path) const {
  if (!decisions) return;
  for (file_decision& decision : *decisions)
    if (decision.name == path && decision.outcome == file_outcome::taken) {
      decision.outcome = file_outcome::outside_period;
      return;
    }
  put_down(path, file_origin::caller, file_outcome::outside_period);
}

// The first file may hold the request if it begins before the request, however long before.
template <class G>
bool daq_reader<G>::may_hold_request(std::size_t position, std::int64_t time, std::int64_t step) const {
  const std::int64_t start = request.start_time.time.timeup;
  const std::int64_t stop = request.stop_time.time.timeup;
  if (time > stop) return false;
  if (position == 0 && time <= start) return true;
  return time + step >= start;
}

}  // namespace ravo

#endif
