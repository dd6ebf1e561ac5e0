// Turns the name of a file into the path of a readable file: in the data directory, or along a list of
// directories. Definitions of ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_DATA_PATHS_INL_H
#define RAVO_DAQ_READER_DATA_PATHS_INL_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "api/reader_texts.h"
#include "decode/allocate.h"
#include "files/closed_file.h"
#include "files/data_path_list.h"
#include "format/malloc_owner.h"
#include "ravo_daq/reader.h"

namespace ravo {

inline bool has_directory(const char* name) { return std::strchr(name, '/') != nullptr; }

template <class G>
bool daq_reader<G>::is_data_dir_a_list() const {
  return std::strchr(request.ddir, ':') != nullptr;
}

/// The name on the heap, after the data directory if that is a single directory; null without memory.
template <class G>
char* daq_reader<G>::copy_candidate(const char* name) {
  const bool is_searched = request.ddir[0] != '\0' && !has_directory(name) && is_data_dir_a_list();
  const bool is_in_data_dir = request.ddir[0] != '\0' && !has_directory(name) && !is_data_dir_a_list();
  const char* directory = is_in_data_dir ? request.ddir : "";
  const std::size_t size = std::strlen(directory) + std::strlen(name) + 1;
  char* candidate = static_cast<char*>(ravo::allocate(size));
  if (candidate)
    std::snprintf(candidate, size, "%s%s", directory, name);
  else if (is_searched)
    std::printf("Failed to malloc for file: %s\n", name);
  else
    std::printf(reader_texts<G>::name_not_copied, name);
  return candidate;
}

/// Replaces the candidate by the path of the file that it means.
template <class G>
int daq_reader<G>::resolve(char** candidate) const {
  if (!*candidate) {
    std::printf("File name is not initialized\n");
    return RAVO_DAQ_READER_INTERN_ERROR;
  }
  const bool is_searched = !has_directory(*candidate) && (request.ddir[0] == '\0' || is_data_dir_a_list());
  if (!is_searched) return is_acceptable(*candidate) ? RAVO_DAQ_READER_OK : RAVO_DAQ_READER_FILES_NOT_FOUND;
  return search(candidate, is_data_dir_a_list() ? std::string(request.ddir) : data_path_list);
}

/// Whether a path is readable; prints why not.
template <class G>
bool daq_reader<G>::is_acceptable(const char* path) const {
  if constexpr (G::waits_for_closed_files) {
    if (ignores_close_time()) return true;
  }
  const raw_file_state state = state_of_raw_file(path);
  if (state == raw_file_state::closed) return true;
  if constexpr (!G::waits_for_closed_files) {
    if (state == raw_file_state::growing) return true;
  }
  if (debug > 0) std::printf(reader_texts<G>::file_not_found, path);
  if constexpr (G::waits_for_closed_files) {
    if (state == raw_file_state::growing) {
      std::printf(reader_texts<G>::file_not_closed, path);
      put_down(path, file_origin::caller, file_outcome::not_closed);
    }
  }
  return false;
}

/// Replaces the candidate, a bare name, by the first acceptable path along the list.
template <class G>
int daq_reader<G>::search(char** candidate, const std::string& list) const {
  for (const std::string_view directory : split_data_path_list(list)) {
    // A slash and the terminating zero.
    const std::size_t size = directory.size() + std::strlen(*candidate) + 2;
    malloc_owner<char> path(static_cast<char*>(ravo::allocate(size)));
    if (!path) {
      std::printf(reader_texts<G>::no_path_buffer, static_cast<int>(size - 1));
      return RAVO_DAQ_READER_INTERN_ERROR;
    }
    std::snprintf(path.get(), size, "%.*s/%s", static_cast<int>(directory.size()), directory.data(),
                  *candidate);
    if (is_acceptable(path.get())) {
      std::free(*candidate);
      *candidate = path.release();
      return RAVO_DAQ_READER_OK;
    }
  }
  if (debug != 0) std::printf(reader_texts<G>::file_in_no_path, *candidate, list.c_str());
  return RAVO_DAQ_READER_FILES_NOT_FOUND;
}

}  // namespace ravo

#endif
