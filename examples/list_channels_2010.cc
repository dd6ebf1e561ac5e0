// Lists the channels of a file that hold data: number of events, and their names.
#include <unistd.h>

#include <cstdio>

#include "ravo_daq_reader_2010.h"

// The library prints its messages on standard output. From here on they go to standard error, and what was
// standard output is `out`, for the data only.
std::FILE* keep_output_for_data() {
  std::FILE* const data = fdopen(dup(STDOUT_FILENO), "w");
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return data ? data : stderr;
}
std::FILE* const out = keep_output_for_data();

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: list_channels_2010 FILE\n"), 2;
  ravo_daq_reader_2010 reader;
  int channels = 0;
  if (reader.get_number_of_channels(argv[1], &channels, 0) != 0)  // reads the file
    return std::fprintf(stderr, "%s: %s\n", argv[1], reader.get_last_error()), 1;
  for (int i = 0; i < channels; ++i) {
    int events = 0, event_types = 0, data_types = 0;  // the types as masks
    const char* name = reader.get_channel_name(i, &events, &event_types, &data_types);
    if (name && events > 0) std::fprintf(out, "%d %s\n", events, name);
  }
}
