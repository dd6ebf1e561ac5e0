// Older files: prints all values of one channel, a line for each member of each event.
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
  if (argc != 3) return std::fprintf(stderr, "usage: print_channel LISTFILE CHANNEL\n"), 2;
  ravo_sprop wanted{};
  wanted.prname = argv[2];
  wanted.prlen = static_cast<int>(std::strlen(argv[2])) + 2;  // this is how a property counts its name
  std::vector<ravo_sprop*> properties{&wanted};
  ravo_time_id step{1, {0, 0}}, start{}, stop{};  // every event, from the first to the last

  ravo_daq_data data;  // reports errors on standard error
  if (data.Init(argv[1], &properties, 0, &step, &start, &stop) != 0) return 1;

  while (data.GetData() == 0)
    if (!print(data.GetRes())) return 1;
  // GetData() ends the same way after the last event and after a failure; its reader knows which.
  const int status = data.GetReader()->get_data(nullptr, data.GetRes(), RAVO_DAQ_READ_CHAN_EVENT_NEXT);
  if (status != RAVO_DAQ_READER_OUT_OF_WINDOW)
    return std::fprintf(stderr, "reading stopped: %s\n", ravo_daq_reader::error_i2a(status)), 1;
}
