// Reads one channel of some raw files and prints its first value, event by event.
#include <unistd.h>

#include <cstdio>

#include "ravo_daq_reader_2010.h"
#include "ravo_payload.h"

int main(int argc, char** argv) {
  if (argc < 3) return std::fprintf(stderr, "usage: first_program_classic CHANNEL FILE...\n"), 2;
  // The reader prints its messages on standard output: they go to standard error from here on, and the data
  // to `out`.
  std::FILE* out = fdopen(dup(STDOUT_FILENO), "w");
  dup2(STDERR_FILENO, STDOUT_FILENO);

  daq_channel_entry channel{argv[1], {}};
  std::vector<daq_channel_entry*> channels{&channel};
  std::vector<char*> files(argv + 2, argv + argc);

  ravo_daq_reader_2010 reader;
  if (reader.init(&files, &channels) != 0 || reader.start() != 0)
    return std::fprintf(stderr, "%s\n", reader.get_last_error()), 1;

  std::vector<ravo_channel_entry_long*> event;  // one entry per channel that has data for the event
  while (reader.get_data(nullptr, &event, RAVO_DAQ_READ_CHAN_EVENT_NEXT) == 0)
    for (const ravo_channel_entry_long* entry : event) {
      auto* head = reinterpret_cast<const ravo_spect_head_2010*>(entry->sbchdata[0].data);
      std::fprintf(out, "%u %g\n", entry->event_id.event_number, *reinterpret_cast<const float*>(head + 1));
    }
}
