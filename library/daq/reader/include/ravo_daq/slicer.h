// The slicer: lines up many channels over a time-ordered list of raw files, so that each get_data()
// hands back, for one event, the entries of the channels that have data for it. It keeps one channel
// reader per channel; a background thread loads the files' tables ahead of use.
// Written once for both generations; a user names ravo_daq_slicer_2010.
#ifndef RAVO_DAQ_SLICER_H
#define RAVO_DAQ_SLICER_H

#include <pthread.h>

#include <atomic>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_daq_status.h"

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
  int ready = 0;   ///< tables loaded and not yet claimed
  int go = 0;      ///< how many tables the thread may still load
  int mode = 0;    ///< mode of the loaders
  std::atomic<int> stop{0};  ///< non-zero asks the thread to end; read without the lock between steps
  int status = 0;  ///< 0: working or finished; 1: a load failed and the thread is gone
  int next_file = 0;  ///< position in files of the next one to load; files before it were loaded
};

template <class G>
class daq_slicer {
 public:
  daq_slicer();
  ~daq_slicer();
  daq_slicer(const daq_slicer&) = delete;
  daq_slicer& operator=(const daq_slicer&) = delete;

  /// NOT_ALLOWED after start(); values other than 0 and 1 are ignored.
  int set_synch_mode(int mode);
  int get_synch_mode() const { return synch_mode; }
  void set_debug(int level) { debug = level; }
  int get_debug() const { return debug; }
  int set_num_of_get_tables(int number);
  int get_num_of_get_tables() const { return get_tables_num; }
  int set_time_diff(const time_stamp* diff);
  time_stamp* get_time_diff() { return &event_time_diff; }
  int set_event_step(const ravo_time_id* step);
  ravo_time_id* get_event_step() { return &event_step; }
  void set_by_time_fix(bool fix) requires G::has_by_time_fix { by_time_fix = fix; }
  bool is_by_time_fix() const requires G::has_by_time_fix { return by_time_fix; }
  /// The channels that could not be started, joined by ";"; owned by the slicer.
  const char* get_not_found_channels() const { return not_found_channels.c_str(); }

  /// Copies the file names (in request order) and the channels; may be repeated.
  int init(const std::vector<char*>* files, const std::vector<typename G::chan_param*>* chans, int mode);
  /// Starts the table-loading thread and the channels' readers, and finds the first event.
  int start();
  /// The event that `direction` asks for, relative to `id`, or to the current one when it is null. Of
  /// that event `res` receives the entries, in channel order, of the channels that have it; they belong
  /// to the slicer until the next call. OUT_OF_WINDOW: no channel is left.
  int get_data(const ravo_time_id* id, std::vector<ravo_channel_entry_long*>* res, int direction);
  /// Moves a channel to a neighbouring file. The third argument has no effect.
  int change_config(int chan, int direction, int);
  /// Starts a channel's reader, waits until it is decoded, and positions it.
  int start_channel(int chan, int direction);
  /// Drops a channel for good.
  void remove_channel(int chan);
  /// Builds a channel's reader over the tables of a file.
  int create_channel(int chan, typename G::file_tables* tables);
  /// The loaded tables of a file, waiting for the loading thread if need be; null when not to be had.
  typename G::file_tables* find_ready_table(const char* file);
  /// The first channel without events, or a sentence that there is none. Owned by the slicer.
  const char* get_name_of_empty_channel() const;
  /// Compares two events: true when equal; `*cmp` (may be null) is -1, 0 or 1 as a is before, equal, after b.
  bool is_event_id_eq(const ravo_time_id* a, const ravo_time_id* b, int* cmp) const;
  /// Stops the thread and frees everything; init() may follow.
  void clean_up();

  // State.
  std::vector<char*> files;                     ///< copies, in request order
  std::vector<typename G::chan_param*> chans;   ///< copies
  std::vector<char*> chansp;                    ///< the names in chans
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
  bool by_time_fix = true;
};

}  // namespace ravo

#endif
