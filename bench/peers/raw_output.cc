#include "raw_output.h"

#include <filesystem>
#include <stdexcept>

namespace ravo::bench {

raw_output::raw_output(const std::string& folder, const shape& what, ravo_compression compression,
                       std::uint32_t events_in_file) {
  std::filesystem::create_directories(folder);
  ravo_daq_writer_settings settings;
  settings.folder = folder;
  settings.max_events = events_in_file;
  check(writer_.open(settings));
  for (int i = 0; i < what.channels; ++i) {
    ravo_daq_writer_channel channel;
    channel.name = what.channel_name(i);
    channel.dtype = what.dtype;
    channel.compression = compression;
    check(writer_.add_channel(channel));
  }
}

void raw_output::begin_event(int event) {
  const std::uint32_t number = number_of(event);
  const time_stamp time{1'740'816'000u + number / 10, number % 10 * 100'000};
  check(writer_.begin_event({number, RAVO_EV_NORMAL, time, 0, 0}));
  check(writer_.begin_server_block({"BENCH.SERVER", time, 0, 0, 0}));
}

void raw_output::add(int channel, const std::vector<unsigned char>& block) {
  check(writer_.add_data(channel, block.data(), block.size()));
}

void raw_output::end_event() { check(writer_.end_event()); }

std::vector<std::string> raw_output::close() {
  check(writer_.close());
  return writer_.get_files();
}

void raw_output::check(int status) const {
  if (status < 0) throw std::runtime_error(writer_.get_last_error());
}

}  // namespace ravo::bench
