// A reader over a slicer and a loader that do as a test tells them, so that the reader's own steps can be
// seen one by one, also those that no good file ever leads to. The reader's code itself is the library's.
#ifndef RAVO_TEST_SCRIPTED_LAYERS_H
#define RAVO_TEST_SCRIPTED_LAYERS_H

#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "ravo_daq_reader_2010.h"
#include "reader/reader_texts.h"

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
  int init(const std::vector<char*>* files, const std::vector<ravo_daq_chan_param_2010*>* channels,
           int mode) {
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
  std::vector<std::string> loaded;
  bool was_given_channels = false;
  int clean_ups = 0;
  ravo_event_index_table_2010* eit_tab = nullptr;
  ravo_chan_dictionary_table_2010* cdt_tab = nullptr;
};
inline loader_script the_loader;

class scripted_loader {
 public:
  int get_all_tables(const char* path, int, const std::vector<char*>* names) {
    the_loader.loaded.push_back(path);
    the_loader.was_given_channels = names && !names->empty();
    return the_loader.status;
  }
  void clean_up() { ++the_loader.clean_ups; }
  ravo_event_index_table_2010* get_eit_table() const { return the_loader.eit_tab; }
  ravo_chan_dictionary_table_2010* get_cdt_table() const { return the_loader.cdt_tab; }
  std::vector<chan_descr_2010*>* get_descr_list() { return &descriptions; }
  std::vector<chan_descr_2010*> descriptions;
};

struct scripted_generation : generation_2010 {
  using slicer = scripted_slicer;
  using file_tables = scripted_loader;
};

/// A generation with the other choice wherever generations differ in their rules.
struct contrary_generation : scripted_generation {
  static constexpr time_stamp default_time_diff{0, 95000};
  static constexpr ravo_time_id default_period{1, {0, 200000}};
  static constexpr const char* default_data_dir = "";
  static constexpr bool reads_time_diff_from_environment = false;
  static constexpr bool waits_for_closed_files = false;
  static constexpr bool explains_failed_start = false;
  static constexpr bool has_by_time_fix = false;
};

/// One decoded channel of one event, as a channel reader would own it.
class decoded_block {
 public:
  decoded_block(const char* name, int dtype, ravo_time_id id, const std::string& payload) {
    evhd_ = std::make_unique<ravo_eventheader>();
    evhd_->event_number = id.event_number;
    evhd_->event_time = id.time;
    sbhd_ = std::make_unique<ravo_serv_block_head_2010>();
    std::strcpy(sbhd_->server, "SERVER");
    sbhd_->mpulse = static_cast<int>(id.event_number);
    memory_.resize((sizeof(ravo_serv_block_subhead_2010) + payload.size() + 3) / 4);
    std::strcpy(block()->chname, name);
    block()->dtype = dtype;
    block()->ldata = static_cast<int>(sizeof(ravo_serv_block_subhead_2010) + payload.size());
    std::memcpy(block() + 1, payload.data(), payload.size());
    entry_ = std::make_unique<ravo_channel_entry_long>();
    entry_->event_id = id;
    entry_->sbchdata[0] = {
        reinterpret_cast<std::uint64_t>(evhd_.get()), reinterpret_cast<std::uint64_t>(sbhd_.get()),
        reinterpret_cast<std::uint64_t>(block()), reinterpret_cast<std::uint64_t>(block() + 1)};
  }
  ravo_channel_entry_long* entry() { return entry_.get(); }
  ravo_serv_block_subhead_2010* block() {
    return reinterpret_cast<ravo_serv_block_subhead_2010*>(memory_.data());
  }

 private:
  std::unique_ptr<ravo_eventheader> evhd_;
  std::unique_ptr<ravo_serv_block_head_2010> sbhd_;
  std::vector<std::uint32_t> memory_;
  std::unique_ptr<ravo_channel_entry_long> entry_;
};

}  // namespace ravo::test

namespace ravo {
template <>
struct reader_texts<test::scripted_generation> : reader_texts<generation_2010> {};
extern template class daq_reader<test::scripted_generation>;

template <>
struct reader_texts<test::contrary_generation> : reader_texts<generation_2010> {
  static constexpr const char* file_not_found = "contrary file %s not found\n";
};
extern template class daq_reader<test::contrary_generation>;
}  // namespace ravo

#endif
