// Lists the channels of an older file that hold data: number of events, and their names.
#include <unistd.h>

#include <cstdio>

#include "ravo_daq_data.h"

// The library prints its messages on standard output. From here on they go to standard error, and what was
// standard output is `out`, for the data only.
std::FILE* keep_output_for_data() {
  std::FILE* const data = fdopen(dup(STDOUT_FILENO), "w");
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return data ? data : stderr;
}
std::FILE* const out = keep_output_for_data();

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: list_channels FILE\n"), 2;
  ravo_daq_browser browser;
  if (browser.Init(argv[1]) != 0) return 1;  // the library has said why
  const int channels = browser.GetNchan();   // reads the file
  if (channels < 0) return std::fprintf(stderr, "%s is no raw file of the older generation\n", argv[1]), 1;
  for (int i = 0; i < channels; ++i) {
    int events = 0, event_types = 0, data_types = 0;  // the types as masks
    if (const char* name = browser.GetChanName(i, &events, &event_types, &data_types))
      std::fprintf(out, "%d %s\n", events, name);
  }
}
