// The loader: opens one raw file, loads its tables through the table-access library and makes its
// event-header and server-block baskets available in memory. One loader serves all channel readers of
// its file. A template for both generations; programs use ravo_file_get_tables_2010.
#ifndef RAVO_DAQ_FILE_GET_TABLES_TEMPLATE_H
#define RAVO_DAQ_FILE_GET_TABLES_TEMPLATE_H

#include <pthread.h>
#include <sys/types.h>
#include <time.h>

#include <cstdint>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_daq/generation_state.h"
#include "ravo_export.h"

namespace ravo {

template <class G>
class file_get_tables : public copy_mode_state<G::copies_header_baskets>,
                        public clean_up_lock<G::locks_clean_up> {
 public:
  static constexpr int no_memory = -8;

  // Any number of threads may read a loaded file, since nothing changes it. Only one thread at a time may
  // load it or call clean_up().

  /// An empty loader. `descr_mode` non-zero: channel descriptions are loaded too.
  RAVO_EXPORT explicit file_get_tables(int descr_mode = 0);
  RAVO_EXPORT ~file_get_tables();
  file_get_tables(const file_get_tables&) = delete;
  file_get_tables& operator=(const file_get_tables&) = delete;

  /// Loads a file, after clean_up(). `path` and the texts of `names` are kept as pointers and must
  /// live as long as the loader is loaded; `names` null or empty: all channels.
  /// 0: loaded. 1: no path. -2: the file cannot be opened. -3: its tail cannot be mapped. 2: no readable
  /// reference table. 3: event index table or channel dictionary refused. 5: environment dictionary
  /// refused. 6: channel description header refused. 7: channel descriptions not loadable. -4, -5: the
  /// event-header basket (its head, the whole) cannot be read or mapped; -6, -7: the server-block basket;
  /// -7 also if the file changed meanwhile. Any other: the table-access library's status for the event
  /// channel pointer table; no_memory: there is no memory for the list of names. After a failure the loader
  /// is empty, except for the names after 1 and -2.
  RAVO_EXPORT int get_all_tables(const char* path, int descr_mode, const std::vector<char*>* names);
  /// Releases everything and returns to the constructed state; keeps descr_mode and debug. No channel
  /// reader of this loader may still be running.
  RAVO_EXPORT void clean_up();

  /// Whether the event channel pointer table holds a row for every dictionary entry.
  bool is_ecp_tab_full() const { return chans.empty(); }
  /// The row of a name in the pointer table that was loaded for a list; -1 if it has no row.
  RAVO_EXPORT int get_ecp_tab_entry_index(const char* name) const;

  typename G::event_header_basket* get_evh_basket() const { return evhb; }
  typename G::server_block_basket* get_sbh_basket() const { return sbhb; }
  unsigned char* get_evh_base() const { return evh_base; }
  unsigned char* get_sbh_base() const { return sbh_base; }
  unsigned long get_evh_offset() const { return evh_offset; }
  unsigned long get_sbh_offset() const { return sbh_offset; }
  typename G::reference_table* get_ref_tbl() const { return ref_tbl; }
  typename G::event_index_table* get_eit_table() const { return eit_tab; }
  typename G::dictionary_table* get_cdt_table() const { return cdt_tab; }
  typename G::chan_pointers_table* get_ecp_table() const { return ecp_tab; }
  typename G::env_dictionary_table* get_eidt_table() const { return eidt_tab; }
  typename G::xml_header* get_xcd_table() const { return xcd_tab; }
  std::vector<typename G::chan_descr*>* get_descr_list() { return &descr_list; }
  char* get_file_name() const { return file_name; }
  off_t get_file_len() const { return len; }
  int get_file_descr() const { return fd; }
  int get_client_counter() const { return clientsn; }
  void inc_client_counter() { ++clientsn; }
  /// Whether the file's size and time of change are the same as when it was opened. What was read from a
  /// changed file may come from two different versions of it.
  RAVO_EXPORT bool is_unchanged() const;
  /// Whether evhb and sbhb are heap copies; otherwise they lie in the mappings.
  bool are_baskets_copied() const {
    if constexpr (G::copies_header_baskets) return this->basket_copy_mode != 0;
    return false;
  }
  /// 1 while a file is loaded, otherwise 0.
  int status() const { return file_name != nullptr && fd != -1 ? 1 : 0; }

  // State. Others only read it, except for debug and clientsn.
  std::vector<char*> chans;   ///< names the pointer table was loaded for; the caller's texts
  char* file_name = nullptr;  ///< the caller's text
  int fd = -1;
  off_t len = 0;                      ///< bytes in the file
  int clientsn = 0;                   ///< how often a channel has left this file (kept by the slicer)
  unsigned char* evh_base = nullptr;  ///< mapping of the event-header basket
  unsigned long evh_offset = 0;       ///< file offset that belongs to the base a client uses
  unsigned long evh_base_size = 0;    ///< bytes of the mapping, even after it was copied and released
  typename G::event_header_basket* evhb = nullptr;
  unsigned char* sbh_base = nullptr;
  unsigned long sbh_offset = 0;
  unsigned long sbh_base_size = 0;
  typename G::server_block_basket* sbhb = nullptr;
  // The working pointers that clients read, and the owning ones that clean_up frees.
  typename G::reference_table* ref_tbl = nullptr;
  typename G::event_index_table* eit_tab = nullptr;
  typename G::dictionary_table* cdt_tab = nullptr;
  typename G::chan_pointers_table* ecp_tab = nullptr;  ///< stays set after clean_up; must not be used then
  typename G::env_dictionary_table* eidt_tab = nullptr;
  typename G::xml_header* xcd_tab = nullptr;
  typename G::reference_table* lref_tbl = nullptr;
  typename G::event_index_table* leit_tab = nullptr;
  typename G::dictionary_table* lcdt_tab = nullptr;
  typename G::chan_pointers_table* lecp_tab = nullptr;
  typename G::env_dictionary_table* leidt_tab = nullptr;
  typename G::xml_header* lxcd_tab = nullptr;
  std::vector<typename G::chan_descr*> descr_list;
  int descr_mode = 0;
  bool lacks_channels =
      false;      ///< after a failure: its only reason is that the file has none of these names
  int debug = 0;  ///< 0 quiet; non-zero: failures; negative: also timings

 private:
  int load_tables();
  int load_reference_table();
  int load_pointer_table();
  void decide_copy_mode();
  int load_header_baskets();
  template <class Basket>
  int load_basket(unsigned long reference, int head_failure, unsigned char*& base, unsigned long& offset,
                  unsigned long& base_size, Basket*& basket);
  void release_all();
  void release_baskets();
  bool take_file_state();
  int fail_mapping(int code);
  int refuse(const char* text, int error, int code);
  void free_descriptions();

  std::int64_t size_when_opened = 0;
  timespec modified_when_opened{};
};

}  // namespace ravo

#endif
