// Extends a list of files that were found by their names by one file on each side: a name says when a file
// begins, so events near the edges of a period may lie in the neighbours. Definitions of ravo::daq_reader,
// included by the source file of each generation.
#ifndef RAVO_DAQ_READER_EDGE_FILES_INL_H
#define RAVO_DAQ_READER_EDGE_FILES_INL_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <tuple>

#include "api/file_times.h"
#include "api/reader_texts.h"
#include "files/raw_file_names.h"
#include "format/file_name_parts.h"
#include "format/folders.h"
#include "ravo_daq/reader.h"

namespace ravo {

/// The file of a directory whose name contains `part`. Files whose name begins with it come first, then the
/// file nearest in time, so that the choice does not depend on the directory's order. Names without a time
/// are not those of raw files.
class neighbour_search {
 public:
  neighbour_search(std::string part, std::int64_t seconds) : part_(std::move(part)), seconds_(seconds) {}

  void take(const std::string& name) {
    const std::size_t at = name.find(part_);
    if (at == std::string::npos) return;
    const file_time time = time_of_file(name.c_str());
    if (!time.is_known) return;
    const std::int64_t gap = time.seconds > seconds_ ? time.seconds - seconds_ : seconds_ - time.seconds;
    const rank found{at != 0, gap, name};
    if (best_name().empty() || found < best_) best_ = found;
  }
  /// Empty: no name matched.
  const std::string& best_name() const { return std::get<std::string>(best_); }

 private:
  using rank = std::tuple<bool, std::int64_t, std::string>;
  std::string part_;
  std::int64_t seconds_;
  rank best_;
};

template <class G>
bool daq_reader<G>::begins_before_request(const char* path) const {
  if (request.start_time.time.timeup == 0 || request.stop_time.time.timeup == 0) return false;
  const file_time time = time_of_file(path);
  return time.is_known && time.seconds < window_start();
}

/// A neighbour that is missing or refused is not a failure; lack of memory is a failure, and the whole list
/// may be gone then.
template <class G>
int daq_reader<G>::enter_edge_files() {
  if (const int status = enter_very_first_file(); status != RAVO_DAQ_READER_OK) return status;
  return enter_very_last_file();
}

template <class G>
int daq_reader<G>::enter_very_first_file() {
  if (begins_before_request(files.front())) return RAVO_DAQ_READER_OK;
  if (debug != 0) std::printf("The very first file: %s\n", last_component(files.front()).data());
  return enter_neighbour(files.front(), neighbour::previous);
}

template <class G>
int daq_reader<G>::enter_very_last_file() {
  if (debug != 0) std::printf("The very last file: %s\n", last_component(files.back()).data());
  const int status = enter_neighbour(files.back(), neighbour::next);
  sort_my_files();
  return status;
}

/// Enters the file that comes before or after a file of the list, by its number.
template <class G>
int daq_reader<G>::enter_neighbour(const char* path, neighbour which) {
  const bool is_previous = which == neighbour::previous;
  const auto number = find_file_number(last_component(path));
  if (!number) return RAVO_DAQ_READER_OK;
  std::printf("LAST FILE NUMBER: '%s'\n", std::string(number->digits).c_str());
  // No file comes before the first file; after every file there may be another.
  if (is_previous && number->value < 2) return RAVO_DAQ_READER_OK;
  const std::string part = name_up_to_number(*number, number->value + (is_previous ? -1 : 1));
  std::printf("PARTIAL FILE NAME: '%s'\n", part.c_str());

  neighbour_search search(part, time_of_file(path).seconds);
  folder_listing folder(request.ddir);
  while (const char* name = folder.next()) search.take(name);
  const std::string& found = search.best_name();
  if (!folder.is_readable()) {
    std::printf(reader_texts<G>::directory_unreadable);
    return RAVO_DAQ_READER_OK;
  }
  if (found.empty()) {
    std::printf(is_previous ? reader_texts<G>::no_very_first_file : reader_texts<G>::no_very_last_file);
    return RAVO_DAQ_READER_OK;
  }
  std::printf(is_previous ? "FOUND the very first file: '%s'\n" : "FOUND the very last file: '%s'\n",
              found.c_str());
  const int status = enter_file(found.c_str(), is_previous ? file_origin::previous : file_origin::next);
  return status == RAVO_DAQ_READER_INTERN_ERROR ? status : RAVO_DAQ_READER_OK;
}

}  // namespace ravo

#endif
