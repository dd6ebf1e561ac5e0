// The channel reader: reads one channel (optionally one subchannel of it) of one raw file. Its workers
// decode every event of the channel into an array; lookups answer from it by event number or by time.
// A template for both generations; programs use ravo_daq_read_chan_2010.
//
// After start(), all events of the channel in the file are decoded, and stay in memory until clean(), in
// their decoded size. One reader belongs to one thread at a time; several readers may read the same loaded
// file.
//
// Lookups by event number skip events without a number, except the channel's first event. Of the events
// that share the latest time only the first is reached: it is the channel's last event. Lookups by time
// skip events that are nearer than a step. An entry whose block is damaged, and that no worker fills any
// more, is skipped too, and cannot be the channel's first or last event.
#ifndef RAVO_DAQ_READ_CHAN_TEMPLATE_H
#define RAVO_DAQ_READ_CHAN_TEMPLATE_H

#include <pthread.h>

#include <atomic>

#include "ravo_core_records.h"
#include "ravo_daq/generation_state.h"
#include "ravo_daq_status.h"
#include "ravo_export.h"

namespace ravo {

class event_limits;

template <class G>
class daq_read_chan : public by_time_fix_state<G::has_by_time_fix>,
                      public last_answer_state<G::has_by_time_fix>,
                      public lookup_trace_state<G::traces_lookups> {
 public:
  static constexpr int thread_slots = 10;

  /// A reader of a channel of the loaded file. Without a loaded file or a name it stays uninitialised,
  /// which start() reports. `subchan` -1: the whole channel. `descr` is copied; it may be null.
  RAVO_EXPORT daq_read_chan(typename G::file_tables* cfg, const char* chan, int subchan,
                            const typename G::chan_descr* descr);
  RAVO_EXPORT ~daq_read_chan();
  daq_read_chan(const daq_read_chan&) = delete;
  daq_read_chan& operator=(const daq_read_chan&) = delete;

  /// Starts decoding. The arguments (each may be null) receive the mutex, the condition and the flag that
  /// signal the end of decoding: the flag is then non-zero, after a failure too.
  /// A ravo_daq_read_chan_data_status: OK, NOT_INIT, NOT_FOUND or INTERN_ERROR.
  RAVO_EXPORT int start(pthread_mutex_t** mutex, pthread_cond_t** condition, int** flag);
  /// Stops the workers, waits until they have ended, and frees all decoded data.
  RAVO_EXPORT void clean();
  /// Frees the copied channel description.
  RAVO_EXPORT void clean_descr();

  /// The entry that `type` asks for, relative to `id`, or to the entry last found if `id` is null.
  /// `*result` is set only if an entry was found; it is valid until clean(). Never waits for workers:
  /// events that are not decoded yet are not found. INTERN_ERROR: the file changed while it was decoded.
  RAVO_EXPORT int get_chan_data(const ravo_time_id* id, ravo_channel_entry_long** result, int type);
  /// The entry of an event number, or for PREV and NEXT the nearest entry; null with NO_DATA if there is no
  /// such entry. `status` may be null. The caller holds mx while workers run.
  RAVO_EXPORT ravo_channel_entry_long* find_entry_by_event_id(unsigned event_number, int type, int* status);
  /// The entry at a time within the time difference, or for PREV and NEXT the nearest entry. As above.
  RAVO_EXPORT ravo_channel_entry_long* find_entry_by_time(const time_stamp* time, int type, int* status);
  /// The channel's earliest and latest event in this file, the first of those with equal times; once all is
  /// decoded, only of those that could be decoded. Either argument may be null.
  RAVO_EXPORT void get_time_limits(ravo_time_id* first, ravo_time_id* last);

  RAVO_EXPORT int set_time_diff(const time_stamp* diff);
  time_stamp* get_time_diff() { return &event_time_diff; }
  RAVO_EXPORT int set_step(const ravo_time_id* step);
  ravo_time_id* get_step() { return &event_step; }
  bool is_by_time_fix() const
    requires G::has_by_time_fix
  {
    return this->by_time_fix;
  }
  void set_by_time_fix(bool fix)
    requires G::has_by_time_fix
  {
    this->by_time_fix = fix;
  }
  /// Upper bound of the automatic choice: 1 to 10 (returns 0); for other numbers returns 1, no change.
  RAVO_EXPORT int set_max_number_of_threads(int threads);
  /// Fixed number of workers: 1 to 10 (returns 0); for other numbers returns 1, no change.
  RAVO_EXPORT int set_number_of_threads(int threads);

  /// Whether every entry is finished, or there is nothing to do.
  RAVO_EXPORT bool is_done();
  /// Sets the flag and wakes the threads that wait for this channel.
  RAVO_EXPORT void signal_master();
  /// Notes that every entry is finished. Called with mx held.
  RAVO_EXPORT void complete();
  /// Whether pages of the file were missing when they were read, and were replaced by zeros.
  RAVO_EXPORT bool is_source_damaged() const;
  /// Notes that the decoded data cannot be trusted: every lookup returns INTERN_ERROR from here on. Called
  /// with mx held.
  RAVO_EXPORT void note_damage();
  /// Marks a worker's slot as free.
  RAVO_EXPORT void set_thread_exited(pthread_t id);
  /// Entry `index` of this channel's row of the pointer table; null outside the table or without a table.
  RAVO_EXPORT typename G::chan_pointers_table_entry* get_data_table_pointer(int index) const;
  RAVO_EXPORT char* get_chan_name(int* subchannel);

  typename G::event_header_basket* get_evh_basket() const { return evhb; }
  typename G::server_block_basket* get_sbh_basket() const { return sbhb; }
  typename G::channel_basket* get_chn_basket() const { return chnb; }
  unsigned char* get_evh_base() const { return evh_base; }
  unsigned char* get_sbh_base() const { return sbh_base; }
  unsigned char* get_chn_base() const { return chn_base; }
  unsigned long get_evh_offset() const { return evh_offset; }
  unsigned long get_sbh_offset() const { return sbh_offset; }
  unsigned long get_chn_offset() const { return chn_offset; }
  typename G::file_tables* get_cfg() const { return cfg; }

  // Diagnostics, to standard output.
  RAVO_EXPORT void print_time_limits();
  RAVO_EXPORT void print_cdt_entry();
  RAVO_EXPORT void print_event_chan_pointers_entry();
  RAVO_EXPORT void print_event_headers()
    requires G::prints_channels;
  RAVO_EXPORT void print_server_block_headers()
    requires G::prints_channels;
  RAVO_EXPORT void print_channel_headers()
    requires G::prints_channels;
  RAVO_EXPORT void print_channel()
    requires G::prints_channels;
  RAVO_EXPORT void print_chan_descr();

  // State. Others read it; the workers write the output array and its counters under mx.
  char* file_name = nullptr;  ///< not set
  int fd = -1;
  int len = 0;
  int nthreads = 0;  ///< number of workers; 0: chosen at start
  int nthreadsmax = 10;
  typename G::file_tables* cfg = nullptr;
  unsigned char* evh_base = nullptr;
  unsigned long evh_offset = 0;
  typename G::event_header_basket* evhb = nullptr;
  unsigned char* sbh_base = nullptr;
  unsigned long sbh_offset = 0;
  typename G::server_block_basket* sbhb = nullptr;
  typename G::channel_basket* chnb = nullptr;  ///< the channel's basket
  unsigned char* chn_base = nullptr;           ///< the mapping it came from
  unsigned long chn_base_size = 0;
  unsigned long chn_offset = 0;  ///< file offset that belongs to the basket's address
  typename G::reference_table* ref_tbl = nullptr;
  typename G::event_index_table* eit_tab = nullptr;
  typename G::dictionary_table* cdt_tab = nullptr;
  typename G::chan_pointers_table* ecp_tab = nullptr;
  typename G::env_dictionary_table* eidt_tab = nullptr;
  typename G::xml_header* xcd_tab = nullptr;
  typename G::dictionary_entry* cdt = nullptr;  ///< the channel's dictionary entry
  int cdtl = 0;                                 ///< its index
  int ecpl = -1;                                ///< its row in a pointer table loaded for a list
  typename G::chan_descr descr{};
  time_stamp event_time_diff{0, 95000};
  double time_diff = 95000.0;  ///< microseconds
  ravo_time_id event_step{1, {0, 200000}};
  pthread_t tid[thread_slots];  ///< ids of the workers; all bits set marks a free slot
  char chan[G::name_size] = {};
  int subchan = -1;
  /// Guards out, out_cur, the limits, the out_ counters, event_cur, index_to_start_search, all_done,
  /// is_damaged, tid and running. Taken before mmx.
  pthread_mutex_t mx;
  ravo_channel_entry_long* out = nullptr;
  ravo_channel_entry_long* out_cur = nullptr;  ///< the entry last found
  int out_total = 0;
  int out_taken = 0;  ///< entries handed to workers
  int out_done = 0;   ///< entries finished by workers
  ravo_time_id event_first{};
  ravo_time_id event_last{};
  int all_done = 0;
  bool is_damaged = false;  ///< the file changed while it was decoded
  pthread_mutex_t mmx;      ///< guards mcnt
  pthread_cond_t mcond;
  int mcnt = 0;  ///< a flag: the channel is decoded, or a failure needs attention
  std::atomic<int> stop{0};
  int running = 0;      ///< workers that have not left yet; guarded by mx
  pthread_cond_t idle;  ///< signalled with mx when running falls to 0

 private:
  void take_tables(typename G::file_tables* tables);
  void copy_description(const typename G::chan_descr& from);
  int start_failure(int status);
  void forget_earlier_start();
  bool create_output();
  bool load_channel_basket(unsigned long first_subheader);
  bool take_basket(unsigned long offset, unsigned long size);
  void release_basket();
  void set_limits(const event_limits& limits);
  void find_limits();
  void settle_limits();
  void check_source();
  int choose_number_of_threads() const;
  static int threads_for_events(unsigned ev_mask);
  void start_workers();
  static void* run_worker(void* reader);
  void leave();
  void stop_workers();
  void free_output();
  int debug_level() const;

  bool is_awaited(const ravo_channel_entry_long& entry) const;
  int next_decoded(int index, int last) const;
  ravo_channel_entry_long* exact_number(unsigned event_number) const;
  bool scan_number(unsigned event_number, ravo_channel_entry_long** found) const;
  ravo_channel_entry_long* nearest_number(unsigned event_number, int type) const;
  bool search_time(const time_stamp& time, ravo_channel_entry_long** found) const;
  bool scan_time(const time_stamp& time, ravo_channel_entry_long** found) const;
  ravo_channel_entry_long* nearest_time(const time_stamp& time, int type) const;
  void print_entries_once()
    requires G::traces_lookups;

  bool reference_event(const ravo_time_id* id, int type, ravo_time_id* reference) const;
  ravo_channel_entry_long* look_up_number(unsigned number, int type, int* status);
  ravo_channel_entry_long* look_up_time(time_stamp time, int type, int* status);
  ravo_channel_entry_long* hold_against_numbers(ravo_channel_entry_long* entry, int type, int* status)
    requires G::has_by_time_fix;

  unsigned first_number() const;
  unsigned last_number() const;

  template <class Print>
  void print_entries(const char* head, const char* tail, Print print);
  void print_limit(const char* whole, const char* part, const ravo_time_id& event);

  unsigned least_number = 0;  ///< of the channel's events in this file; 0: no event has one. Guarded by mx
  unsigned greatest_number = 0;
};

}  // namespace ravo

#endif
