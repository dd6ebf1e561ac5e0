// A reader over a slicer and a loader that do what a test says, so that the reader's own steps can be
// seen one by one, even those that no good file ever leads to, with the rules of either generation. The
// reader's code itself is the library's.
#ifndef RAVO_TEST_SCRIPTED_LAYERS_H
#define RAVO_TEST_SCRIPTED_LAYERS_H

#include <pthread.h>

#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "api/reader_texts.h"
#include "decode/table_operations.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"

namespace ravo::test {

/// What the slicer is to answer, and what it was asked. One for all tests; a fixture clears it.
struct slicer_script {
  struct answer {
    int status = 0;
    ravo_time_id current{};
    std::vector<ravo_channel_entry_long*> entries;
    int delay_microseconds = 0;
  };
  int init_status = 0;
  int synch_mode_status = 0;
  int time_diff_status = 0;
  int event_step_status = 0;
  int start_status = 0;
  std::string not_found_channels;
  std::deque<answer> answers;        ///< when they are used up: OUT_OF_WINDOW
  bool repeats_last_answer = false;  ///< or the last one again and again
  bool goes_round = false;           ///< or from the first one again

  std::vector<std::string> calls;
  std::vector<std::string> files;
  std::vector<std::string> channels;
  const ravo_time_id* asked_id = nullptr;
  int asked_mode = -100;
  int questions = 0;
  int alive = 0;  ///< slicers made and not yet destroyed
};
inline slicer_script the_slicer;

class scripted_slicer {
 public:
  scripted_slicer() { ++the_slicer.alive; }
  ~scripted_slicer() { --the_slicer.alive; }
  void clean_up() { the_slicer.calls.push_back("clean_up"); }
  void set_debug(int level) { the_slicer.calls.push_back("set_debug " + std::to_string(level)); }
  void set_by_time_fix(bool fix) { the_slicer.calls.push_back(fix ? "fix on" : "fix off"); }
  template <class Param>
  int init(const std::vector<char*>* files, const std::vector<Param*>* channels, int mode) {
    the_slicer.calls.push_back("init " + std::to_string(mode));
    for (const char* file : *files) the_slicer.files.push_back(file);
    for (const auto* channel : *channels)
      the_slicer.channels.push_back(std::string(channel->name) + "/" + std::to_string(channel->subchan));
    return the_slicer.init_status;
  }
  int set_synch_mode(int mode) {
    the_slicer.calls.push_back("synch_mode " + std::to_string(mode));
    return the_slicer.synch_mode_status;
  }
  int set_time_diff(const time_stamp* diff) {
    the_slicer.calls.push_back("time_diff " + std::to_string(diff->timeup) + "_" +
                               std::to_string(diff->timelow));
    return the_slicer.time_diff_status;
  }
  int set_event_step(const ravo_time_id* step) {
    the_slicer.calls.push_back("event_step " + std::to_string(step->event_number) + " " +
                               std::to_string(step->time.timeup) + "_" +
                               std::to_string(step->time.timelow));
    return the_slicer.event_step_status;
  }
  int start() {
    the_slicer.calls.push_back("start");
    return the_slicer.start_status;
  }
  const char* get_not_found_channels() const { return the_slicer.not_found_channels.c_str(); }
  int get_data(const ravo_time_id* id, std::vector<ravo_channel_entry_long*>* entries, int mode);

