// The slicer: aligns many channels over a time-ordered list of raw files, so that each get_data()
// returns, for one event, the entries of the channels that have data for it. It keeps one channel
// reader per channel; a background thread loads the files' tables ahead of use.
// A template for both generations; programs use ravo_daq_slicer_2010.
//
// One slicer belongs to one thread at a time. The channels of a file are decoded whole and all at once; see
// the remarks on memory in ravo_daq/reader.h.
#ifndef RAVO_DAQ_SLICER_TEMPLATE_H
#define RAVO_DAQ_SLICER_TEMPLATE_H

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_daq/generation_state.h"
#include "ravo_daq_status.h"
#include "ravo_export.h"

namespace ravo {

/// What the caller's thread and the table-loading thread share; guarded by the slicer's tmx.
template <class G>
struct tables_task {
  typename G::slicer* slicer = nullptr;
  std::vector<char*>* files = nullptr;
  std::vector<char*>* chans = nullptr;
  typename G::file_tables** get_tables = nullptr;
  int get_tables_num = 0;
  pthread_mutex_t* tmx = nullptr;
  pthread_cond_t* tcond = nullptr;
  int ready = 0;             ///< tables loaded and not yet claimed
  int go = 0;                ///< how many tables the thread may still load
  int mode = 0;              ///< mode of the loaders
  std::atomic<int> stop{0};  ///< non-zero asks the thread to end; read without the lock between steps
  int status = 0;            ///< 0: working or finished; 1: a load failed and the thread is gone
  int next_file = 0;         ///< position in files of the next file to load; files before it were loaded
  int starved = 0;           ///< 1 while the thread waits for a credit
};

template <class G>
class daq_slicer : public by_time_fix_state<G::has_by_time_fix> {
 public:
  RAVO_EXPORT daq_slicer();
  RAVO_EXPORT ~daq_slicer();
  daq_slicer(const daq_slicer&) = delete;
  daq_slicer& operator=(const daq_slicer&) = delete;

  /// NOT_ALLOWED after start(); values other than 0 and 1 are ignored.
  RAVO_EXPORT int set_synch_mode(int mode);
  int get_synch_mode() const { return synch_mode; }
  RAVO_EXPORT void set_debug(int level);
  int get_debug() const { return debug; }
  RAVO_EXPORT int set_num_of_get_tables(int number);
  int get_num_of_get_tables() const { return get_tables_num; }
  RAVO_EXPORT int set_time_diff(const time_stamp* diff);
  time_stamp* get_time_diff() { return &event_time_diff; }
  RAVO_EXPORT int set_event_step(const ravo_time_id* step);
  ravo_time_id* get_event_step() { return &event_step; }
  void set_by_time_fix(bool fix)
    requires G::has_by_time_fix
  {
    this->by_time_fix = fix;
  }
  bool is_by_time_fix() const
    requires G::has_by_time_fix
  {
    return this->by_time_fix;
  }
  /// The channels that could not be started, joined by ";"; owned by the slicer.
  const char* get_not_found_channels() const { return not_found_channels.c_str(); }

  /// Copies the file names (in request order) and the channels; may be repeated. OK, INV_PARAM, NO_DATA
  /// (no files or no channels) or INTERN_ERROR (no memory).
  RAVO_EXPORT int init(const std::vector<char*>* files, const std::vector<typename G::chan_param*>* chans,
                       int mode);
  /// Starts the table-loading thread and the channels' readers, and finds the first event. OK, NO_DATA (no
  /// files or no channels), INTERN_ERROR, NOT_ALLOWED (already started), or what create_channel() returned.
  RAVO_EXPORT int start();
  /// The event that `direction` asks for, relative to `id`, or to the current event if `id` is null. `res`
  /// receives, in channel order, the entries of the channels that have the event; they belong to the slicer
  /// and are valid until the next call. OK even if no channel has the event; OUT_OF_WINDOW: no channel is
  /// left. INV_PARAM, NOT_READY, INTERN_ERROR (a channel reader failed). A channel that `id` skipped, or
  /// whose next file cannot be loaded, keeps its reader: when the others have ended, one call returns OK
  /// without an event, and the next call returns INTERN_ERROR instead of OUT_OF_WINDOW.
  RAVO_EXPORT int get_data(const ravo_time_id* id, std::vector<ravo_channel_entry_long*>* res,
                           int direction);
  /// Moves a channel to a neighbouring file; start_channel() must follow. The third argument has no
  /// effect. NO_DATA: there is no such file, or its tables are not available.
  RAVO_EXPORT int change_config(int chan, int direction, int);
  /// Starts a channel's reader, waits until it is decoded, and positions it. NO_DATA: the channel has no
  /// event in its file. Otherwise what the channel reader returned.
  RAVO_EXPORT int start_channel(int chan, int direction);
  /// Drops a channel for good.
  RAVO_EXPORT void remove_channel(int chan);
  /// Builds a channel's reader over the tables of a file.
  RAVO_EXPORT int create_channel(int chan, typename G::file_tables* tables);
  /// The loaded tables of a file; waits for the loading thread if necessary. Null if there are no tables.
  RAVO_EXPORT typename G::file_tables* find_ready_table(const char* file);
  /// The first channel without events, or a sentence that there is no such channel. Owned by the slicer.
  RAVO_EXPORT const char* get_name_of_empty_channel() const;
  /// Compares two events: true if they are equal; `*cmp` (may be null) is -1, 0 or 1 if a is before, equal
  /// to or after b.
  RAVO_EXPORT bool is_event_id_eq(const ravo_time_id* a, const ravo_time_id* b, int* cmp) const;
  /// Stops the thread and frees everything; init() may follow.
  RAVO_EXPORT void clean_up();

