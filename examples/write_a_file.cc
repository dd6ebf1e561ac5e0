// Writes one small raw file: a beam-position monitor and a waveform, in a hundred events at 10 Hz.
#include <array>
#include <cmath>
#include <cstdio>

#include "ravo_daq_writer_2010.h"
#include "ravo_payload.h"

namespace {

// A spectrum of `Members` members with `Samples` samples in one group, as it lies in memory.
template <int Members, int Samples>
struct spectrum {
  ravo_spect_head_2010 head{Members, Samples, 1, 0.0F, 0.5F, 0.0F, 0, 0};
  std::array<std::array<float, Samples>, Members> values{};
};

int fail(const ravo_daq_writer_2010& writer) {
  std::fprintf(stderr, "write_a_file: %s\n", writer.get_last_error());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: write_a_file FOLDER\n"), 2;

  ravo_daq_writer_2010 writer;
  ravo_daq_writer_settings settings;
  settings.folder = argv[1];
  if (writer.open(settings) != RAVO_DAQ_WRITER_OK) return fail(writer);

  const int bpm = writer.add_channel({.name = "LINAC/BPM/1", .dtype = RAVO_BLOCK_BPM_2010});
  const int waveform = writer.add_channel({.name = "LINAC/RF/PROBE", .dtype = RAVO_BLOCK_1CHAN_2010});
  if (bpm < 0 || waveform < 0) return fail(writer);

  for (unsigned n = 1; n <= 100; ++n) {
    const time_stamp time{1'700'000'000U + n / 10, n % 10 * 100'000U};
    spectrum<3, 1> position;  // x, y and charge
    position.values = {{{0.01F * static_cast<float>(n)}, {-0.5F}, {1.0F}}};
    spectrum<1, 64> probe;
    for (std::size_t i = 0; i < probe.values[0].size(); ++i)
      probe.values[0][i] = std::sin(0.1F * static_cast<float>(i + n));

    if (writer.begin_event({.event_number = n, .time = time}) != RAVO_DAQ_WRITER_OK ||
        writer.begin_server_block({.server = "LINAC.SERVER", .time = time}) != RAVO_DAQ_WRITER_OK ||
        writer.add_data(bpm, &position, sizeof position) != RAVO_DAQ_WRITER_OK ||
        writer.add_data(waveform, &probe, sizeof probe) != RAVO_DAQ_WRITER_OK ||
        writer.end_event() != RAVO_DAQ_WRITER_OK)
      return fail(writer);
  }
  if (writer.close() != RAVO_DAQ_WRITER_OK) return fail(writer);
  for (const std::string& file : writer.get_files()) std::printf("%s\n", file.c_str());
}
