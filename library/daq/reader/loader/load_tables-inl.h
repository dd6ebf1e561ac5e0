// The loader's steps from an open file to its tables in memory.
#include <cerrno>
#include <cstdio>

#include "decode/table_operations.h"
#include "format/malloc_owner.h"
#include "loader/loader_texts.h"
#include "mapping.h"
#include "ravo_daq/file_get_tables.h"

namespace ravo {

template <class G>
int file_get_tables<G>::refuse(const char* text, int error, int code) {
  if (debug != 0) std::printf(text, error);
  return code;
}

template <class G>
int file_get_tables<G>::load_tables() {
  using library = table_operations<G>;
  using texts = loader_texts<G>;

  if (const int failure = load_reference_table()) return failure;

  if (const int error = library::get_event_index_table(len, ref_tbl, fd, &leit_tab))
    return refuse(texts::no_event_index, error, 3);
  eit_tab = leit_tab;

  if (const int error = library::get_dictionary_table(len, ref_tbl, fd, &lcdt_tab))
    return refuse(texts::no_dictionary, error, 3);  // the event index table's code, on purpose
  cdt_tab = lcdt_tab;

  if (const int failure = load_pointer_table()) return failure;
  decide_copy_mode();

  if (const int error = library::get_env_dictionary_table(len, ref_tbl, fd, &leidt_tab))
    return refuse(texts::no_env_dictionary, error, 5);
  eidt_tab = leidt_tab;

  if (const int error = library::get_chan_descr_table(len, ref_tbl, fd, &lxcd_tab))
    return refuse(texts::no_description_header, error, 6);
  xcd_tab = lxcd_tab;

  if (descr_mode != 0)
    if (const int error = library::load_chan_descr(xcd_tab, &descr_list))
      return refuse(texts::no_descriptions, error, 7);
  return 0;
}

// The file's last 4 bytes point to the reference table: the table-access library gets a copy of the pages
// from the one that holds these bytes to the end of the file.
template <class G>
int file_get_tables<G>::load_reference_table() {
  const long offset = offset_of_tail(len);
  const long length = len - offset;
  if (debug != 0)
    std::printf("Length: %ld offset: %ld  fd: %x\n", length, offset, static_cast<unsigned>(fd));

  errno = EINVAL;  // for an empty file, which has no tail
  if (length == 0) return fail_mapping(-3);
  const auto size = static_cast<unsigned long>(length);
  const auto pages = allocate<unsigned char>(size);
  if (!pages || !copy_part(fd, len, static_cast<unsigned long>(offset), pages.get(), size))
    return fail_mapping(-3);
  const int error = table_operations<G>::get_reference_table(pages.get(), length, len, fd, &lref_tbl);
  if (error != 0) return refuse(loader_texts<G>::no_reference_table, error, 2);
  ref_tbl = lref_tbl;
  return 0;
}

// The table-access library's status for a list whose channels are not in the dictionary.
inline constexpr int channel_not_found = -5;

template <class G>
int file_get_tables<G>::load_pointer_table() {
  using library = table_operations<G>;
  using texts = loader_texts<G>;
  const bool listed = !chans.empty();
  const int error =
      listed ? library::get_chan_pointers_table_by_list(len, ref_tbl, fd, &chans, cdt_tab, &lecp_tab)
             : library::get_chan_pointers_table(len, ref_tbl, fd, &lecp_tab);
  lacks_channels = listed && error == channel_not_found;
  if (error != 0) return refuse(listed ? texts::no_pointers_by_list : texts::no_pointers, error, error);
  ecp_tab = lecp_tab;
  return 0;
}

// Headers of fast events are read so often that a heap copy pays off; for slow channels they stay mapped.
template <class G>
void file_get_tables<G>::decide_copy_mode() {
  if constexpr (G::copies_header_baskets) {
    this->basket_copy_mode = 0;
    for (const char* name : chans) {
      typename G::dictionary_entry* entry = nullptr;
      if (table_operations<G>::find_channel_by_name(cdt_tab, name, &entry) < 0) continue;
      for (int type = 0; type < 32; ++type)
        if ((entry->ev_mask >> type & 1u) != 0 && !is_slow_event(type)) {
          this->basket_copy_mode = 1;
          return;
        }
    }
  }
}

template <class G>
int file_get_tables<G>::fail_mapping(int code) {
  if (debug != 0) perror("mmap");
  return code;
}

}  // namespace ravo
