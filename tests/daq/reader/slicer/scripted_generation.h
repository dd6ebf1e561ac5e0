// Generations of the raw format without files, each with the rules of a real one: their loaders and channel
// readers answer what a test scripts. With them the slicer's algorithms meet every answer that a channel
// reader may give, even those that no file causes. What the slicer does with real files is tested
// elsewhere.
#ifndef RAVO_TEST_SLICER_SCRIPTED_GENERATION_H
#define RAVO_TEST_SLICER_SCRIPTED_GENERATION_H

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "ravo_daq_slicer.h"
#include "ravo_daq_slicer_2010.h"
#include "slicer/alignment-inl.h"
#include "slicer/channels-inl.h"
#include "slicer/file_switch-inl.h"
#include "slicer/set_up-inl.h"
#include "slicer/start-inl.h"
#include "slicer/table_thread-inl.h"
#include "slicer/tear_down-inl.h"

namespace ravo::test {

class scripted_tables;
class scripted_reader;
struct scripted_param;
template <class rules>
class scripted_slicer_of;
template <class rules>
struct scripted_task_of;
template <class rules>
void* scripted_table_thread(void* task);

template <class rules>
struct scripted : rules {
  using file_tables = scripted_tables;
  using read_chan = scripted_reader;
  using slicer = scripted_slicer_of<rules>;
  using chan_param = scripted_param;
  using tables_task = scripted_task_of<rules>;
  static constexpr auto table_thread = &scripted_table_thread<rules>;
};

struct scripted_param {
  char name[256];
  char nname[256];
  int subchan;
  ravo_chan_prms prms;
};

template <class rules>
struct scripted_task_of : tables_task<scripted<rules>> {};

/// How one channel behaves.
struct channel_script {
  bool no_memory = false;  // the reader cannot be created
  int time_diff_status = 0;
  int step_status = 0;
  int start_status = 0;
  int out_total = 1;
  ravo_time_id first{};
  ravo_time_id last{0xfffffffe, {0xfffffffe, 0}};
  /// The status for a target; the entry is `entry` when it has a number or a time.
  std::function<int(const ravo_time_id&, int direction)> answer = [](const ravo_time_id&, int) {
    return 0;
  };
  int current_status = 0;  // of the question for the current entry
  int position_status = 0;
  ravo_channel_entry_long entry{};
  double busy_milliseconds = 0;  // spent in creation and in every answer
  // What happened.
  int created = 0;
  int asked = 0;
  std::vector<int> positions;
};

struct script {
  std::map<std::string, channel_script> channels;
  std::set<std::string> bad_files;
  std::atomic<int> tables_alive{0};
  std::atomic<int> readers_alive{0};
  std::atomic<int> files_loaded{0};
  std::multiset<const scripted_tables*> tables_in_use;  // by readers that were not cleaned
  bool freed_in_use = false;  // tables were freed while a reader could still read them
};
/// The script of the running test.
inline script* playing = nullptr;

/// Lets real time pass, for the lines that are printed when something took long.
inline void be_busy(double milliseconds) {
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::duration<double, std::milli>(milliseconds);
  while (std::chrono::steady_clock::now() < end) continue;
}

class scripted_tables {
 public:
  explicit scripted_tables(int) { ++playing->tables_alive; }
  ~scripted_tables() { --playing->tables_alive; }
  int get_all_tables(const char* path, int, const std::vector<char*>*) {
    if (playing->bad_files.count(path) != 0) return 2;
    file_name = const_cast<char*>(path);
    ++playing->files_loaded;
    return 0;
  }
  void clean_up() {
    if (playing->tables_in_use.count(this) != 0) playing->freed_in_use = true;
  }
  char* get_file_name() const { return file_name; }
  int get_client_counter() const { return clientsn; }
  void inc_client_counter() { ++clientsn; }
  int status() const { return 1; }

  int debug = 0;
  bool lacks_channels = false;

 private:
  char* file_name = nullptr;
  int clientsn = 0;
};

class scripted_reader {
 public:
  scripted_reader(scripted_tables* tables, const char* name, int, const chan_descr_2010*)
      : script_(playing->channels.at(name)), tables_(tables), name_(name) {
    out_total = script_.out_total;
    ++script_.created;
    ++playing->readers_alive;
    playing->tables_in_use.insert(tables);
    be_busy(script_.busy_milliseconds);
  }
  ~scripted_reader() { --playing->readers_alive; }

  // The name of the channel is not known here: one channel without memory represents all.
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    for (const auto& [name, channel] : playing->channels)
      if (channel.no_memory) return nullptr;
    return ::operator new(size, std::nothrow);
  }
  static void operator delete(void* memory, const std::nothrow_t&) noexcept { ::operator delete(memory); }
  static void operator delete(void* memory) noexcept { ::operator delete(memory); }

  void set_by_time_fix(bool) {}
  int set_time_diff(const time_stamp*) { return script_.time_diff_status; }
  int set_step(const ravo_time_id*) { return script_.step_status; }
  int start(pthread_mutex_t** mutex, pthread_cond_t** condition, int** flag) {
    *mutex = &mutex_;
    *condition = &condition_;
    *flag = &flag_;
    flag_ = 1;
    return script_.start_status;
  }
  void clean() {
    if (const auto use = playing->tables_in_use.find(tables_); use != playing->tables_in_use.end())
      playing->tables_in_use.erase(use);
    tables_ = nullptr;
  }
  void clean_descr() {}
  scripted_tables* get_cfg() const { return tables_; }
  char* get_chan_name(int*) { return name_.data(); }
  void get_time_limits(ravo_time_id* first, ravo_time_id* last) {
    *first = script_.first;
    *last = script_.last;
  }
  void print_time_limits() { std::printf("limits of %s\n", name_.c_str()); }
  int get_chan_data(const ravo_time_id* id, ravo_channel_entry_long** result, int direction) {
    if (id != nullptr) ++script_.asked;
    if (id == nullptr && direction != 0) script_.positions.push_back(direction);
    if (id != nullptr) be_busy(script_.busy_milliseconds);
    const int status = id != nullptr    ? script_.answer(*id, direction)
                       : direction == 0 ? script_.current_status
                                        : script_.position_status;
    if (status == 0 &&
        (script_.entry.event_id.event_number != 0 || script_.entry.event_id.time.timeup != 0))
      *result = &script_.entry;
    return status;
  }

  int out_total = 0;

 private:
  channel_script& script_;
  scripted_tables* tables_;
  std::string name_;
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
  int flag_ = 0;
};

template <class rules>
class scripted_slicer_of : public daq_slicer<scripted<rules>> {};
using scripted_slicer = scripted_slicer_of<generation_2010>;

template <class rules>
void* scripted_table_thread(void* task) {
  table_loading<scripted<rules>>(*static_cast<scripted_task_of<rules>*>(task)).run();
  return nullptr;
}

}  // namespace ravo::test

namespace ravo {
template <class rules>
struct slicer_texts<test::scripted<rules>> : slicer_texts<rules> {};
}  // namespace ravo

#endif
