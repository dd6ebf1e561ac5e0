// Brings a reader from files and channels to a running slicer. Definitions of ravo::daq_reader, included by
// the source file of each generation.
#ifndef RAVO_DAQ_READER_START_INL_H
#define RAVO_DAQ_READER_START_INL_H

#include <cstdio>
#include <new>

#include "api/channel_name.h"
#include "api/result_index.h"
#include "ravo_daq/reader.h"

namespace ravo {

template <class G>
int daq_reader<G>::init(const std::vector<char*>* file_names,
                        const std::vector<daq_channel_entry*>* channels) {
  if (!file_names || file_names->empty()) return store(RAVO_DAQ_READER_INV_PARAM);
  if (slicer) clean_up();
  for (const char* name : *file_names) {
    if (!name || !*name) continue;
    // A refused file is left out. Without memory, however, the files before it may be gone too, and a
    // request without some of its files would mislead.
    if (add_file(name, true) != RAVO_DAQ_READER_INTERN_ERROR) continue;
    drop_files();
    return RAVO_DAQ_READER_INTERN_ERROR;
  }
  sort_my_files();
  if (channels && !channels->empty()) return set_channels(channels);
  return open_first_file();
}

/// Checks whether the first file is readable at all.
template <class G>
int daq_reader<G>::open_first_file() {
  if (files.empty()) return store(RAVO_DAQ_READER_OK);
  if (get_tables.get_all_tables(files.front(), 0, &chans) != 0)
    return store(RAVO_DAQ_READER_BAD_FILE_FORMAT);
  get_tables.clean_up();
  return store(RAVO_DAQ_READER_OK);
}

template <class G>
int daq_reader<G>::start() try {
  if (slicer) {
    if (G::explains_failed_start && debug != 0) std::printf("We have already slicer\n");
    return store(RAVO_DAQ_READER_NOT_ALLOWED);
  }
  if (const int status = check_request(); status != RAVO_DAQ_READER_OK) {
    if (G::explains_failed_start && debug != 0) std::printf("Request is not OK ret:%d\n", status);
    return status;
  }
  number_results();
  slicer = new (std::nothrow) typename G::slicer;
  if (!slicer) return store(RAVO_DAQ_READER_INTERN_ERROR);
  // The slicer stays whatever fails from here on: the reader counts as started until clean_up().
  if (const int status = configure_slicer(); status != RAVO_DAQ_READER_OK) return store(status);
  return start_slicer();
} catch (const std::bad_alloc&) {
  // Undoes the start: get_data() would take a half-started slicer for the end of the data.
  delete slicer;
  slicer = nullptr;
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

template <class G>
int daq_reader<G>::configure_slicer() {
  if (debug != 0) slicer->set_debug(debug);
  if constexpr (G::has_by_time_fix) slicer->set_by_time_fix(this->by_time_fix);
  std::vector<chan_param*> wanted;
  wanted.reserve(results.size());
  for (result_entry* entry : results) wanted.push_back(entry ? &entry->chan : nullptr);
  if (const int status = slicer->init(&files, &wanted, 0); status != RAVO_DAQ_SLICER_OK) {
    std::printf("Failed to init slicer error:%d\n", status);
    return status;
  }
  int status = slicer->set_synch_mode(request.synch_mode);
  if (status != RAVO_DAQ_SLICER_OK && debug != 0)
    std::printf("Failed to set synch mode:%d at the slicer error:%d\n", request.synch_mode, status);
  status = slicer->set_time_diff(&request.time_diff);
  if (status != RAVO_DAQ_SLICER_OK && debug != 0) std::printf("Failed to set time diff erro:%d\n", status);
  status = slicer->set_event_step(&request.period);
  if (status != RAVO_DAQ_SLICER_OK && debug != 0)
    std::printf("Failed to set event step error:%d\n", status);
  return RAVO_DAQ_READER_OK;
}

template <class G>
int daq_reader<G>::start_slicer() {
  const int status = slicer->start();
  if (status == RAVO_DAQ_SLICER_OK) return store(RAVO_DAQ_READER_OK);
  if (debug != 0) std::printf("Failed to start slicer error:%d\n", status);
  set_error(status);
  if constexpr (G::explains_failed_start) {
    last_error += ':';
    last_error += slicer->get_not_found_channels();
  }
  return status;
}

/// Prepares what get_data() needs to find the results without allocating memory.
template <class G>
void daq_reader<G>::number_results() {
  index = std::make_unique<result_index>();
  for (std::size_t i = 0; i < results.size(); ++i) {
    if (results[i]) index->add(results[i]->chan.name, channel_key(results[i]->chan).text(), i);
  }
  data_capacity.assign(results.size(), 0);
  cur_res.reserve(results.size());
}

}  // namespace ravo

#endif
