// The reader: the front end through which programs ask for data. It holds one request, the raw files that
// cover it and the channels, and, once started, a slicer that aligns the channels over the files.
// A template for both generations; programs use ravo_daq_reader_2010.
//
// Memory: every wanted channel is decoded whole, file by file, before its first event is delivered. While a
// file is read, all of its events of all wanted channels are in memory, in their decoded size, which is not
// limited: a damaged or hostile file may decode to a thousand times its own length. To limit memory, read
// with the dataset layer (ravo_dataset.h), which decodes a few events ahead and keeps to a limit.
//
// Threads: one reader belongs to one thread at a time, with all that it hands out. Readers of different
// threads do not affect each other, even on the same files; they share standard output for their messages.
// The reader's own threads (one loads tables, up to ten per channel decode) never call code of the
// program.
//
// docs/classic.md says what the classic readers skip, and when.
#ifndef RAVO_DAQ_READER_TEMPLATE_H
#define RAVO_DAQ_READER_TEMPLATE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_daq/file_decision.h"
#include "ravo_daq/generation_state.h"
#include "ravo_daq_request.h"
#include "ravo_daq_status.h"
#include "ravo_export.h"

namespace ravo {

class result_index;

template <class G>
class daq_reader : public by_time_fix_state<G::has_by_time_fix>,
                   public catalogue_state<G::trusts_run_catalogue> {
 public:
  /// An empty reader with the default request. Reads the environment variables
  /// "DAQ_MAX_TIME_STEP_SEC", "DAQ_MAX_TIME_STEP_USEC" and "RAVO_DAQ_DATA_PATH_LIST".
  RAVO_EXPORT daq_reader();
  RAVO_EXPORT ~daq_reader();
  daq_reader(const daq_reader&) = delete;
  daq_reader& operator=(const daq_reader&) = delete;

  // ---- settings; NOT_ALLOWED once the slicer exists, from start() to clean_up() ----
  RAVO_EXPORT int set_period(const ravo_time_id* period);
  RAVO_EXPORT int set_start_point(const ravo_time_id* point);
  RAVO_EXPORT int set_stop_point(const ravo_time_id* point);
  ravo_time_id* get_period() { return &request.period; }
  ravo_time_id* get_start_point() { return &request.start_time; }
  ravo_time_id* get_stop_point() { return &request.stop_time; }
  RAVO_EXPORT int set_experiment(const char* name);
  RAVO_EXPORT int set_stream(const char* name);
  RAVO_EXPORT int set_catalog_dir(const char* directory);
  RAVO_EXPORT int set_data_dir(const char* directory);
  char* get_experiment() { return request.exp_name; }
  char* get_stream() { return request.stream_name; }
  char* get_catalog_dir() { return request.cdir; }
  char* get_data_dir() { return request.ddir; }
  RAVO_EXPORT int set_synch_mode(int mode);
  RAVO_EXPORT int get_synch_mode();
  /// 1 for null, otherwise 0. Allowed at any time; it does not affect a running slicer.
  RAVO_EXPORT int set_time_diff(const time_stamp* diff);
  time_stamp* get_time_diff() { return &request.time_diff; }
  RAVO_EXPORT void set_by_time_fix(bool fix)
    requires G::has_by_time_fix;
  bool is_by_time_fix() const
    requires G::has_by_time_fix
  {
    return this->by_time_fix;
  }
  RAVO_EXPORT void set_debug(int level);
  int get_debug() const { return debug; }

  // ---- queries ----
  RAVO_EXPORT int get_number_of_files() const;
  RAVO_EXPORT char* get_file_name(int index);
  int get_number_of_events() const { return evs; }
  int get_number_of_empty_events() const { return evs_empty; }
  int get_number_of_channels() const { return nchans; }
  RAVO_EXPORT std::vector<typename G::chan_descr*>* get_descr_list();
  RAVO_EXPORT char* get_channel_name(int index, int* count, int* ev_mask, int* dtype_mask);
  RAVO_EXPORT char* get_channel_name(int index, int* subchan);
  /// The text of the last status.
  const char* get_last_error() const { return last_error.c_str(); }
  /// The text of a status. Static.
  RAVO_EXPORT static const char* error_i2a(int status);
  RAVO_EXPORT void set_error(int status);
  const char* get_data_path_list() const { return data_path_list.c_str(); }
  RAVO_EXPORT void set_data_path_list(const char* list);

  // ---- files ----
  /// Enters a file at the end of the list (`append`) or at its front, found along the data paths.
  RAVO_EXPORT int add_file(const char* name, bool append);
  /// Removes the last file whose path contains the text.
  RAVO_EXPORT int remove_file(const char* text);
  /// Sorts the files by time and drops duplicates.
  RAVO_EXPORT void sort_my_files();

  // ---- channels ----
  RAVO_EXPORT int add_channel(const daq_channel_entry* channel);
  RAVO_EXPORT int set_channels(const std::vector<daq_channel_entry*>* channels);
  RAVO_EXPORT int rem_channel(const char* name);
  RAVO_EXPORT ravo_chan_prms* get_channel_params(const char* name);
  RAVO_EXPORT char* get_nickname(const char* name);

  // ---- reading ----
  /// Turns a request, of runs (`run_first` 1 or more) or of a period, into the list of files that cover it,
  /// and adds the channels (null or empty: none). The run catalogue is asked first; without an answer from
  /// it the names in the data directory are read. NOT_FOUND: the first file has none of the channels (some
  /// of them suffice; start() leaves the others out). BAD_FILE_FORMAT: it cannot be read.
  /// FILES_NOT_FOUND: no file covers the request. docs/requests.md says how files are chosen.
  RAVO_EXPORT int init(const ravo_daq_request* wanted, const std::vector<daq_channel_entry*>* channels);
  /// Starts over with explicit files and, if given, channels.
  RAVO_EXPORT int init(const std::vector<char*>* file_names,
                       const std::vector<daq_channel_entry*>* channels);
  /// Creates and starts the slicer, which decodes the wanted channels of the first file; the request is
  /// fixed from here on. A channel that is in no file, or that cannot be read, delivers nothing and is not
  /// an error.
  RAVO_EXPORT int start();
  /// The next event inside the request: one pointer per channel that has data of it (and per slow channel
  /// seen before), in the order of the channels. The data that they point to belong to the reader, are in
  /// host order and valid until the next get_data() or clean_up(). `id` and `mode` go to the slicer's
  /// get_data(); the normal call is (nullptr, &entries, 1). OUT_OF_WINDOW: the end of the data, or a file
  /// that cannot be loaded (named on standard output). INTERN_ERROR: something failed. That is also
  /// returned instead of the end if several channels came to a later file that cannot be loaded, or if `id`
  /// led past the end of one of them.
  RAVO_EXPORT int get_data(const ravo_time_id* id, std::vector<ravo_channel_entry_long*>* entries,
                           int mode);
  /// The time span covered, in microseconds; negative when it is not known.
  RAVO_EXPORT double get_time_period_us();
  /// Completes and checks the request and trims the file list to it; start() calls it.
  RAVO_EXPORT int check_request();
  /// Returns to the state after construction, except for the debug level, the by-time fix, the last error
  /// and the data path list.
  RAVO_EXPORT void clean_up();

  // ---- diagnostics, to standard output ----
  // Those for a single file add it to the list during the call, found as add_file() finds it, and leave its
  // tables loaded. They use the first path that contains the text, and remove the last such path: they are
  // best used on a reader without files of its own.
  RAVO_EXPORT void print_files();
  RAVO_EXPORT void print_channels();
  /// Stores the number of channels of a file in `count`; `descr_mode` non-zero loads the descriptions too.
  /// NO_DATA: the file cannot be read, or has no channels.
  RAVO_EXPORT int get_number_of_channels(const char* file, int* count, int descr_mode);
  /// Prints the channel dictionary of a file.
  RAVO_EXPORT void print_all_channels(const char* file);
  /// Appends the descriptions of a file's channels that are in its dictionary, with their counts. They
  /// belong to the reader and live until it loads other tables.
  RAVO_EXPORT int fill_chan_descr(const char* file, std::vector<typename G::chan_descr*>* found);
  /// Prints the entries of the event index table for one event type; negative: for all.
  RAVO_EXPORT int print_event_index_table(const char* file, int event_type);
  /// Print what a channel has in every event of a file. This channel's name replaces the reader's channel
  /// names.
  RAVO_EXPORT void print_channel_event_headers(const char* file, const char* channel)
    requires G::prints_channels;
  RAVO_EXPORT void print_channel_server_block_headers(const char* file, const char* channel)
    requires G::prints_channels;
  RAVO_EXPORT void print_channel_channel_headers(const char* file, const char* channel)
    requires G::prints_channels;
  RAVO_EXPORT void print_channel_channel(const char* file, const char* channel)
    requires G::prints_channels;

  // State.
  std::vector<char*> files;
  std::vector<typename G::result_entry*> results;
  std::vector<char*> chans;
  int nchans = 0;
  ravo_daq_request request;
  double time_start = 0;  ///< microseconds
  double time_stop = 0;
  typename G::slicer* slicer = nullptr;
  ravo_time_id current_event_id{};
  std::vector<ravo_channel_entry_long*> cur_res;
  int debug = 0;
  int evs_empty = 0;
  int evs = 0;
  typename G::file_tables get_tables;
  std::string last_error;
  std::string data_path_list;
  /// If it is set, the request's init() and check_request() record here their decision about each file that
  /// they find. It belongs to the caller and is never cleared here.
  std::vector<file_decision>* decisions = nullptr;

 private:
  using result_entry = typename G::result_entry;
  using chan_param = typename G::chan_param;
  using subhead = typename G::subhead;
  enum class place { inside, outside, unknown };  ///< where an event lies relative to the request

  int store(int status);
  void set_default_request();
  void take_first_path_list();
  int set_point(ravo_time_id& field, const ravo_time_id* point);
  template <std::size_t size>
  int set_text(char (&field)[size], const char* text);

  void trim_files();
  bool takes_files_untrimmed();
  bool may_hold_request(std::size_t position, std::int64_t time, std::int64_t step) const;

  void drop_files();
  bool is_data_dir_a_list() const;
  char* copy_candidate(const char* name);
  int resolve(char** candidate) const;
  bool is_acceptable(const char* path) const;
  int search(char** candidate, const std::string& list) const;

  struct file_choice {
    std::vector<std::string> names;  ///< bare, or with a directory that no longer counts
    file_origin origin = file_origin::scan;
    bool is_from_catalogue() const { return origin == file_origin::catalogue; }
  };
  void take_request(const ravo_daq_request& wanted);
  bool is_run_request() const { return request.run_first >= 1; }
  int last_run() const {
    return request.run_last > request.run_first ? request.run_last : request.run_first;
  }
  std::int64_t window_start() const { return request.start_time.time.timeup; }
  std::int64_t window_stop() const;
  int choose_files(file_choice& choice);
  int choose_files_of_runs(file_choice& choice);
  int choose_files_of_period(file_choice& choice);
  int look_up_runs(file_choice& choice);
  bool look_up_period(std::vector<std::string>& names);
  void limit_to_period(std::vector<std::string>& names);
  int enter_files(const file_choice& choice);
  int enter_file(const char* name, file_origin origin);
  void put_down(const std::string& name, file_origin origin, file_outcome outcome) const;
  void put_down_trimmed(const std::string& path) const;
  int check_first_file();

  int scan_for_runs(std::vector<std::string>& names);
  int scan_for_period(file_choice& choice);
  bool is_in_window(std::int64_t seconds) const;
  bool is_wanted_of_run(const char* name, std::int64_t seconds);
  bool reaches_window(const char* name, std::int64_t seconds);
  bool has_events_in_window(const typename G::event_index_table& table) const;

  enum class neighbour { previous, next };
  bool begins_before_request(const char* path) const;
  int enter_edge_files();
  int enter_very_first_file();
  int enter_very_last_file();
  int enter_neighbour(const char* path, neighbour which);

  void correct_window();
  bool get_time_of_runs(std::int64_t& start, std::int64_t& stop);
  void get_time_of_files(std::int64_t& start, std::int64_t& stop) const;

  const char* find_file(const char* text) const;
  int load_inspected(const char* path, int descr_mode, const std::vector<char*>* names);
  int count_searched_channels() const;
  template <class Print>
  void print_channel_of_file(const char* file, const char* channel, Print print);

  int open_first_file();
  int configure_slicer();
  int start_slicer();
  void number_results();

  int find_requested_event(const ravo_time_id* id, int mode);
  int ask_slicer(const ravo_time_id* id, int mode);
  void note_empty_event();
  ravo_time_id get_reference_event() const;
  place place_of(const ravo_time_id& event) const;
  bool is_before_start(const ravo_time_id& event) const;
  bool is_past_stop(const ravo_time_id& event) const;
  int take_elements();
  std::size_t find_result(const subhead& block) const;
  void print_comparisons(const subhead& block) const;
  int take(const ravo_channel_entry_long& element, std::size_t position);
  int make_room(std::size_t position, std::size_t size);
  void hand_out(std::vector<ravo_channel_entry_long*>& entries);

  double get_period_of_one_file();
  double get_period_of_file_names() const;

  bool has_path_list = false;     ///< false: there was no memory for it yet
  std::string inspected_path;     ///< of the file whose tables a diagnostic loaded; the loader points to it
  std::string inspected_channel;  ///< what chans points to after a diagnostic
  std::unique_ptr<result_index> index;     ///< finds results by name; filled by start()
  std::vector<std::size_t> data_capacity;  ///< bytes at the data pointer of each result
};

}  // namespace ravo

#endif
