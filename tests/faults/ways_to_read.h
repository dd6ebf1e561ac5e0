// The layers of the library as ways to read a small run, all driven alike: make one, run it, clean it up,
// run it again. A way that is not disturbed reads every value.
#ifndef RAVO_TEST_FAULTS_WAYS_TO_READ_H
#define RAVO_TEST_FAULTS_WAYS_TO_READ_H

#include "small_run.h"
#include "start_and_wait.h"

namespace ravo::test {

/// Enough for every event of the run and its end.
inline constexpr int most_steps = 40;

/// A way that steps through entries until it is refused.
template <class generation, class object>
int read_events(object& from, reading_outcome& outcome) {
  std::vector<ravo_channel_entry_long*> entries;
  int status = 0;
  for (int step = 0; step < most_steps; ++step) {
    // A slicer that has delivered events before goes on from its first event, unless it is asked for that
    // one.
    status = from.get_data(nullptr, &entries, step == 0 ? 0 : 1);
    if (status != 0) break;
    for (const ravo_channel_entry_long* entry : entries) small_run<generation>::take(*entry, outcome);
  }
  return status;
}

/// The tables of one file, with descriptions; nothing is decoded.
template <class generation>
class loader_way {
 public:
  static constexpr bool decodes = false;
  static constexpr const char* name = "Loader";
  explicit loader_way(const small_run<generation>& of) : run_(of) {}

  void run(reading_outcome& outcome) {
    outcome.status = object.get_all_tables(run_.path().c_str(), 1, wanted_.texts());
  }
  void clean_up() { object.clean_up(); }
  static bool is_stated(int status) {
    return status == 0 || status == 2 || status == 3 || status == 5 || status == 6 || status == 7 ||
           (status <= -2 && status >= -8) || is_pointer_table_status(status);
  }
  static int at_end() { return 0; }
  static values expected() { return {}; }

 private:
  // The table-access library's, which the loader hands on for the pointer table.
  static bool is_pointer_table_status(int status) { return status > 100 && status <= 110; }
  const small_run<generation>& run_;
  wanted_channels<generation> wanted_;

 public:
  typename generation::loader object{0};
};

/// Every channel of one file, one after the other.
template <class generation>
class channel_way {
 public:
  static constexpr bool decodes = true;
  static constexpr const char* name = "Channel";
  explicit channel_way(const small_run<generation>& of) : run_(of) {}

  void run(reading_outcome& outcome) {
    outcome.status = loader_.get_all_tables(run_.path().c_str(), 0, nullptr);
    if (outcome.status != 0) return;
    for (const std::string& channel : small_run<generation>::channel_names()) {
      typename generation::read_chan reader(&loader_, channel.c_str(), -1, nullptr);
      const int status = start_and_wait(reader);
      if (status != 0) outcome.status = status;
      for (unsigned i = 0; i < small_run<generation>::events_of_file; ++i) {
        const ravo_time_id event{small_run<generation>::first_event + i, {}};
        ravo_channel_entry_long* entry = nullptr;
        if (status == 0 && reader.get_chan_data(&event, &entry, 0) == 0)
          small_run<generation>::take(*entry, outcome);
      }
    }
  }
  void clean_up() { loader_.clean_up(); }
  static bool is_stated(int status) {
    return loader_way<generation>::is_stated(status) || status == RAVO_DAQ_READ_CHAN_INTERN_ERROR;
  }
  static int at_end() { return 0; }
  static values expected() { return small_run<generation>::all(1); }

 private:
  const small_run<generation>& run_;
  typename generation::loader loader_{0};
};

template <class generation>
class slicer_way {
 public:
  static constexpr bool decodes = true;
  static constexpr const char* name = "Slicer";
  explicit slicer_way(const small_run<generation>& of) : files_(of.file_list()) {}

