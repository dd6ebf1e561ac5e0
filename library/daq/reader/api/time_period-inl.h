// The time that a reader's request or files span. Definitions of ravo::daq_reader, included by the source
// file of each generation.
#ifndef RAVO_DAQ_READER_TIME_PERIOD_INL_H
#define RAVO_DAQ_READER_TIME_PERIOD_INL_H

#include <cstdint>
#include <cstdio>

#include "api/file_times.h"
#include "format/time.h"
#include "ravo_daq/reader.h"
#include "ravo_evutl.h"

namespace ravo {

/// The span between two times in microseconds; -4 if there is no span.
inline double span_us(double first, double last) {
  return first == last || first == 0 || last == 0 ? -4.0 : last - first;
}

inline bool is_earlier(const time_stamp& a, const time_stamp& b) {
  int sign = 0;
  ravo_time_stamp_eq(&a, &b, 0.0, &sign, nullptr);
  return sign < 0;
}

/// The span of all events of an index table that is not empty.
template <class EventIndexTable>
double span_of_events_us(const EventIndexTable& table) {
  const auto* entry = table.event_index_entry();
  time_stamp first = entry->event_time_first;
  time_stamp last = entry->event_time_last;
  for (int i = 1; i < table.nevent_types; ++i) {
    entry = entry->next();
    if (is_earlier(entry->event_time_first, first)) first = entry->event_time_first;
    if (is_earlier(last, entry->event_time_last)) last = entry->event_time_last;
  }
  return span_us(as_microseconds(first), as_microseconds(last));
}

template <class G>
double daq_reader<G>::get_time_period_us() {
  if (time_start != 0 && time_stop != 0) return time_stop - time_start;
  if (files.empty()) return -1.0;
  return files.size() == 1 ? get_period_of_one_file() : get_period_of_file_names();
}

template <class G>
double daq_reader<G>::get_period_of_one_file() {
  if (get_tables.get_all_tables(files.front(), 0, nullptr) != 0) {
    set_error(RAVO_DAQ_READER_BAD_FILE_FORMAT);
    return -2.0;
  }
  double span = -3.0;
  const typename G::event_index_table* table = get_tables.get_eit_table();
  if (table && table->nevent_types > 0) {
    span = span_of_events_us(*table);
  } else {
    std::printf("No events in event index table\n");
    set_error(RAVO_DAQ_READER_NO_DATA);
  }
  get_tables.clean_up();
  return span;
}

/// Assumes that the last file is as long as the files before it.
template <class G>
double daq_reader<G>::get_period_of_file_names() const {
  const file_time first = time_of_file(files.front());
  if (!first.is_known) return -1.0;
  const file_time last = time_of_file(files.back());
  if (!last.is_known) return 0.0;
  const std::int64_t step = file_step(first.seconds, last.seconds, files.size());
  constexpr double second = microseconds_per_second;
  return span_us(static_cast<double>(first.seconds) * second,
                 static_cast<double>(last.seconds + step) * second);
}

}  // namespace ravo

#endif
