// How a channel reader starts: it finds the channel, allocates room for its events, loads its basket into
// memory, finds its first and last event, and starts its workers.
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "decode/allocate.h"
#include "decode/table_operations.h"
#include "decode/unzip.h"
#include "mapping.h"
#include "microseconds.h"
#include "ravo_daq/read_chan.h"
#include "read_chan/block_source.h"
#include "read_chan/read_chan_texts.h"
#include "scoped_lock.h"
#include "stopwatch.h"

namespace ravo {

template <class G>
int daq_read_chan<G>::start_failure(int status) {
  signal_master();
  return status;
}

template <class G>
int daq_read_chan<G>::start(pthread_mutex_t** mutex, pthread_cond_t** condition, int** flag) {
  if (mutex != nullptr) *mutex = &mmx;
  if (condition != nullptr) *condition = &mcond;
  if (flag != nullptr) *flag = &mcnt;
  forget_earlier_start();

  if (evhb == nullptr || sbhb == nullptr || fd == 0 || len == 0) {
    std::printf(read_chan_texts<G>::start_not_initialized, chan);
    return start_failure(RAVO_DAQ_READ_CHAN_NOT_INIT);
  }
  cdtl = table_operations<G>::find_channel_by_name(cdt_tab, chan, &cdt);
  if (cdtl < 0) {
    cdt = nullptr;
    std::printf(read_chan_texts<G>::channel_not_found);
    return start_failure(RAVO_DAQ_READ_CHAN_NOT_FOUND);
  }
  if (cdt->count < 1) {
    const scoped_lock lock(mx);
    all_done = 1;
    return start_failure(RAVO_DAQ_READ_CHAN_OK);
  }
  if (!create_output()) {
    std::printf("%s Failed to create out array for %d entries\n", chan, cdt->count);
    return start_failure(RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  }
  if (const typename G::chan_pointers_table_entry* first = get_data_table_pointer(0))
    if (!load_channel_basket(first->chhd)) return start_failure(RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  find_limits();
  start_workers();
  return RAVO_DAQ_READ_CHAN_OK;
}

template <class G>
void daq_read_chan<G>::forget_earlier_start() {
  stop_workers();
  free_output();
  is_damaged = false;
  const scoped_lock lock(mmx);
  mcnt = 0;
}

template <class G>
typename G::chan_pointers_table_entry* daq_read_chan<G>::get_data_table_pointer(int index) const {
  if (ecp_tab == nullptr || index < 0 || index >= ecp_tab->maxev) return nullptr;
  const int row = ecpl >= 0 ? ecpl : cdtl;
  const auto entries =
      (static_cast<std::size_t>(ecp_tab->length) - sizeof *ecp_tab) / sizeof *ecp_tab->chptr();
  const auto entry = static_cast<std::size_t>(row) * static_cast<std::size_t>(ecp_tab->maxev) +
                     static_cast<std::size_t>(index);
  return row < 0 || entry >= entries ? nullptr : ecp_tab->chptr() + entry;
}

// A file cannot claim memory with a count that exceeds a row of the pointer table.
template <class G>
bool daq_read_chan<G>::create_output() {
  const int count = cdt->count;
  if (get_data_table_pointer(count - 1) == nullptr) return false;
  const std::size_t size = static_cast<std::size_t>(count) * sizeof(ravo_channel_entry_long);
  out = static_cast<ravo_channel_entry_long*>(allocate(size));
  if (out == nullptr) return false;
  // Clears all of it: an entry that the workers have not filled yet reads as time 0 and no data.
  std::memset(out, 0, size);
  for (int i = 0; i < count; ++i) out[i].event_id.event_number = RAVO_EVENT_NUMBER_UNDECODED;
  out_cur = nullptr;
  out_done = all_done = out_taken = 0;
  out_total = count;
  event_first = event_last = {};
  if constexpr (G::has_by_time_fix) this->event_cur = {};
  return true;
}

// The basket begins with its head, directly before the first event's subheader.
template <class G>
bool daq_read_chan<G>::load_channel_basket(unsigned long first_subheader) {
  const stopwatch watch;
  constexpr unsigned long smallest = basket_head_size + sizeof(typename G::subhead);
  const unsigned long offset =
      first_subheader - basket_head_size;  // wraps beyond any file if there is no room
  std::int32_t length = 0;
  if (!read_basket_length(fd, cfg->get_file_len(), offset, length)) {
    perror("mmap");
    std::printf("%s Failed to map channel basket header\n", chan);
    return false;
  }
  errno = EINVAL;
  if (length < static_cast<int>(smallest) || !take_basket(offset, static_cast<unsigned long>(length))) {
    perror("mmap");
    std::printf("%s Failed to map channel basket\n", chan);
    release_basket();
    return false;
  }
  if (debug_level() < 0)
    read_chan_texts<G>::mapping_time(watch.milliseconds(), cfg->get_file_name(), length, chn_base_size,
                                     out_total);
  return true;
}

// Refuses a basket if the file has changed since its tables were read.
template <class G>
bool daq_read_chan<G>::take_basket(unsigned long offset, unsigned long size) {
  using basket = typename G::channel_basket;
  const long file_length = cfg->get_file_len();
  if (!lies_in_file(file_length, offset, size)) return false;
  if constexpr (G::copies_channel_basket) {
    chnb = static_cast<basket*>(take_block(size));
    if (chnb == nullptr || !copy_basket(fd, file_length, offset, chnb, size)) return false;
    chn_base_size = page_place(file_length, offset).rest + size;
    chn_offset = offset;
  } else {
    file_mapping mapping;
    if (!mapping.map(fd, file_length, offset, size)) return false;
    chnb = reinterpret_cast<basket*>(mapping.bytes());
    chn_base = mapping.base();
    chn_base_size = mapping.size();
    chn_offset = mapping.page_offset();
    mapping.release();
  }
  errno = ESTALE;
  return cfg->is_unchanged();
}

template <class G>
void daq_read_chan<G>::release_basket() {
  if constexpr (G::copies_channel_basket)
    give_back_block(chnb);
  else
    file_mapping::unmap(chn_base, chn_base_size);
  chnb = nullptr;
  chn_base = nullptr;
  chn_base_size = 0;
}

/// The earliest and the latest of the events added, and the least and the greatest of their numbers.
class event_limits {
 public:
  // On a tie the earlier entry stays; an event without a time becomes the earliest only if it is the first.
  void add(const ravo_time_id& event) {
    if (event.event_number != 0) {
      least_number = least_number == 0 ? event.event_number : std::min(least_number, event.event_number);
      greatest_number = std::max(greatest_number, event.event_number);
    }
    const double time = as_microseconds(event.time);
    if (empty_ || (event.time.timeup != 0 && time < first_time_)) {
      first = event;
      first_time_ = time;
    }
    if (empty_ || time > last_time_) {
      last = event;
      last_time_ = time;
    }
    empty_ = false;
  }
  bool empty() const { return empty_; }

  ravo_time_id first{};
  ravo_time_id last{};
  std::uint32_t least_number = 0;  // 0: no event has a number
  std::uint32_t greatest_number = 0;

 private:
  bool empty_ = true;
  double first_time_ = 0;
  double last_time_ = 0;
};

template <class G>
void daq_read_chan<G>::find_limits() {
  const file_part headers = source_of(*this).event_headers;
  event_limits limits;
  for (int i = 0; i < out_total; ++i) {
    const typename G::chan_pointers_table_entry* where = get_data_table_pointer(i);
    const auto bytes = where == nullptr ? std::nullopt : headers.at(where->evhd, sizeof(ravo_eventheader));
    if (!bytes) continue;
    ravo_eventheader header;
    ravo_swap4(bytes->data(), &header, sizeof header / 4);
    limits.add({header.event_number, header.event_time});
  }
  set_limits(limits);
}

template <class G>
void daq_read_chan<G>::set_limits(const event_limits& limits) {
  event_first = limits.first;
  event_last = limits.last;
  least_number = limits.least_number;
  greatest_number = limits.greatest_number;
}

// Events that could not be decoded (entries without data are finished too) count as absent from the file:
// nobody must wait for, or step from, a first or last event that never comes. Called with mx held, when no
// worker will fill an entry any more.
template <class G>
void daq_read_chan<G>::settle_limits() {
  event_limits limits;
  for (int i = 0; i < out_total; ++i)
    if (out[i].event_id.event_number != RAVO_EVENT_NUMBER_UNDECODED) limits.add(out[i].event_id);
  if (!limits.empty()) set_limits(limits);
}

template <class G>
void daq_read_chan<G>::complete() {
  all_done = 1;
  settle_limits();
  check_source();
}

// Data decoded from a mapping can be trusted only if nobody has changed the file meanwhile. Called with mx
// held.
template <class G>
void daq_read_chan<G>::check_source() {
  const bool is_mapped = !G::copies_channel_basket || !cfg->are_baskets_copied();
  if (is_source_damaged() || (is_mapped && !cfg->is_unchanged())) note_damage();
}

template <class G>
bool daq_read_chan<G>::is_source_damaged() const {
  return guarded_mappings::is_damaged(evh_base) || guarded_mappings::is_damaged(sbh_base) ||
         guarded_mappings::is_damaged(chn_base);
}

template <class G>
void daq_read_chan<G>::note_damage() {
  if (is_damaged) return;
  is_damaged = true;
  std::printf("%s the file %s changed while it was read\n", chan, cfg->get_file_name());
}

template <class G>
int daq_read_chan<G>::choose_number_of_threads() const {
  if (cdt->dtype_mask == 0) return std::min(6, nthreadsmax);
  int threads = 0;
  for (int type = 0; type < 32; ++type) {  // later bits overwrite earlier ones
    if ((cdt->dtype_mask >> type & 1u) == 0) continue;
    threads = std::max(get_channel_number(type, 0), 1);
    if (type == RAVO_BLOCK_IMAGE || type == RAVO_BLOCK_IMAGE_EXT) threads = 10;
  }
  if (threads == 1)
    threads = threads_for_events(cdt->ev_mask);
  else
    threads *= 2;
  return std::min(threads, nthreadsmax);
}

template <class G>
int daq_read_chan<G>::threads_for_events(unsigned ev_mask) {
  for (int type = 0; type < 32; ++type) {
    if ((ev_mask >> type & 1u) == 0) continue;
    if (get_event_struct_type(type) == RAVO_EV_STRUCT_LOCAL) return 4;
    if (get_event_struct_type(type) == RAVO_EV_STRUCT_ML) return 2;
  }
  return 1;
}

template <class G>
void daq_read_chan<G>::start_workers() {
  stop = 0;
  if (nthreads == 0) nthreads = choose_number_of_threads();
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setscope(&attributes, PTHREAD_SCOPE_SYSTEM);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  {
    const scoped_lock lock(mx);  // no worker begins before its id is in its slot
    const int number = std::min({nthreads, out_total, thread_slots});
    for (int i = 0; i < number; ++i) {
      ++running;
      if (pthread_create(&tid[i], &attributes, &daq_read_chan::run_worker, this) == 0) continue;
      --running;
      tid[i] = static_cast<pthread_t>(-1);
      std::printf("failed to start thread %d\n", i);
      signal_master();
    }
  }
  pthread_attr_destroy(&attributes);
}

template <class G>
void* daq_read_chan<G>::run_worker(void* argument) {
  auto* reader = static_cast<daq_read_chan*>(argument);
  void* const result = unzip_thread<G>(static_cast<typename G::read_chan*>(reader));
  free_thread_decompressor();  // workers leave no memory behind for those who wait for their end
  reader->leave();             // the reader may be gone from here on
  return result;
}

// The last worker to leave wakes the master even if entries were skipped, so that nobody waits for ever.
template <class G>
void daq_read_chan<G>::leave() {
  const scoped_lock lock(mx);
  if (--running > 0) return;
  if (all_done == 0) {
    settle_limits();
    check_source();
    signal_master();
  }
  pthread_cond_broadcast(&idle);
}

}  // namespace ravo
