// Averages the first member of a channel over all events, and prints the axis and the average.
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "ravo_daq_data.h"
#include "ravo_daq_reader_2010.h"

// The library prints its messages on standard output. From here on they go to standard error, and what was
// standard output is `out`, for the data only.
std::FILE* keep_output_for_data() {
  std::FILE* const data = fdopen(dup(STDOUT_FILENO), "w");
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return data ? data : stderr;
}
std::FILE* const out = keep_output_for_data();

struct average {
  float start = 0, step = 0, group_step = 0;  // of the axis
  int samples = 0, groups = 1;
  std::vector<double> sums;
  int events = 0;

  bool add(std::vector<ravo_channel_entry_long*>* entries) {
    ravo_daq_getdata event;
    if (event.SetRes(entries) < 1 ||
        event.GetSpectPar(&start, &step, nullptr, &samples, 0, &groups, &group_step, nullptr) != 0)
      return false;  // the library has said why
    const auto size = static_cast<std::size_t>(samples) * static_cast<std::size_t>(groups);
    const float* values = event.GetSpect(0);
    if (events == 0) sums.resize(size);
    if (!values || size != sums.size()) {
      std::fprintf(stderr, "an event of %zu values among others of %zu\n", size, sums.size());
      return false;
    }
    for (std::size_t i = 0; i < size; ++i) sums[i] += static_cast<double>(values[i]);
    ++events;
    return true;
  }

  void print() const {
    std::fprintf(out, "# average of %d events\n", events);
    for (int group = 0, i = 0; group < groups; ++group)
      for (int sample = 0; sample < samples && events > 0; ++sample, ++i) {
        const double x = double{start} + group * double{group_step} + sample * double{step};
        std::fprintf(out, "%g %.9g\n", x, sums[static_cast<std::size_t>(i)] / events);
      }
  }
};

int main(int argc, char** argv) {
  if (argc < 3) return std::fprintf(stderr, "usage: average_spectrum_2010 CHANNEL FILE...\n"), 2;
  daq_channel_entry wanted{argv[1], {}};
  std::vector<daq_channel_entry*> channels{&wanted};
  std::vector<char*> files(argv + 2, argv + argc);
  ravo_daq_reader_2010 reader;
  if (reader.init(&files, &channels) != 0 || reader.start() != 0)
    return std::fprintf(stderr, "%s\n", reader.get_last_error()), 1;

  average result;
  std::vector<ravo_channel_entry_long*> entries;
  int status;
  while ((status = reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT)) == 0)
    if (!result.add(&entries)) return 1;
  if (status != RAVO_DAQ_READER_OUT_OF_WINDOW)  // which is the end of the data
    return std::fprintf(stderr, "reading stopped: %s\n", reader.error_i2a(status)), 1;
  result.print();
}
