// A channel reader's construction, settings, description and end.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "decode/allocate.h"
#include "decode/block_memory.h"
#include "microseconds.h"
#include "ravo_daq/file_get_tables.h"
#include "ravo_daq/read_chan.h"
#include "scoped_lock.h"

namespace ravo {

inline bool is_free(pthread_t slot) { return slot == static_cast<pthread_t>(-1); }

template <class G>
daq_read_chan<G>::daq_read_chan(typename G::file_tables* tables, const char* name, int subchannel,
                                const typename G::chan_descr* description) {
  // Even a reader that stays uninitialised is asked whether it is done, and is cleaned.
  pthread_mutex_init(&mx, nullptr);
  pthread_mutex_init(&mmx, nullptr);
  pthread_cond_init(&mcond, nullptr);
  pthread_cond_init(&idle, nullptr);
  std::fill(std::begin(tid), std::end(tid), static_cast<pthread_t>(-1));

  if (tables == nullptr || tables->get_evh_basket() == nullptr || tables->get_sbh_basket() == nullptr ||
      name == nullptr || *name == '\0' || tables->get_file_len() == 0 || tables->get_file_descr() < 0)
    return;
  std::memcpy(chan, name, strnlen(name, sizeof chan - 1));
  subchan = subchannel;
  take_tables(tables);
  if (description != nullptr) copy_description(*description);
}

template <class G>
daq_read_chan<G>::~daq_read_chan() {
  clean();
  clean_descr();
  pthread_cond_destroy(&idle);
  pthread_cond_destroy(&mcond);
  pthread_mutex_destroy(&mmx);
  pthread_mutex_destroy(&mx);
}

template <class G>
void daq_read_chan<G>::take_tables(typename G::file_tables* tables) {
  cfg = tables;
  fd = tables->get_file_descr();
  len = static_cast<int>(tables->get_file_len());
  ref_tbl = tables->get_ref_tbl();
  eit_tab = tables->get_eit_table();
  cdt_tab = tables->get_cdt_table();
  ecp_tab = tables->get_ecp_table();
  eidt_tab = tables->get_eidt_table();
  xcd_tab = tables->get_xcd_table();
  if (!tables->is_ecp_tab_full()) ecpl = tables->get_ecp_tab_entry_index(chan);

  evhb = tables->get_evh_basket();
  sbhb = tables->get_sbh_basket();
  evh_base = tables->are_baskets_copied() ? reinterpret_cast<unsigned char*>(evhb) : tables->get_evh_base();
  sbh_base = tables->are_baskets_copied() ? reinterpret_cast<unsigned char*>(sbhb) : tables->get_sbh_base();
  evh_offset = tables->get_evh_offset();
  sbh_offset = tables->get_sbh_offset();
}

template <class Element>
Element* copy_element(const Element& from) {
  void* memory = allocate(sizeof(Element));
  if (memory == nullptr) return nullptr;
  try {
    return new (memory) Element(from);
  } catch (const std::bad_alloc&) {
    std::free(memory);
    return nullptr;
  }
}

template <class Element>
void free_elements(std::vector<Element*>& elements) {
  for (Element* element : elements) {
    element->~Element();
    std::free(element);
  }
  elements.clear();
}

/// Copies the first `count` elements; false if memory runs out on the way.
template <class Element>
bool copy_elements(const std::vector<Element*>& from, int count, std::vector<Element*>& to) {
  const std::size_t most = std::min(static_cast<std::size_t>(std::max(count, 0)), from.size());
  try {
    to.reserve(most);
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (std::size_t i = 0; i < most; ++i) {
    if (from[i] == nullptr) continue;
    Element* copy = copy_element(*from[i]);
    if (copy == nullptr) return false;
    to.push_back(copy);
  }
  return true;
}

// db_key, set_point and subsystem are not copied, on purpose.
template <class G>
void daq_read_chan<G>::copy_description(const typename G::chan_descr& from) {
  descr.stream = from.stream;
  descr.ev_type = from.ev_type;
  descr.count = from.count;
  descr.dtype = from.dtype;
  std::memcpy(descr.prop_name, from.prop_name, sizeof descr.prop_name);
  std::memcpy(descr.daq_name, from.daq_name, sizeof descr.daq_name);
  std::memcpy(descr.prop_desc, from.prop_desc, sizeof descr.prop_desc);
  std::memcpy(descr.units, from.units, sizeof descr.units);
  descr.max_size = from.max_size;
  descr.nbits = from.nbits;
  if (!copy_elements(from.bits, from.nbits, descr.bits))
    std::printf("Failed to malloc bits entry for %s\n", chan);
  descr.ndims = from.ndims;
  if (!copy_elements(from.dims, from.ndims, descr.dims))
    std::printf("Failed to malloc dim desription  entry for %s\n", chan);
  std::memcpy(descr.sb_name, from.sb_name, sizeof descr.sb_name);
}

template <class G>
void daq_read_chan<G>::clean_descr() {
  free_elements(descr.bits);
  free_elements(descr.dims);
}

template <class G>
void daq_read_chan<G>::stop_workers() {
  stop = 1;
  const scoped_lock lock(mx);
  while (running > 0) pthread_cond_wait(&idle, &mx);
}

template <class G>
void daq_read_chan<G>::free_output() {
  for (int i = 0; i < out_total; ++i) {
    // An entry without data still owns its headers.
    const ravo_event_chan_ptr_long_entry& slot = out[i].sbchdata[0];
    give_back_block(reinterpret_cast<void*>(slot.chhd));
    std::free(reinterpret_cast<void*>(slot.evhd));
    std::free(reinterpret_cast<void*>(slot.sbhd));
  }
  std::free(out);
  out = nullptr;
  out_total = 0;
  release_basket();
}

// out_cur, event_first and event_last keep their values.
template <class G>
void daq_read_chan<G>::clean() {
  stop_workers();
  free_output();
  evh_base = nullptr;
  evhb = nullptr;
  sbh_base = nullptr;
  sbhb = nullptr;
  cfg = nullptr;
  if constexpr (G::traces_lookups) this->index_to_start_search = -1;
}

template <class G>
int daq_read_chan<G>::set_time_diff(const time_stamp* diff) {
  if (diff == nullptr) return RAVO_DAQ_READ_CHAN_INV_PARAM;
  event_time_diff = *diff;
  time_diff = as_microseconds(*diff);
  return RAVO_DAQ_READ_CHAN_OK;
}

template <class G>
int daq_read_chan<G>::set_step(const ravo_time_id* step) {
  if (step == nullptr) return RAVO_DAQ_READ_CHAN_INV_PARAM;
  event_step = *step;
  return RAVO_DAQ_READ_CHAN_OK;
}

inline bool is_thread_number(int threads, int most) { return threads >= 1 && threads <= most; }

template <class G>
int daq_read_chan<G>::set_max_number_of_threads(int threads) {
  if (!is_thread_number(threads, thread_slots)) return 1;
  nthreadsmax = threads;
  return 0;
}

template <class G>
int daq_read_chan<G>::set_number_of_threads(int threads) {
  if (!is_thread_number(threads, thread_slots)) return 1;
  nthreads = threads;
  return 0;
}

template <class G>
bool daq_read_chan<G>::is_done() {
  const scoped_lock lock(mx);
  return all_done != 0;
}

template <class G>
void daq_read_chan<G>::signal_master() {
  const scoped_lock lock(mmx);
  mcnt = 1;
  pthread_cond_broadcast(&mcond);
}

template <class G>
void daq_read_chan<G>::set_thread_exited(pthread_t id) {
  const scoped_lock lock(mx);
  for (int i = 0; i < std::min(nthreads, thread_slots); ++i)
    if (!is_free(tid[i]) && pthread_equal(tid[i], id)) tid[i] = static_cast<pthread_t>(-1);
}

template <class G>
char* daq_read_chan<G>::get_chan_name(int* subchannel) {
  if (subchannel != nullptr) *subchannel = subchan;
  return chan;
}

}  // namespace ravo
