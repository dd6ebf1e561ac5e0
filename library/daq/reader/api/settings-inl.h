// The reader as an object: construction, its settings with their getters, and the return to the state after
// construction. Definitions of ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_SETTINGS_INL_H
#define RAVO_DAQ_READER_SETTINGS_INL_H

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "api/channel_name.h"
#include "api/result_index.h"
#include "files/data_path_list.h"
#include "ravo_daq/reader.h"

namespace ravo {

/// Room for the text of every status.
inline constexpr std::size_t longest_error_text = 32;

template <class G>
daq_reader<G>::daq_reader() {
  set_default_request();
  if constexpr (G::reads_time_diff_from_environment) {
    if (const char* seconds = std::getenv("DAQ_MAX_TIME_STEP_SEC"))
      request.time_diff.timeup = static_cast<std::uint32_t>(std::strtol(seconds, nullptr, 10));
    if (const char* microseconds = std::getenv("DAQ_MAX_TIME_STEP_USEC"))
      request.time_diff.timelow = static_cast<std::uint32_t>(std::strtol(microseconds, nullptr, 10));
  }
  try {
    last_error.reserve(longest_error_text);
    take_first_path_list();
  } catch (const std::bad_alloc&) {
    // The list is read again for the first file that needs it.
  }
}

template <class G>
void daq_reader<G>::take_first_path_list() {
  const char* paths = std::getenv("RAVO_DAQ_DATA_PATH_LIST");
  data_path_list = paths ? paths : default_data_path_list;
  has_path_list = true;
}

template <class G>
daq_reader<G>::~daq_reader() {
  clean_up();
}

template <class G>
void daq_reader<G>::set_default_request() {
  request = {};
  fill_field(request.exp_name, "linac");
  fill_field(request.stream_name, "main");
  fill_field(request.cdir, "/daq/ravo/admtemp/");
  fill_field(request.ddir, G::default_data_dir);
  request.period = G::default_period;
  request.time_diff = G::default_time_diff;
  request.synch_mode = RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
}

template <class G>
void daq_reader<G>::clean_up() {
  if (slicer) {
    slicer->clean_up();
    delete slicer;
    slicer = nullptr;
  }
  drop_files();
  cur_res.clear();
  for (result_entry* entry : results) {
    if (entry) std::free(entry->data);
    std::free(entry);
  }
  results.clear();
  chans.clear();
  nchans = 0;
  index.reset();
  data_capacity.clear();
  current_event_id = {};
  time_start = time_stop = 0;
  // The environment is not read again: the built-in time difference applies from here on.
  set_default_request();
  evs = evs_empty = 0;
  get_tables.clean_up();
}

template <class G>
int daq_reader<G>::store(int status) {
  set_error(status);
  return status;
}

template <class G>
void daq_reader<G>::set_error(int status) {
  try {
    last_error = error_i2a(status);
  } catch (const std::bad_alloc&) {
    last_error = error_i2a(RAVO_DAQ_READER_INTERN_ERROR);  // short enough to need no memory
  }
}

template <class G>
const char* daq_reader<G>::error_i2a(int status) {
  switch (status) {
    case RAVO_DAQ_READER_OK:
      return "OK";
    case RAVO_DAQ_READER_NO_DATA:
      return "No required data";
    case RAVO_DAQ_READER_NOT_READY:
      return "Some entries are not ready";
    case RAVO_DAQ_READER_OUT_OF_WINDOW:
      return "Time is out of file";
    case RAVO_DAQ_READER_NOT_INIT:
      return "Not Initialized";
    case RAVO_DAQ_READER_NOT_FOUND:
      return "Channel not found";
    case RAVO_DAQ_READER_INTERN_ERROR:
      return "Intern error";
    case RAVO_DAQ_READER_INV_PARAM:
      return "Invalid Parameter";
    case RAVO_DAQ_READER_NOT_ALLOWED:
      return "Not allowed";
    case RAVO_DAQ_READER_BAD_FILE_FORMAT:
      return "Invalid file format";
    case RAVO_DAQ_READER_FILES_NOT_FOUND:
      return "Files not found";
  }
  return "Unknown error";
}

template <class G>
int daq_reader<G>::set_point(ravo_time_id& field, const ravo_time_id* point) {
  if (!point) return store(RAVO_DAQ_READER_INV_PARAM);
  if (slicer) return store(RAVO_DAQ_READER_NOT_ALLOWED);
  field = *point;
  return store(RAVO_DAQ_READER_OK);
}

template <class G>
int daq_reader<G>::set_period(const ravo_time_id* period) {
  return set_point(request.period, period);
}

template <class G>
int daq_reader<G>::set_start_point(const ravo_time_id* point) {
  return set_point(request.start_time, point);
}

template <class G>
int daq_reader<G>::set_stop_point(const ravo_time_id* point) {
  return set_point(request.stop_time, point);
}

template <class G>
template <std::size_t size>
int daq_reader<G>::set_text(char (&field)[size], const char* text) {
  if (!text || !*text) return store(RAVO_DAQ_READER_INV_PARAM);
  if (slicer) return store(RAVO_DAQ_READER_NOT_ALLOWED);
  fill_field(field, text);
  return store(RAVO_DAQ_READER_OK);
}

template <class G>
int daq_reader<G>::set_experiment(const char* name) {
  return set_text(request.exp_name, name);
}

template <class G>
int daq_reader<G>::set_stream(const char* name) {
  return set_text(request.stream_name, name);
}

template <class G>
int daq_reader<G>::set_catalog_dir(const char* directory) {
  return set_text(request.cdir, directory);
}

template <class G>
int daq_reader<G>::set_data_dir(const char* directory) try {
  if (slicer) return store(RAVO_DAQ_READER_NOT_ALLOWED);
  // A copy, because a caller may pass what get_data_dir() returned.
  std::string kept(directory ? directory : "");
  // A text that ends in ":" is a list of directories and gets no slash; a text that is too long is cut.
  if (!kept.empty() && kept.back() != '/' && kept.back() != ':') {
    kept.resize(std::min(kept.size(), sizeof request.ddir - 2));
    kept += '/';
  }
  fill_field(request.ddir, kept);
  return store(RAVO_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

template <class G>
int daq_reader<G>::set_synch_mode(int mode) {
  if (slicer) return store(RAVO_DAQ_READER_NOT_ALLOWED);
  // Lenient on purpose: an unknown mode changes nothing and is not an error.
  if (mode == RAVO_DAQ_SLICER_SYNCH_MODE_EVID || mode == RAVO_DAQ_SLICER_SYNCH_MODE_TIME)
    request.synch_mode = mode;
  return store(RAVO_DAQ_READER_OK);
}

template <class G>
int daq_reader<G>::get_synch_mode() {
  std::printf("SYNCH_MODE get: 0x%x\n", static_cast<unsigned>(request.synch_mode));
  return request.synch_mode;
}

template <class G>
int daq_reader<G>::set_time_diff(const time_stamp* diff) {
  if (!diff) return 1;  // not a status of the reader, and not stored as one
  request.time_diff = *diff;
  return store(RAVO_DAQ_READER_OK);
}

template <class G>
void daq_reader<G>::set_by_time_fix(bool fix)
  requires G::has_by_time_fix
{
  this->by_time_fix = fix;
  if (slicer) slicer->set_by_time_fix(fix);
}

template <class G>
void daq_reader<G>::set_debug(int level) {
  debug = level;
  if (slicer) slicer->set_debug(level);
}

template <class G>
void daq_reader<G>::set_data_path_list(const char* list) try {
  if (!list) return;
  data_path_list = list;
  has_path_list = true;
} catch (const std::bad_alloc&) {
  set_error(RAVO_DAQ_READER_INTERN_ERROR);  // the list is unchanged
}

}  // namespace ravo

#endif
