// The reader from init() to the last event, and the one call that switches files, compared with a bare loop
// that decodes the same channels of the same files and copies each block once.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>

#include "bench_files.h"
#include "started_reader.h"

namespace {

using namespace ravo::bench;
using ravo::simulator::channel;
using ravo::simulator::settings;

settings files_with(int channels, int events) {
  settings what;
  what.files = 2;
  what.events = events;
  what.counts = ravo::distribute_channels(channels);
  return what;
}

// That many channels with data in every event, spread over the kinds that have such data.
std::vector<channel> channels_to_read(const settings& what, std::size_t count) {
  std::vector<channel> all = ravo::simulator::make_channels(what.counts, what.compression);
  if (count >= all.size()) return all;
  std::vector<channel> some;
  for (std::size_t i = 0; i < count; ++i)
    some.push_back(all[i * (all.size() - ravo::simulator::special_channels) / count]);
  return some;
}

std::vector<std::string> names_of(const std::vector<channel>& what) {
  std::vector<std::string> names;
  for (const channel& one : what) names.push_back(one.name);
  return names;
}

swapped words_of(const channel& what) {
  if (what.dtype() == RAVO_BLOCK_IMAGE) return swapped::image_head;
  if (what.dtype() == RAVO_BLOCK_IMAGE_EXT) return swapped::image_ext_head;
  return swapped::all_words;
}

// Decodes all channels of the file and copies every block into a buffer that is used again.
void read_bare(const std::string& path, const loaded_file& tables, const std::vector<channel>& what) {
  const mapped_file mapped(path);
  std::vector<unsigned char> copy;
  for (const channel& wanted : what) {
    bare_blocks blocks;
    decode_bare(mapped, tables.places(wanted.name), words_of(wanted), inflater::zlib, machine_threads(),
                blocks);
    for (const auto& block : blocks.blocks) {
      if (copy.size() < block.size) copy.resize(block.size);
      std::memcpy(copy.data(), block.bytes, block.size);
      benchmark::DoNotOptimize(copy.data());
    }
  }
}

void get_data(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const settings what = files_with(200, 100);
  const std::vector<std::string>& files = simulated(what);
  const std::vector<channel> channels = channels_to_read(what, count);
  std::vector<std::unique_ptr<loaded_file>> tables;
  for (const std::string& file : files) tables.push_back(std::make_unique<loaded_file>(file));
  comparison times;
  std::int64_t events = 0;
  for (auto unused : state) {
    (void)unused;
    double begin = now();
    const auto reader = start_reader(files, names_of(channels));
    std::vector<ravo_channel_entry_long*> entries;
    while (reader->get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT) == RAVO_DAQ_READER_OK)
      ++events;
    const double library = now() - begin;
    state.SetIterationTime(library);
    begin = now();
    for (std::size_t i = 0; i < files.size(); ++i) read_bare(files[i], *tables[i], channels);
    times.add(library, now() - begin);
  }
  state.SetItemsProcessed(events);
  state.counters["of_bare"] = times.of_bare();
}
BENCHMARK(get_data)
    ->ArgName("channels")
    ->Arg(12)
    ->Arg(200)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3.0);

// The call that leaves the first file: all channels move to the second one and are decoded there.
void switch_file(benchmark::State& state) {
  const settings what = files_with(200, 100);
  const std::vector<std::string>& files = simulated(what);
  const std::vector<channel> channels = channels_to_read(what, static_cast<std::size_t>(state.range(0)));
  const loaded_file second(files[1]);
  const std::uint32_t last_of_first = what.clock.first_event + static_cast<std::uint32_t>(what.events);
  comparison times;
  for (auto unused : state) {
    (void)unused;
    const auto reader = start_reader(files, names_of(channels));
    std::vector<ravo_channel_entry_long*> entries;
    double library = 0;
    while (reader->current_event_id.event_number <= last_of_first) {
      const double begin = now();
      if (reader->get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT) != RAVO_DAQ_READER_OK)
        throw std::runtime_error("no second file");
      library = now() - begin;
    }
    state.SetIterationTime(library);
    const double begin = now();
    read_bare(files[1], second, channels);
    times.add(library, now() - begin);
  }
  state.counters["of_bare"] = times.of_bare();
}
BENCHMARK(switch_file)
    ->ArgName("channels")
    ->Arg(12)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(30);

}  // namespace
