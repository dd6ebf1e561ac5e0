// Decoding one channel of one file, from start() to the last entry decoded, by payload and compressor,
// compared with the bare loop on the same number of threads.
#include <benchmark/benchmark.h>

#include "bench_files.h"

namespace {

using namespace ravo::bench;

// Decodes all of the channel; returns the time it took.
double decode_once(const loaded_file& file, const char* channel, int threads) {
  std::string name = channel;
  ravo_daq_read_chan_2010 reader(&file.tables, name.data(), -1, nullptr);
  reader.set_number_of_threads(threads);
  const double begin = now();
  pthread_mutex_t* mutex = nullptr;
  pthread_cond_t* condition = nullptr;
  int* flag = nullptr;
  if (reader.start(&mutex, &condition, &flag) != RAVO_DAQ_READ_CHAN_OK) throw std::runtime_error("start");
  pthread_mutex_lock(mutex);
  while (*flag == 0) pthread_cond_wait(condition, mutex);
  pthread_mutex_unlock(mutex);
  const double time = now() - begin;
  reader.clean();
  return time;
}

double decode_bare_once(const loaded_file& file, const char* channel, swapped words, inflater by,
                        int threads) {
  bare_blocks blocks;
  const double begin = now();
  {
    const mapped_file mapped(file.path);
    decode_bare(mapped, file.places(channel), words, by, threads, blocks);
  }
  return now() - begin;
}

void decode(benchmark::State& state, const loaded_file& file, const char* channel, swapped words) {
  const int threads = static_cast<int>(state.range(0));
  comparison zlib, libdeflate;
  for (auto unused : state) {
    (void)unused;
    const double time = decode_once(file, channel, threads);
    state.SetIterationTime(time);
    zlib.add(time, decode_bare_once(file, channel, words, inflater::zlib, threads));
    libdeflate.add(time, decode_bare_once(file, channel, words, inflater::libdeflate, threads));
  }
  bare_blocks blocks;
  const mapped_file mapped(file.path);
  decode_bare(mapped, file.places(channel), words, inflater::zlib, threads, blocks);
  std::size_t bytes = 0;
  for (const auto& block : blocks.blocks) bytes += block.size;
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
  state.counters["blocks"] = static_cast<double>(blocks.blocks.size());
  state.counters["of_bare"] = zlib.of_bare();
  state.counters["of_bare_libdeflate"] = libdeflate.of_bare();
}

// 2040 samples after a head of 32 bytes: 8 KiB.
constexpr int values_of_8_kib = 2040;

void decode_waveform(benchmark::State& state, ravo_compression compression, int values, int events) {
  const loaded_file file(one_channel_file(compression, values, events));
  decode(state, file, one_channel, swapped::all_words);
}

void decode_simulated(benchmark::State& state, const char* channel, swapped words,
                      ravo_compression compression) {
  ravo::simulator::settings what;
  what.files = 1;
  what.events = 500;
  what.counts = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  what.compression = compression;
  // Files are cached by their counts, so each compressor gets one more monitor.
  what.counts.bpms += static_cast<int>(compression);
  const loaded_file file(simulated(what).at(0));
  decode(state, file, channel, words);
}

void on_one_and_two_threads(benchmark::internal::Benchmark* bench) {
  bench->ArgName("threads")->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(2.0);
}
void on_one_thread(benchmark::internal::Benchmark* bench) {
  bench->ArgName("threads")->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
}

using enum ravo_compression;

BENCHMARK_CAPTURE(decode_waveform, zlib_8_kib, zlib, values_of_8_kib, 2000)->Apply(on_one_and_two_threads);
BENCHMARK_CAPTURE(decode_waveform, lzo_8_kib, lzo1x, values_of_8_kib, 2000)->Apply(on_one_and_two_threads);
BENCHMARK_CAPTURE(decode_waveform, plain_8_kib, none, values_of_8_kib, 2000)->Apply(on_one_and_two_threads);
BENCHMARK_CAPTURE(decode_waveform, zlib_scalar, zlib, 1, 5000)->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_waveform, zlib_256_kib, zlib, 65528, 100)->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_simulated, bpm_zlib, "LINAC/BPM/001", swapped::all_words, zlib)
    ->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_simulated, bpm_lzo, "LINAC/BPM/001", swapped::all_words, lzo1x)
    ->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_simulated, bpm_plain, "LINAC/BPM/001", swapped::all_words, none)
    ->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_simulated, spectrum_zlib, "LINAC/SPECTRUM/001", swapped::all_words, zlib)
    ->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_simulated, camera_zlib, "LINAC/CAMERA/001", swapped::image_head, zlib)
    ->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_simulated, camera_ext_lzo, "LINAC/CAMERA_EXT/001", swapped::image_ext_head, lzo1x)
    ->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_simulated, name_value_zlib, "LINAC/STATUS/001", swapped::all_words, zlib)
    ->Apply(on_one_thread);
BENCHMARK_CAPTURE(decode_simulated, update_plain, "LINAC/MAGNET/001", swapped::all_words, none)
    ->Apply(on_one_thread);

}  // namespace
