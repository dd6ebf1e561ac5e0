// Gives a request for runs the time window of its runs, unless its own window overlaps them. Definitions of
// ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_RUN_WINDOW_INL_H
#define RAVO_DAQ_READER_RUN_WINDOW_INL_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "api/file_times.h"
#include "api/reader_texts.h"
#include "decode/table_operations.h"
#include "ravo_daq/reader.h"

namespace ravo {

/// The requested window as it is, the window of the runs, or no window at all.
enum class window_choice { asked, runs, open };

inline window_choice choose_window(std::int64_t asked_start, std::int64_t asked_stop,
                                   std::int64_t runs_start, std::int64_t runs_stop) {
  if (runs_start == 0 || runs_stop == 0) return window_choice::open;
  if (runs_start == runs_stop) return window_choice::asked;
  const bool do_overlap = runs_stop >= asked_start && asked_stop >= runs_start;
  return do_overlap ? window_choice::asked : window_choice::runs;
}

/// The seconds of a run's end. Windows are in whole seconds, so an end within a second is rounded up: the
/// run's last events lie before it.
inline std::int64_t whole_second_after(const time_stamp& end) {
  const std::int64_t seconds = std::int64_t{end.timeup} + (end.timelow > 0 ? 1 : 0);
  return std::min<std::int64_t>(seconds, std::numeric_limits<std::uint32_t>::max());
}

template <class G>
void daq_reader<G>::correct_window() {
  std::int64_t start = 0;
  std::int64_t stop = 0;
  if (!get_time_of_runs(start, stop)) get_time_of_files(start, stop);
  ravo_time_id& asked_start = request.start_time;
  ravo_time_id& asked_stop = request.stop_time;
  switch (choose_window(asked_start.time.timeup, asked_stop.time.timeup, start, stop)) {
    case window_choice::asked:
      break;
    case window_choice::runs:
      asked_start = {0, {static_cast<std::uint32_t>(start), 0}};
      asked_stop = {0, {static_cast<std::uint32_t>(stop), 0}};
      if (debug != 0) std::printf(reader_texts<G>::window_of_runs);
      break;
    case window_choice::open:
      asked_start = asked_stop = {};
      if (debug != 0) std::printf(reader_texts<G>::window_reset);
      break;
  }
}

/// The window of the runs from the catalogue; false if it does not know the first run. If it does not know
/// the last run, the end is unknown, which is 0.
template <class G>
bool daq_reader<G>::get_time_of_runs(std::int64_t& start, std::int64_t& stop) {
  time_stamp begin{};
  time_stamp end{};
  if (table_operations<G>::get_time_for_run(request.run_first, &begin, &end, request.exp_name,
                                            request.cdir) != 0) {
    if (debug != 0) std::printf(reader_texts<G>::no_time_of_first_run, request.run_first);
    return false;
  }
  if (request.run_last > 0) {
    time_stamp unused{};
    end = {};
    if (table_operations<G>::get_time_for_run(last_run(), &unused, &end, request.exp_name, request.cdir) !=
        0) {
      std::printf(reader_texts<G>::no_time_of_last_run, last_run());
      end = {};
    }
  }
  start = begin.timeup;
  stop = whole_second_after(end);
  return true;
}

/// The window of the runs from the names of the files. The last file is assumed to be as long as those
/// before it.
template <class G>
void daq_reader<G>::get_time_of_files(std::int64_t& start, std::int64_t& stop) const {
  const file_time first = time_of_file(files.front());
  const file_time last = time_of_file(files.back());
  if (!first.is_known) std::printf(reader_texts<G>::no_start_time);
  if (!last.is_known) std::printf(reader_texts<G>::no_stop_time);
  start = first.seconds;
  stop = last.seconds;
  if (first.is_known && last.is_known && files.size() > 1)
    stop += file_step(first.seconds, last.seconds, files.size());
}

}  // namespace ravo

#endif
