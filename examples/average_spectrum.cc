// Older files: averages the first member of a channel over all events, and prints the axis and the average.
// LISTFILE names a raw file per line; lines that begin with "#" are comments.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "ravo_daq_data.h"
#include "ravo_daq_reader.h"

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
  if (argc != 3) return std::fprintf(stderr, "usage: average_spectrum LISTFILE CHANNEL\n"), 2;
  ravo_sprop wanted{};
  wanted.prname = argv[2];
  wanted.prlen = static_cast<int>(std::strlen(argv[2])) + 2;  // this is how a property counts its name
  std::vector<ravo_sprop*> properties{&wanted};
  ravo_time_id step{1, {0, 0}}, start{}, stop{};  // every event, from the first to the last

  ravo_daq_data data;  // reports errors on standard error
  if (data.Init(argv[1], &properties, 0, &step, &start, &stop) != 0) return 1;

  average result;
  while (data.GetData() == 0)
    if (!result.add(data.GetRes())) return 1;
  // GetData() ends the same way after the last event and after a failure; its reader knows which.
  const int status = data.GetReader()->get_data(nullptr, data.GetRes(), RAVO_DAQ_READ_CHAN_EVENT_NEXT);
  if (status != RAVO_DAQ_READER_OUT_OF_WINDOW)
    return std::fprintf(stderr, "reading stopped: %s\n", ravo_daq_reader::error_i2a(status)), 1;
  result.print();
}
