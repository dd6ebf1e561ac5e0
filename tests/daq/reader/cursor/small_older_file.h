// A small file of the older generation with known content, written by the writer.
#ifndef RAVO_TEST_SMALL_OLDER_FILE_H
#define RAVO_TEST_SMALL_OLDER_FILE_H

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "handmade_event.h"
#include "ravo_daq_writer.h"
#include "temporary_folder.h"

namespace ravo::test {

// Two events: TOR in both (a normal and an image event), RF in the first; IDLE in none. `first` is the
// number of the first one; another name may replace TOR.
class small_older_file {
 public:
  explicit small_older_file(unsigned first = 1, const char* tor_name = "TOR") {
    ravo_daq_writer writer;
    ravo_daq_writer_settings settings;
    settings.folder = folder_.path().string();
    settings.run = 7;
    check(writer, writer.open(settings));
    const int tor = declare(writer, tor_name, RAVO_BLOCK_TOROID);
    const int idle = declare(writer, "IDLE", RAVO_BLOCK_TOROID);
    if (idle < 0) throw std::runtime_error("IDLE is refused");
    const int rf = declare(writer, "RF", RAVO_BLOCK_RF_250K);
    const std::string one = bytes_of(ravo_spect_head{1, 1, 0, 1}) + floats({1, 1});
    const std::string two = two_spectra<older_event>();
    for (unsigned number = first; number <= first + 1; ++number) {
      ravo_daq_writer_event event;
      event.event_number = number;
      event.event_type = number == first ? RAVO_EV_NORMAL : RAVO_EV_IMAGE;
      event.time = {1700000000 + number, 0};
      check(writer, writer.begin_event(event));
      ravo_daq_writer_server_block server;
      server.server = "SERVER";
      server.time = event.time;
      check(writer, writer.begin_server_block(server));
      check(writer, writer.add_data(tor, one.data(), one.size()));
      if (number == first) check(writer, writer.add_data(rf, two.data(), two.size()));
      check(writer, writer.end_event());
    }
    check(writer, writer.close());
    path_ = writer.get_files().at(0);
  }
  const char* path() const { return path_.c_str(); }
  /// Gives every event header another pattern: the events then say that they are current ones.
  void belie_generation() {
    std::ifstream in(path_, std::ios::binary);
    std::string all{std::istreambuf_iterator<char>(in), {}};
    const std::string pattern = "\xff\xee\xff\xee";
    std::size_t headers = 0;
    for (std::size_t at = 0; (at = all.find(pattern, at)) != std::string::npos; ++headers)
      all.replace(at, pattern.size(), "\xff\xee\xf3\xf3");
    if (headers != 2) throw std::runtime_error("not the headers of two events");
    std::ofstream(path_, std::ios::binary) << all;
  }

 private:
  static void check(ravo_daq_writer& writer, int status) {
    if (status != 0) throw std::runtime_error(writer.get_last_error());
  }
  static int declare(ravo_daq_writer& writer, const char* name, RAVO_SUBBLOCK_TYPE dtype) {
    ravo_daq_writer_channel channel;
    channel.name = name;
    channel.dtype = dtype;
    return writer.add_channel(channel);
  }
  temporary_folder folder_;
  std::string path_;
};

}  // namespace ravo::test

#endif
