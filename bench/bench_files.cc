#include "bench_files.h"

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <thread>

#include "noise.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"

namespace ravo::bench {
namespace {

class own_folder {
 public:
  own_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ravo_bench_XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no folder " + pattern);
    path = pattern;
  }
  ~own_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  own_folder(const own_folder&) = delete;
  own_folder& operator=(const own_folder&) = delete;

  /// A new folder in it.
  std::string inner() {
    const std::string name = path + "/" + std::to_string(++count_);
    std::filesystem::create_directory(name);
    return name;
  }

  std::string path;

 private:
  int count_ = 0;
};

own_folder& the_folder() {
  static own_folder folder;
  return folder;
}

void check(int status, const ravo_daq_writer_2010& writer) {
  if (status < 0) throw std::runtime_error(writer.get_last_error());
}

}  // namespace

// Smooth, noisy in the last bits, a multiple of the ADC's step.
std::vector<unsigned char> waveform(int values, int event) {
  ravo_spect_head_2010 head{1, values, 1, 0.0F, 1.0F, 0.0F, 0, 0};
  simulator::noise numbers(1, 2, static_cast<std::uint64_t>(event));
  std::vector<unsigned char> payload(sizeof head + static_cast<std::size_t>(values) * sizeof(float));
  std::memcpy(payload.data(), &head, sizeof head);
  for (int i = 0; i < values; ++i) {
    const double signal = 18.0 * std::sin(0.01 * i + 0.1 * event) + 0.01 * numbers.normal();
    const auto value = static_cast<float>(std::round(signal / 0.005) * 0.005);
    std::memcpy(payload.data() + sizeof head + static_cast<std::size_t>(i) * sizeof value, &value,
                sizeof value);
  }
  return payload;
}

const std::string& folder() { return the_folder().path; }

std::string one_channel_file(ravo_compression compression, int values, int events) {
  ravo_daq_writer_2010 writer;
  ravo_daq_writer_settings settings;
  settings.folder = the_folder().inner();
  check(writer.open(settings), writer);
  ravo_daq_writer_channel channel;
  channel.name = one_channel;
  channel.compression = compression;
  const int index = writer.add_channel(channel);
  check(index, writer);
  for (int event = 0; event < events; ++event) {
    const auto number = static_cast<std::uint32_t>(event + 1);
    const time_stamp time{1'740'816'000u + number / 10, number % 10 * 100'000};
    const std::vector<unsigned char> payload = waveform(values, event);
    check(writer.begin_event({number, RAVO_EV_NORMAL, time, 0, 0}), writer);
    check(writer.begin_server_block({"BENCH.SERVER", time, 0, 0, 0}), writer);
    check(writer.add_data(index, payload.data(), payload.size()), writer);
    check(writer.end_event(), writer);
  }
  check(writer.close(), writer);
  return writer.get_files().at(0);
}

const std::vector<std::string>& simulated(const simulator::settings& what) {
  static std::map<std::vector<int>, std::vector<std::string>> made;
  std::vector<std::string>& files = made[{what.counts.total(), what.files, what.events}];
  if (files.empty()) {
    simulator::settings placed = what;
    placed.folder = the_folder().inner();
    files = simulator::simulate(placed, {}, {}).files;
  }
  return files;
}

loaded_file::loaded_file(const std::string& file) : path(file) {
  if (const int code = tables.get_all_tables(path.c_str(), 0, nullptr); code != 0)
    throw std::runtime_error(path + ": code " + std::to_string(code));
}

std::span<const ravo_event_chan_ptr_entry> loaded_file::places(const std::string& channel) const {
  ravo_chan_dictionary_entry_2010* entry = nullptr;
  const int row = ravo_find_channel_by_name_2010(tables.get_cdt_table(), channel.c_str(), &entry);
  if (row < 0) return {};
  const ravo_event_chan_pointers_table* table = tables.get_ecp_table();
  return {table->chptr() + static_cast<std::size_t>(row) * static_cast<std::size_t>(table->maxev),
          static_cast<std::size_t>(entry->count)};
}

void comparison::add(double library, double bare) {
  best_library_ = std::min(best_library_, library);
  best_bare_ = std::min(best_bare_, bare);
}

int machine_threads() { return std::max(1, static_cast<int>(std::thread::hardware_concurrency())); }

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace ravo::bench