  ravo_time_id current_event_id{};
};

/// What the loader is to answer, and what it was asked.
struct loader_script {
  int status = 0;
  std::map<std::string, int> status_of_file;   ///< by the last component; others: `status`
  std::map<std::string, void*> index_of_file;  ///< the event index of either generation; others: `eit_tab`
  std::function<void()> at_loading;
  std::vector<std::string> loaded;
  std::vector<std::string> names;  ///< channels that the last loading was given
  int descr_mode = -1;             ///< of the last loading
  bool was_given_channels = false;
  int clean_ups = 0;
  void* eit_tab = nullptr;
  void* cdt_tab = nullptr;
};
inline loader_script the_loader;

template <class rules>
class scripted_loader {
 public:
  int get_all_tables(const char* path, int descr_mode, const std::vector<char*>* names) {
    file_name = path;
    const std::string name = file_name.substr(file_name.rfind('/') + 1);
    the_loader.loaded.push_back(path);
    the_loader.descr_mode = descr_mode;
    the_loader.was_given_channels = names && !names->empty();
    the_loader.names.clear();
    if (names) the_loader.names.assign(names->begin(), names->end());
    if (the_loader.at_loading) the_loader.at_loading();
    const auto index = the_loader.index_of_file.find(name);
    index_table = index == the_loader.index_of_file.end() ? the_loader.eit_tab : index->second;
    const auto status = the_loader.status_of_file.find(name);
    return status == the_loader.status_of_file.end() ? the_loader.status : status->second;
  }
  void clean_up() { ++the_loader.clean_ups; }
  auto* get_eit_table() const { return static_cast<typename rules::event_index_table*>(index_table); }
  auto* get_cdt_table() const { return static_cast<typename rules::dictionary_table*>(the_loader.cdt_tab); }
  std::vector<chan_descr_2010*>* get_descr_list() { return &descriptions; }
  std::vector<chan_descr_2010*> descriptions;

 private:
  std::string file_name;
  void* index_table = nullptr;
};

/// What a channel reader is to answer, and what it was asked.
struct read_chan_script {
  int start_status = 0;
  bool signals_from_a_thread = false;
  std::vector<std::string> calls;
  int alive = 0;
};
inline read_chan_script the_read_chan;

class scripted_read_chan {
 public:
  scripted_read_chan(void*, const char* name, int subchannel, const chan_descr_2010* description) {
    ++the_read_chan.alive;
    the_read_chan.calls.push_back("make " + std::string(name) + " " + std::to_string(subchannel) +
                                  (description ? " described" : ""));
    pthread_mutex_init(&mutex, nullptr);
    pthread_cond_init(&condition, nullptr);
  }
  ~scripted_read_chan() {
    if (signaller.joinable()) signaller.join();
    the_read_chan.calls.push_back("destroy, flag " + std::to_string(flag));
    --the_read_chan.alive;
  }
  int start(pthread_mutex_t** mutex_out, pthread_cond_t** condition_out, int** flag_out) {
    *mutex_out = &mutex;
    *condition_out = &condition;
    *flag_out = &flag;
    if (the_read_chan.signals_from_a_thread)
      signaller = std::thread([this] { signal(); });
    else
      flag = 1;
    return the_read_chan.start_status;
  }
  void print_event_headers() { the_read_chan.calls.push_back("event headers"); }
  void print_server_block_headers() { the_read_chan.calls.push_back("server block headers"); }
  void print_channel_headers() { the_read_chan.calls.push_back("channel headers"); }
  void print_channel() { the_read_chan.calls.push_back("channel"); }
  void clean() { the_read_chan.calls.push_back("clean"); }

 private:
  void signal() {
    pthread_mutex_lock(&mutex);
    flag = 1;
    pthread_cond_signal(&condition);
    pthread_mutex_unlock(&mutex);
  }
  pthread_mutex_t mutex;
  pthread_cond_t condition;
  int flag = 0;
  std::thread signaller;
};

/// What the run catalogue is to answer, and what it was asked.
struct catalogue_script {
  int runs_status = 1;
  std::vector<std::string> files_of_runs;
  int period_status = 1;
  std::vector<std::string> files_of_period;
  std::map<int, std::pair<time_stamp, time_stamp>> times_of_runs;  ///< others are not known

