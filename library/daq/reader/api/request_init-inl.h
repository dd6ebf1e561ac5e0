// Turns a request into the reader's list of files: all steps from the request record to a first file that
// can be read. Scanning directories, edge files and the window of runs are in separate files. Definitions
// of ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_REQUEST_INIT_INL_H
#define RAVO_DAQ_READER_REQUEST_INIT_INL_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <numeric>
#include <string>
#include <unordered_set>

#include "api/reader_texts.h"
#include "decode/allocate.h"
#include "decode/table_operations.h"
#include "files/catalogue_answer.h"
#include "format/file_name_parts.h"
#include "format/malloc_owner.h"
#include "ravo_daq/reader.h"

namespace ravo {

template <class G>
int daq_reader<G>::init(const ravo_daq_request* wanted,
                        const std::vector<daq_channel_entry*>* channels) try {
  if (!wanted) return store(RAVO_DAQ_READER_INV_PARAM);
  take_request(*wanted);
  if (channels && !channels->empty()) {
    if (const int status = set_channels(channels); status != RAVO_DAQ_READER_OK) return store(status);
  }
  set_data_dir(request.ddir);  // gives it the ending that other steps rely on
  file_choice choice;
  if (const int status = choose_files(choice); status != RAVO_DAQ_READER_OK) return store(status);
  if (const int status = enter_files(choice); status != RAVO_DAQ_READER_OK) return store(status);
  sort_my_files();
  if (files.empty()) return store(RAVO_DAQ_READER_FILES_NOT_FOUND);
  if (!choice.is_from_catalogue()) {
    if (const int status = enter_edge_files(); status != RAVO_DAQ_READER_OK) return store(status);
  }
  sort_my_files();
  if (is_run_request()) correct_window();
  return check_first_file();
} catch (const std::bad_alloc&) {
  get_tables.clean_up();
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

/// Starts over from the request. It may be the reader's own, or have texts without a terminating zero.
template <class G>
void daq_reader<G>::take_request(const ravo_daq_request& wanted) {
  const ravo_daq_request copy = wanted;
  if (slicer) clean_up();
  drop_files();
  request = copy;
  request.exp_name[sizeof request.exp_name - 1] = '\0';
  request.stream_name[sizeof request.stream_name - 1] = '\0';
  request.cdir[sizeof request.cdir - 1] = '\0';
  request.ddir[sizeof request.ddir - 1] = '\0';
}

/// The end of the request's period; now, if the request has no end.
template <class G>
std::int64_t daq_reader<G>::window_stop() const {
  const std::uint32_t stop = request.stop_time.time.timeup;
  return stop != 0 ? std::int64_t{stop} : std::int64_t{std::time(nullptr)};
}

template <class G>
int daq_reader<G>::choose_files(file_choice& choice) {
  const int status = is_run_request() ? choose_files_of_runs(choice) : choose_files_of_period(choice);
  // Set to false too: the list is then not from the catalogue.
  if constexpr (G::trusts_run_catalogue) this->found_from_run_catalogue = choice.is_from_catalogue();
  return status;
}

template <class G>
int daq_reader<G>::choose_files_of_runs(file_choice& choice) {
  if (const int status = look_up_runs(choice); status != RAVO_DAQ_READER_OK) return status;
  if (!choice.is_from_catalogue()) {
    std::printf(reader_texts<G>::no_catalogue_for_runs);
    return scan_for_runs(choice.names);
  }
  if constexpr (G::limits_runs_to_period) {
    if (request.start_time.time.timeup != 0 && request.stop_time.time.timeup != 0)
      limit_to_period(choice.names);
  }
  return RAVO_DAQ_READER_OK;
}

template <class G>
int daq_reader<G>::choose_files_of_period(file_choice& choice) {
  if (look_up_period(choice.names)) {
    choice.origin = file_origin::catalogue;
    return RAVO_DAQ_READER_OK;
  }
  if (debug != 0) std::printf(reader_texts<G>::no_catalogue_for_period);
  return scan_for_period(choice);
}

/// Only files that the acquisition has finished are asked for.
inline constexpr int only_closed_files = 1;

template <class G>
int daq_reader<G>::look_up_runs(file_choice& choice) {
  // Far more runs than an archive has; a request for more is a mistake and must not use up the memory.
  constexpr std::size_t most_runs = 10'000'000;
  const std::size_t count = static_cast<std::size_t>(last_run() - request.run_first) + 1;
  const malloc_owner<int> numbers(
      count > most_runs ? nullptr : static_cast<int*>(ravo::allocate(count * sizeof(int))));
  if (!numbers) {
    std::printf(reader_texts<G>::no_run_numbers);
    return RAVO_DAQ_READER_INTERN_ERROR;
  }
  std::vector<int*> runs(count);
  for (std::size_t i = 0; i < count; ++i) {
    runs[i] = numbers.get() + i;
    *runs[i] = request.run_first + static_cast<int>(i);
  }
  catalogue_answer answer(table_operations<G>::free_found_files);
  const int status = table_operations<G>::get_files_for_runs(
      &runs, answer.get(), request.exp_name, request.stream_name, request.cdir, only_closed_files);
  if (status == 0) choice.names = answer.paths();
  if (!choice.names.empty()) choice.origin = file_origin::catalogue;
  return RAVO_DAQ_READER_OK;
}

/// Whether the catalogue knows files of the request's period. A stop of 0 means no end.
template <class G>
bool daq_reader<G>::look_up_period(std::vector<std::string>& names) {
  catalogue_answer answer(table_operations<G>::free_found_files);
  const int status = table_operations<G>::get_files_for_period(
      request.start_time.time.timeup, request.stop_time.time.timeup, answer.get(), request.exp_name,
      request.stream_name, request.cdir, only_closed_files);
  if (status == 0) names = answer.paths();
  return !names.empty();
}

/// Keeps only the files that the catalogue also lists for the period. If it has no answer for the period,
/// all stay: events outside the period are skipped later.
template <class G>
void daq_reader<G>::limit_to_period(std::vector<std::string>& names) {
  std::vector<std::string> of_period;
  if (!look_up_period(of_period)) return;
  if (debug > 0)
    std::printf("removing those that are not in our list sz: %lu  from sz: %lu\n",
                static_cast<unsigned long>(of_period.size()), static_cast<unsigned long>(names.size()));
  const std::unordered_set<std::string> wanted(of_period.begin(), of_period.end());
  std::erase_if(names, [&](const std::string& name) {
    if (wanted.contains(name)) return false;
    put_down(name, file_origin::catalogue, file_outcome::outside_period);
    return true;
  });
}

/// Enters the files by their bare names, to be found in the data directories. A refused file is left out;
/// the request fails only if memory runs out: the files already entered may be gone then.
template <class G>
int daq_reader<G>::enter_files(const file_choice& choice) {
  for (const std::string& name : choice.names) {
    if (name.find(request.exp_name) == std::string::npos) {
      put_down(name, choice.origin, file_outcome::other_experiment);
      continue;
    }
    const std::string bare(last_component(name));
    if (enter_file(bare.c_str(), choice.origin) == RAVO_DAQ_READER_INTERN_ERROR)
      return RAVO_DAQ_READER_INTERN_ERROR;
  }
  return RAVO_DAQ_READER_OK;
}

/// Enters a file of any origin, neighbours at the front of the list, and records the decision.
template <class G>
int daq_reader<G>::enter_file(const char* name, file_origin origin) {
  const bool append = origin != file_origin::previous && origin != file_origin::next;
  const std::size_t before = decisions ? decisions->size() : 0;
  const int status = add_file(name, append);
  if (!decisions) return status;
  const bool is_explained =
      decisions->size() > before;  // by the search for it, which does not know the origin
  for (std::size_t i = before; i < decisions->size(); ++i) (*decisions)[i].origin = origin;
  if (status == RAVO_DAQ_READER_OK)
    put_down(append ? files.back() : files.front(), origin, file_outcome::taken);
  else if (!is_explained)
    put_down(name, origin, file_outcome::not_found);
  return status;
}

template <class G>
int daq_reader<G>::check_first_file() {
  const int status = get_tables.get_all_tables(files.front(), 0, &chans);
  if (status == 0) {
    get_tables.clean_up();
    return store(RAVO_DAQ_READER_OK);
  }
  return store(status == RAVO_DAQ_READER_NOT_FOUND ? RAVO_DAQ_READER_NOT_FOUND
                                                   : RAVO_DAQ_READER_BAD_FILE_FORMAT);
}

}  // namespace ravo

#endif
