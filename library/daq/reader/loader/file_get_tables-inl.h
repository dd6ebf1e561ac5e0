// The loader's life: construction, the sequence of loading steps, and clean-up. load_tables-inl.h and
// header_baskets-inl.h load the tables and the baskets themselves.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

#include "format/uninterrupted.h"
#include "loader/loader_texts.h"
#include "ravo_daq/file_get_tables.h"
#include "scoped_lock.h"
#include "stopwatch.h"

namespace ravo {

template <class G>
file_get_tables<G>::file_get_tables(int mode) : descr_mode(mode) {}

template <class G>
file_get_tables<G>::~file_get_tables() {
  clean_up();
}

// Never returns descriptor 0, even when standard input is closed: channel readers take 0 for "no file".
// Without O_NONBLOCK, opening a named pipe would block; for regular files it makes no difference.
inline int open_for_reading(const char* path) {
  const int descriptor = uninterrupted::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor != 0) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, 1);
  close(descriptor);
  return moved;
}

template <class G>
int file_get_tables<G>::get_all_tables(const char* path, int with_descriptions,
                                       const std::vector<char*>* names) try {
  const stopwatch watch;
  clean_up();
  descr_mode = with_descriptions;
  if (names != nullptr) chans.insert(chans.end(), names->begin(), names->end());
  if (path == nullptr || *path == '\0') return 1;

  fd = open_for_reading(path);
  if (fd < 0) {
    fd = -1;
    if (debug != 0) perror("open");
    return -2;
  }
  if (!take_file_state()) {
    if (debug != 0) perror("stat");
    clean_up();
    return -2;
  }
  len = std::max<off_t>(uninterrupted::lseek(fd, 0, SEEK_END),
                        0);  // a file without a length cannot be mapped either
  uninterrupted::lseek(fd, 0, SEEK_SET);

  int result = load_tables();
  if (result == 0) {
    file_name = const_cast<char*>(path);  // the interface is not const; nobody writes to it
    result = load_header_baskets();
  }
  if (result != 0) {
    const bool only_lacks_channels = lacks_channels;
    clean_up();
    lacks_channels = only_lacks_channels;
    return result;
  }
  if (debug < 0) std::printf(loader_texts<G>::loading_time, watch.milliseconds(), path);
  return 0;
} catch (const std::bad_alloc&) {
  clean_up();
  return no_memory;
}

inline bool state_of_file(int descriptor, std::int64_t& size, timespec& modified) {
  struct stat about {};
  if (uninterrupted::fstat(descriptor, &about) != 0) return false;
  size = about.st_size;
  modified = about.st_mtim;
  return true;
}

template <class G>
bool file_get_tables<G>::take_file_state() {
  return state_of_file(fd, size_when_opened, modified_when_opened);
}

template <class G>
bool file_get_tables<G>::is_unchanged() const {
  std::int64_t size = 0;
  timespec modified{};
  return state_of_file(fd, size, modified) && size == size_when_opened &&
         modified.tv_sec == modified_when_opened.tv_sec && modified.tv_nsec == modified_when_opened.tv_nsec;
}

template <class G>
int file_get_tables<G>::get_ecp_tab_entry_index(const char* name) const {
  if (name == nullptr || *name == '\0') return -1;
  for (std::size_t i = 0; i < chans.size(); ++i)
    if (chans[i] != nullptr && std::strcmp(chans[i], name) == 0) return static_cast<int>(i);
  return -1;
}

template <class G>
void file_get_tables<G>::free_descriptions() {
  for (typename G::chan_descr* description : descr_list) {
    // A count of 0 with a list that is not empty is an inconsistency: it is reported, and the elements are
    // not deleted, because their owner is unknown.
    if (description->nbits != 0)
      for (bit_descr* bit : description->bits) delete bit;
    else if (!description->bits.empty())
      std::cout << "ERROR: nbits = 0, but bits.size()=" << description->bits.size() << std::endl;
    if (description->ndims != 0)
      for (dim_descr* dim : description->dims) delete dim;
    else if (!description->dims.empty())
      std::cout << "ERROR: ndims = 0, but ndims.size()=" << description->dims.size() << std::endl;
    delete description;
  }
  descr_list.clear();
}

template <class Table>
void free_table(Table*& table) {
  std::free(table);
  table = nullptr;
}

template <class G>
void file_get_tables<G>::clean_up() {
  if constexpr (G::locks_clean_up) {
    const scoped_lock lock(this->mx);
    release_all();
  } else {
    release_all();
  }
}

template <class G>
void file_get_tables<G>::release_all() {
  free_descriptions();

  // ecp_tab keeps its value until the next load; clients must not use it after clean_up.
  ref_tbl = nullptr;
  eit_tab = nullptr;
  cdt_tab = nullptr;
  eidt_tab = nullptr;
  xcd_tab = nullptr;
  free_table(lref_tbl);
  free_table(leit_tab);
  free_table(lcdt_tab);
  free_table(lecp_tab);
  free_table(leidt_tab);
  free_table(lxcd_tab);

  if (fd != -1) {
    release_baskets();
    close(fd);
  }
  if constexpr (G::copies_header_baskets) this->basket_copy_mode = 0;
  evh_base = sbh_base = nullptr;
  evh_offset = sbh_offset = 0;
  evh_base_size = sbh_base_size = 0;
  evhb = nullptr;
  sbhb = nullptr;
  fd = -1;
  len = 0;
  file_name = nullptr;
  lacks_channels = false;
  chans.clear();
  clientsn = 0;
}

}  // namespace ravo