  std::vector<std::string> questions;
  std::vector<int> runs_asked_for;
  unsigned period_start = 0;
  unsigned period_stop = 0;
  int records_alive = 0;
};
inline catalogue_script the_catalogue;

/// One record a file, one without files, one with a null among its files: all that a record may be.
inline void answer_with(const std::vector<std::string>& files, std::vector<ravo_root_xml_files*>* found) {
  auto* empty = new ravo_root_xml_files;
  found->push_back(empty);
  ++the_catalogue.records_alive;
  for (const std::string& file : files) {
    auto* record = new ravo_root_xml_files;
    record->rfiles = {nullptr, new std::string(file)};
    record->xmlfile = new std::string("catalogue.xml");
    found->push_back(record);
    ++the_catalogue.records_alive;
  }
}
inline int scripted_files_for_runs(const std::vector<int*>* runs, std::vector<ravo_root_xml_files*>* found,
                                   const char* experiment, const char* stream, const char* directory,
                                   int only_closed) {
  the_catalogue.questions.push_back("runs of " + std::string(experiment) + " " + stream + " in " +
                                    directory + " closed " + std::to_string(only_closed));
  for (const int* run : *runs) the_catalogue.runs_asked_for.push_back(*run);
  answer_with(the_catalogue.files_of_runs, found);
  return the_catalogue.runs_status;
}
inline int scripted_files_for_period(unsigned start, unsigned stop,
                                     std::vector<ravo_root_xml_files*>* found, const char* experiment,
                                     const char* stream, const char* directory, int only_closed) {
  the_catalogue.questions.push_back("period of " + std::string(experiment) + " " + stream + " in " +
                                    directory + " closed " + std::to_string(only_closed));
  the_catalogue.period_start = start;
  the_catalogue.period_stop = stop;
  answer_with(the_catalogue.files_of_period, found);
  return the_catalogue.period_status;
}
inline int scripted_time_for_run(int run, time_stamp* start, time_stamp* end, const char* experiment,
                                 const char* directory) {
  the_catalogue.questions.push_back("time of " + std::to_string(run) + " of " + experiment + " in " +
                                    directory);
  const auto found = the_catalogue.times_of_runs.find(run);
  if (found == the_catalogue.times_of_runs.end()) {
    *start = *end = {12345, 678};  // the results of a failed call do not matter
    return 1;
  }
  *start = found->second.first;
  *end = found->second.second;
  return 0;
}
inline void scripted_free(std::vector<ravo_root_xml_files*>* found) {
  for (ravo_root_xml_files* record : *found) {
    for (std::string* file : record->rfiles) delete file;
    delete record->xmlfile;
    delete record;
    --the_catalogue.records_alive;
  }
  found->clear();
}

template <class rules>
struct scripted : rules {
  using slicer = scripted_slicer;
  using file_tables = scripted_loader<rules>;
  using read_chan = scripted_read_chan;
};

/// One decoded channel of one event, as a channel reader would own it.
template <class rules>
class decoded_block {
  using subhead = typename rules::subhead;
  using server_block_head = typename rules::server_block_head;

 public:
  decoded_block(const char* name, int dtype, ravo_time_id id, const std::string& payload) {
    evhd_ = std::make_unique<ravo_eventheader>();
    evhd_->event_number = id.event_number;
    evhd_->event_time = id.time;
    sbhd_ = std::make_unique<server_block_head>();
    std::strcpy(sbhd_->server, "SERVER");
    sbhd_->mpulse = static_cast<int>(id.event_number);
    memory_.resize((sizeof(subhead) + payload.size() + 3) / 4);
    std::strcpy(block()->chname, name);
    block()->dtype = dtype;
    block()->ldata = static_cast<int>(sizeof(subhead) + payload.size());
    std::memcpy(block() + 1, payload.data(), payload.size());
    entry_ = std::make_unique<ravo_channel_entry_long>();
    entry_->event_id = id;
    entry_->sbchdata[0] = {
        reinterpret_cast<std::uint64_t>(evhd_.get()), reinterpret_cast<std::uint64_t>(sbhd_.get()),
        reinterpret_cast<std::uint64_t>(block()), reinterpret_cast<std::uint64_t>(block() + 1)};
  }
  ravo_channel_entry_long* entry() { return entry_.get(); }
  subhead* block() { return reinterpret_cast<subhead*>(memory_.data()); }

 private:
  std::unique_ptr<ravo_eventheader> evhd_;
  std::unique_ptr<server_block_head> sbhd_;
  std::vector<std::uint32_t> memory_;
  std::unique_ptr<ravo_channel_entry_long> entry_;
};

}  // namespace ravo::test

namespace ravo {
template <class rules>
struct table_operations<test::scripted<rules>> : table_operations<rules> {
  static constexpr auto get_files_for_runs = &test::scripted_files_for_runs;
  static constexpr auto get_files_for_period = &test::scripted_files_for_period;
  static constexpr auto get_time_for_run = &test::scripted_time_for_run;
  static constexpr auto free_found_files = &test::scripted_free;
};
template <class rules>
struct reader_texts<test::scripted<rules>> : reader_texts<rules> {};

extern template class daq_reader<test::scripted<generation_2010>>;
extern template class daq_reader<test::scripted<generation_2009>>;
}  // namespace ravo

#endif
