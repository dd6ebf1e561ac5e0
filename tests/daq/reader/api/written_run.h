// A run of a few small files of either generation with known content, and what was put into which event:
// the answers that the reader's results are compared with.
#ifndef RAVO_TEST_WRITTEN_RUN_H
#define RAVO_TEST_WRITTEN_RUN_H

#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "temporary_folder.h"
#include "writers.h"

namespace ravo::test {

/// Events 1, 2, 3, ... every 100 ms from 1 January 2025 on. Every event but each fifth carries BPM (three
/// members, zlib), TOR (one, plain), RF (two, LZO) and GROW (one, zlib, ever longer); odd ones carry HALF
/// too. Each fifth event is an update of SLOW alone. IDLE is declared and never occurs.
template <class generation>
class written_run {
 public:
  static constexpr unsigned epoch = 1735689600;
  static constexpr unsigned step_us = 100000;

  written_run(unsigned files, unsigned events_per_file) : events_(files * events_per_file) {
    ravo_daq_writer_settings settings;
    settings.folder = folder_.path().string();
    settings.run = 7;
    settings.max_events = events_per_file;
    check(writer_.open(settings));
    declare("BPM", generation::bpm, ravo_compression::zlib);
    declare("TOR", generation::single, ravo_compression::none);
    declare("RF", generation::rf, ravo_compression::lzo1x);
    declare("GROW", generation::single, ravo_compression::zlib);
    declare("HALF", generation::single, ravo_compression::zlib);
    declare("SLOW", generation::update, ravo_compression::none);
    declare("IDLE", generation::single, ravo_compression::zlib);
    for (unsigned number = 1; number <= events_; ++number) write(number);
    check(writer_.close());
    if (writer_.get_files().size() != files)
      throw std::runtime_error("another number of files than planned");
  }

  static bool is_update(unsigned number) { return number % 5 == 0; }
  static time_stamp time_of(unsigned number) {
    const std::uint64_t us = std::uint64_t{number} * step_us;
    return {static_cast<std::uint32_t>(epoch + us / 1000000), static_cast<std::uint32_t>(us % 1000000)};
  }
  /// The payload that a channel had in an event, in host order; empty when it was not part of it.
  const std::string& payload(const std::string& channel, unsigned number) const {
    static const std::string nothing;
    const auto found = payloads_.find({channel, number});
    return found == payloads_.end() ? nothing : found->second;
  }
  const std::vector<std::string>& files() const { return writer_.get_files(); }
  unsigned events() const { return events_; }
  const temporary_folder& folder() const { return folder_; }

  /// A spectrum of `members` members with `samples` samples each, which encode member and event.
  static std::string spectrum(int members, int samples, unsigned number) {
    std::string bytes = spectrum_start<generation>(members, samples);
    for (int member = 0; member < members; ++member) bytes += member_samples(member, samples, number);
    return bytes;
  }
  static std::string member_samples(int member, int samples, unsigned number) {
    std::string bytes;
    for (int sample = 0; sample < samples; ++sample) {
      const float value = static_cast<float>(number) + static_cast<float>(member) * 0.25f +
                          static_cast<float>(sample % 8) * 1000.0f;  // worth packing
      bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    return bytes;
  }

 private:
  static std::string update(unsigned number) {
    typename generation::records::update_block block{};
    std::strcpy(block.upd_prop, "SLOW");
    block.upd_ch_time = time_of(number);
    block.upd_ch_data = static_cast<float>(number);
    return {reinterpret_cast<const char*>(&block), sizeof block};
  }
  void declare(const char* name, RAVO_SUBBLOCK_TYPE dtype, ravo_compression compression) {
    ravo_daq_writer_channel channel;
    channel.name = name;
    channel.dtype = dtype;
    channel.compression = compression;
    const int index = writer_.add_channel(channel);
    check(index < 0 ? index : 0);
    channels_[name] = index;
  }
  void write(unsigned number) {
    ravo_daq_writer_event event;
    event.event_number = number;
    event.event_type = is_update(number) ? RAVO_EV_UPD : RAVO_EV_NORMAL;
    event.time = time_of(number);
    check(writer_.begin_event(event));
    ravo_daq_writer_server_block server;
    server.server = "SERVER";
    server.time = event.time;
    server.mpulse = static_cast<std::int32_t>(number);
    check(writer_.begin_server_block(server));
    if (is_update(number)) {
      add("SLOW", number, update(number));
    } else {
      add("BPM", number, spectrum(3, 4, number));
      add("TOR", number, spectrum(1, 5, number));
      add("RF", number, spectrum(2, 64, number));
      add("GROW", number, spectrum(1, 50 + static_cast<int>(number), number));
      if (number % 2 == 1) add("HALF", number, spectrum(1, 2, number));
    }
    check(writer_.end_event());
  }
  void add(const char* channel, unsigned number, const std::string& bytes) {
    check(writer_.add_data(channels_.at(channel), bytes.data(), bytes.size()));
    payloads_[{channel, number}] = bytes;
  }
  void check(int status) {
    if (status != 0) throw std::runtime_error(writer_.get_last_error());
  }

  temporary_folder folder_;
  writer_of<generation> writer_;
  std::map<std::string, int> channels_;
  std::map<std::pair<std::string, unsigned>, std::string> payloads_;
  unsigned events_;
};

}  // namespace ravo::test

#endif