  void run(reading_outcome& outcome) {
    outcome.status = object.init(&files_, wanted_.params(), 0);
    if (outcome.status == 0) outcome.status = object.start();
    if (outcome.status == 0) outcome.status = read_events<generation>(object, outcome);
  }
  void clean_up() { object.clean_up(); }
  static bool is_stated(int status) {
    return status == RAVO_DAQ_SLICER_INTERN_ERROR || status == RAVO_DAQ_SLICER_OUT_OF_WINDOW;
  }
  static int at_end() { return RAVO_DAQ_SLICER_OUT_OF_WINDOW; }
  static values expected() { return small_run<generation>::all(); }

 private:
  std::vector<char*> files_;
  wanted_channels<generation> wanted_;

 public:
  typename generation::slicer object;
};

/// Files and channels given one by one, and the values read through the user layer.
template <class generation>
class reader_way {
 public:
  static constexpr bool decodes = true;
  static constexpr const char* name = "Reader";
  explicit reader_way(const small_run<generation>& of) : files_(of.file_list()) {}
  reader_way(const small_run<generation>& of, std::vector<std::string> channels)
      : files_(of.file_list()), wanted_(std::move(channels)) {}

  void run(reading_outcome& outcome) {
    outcome.status = object.init(&files_, wanted_.entries());
    if (outcome.status == 0) outcome.status = object.start();
    if (outcome.status == 0) outcome.status = read(outcome);
  }
  void clean_up() { object.clean_up(); }
  static bool is_stated(int status) {
    return status == RAVO_DAQ_READER_INTERN_ERROR || status == RAVO_DAQ_READER_OUT_OF_WINDOW ||
           status == RAVO_DAQ_READER_NO_DATA ||  // start() without files
           status == RAVO_DAQ_READER_FILES_NOT_FOUND || status == RAVO_DAQ_READER_BAD_FILE_FORMAT;
  }
  static int at_end() { return RAVO_DAQ_READER_OUT_OF_WINDOW; }
  static values expected() { return small_run<generation>::all(); }

 protected:
  int read(reading_outcome& outcome) {
    std::vector<ravo_channel_entry_long*> entries;
    int status = 0;
    for (int step = 0; step < most_steps; ++step) {
      status = object.get_data(nullptr, &entries, 1);
      if (status != 0) break;
      ravo_daq_getdata cursor;
      const int count = cursor.SetRes(&entries);
      if (!entries.empty() && count != static_cast<int>(entries.size())) ++outcome.wrong;
      for (int i = 0; i < count; ++i) {
        cursor.SetChan(i);
        const ravo_channel_entry_long& entry = *entries[static_cast<std::size_t>(i)];
        small_run<generation>::take(entry, outcome);
        using subhead = typename generation::records::subhead;
        const float expected =
            small_run<generation>::value_in(*reinterpret_cast<const subhead*>(entry.sbchdata[0].chhd));
        const bool is_slow = std::strcmp(cursor.GetPropName(), "SLOW") == 0;
        const float value = is_slow ? cursor.GetSingle(0) : cursor.GetSpectVal(0, 0);
        if (value != expected) ++outcome.wrong;
      }
    }
    return status;
  }

 private:
  std::vector<char*> files_;
  wanted_channels<generation> wanted_;

 public:
  typename generation::reader object;
};

/// A slow channel alone: its event and server-block headers stay mapped in both generations.
template <class generation>
class slow_way : public reader_way<generation> {
 public:
  static constexpr const char* name = "Slow";
  explicit slow_way(const small_run<generation>& of) : reader_way<generation>(of, {"SLOW"}) {}
  static values expected() { return small_run<generation>::of_channel("SLOW"); }
};

/// A request by run number, whose files are found by their names.
template <class generation>
class request_way : public reader_way<generation> {
 public:
  static constexpr const char* name = "Request";
  // The first file is tried, and -5 of its loader (no memory for, or no mapping of, a basket) is handed on.
  static bool is_stated(int status) {
    return reader_way<generation>::is_stated(status) || status == RAVO_DAQ_READER_NOT_FOUND;
  }
  explicit request_way(const small_run<generation>& of) : reader_way<generation>(of) {
    std::strcpy(request_.exp_name, "linac");
    std::strcpy(request_.stream_name, "main");
    // Empty, or with the catalogue of the run: the files are the same.
    std::strncpy(request_.cdir, of.other_folder().path().c_str(), sizeof request_.cdir - 1);
    std::strncpy(request_.ddir, of.folder().path().c_str(), sizeof request_.ddir - 1);
    request_.run_first = request_.run_last = 7;
    request_.time_diff = {0, 50000};
    request_.period = {1, {0, 100000}};
  }

