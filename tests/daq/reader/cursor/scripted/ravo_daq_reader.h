// A reader that does what a test says and remembers what it was asked: it replaces the reader of older
// files where the classes above it are tested alone.
#ifndef RAVO_TEST_SCRIPTED_DAQ_READER_H
#define RAVO_TEST_SCRIPTED_DAQ_READER_H

#include <map>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_daq_status.h"

namespace ravo::test {

/// One entry of the channel dictionary that the reader reports.
struct scripted_channel {
  std::string name;
  int count;
  unsigned evmask;
  unsigned dtmask;
};

/// What the readers made from now on answer, and what all of them were asked.
struct reader_script {
  std::map<std::string, int> results;  // by operation; 0 where it is not named
  std::string refused_file;            // add_file refuses this one
  std::vector<ravo_channel_entry_long*> event;
  std::vector<scripted_channel> channels;
  std::vector<std::string> asked;
};
inline reader_script script;

}  // namespace ravo::test

class ravo_daq_reader {
 public:
  ravo_daq_reader() { note("made"); }
  ~ravo_daq_reader() { note("destroyed"); }
  ravo_daq_reader(const ravo_daq_reader&) = delete;
  ravo_daq_reader& operator=(const ravo_daq_reader&) = delete;

  void clean_up() { note("clean_up"); }
  int set_synch_mode(int mode) { return answer("set_synch_mode", std::to_string(mode)); }
  void set_debug(int level) { note("set_debug " + std::to_string(level)); }
  int set_period(const ravo_time_id* period) { return answer("set_period", text(period)); }
  int set_start_point(const ravo_time_id* point) { return answer("set_start_point", text(point)); }
  int set_stop_point(const ravo_time_id* point) { return answer("set_stop_point", text(point)); }
  int add_file(const char* name, bool append) {
    if (name == ravo::test::script.refused_file) return -10;
    return answer("add_file", std::string(name) + (append ? " append" : " in front"));
  }
  int add_channel(const daq_channel_entry* channel) {
    const ravo_chan_prms& prms = channel->prms;
    std::string what = channel->name;
    for (const int number : {prms.start, prms.inc, prms.length, prms.func})
      what += " " + std::to_string(number);
    return answer("add_channel", what);
  }
  int start() { return answer("start", ""); }
  int get_data(const ravo_time_id* id, std::vector<ravo_channel_entry_long*>* entries, int mode) {
    *entries = ravo::test::script.event;
    return answer("get_data", std::string(id ? "an event" : "null") + " " + std::to_string(mode));
  }
  int get_number_of_channels(const char* file, int* count, int last) {
    *count = static_cast<int>(ravo::test::script.channels.size());
    return answer("get_number_of_channels", std::string(file) + " " + std::to_string(last));
  }
  char* get_channel_name(int i, int* count, int* evmask, int* dtmask) {
    ravo::test::scripted_channel& channel = ravo::test::script.channels.at(static_cast<std::size_t>(i));
    if (count) *count = channel.count;
    if (evmask) *evmask = static_cast<int>(channel.evmask);
    if (dtmask) *dtmask = static_cast<int>(channel.dtmask);
    return channel.name.empty() ? nullptr : channel.name.data();
  }
  int print_all_channels(const char* file) { return answer("print_all_channels", file); }

 private:
  static std::string text(const ravo_time_id* event) {
    if (!event) return "null";
    return std::to_string(event->event_number) + ":" + std::to_string(event->time.timeup) + "." +
           std::to_string(event->time.timelow);
  }
  static void note(const std::string& what) { ravo::test::script.asked.push_back(what); }
  static int answer(const std::string& operation, const std::string& what) {
    note(what.empty() ? operation : operation + " " + what);
    const auto found = ravo::test::script.results.find(operation);
    return found == ravo::test::script.results.end() ? 0 : found->second;
  }
};

#endif