  // State.
  std::vector<char*> files;                    ///< copies, in request order
  std::vector<typename G::chan_param*> chans;  ///< copies
  std::vector<char*> chansp;                   ///< the names in chans
  int cur_file = -1;
  int prev_file = -1;
  int get_tables_num = 0;
  typename G::file_tables** get_tables = nullptr;  ///< one slot per file; null: free
  typename G::read_chan** read_chans = nullptr;    ///< one per channel; null: not (or no longer) read
  int nchans = 0;
  int mode = 0;
  ravo_time_id current_event_id{};
  int first_event = 1;  ///< 1 until the first get_data() has run
  int debug = 0;
  int synch_mode = RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
  time_stamp event_time_diff;
  double time_diff = 0;  ///< microseconds
  ravo_time_id event_step;
  std::string not_found_channels;
  pthread_t tid{};
  pthread_mutex_t tmx;  ///< guards get_tables, the task and the search in files
  pthread_cond_t tcond;
  typename G::tables_task task;

 private:
  struct alignment;  // the working values of one get_data()
  struct answer;     // what a channel contributes to an event
  struct departure;  // where a channel came from when it leaves a file

  bool is_started() const { return get_tables != nullptr; }
  bool is_channel(int chan) const { return chan >= 0 && chan < nchans; }
  int check_reader(int chan, int direction) const;

  // init
  bool copy_files(const std::vector<char*>& names);
  bool copy_channels(const std::vector<typename G::chan_param*>& channels);

  // start
  bool create_slots();
  void fill_task();
  bool start_table_thread();
  bool create_reader_slots();
  int begin_channel(int chan);
  bool find_first_file_with_events(int chan);
  void leave_out(int chan);
  void consider_first_event(int chan);
  bool is_before_current_event(const ravo_time_id& event) const;

  // The hand-over from the table-loading thread; called with tmx held.
  typename G::file_tables* find_tables(const char* file) const;
  typename G::file_tables* claim_tables(const char* file);
  bool may_become_ready(const char* file) const;
  void wait_until_ready(const char* file);

  // Channels.
  int configure_reader(int chan);
  int position_channel(int chan, int direction);
  void clean_reader(int chan);
  void destroy_reader(int chan);

  // Moving a channel to another file.
  departure leave_file(int chan);
  void leave_tables(int chan, int slot, departure* left);
  void leave_unknown_tables(int chan, departure* left);
  void destroy_tables(int chan, typename G::file_tables* tables, departure* left);
  int find_slot(const typename G::file_tables* tables) const;
  int find_file(const char* file) const;
  int neighbour(int entry, int direction) const;
  bool has_other_reader(int chan, const typename G::file_tables* tables) const;
  typename G::file_tables* find_shared_tables(int chan, const char* file);
  int enter_file(int chan, int entry, const departure& left);

  // Alignment.
  alignment begin_alignment(const ravo_time_id* id, int direction);
  answer ask_channel(int chan, alignment& call);
  bool is_in_range(int chan, alignment& call);
  int ask_reader(int chan, const alignment& call, ravo_channel_entry_long** entry);
  bool move_channel(int chan, int direction, std::size_t& moves_left);
  bool change_file(int chan, int direction, std::size_t& moves_left);
  int judge(int chan, int status);
  void choose_event(int chan, const ravo_channel_entry_long& entry, alignment& call);
  bool is_earlier(const ravo_channel_entry_long& entry, const alignment& call) const;
  bool is_farther(const ravo_time_id& event, const alignment& call) const;
  static bool is_update(const ravo_channel_entry_long& entry);
  void take_event(int chan, const ravo_time_id& event, alignment& call) const;
  void set_event(const ravo_time_id& event, ravo_time_id& own) const;
  int collect(std::vector<ravo_channel_entry_long*>& res);
  void collect_channel(int chan, std::vector<ravo_channel_entry_long*>& res);

  // clean_up
  void stop_table_thread();
  void tell_of_thread(pthread_t thread) const;
  void stop_readers();
  void free_files();
  void free_channels();
  void free_tables();
  void free_readers();
};

}  // namespace ravo

#endif
