// Prints all values of one channel, a line for each member of each event.
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

// The first channel is selected when the cursor gets an event, and only one was asked for.
bool print(std::vector<ravo_channel_entry_long*>* entries) {
  ravo_daq_getdata event;
  unsigned number = 0;
  if (event.SetRes(entries) < 1 ||
      event.GetEventInfo(&number, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) != 0)
    return false;  // the library has said why
  for (int member = 0; member < event.GetNmemb(); ++member) {
    int samples = 0, groups = 1;
    const float* values = event.GetSpect(member);
    if (!values ||
        event.GetSpectPar(nullptr, nullptr, nullptr, &samples, member, &groups, nullptr, nullptr) != 0) {
      std::fprintf(stderr, "event %u has no values in member %d\n", number, member);
      return false;
    }
    const char* name = event.GetMembName(member);
    std::fprintf(out, "%u %s", number, name ? name : "-");
    for (int i = 0; i < samples * groups; ++i) std::fprintf(out, " %.9g", values[i]);
    std::fprintf(out, "\n");
  }
  return true;
}

int main(int argc, char** argv) {
  if (argc < 3) return std::fprintf(stderr, "usage: print_channel_2010 CHANNEL FILE...\n"), 2;
  daq_channel_entry wanted{argv[1], {}};
  std::vector<daq_channel_entry*> channels{&wanted};
  std::vector<char*> files(argv + 2, argv + argc);
  ravo_daq_reader_2010 reader;
  if (reader.init(&files, &channels) != 0 || reader.start() != 0)
    return std::fprintf(stderr, "%s\n", reader.get_last_error()), 1;

  std::vector<ravo_channel_entry_long*> entries;
  int status;
  while ((status = reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT)) == 0)
    if (!print(&entries)) return 1;
  if (status != RAVO_DAQ_READER_OUT_OF_WINDOW)  // which is the end of the data
    return std::fprintf(stderr, "reading stopped: %s\n", reader.error_i2a(status)), 1;
}