  void run(reading_outcome& outcome) {
    outcome.status = this->object.init(&request_, wanted_.entries());
    if (outcome.status == 0) outcome.status = this->object.start();
    if (outcome.status == 0) outcome.status = this->read(outcome);
  }

 private:
  ravo_daq_request request_{};
  wanted_channels<generation> wanted_;
};

/// The user layer's own reader, which is of the older generation: a list file and properties.
class listed_way {
 public:
  static constexpr bool decodes = true;
  static constexpr const char* name = "Listed";
  explicit listed_way(const small_run<older_generation>& of) : list_(of.other_folder().file("list.txt")) {
    std::string text;
    for (unsigned file = 0; file < small_run<older_generation>::files; ++file) text += of.path(file) + "\n";
    of.other_folder().write("list.txt", {reinterpret_cast<const unsigned char*>(text.data()), text.size()});
    for (const std::string& channel : small_run<older_generation>::channel_names())
      names_.push_back(channel);
    for (std::string& channel : names_)
      properties_.push_back(
          {channel.data(), 0, channel.data(), static_cast<int>(channel.size()) + 2, 0, 0});
    for (ravo_sprop& property : properties_) list_of_properties_.push_back(&property);
  }

  void run(reading_outcome& outcome) {
    ravo_time_id period{1, {0, 200000}};
    ravo_time_id point{};
    outcome.status = object.Init(list_.c_str(), &list_of_properties_, 0, &period, &point, &point);
    for (int step = 0; outcome.status == 0 && step < most_steps; ++step) {
      outcome.status = object.GetData();
      if (outcome.status != 0) break;
      for (const ravo_channel_entry_long* entry : *object.GetRes())
        small_run<older_generation>::take(*entry, outcome);
      object.PrintAll();
    }
  }
  void clean_up() { object.Clean(); }
  static bool is_stated(int status) { return status <= -1 && status >= -12; }
  static int at_end() { return -2; }
  static values expected() { return small_run<older_generation>::all(); }

 private:
  std::string list_;
  std::vector<std::string> names_;
  std::vector<ravo_sprop> properties_;
  std::vector<ravo_sprop*> list_of_properties_;

 public:
  ravo_daq_data object;
};

/// The user layer's browser of one older file.
class browser_way {
 public:
  static constexpr const char* name = "Browser";
  explicit browser_way(const small_run<older_generation>& of) : path_(of.path()) {}

  void run(reading_outcome& outcome) {
    outcome.status = object.Init(path_.c_str());
    if (outcome.status != 0) return;
    outcome.status = object.GetNchan();
    if (outcome.status < 0) return;
    for (int i = 0; i < outcome.status; ++i) {
      int count = 0;
      const char* channel = object.GetChanName(i, &count, nullptr, nullptr);
      if (channel == nullptr ||
          channel != small_run<older_generation>::channel_names()[static_cast<std::size_t>(i)])
        ++outcome.wrong;
    }
    object.ListChan();
    object.PrintChan();
  }
  void clean_up() { object.Clean(); }
  static bool is_stated(int status) { return status == -2 || status == -3; }
  static int at_end() { return 4; }
  static values expected() { return {}; }

 private:
  std::string path_;

 public:
  ravo_daq_browser object;
};

}  // namespace ravo::test

#endif
