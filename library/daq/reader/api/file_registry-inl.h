// The list of raw files that cover a request: files are added, removed and sorted. data_paths-inl.h turns
// a name into a path. Definitions of ravo::daq_reader, included by the source file of each
// generation.
#ifndef RAVO_DAQ_READER_FILE_REGISTRY_INL_H
#define RAVO_DAQ_READER_FILE_REGISTRY_INL_H

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "ravo_daq/reader.h"
#include "ravo_evutl.h"

namespace ravo {

/// Frees, at the end of its scope, what a pointer points to by then.
struct freed_on_leaving {
  char*& text;
  ~freed_on_leaving() { std::free(text); }
};

template <class G>
int daq_reader<G>::add_file(const char* name, bool append) try {
  if (!name || !*name) return store(RAVO_DAQ_READER_INV_PARAM);
  if (slicer) return store(RAVO_DAQ_READER_NOT_ALLOWED);
  if (!has_path_list) take_first_path_list();
  char* path = copy_candidate(name);
  const freed_on_leaving owner{path};
  if (!path) {
    drop_files();  // the whole list, on purpose: a request without some of its files would mislead
    return store(RAVO_DAQ_READER_INTERN_ERROR);
  }
  if (const int status = resolve(&path); status != RAVO_DAQ_READER_OK) return store(status);
  files.insert(append ? files.end() : files.begin(), path);
  path = nullptr;  // the list owns it now
  return store(RAVO_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

template <class G>
int daq_reader<G>::remove_file(const char* text) {
  if (!text || !*text) return store(RAVO_DAQ_READER_INV_PARAM);
  if (slicer) return store(RAVO_DAQ_READER_NOT_ALLOWED);
  for (std::size_t i = files.size(); i-- > 0;) {
    if (!std::strstr(files[i], text)) continue;
    std::free(files[i]);
    files.erase(files.begin() + static_cast<std::ptrdiff_t>(i));
    return store(RAVO_DAQ_READER_OK);
  }
  return store(RAVO_DAQ_READER_FILES_NOT_FOUND);
}

template <class G>
void daq_reader<G>::sort_my_files() {
  sort_files(&files);
  for (std::size_t i = 0; i + 1 < files.size();) {
    if (std::strcmp(files[i], files[i + 1]) != 0) {
      ++i;
      continue;
    }
    std::free(files[i]);
    files.erase(files.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

template <class G>
void daq_reader<G>::drop_files() {
  for (char* file : files) std::free(file);
  files.clear();
}

template <class G>
void daq_reader<G>::put_down(const std::string& name, file_origin origin, file_outcome outcome) const {
  if (decisions) decisions->push_back({name, origin, outcome});
}

}  // namespace ravo

#endif
