// Finds the files of a request by the names in the data directory, when the run catalogue has no answer.
// Definitions of ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_LOCAL_SCAN_INL_H
#define RAVO_DAQ_READER_LOCAL_SCAN_INL_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "api/file_times.h"
#include "api/reader_texts.h"
#include "files/raw_file_names.h"
#include "format/folders.h"
#include "ravo_daq/reader.h"

namespace ravo {

/// Prints a text with placeholders for a file, its time and the request's period.
inline void print_file_and_period(const char* text, const char* name, std::int64_t seconds,
                                  const ravo_daq_request& request) {
  std::printf(text, name, static_cast<int>(seconds), static_cast<int>(request.start_time.time.timeup),
              static_cast<int>(request.stop_time.time.timeup));
}

template <class G>
int daq_reader<G>::scan_for_runs(std::vector<std::string>& names) {
  folder_listing folder(request.ddir);
  while (const char* name = folder.next()) {
    if (!names_run(name, request.run_first, last_run()) || !std::strstr(name, request.exp_name)) continue;
    const file_time time = time_of_file(name);
    if (!time.is_known || !is_wanted_of_run(name, time.seconds)) continue;
    print_file_and_period("Pushing file %s (time_stamp: %i  star:%d  stop:%d) \n", name, time.seconds,
                          request);
    names.emplace_back(name);
  }
  return folder.is_readable() ? RAVO_DAQ_READER_OK : RAVO_DAQ_READER_FILES_NOT_FOUND;
}

template <class G>
int daq_reader<G>::scan_for_period(file_choice& choice) {
  folder_listing folder(request.ddir);
  start_candidate candidate(window_start());
  while (const char* name = folder.next()) {
    const file_time time = time_of_file(name);
    if (!time.is_known) continue;
    candidate.take(name, time.seconds);
    if (debug != 0)
      print_file_and_period("Found file %s time_stamp: %i  (star:%d  stop:%d\n", name, time.seconds,
                            request);
    if (is_in_window(time.seconds)) choice.names.emplace_back(name);
  }
  if (choice.names.empty() && candidate.may_serve(window_stop())) {
    std::printf(".Pushing  file %s \n", candidate.name().c_str());
    choice.names.push_back(candidate.name());
    choice.origin = file_origin::start_candidate;
  }
  return folder.is_readable() ? RAVO_DAQ_READER_OK : RAVO_DAQ_READER_FILES_NOT_FOUND;
}

template <class G>
bool daq_reader<G>::is_in_window(std::int64_t seconds) const {
  return seconds >= window_start() && seconds <= window_stop();
}

/// Whether a file of a wanted run belongs to the period, if there is a period.
template <class G>
bool daq_reader<G>::is_wanted_of_run(const char* name, std::int64_t seconds) {
  if (window_start() == 0) return true;
  if (is_in_window(seconds)) {
    if (debug > 0) print_file_and_period(reader_texts<G>::found_file_of_run, name, seconds, request);
    return true;
  }
  if constexpr (G::opens_earlier_files) return seconds < window_start() && reaches_window(name, seconds);
  return false;
}

/// Whether a file that begins before the period has events in it, according to its event index.
template <class G>
bool daq_reader<G>::reaches_window(const char* name, std::int64_t seconds) {
  const std::string path = path_in(request.ddir, name);
  if (get_tables.get_all_tables(path.c_str(), 0, nullptr) != 0) {
    std::printf("Failed to get tables for: %s\n", path.c_str());
    return false;
  }
  const typename G::event_index_table* table = get_tables.get_eit_table();
  bool reaches = false;
  if (!table || table->pattern != RAVO_EVENT_INDEX_PATTERN) {
    std::printf("Something wrong with tables: tab: %p\n", static_cast<const void*>(table));
    if (table)
      std::printf("PATTERN: %d (%d)  event types:%d\n", static_cast<int>(table->pattern),
                  static_cast<int>(RAVO_EVENT_INDEX_PATTERN), table->nevent_types);
  } else if (has_events_in_window(*table)) {
    print_file_and_period("-**--->Found file %s time_stamp: %i  (star:%d  stop:%d\n", name, seconds,
                          request);
    reaches = true;
  }
  get_tables.clean_up();
  return reaches;
}

template <class G>
bool daq_reader<G>::has_events_in_window(const typename G::event_index_table& table) const {
  const auto* entry = table.event_index_entry();
  for (int i = 0; i < table.nevent_types; ++i, entry = entry->next()) {
    if (entry->event_time_last.timeup >= window_start() && entry->event_time_first.timeup <= window_stop())
      return true;
  }
  return false;
}

}  // namespace ravo

#endif
