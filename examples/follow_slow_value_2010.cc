// Prints a slow value, such as a magnet current, each time that a new one was sent.
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

// A slow channel comes with every event from its first one on; its value is new when its time is new.
class follower {
 public:
  bool look_at(std::vector<ravo_channel_entry_long*>* entries) {
    ravo_daq_getdata event;
    float value = 0;
    int status = 0;
    long seconds = 0;
    if (event.SetRes(entries) < 1) return false;  // the library has said why
    if (event.GetSlowPrm(&value, &status, &seconds) != 0) {
      std::fprintf(stderr, "not a slow channel\n");
      return false;
    }
    const ravo_time_id sent = entries->at(0)->event_id;
    if (sent.time.timeup == last_.time.timeup && sent.time.timelow == last_.time.timelow) return true;
    last_ = sent;
    std::fprintf(out, "%u %ld %g status %d\n", sent.event_number, seconds, value, status);
    return true;
  }

 private:
  ravo_time_id last_{};
};

int main(int argc, char** argv) {
  if (argc < 3) return std::fprintf(stderr, "usage: follow_slow_value_2010 CHANNEL FILE...\n"), 2;
  daq_channel_entry wanted{argv[1], {}};
  std::vector<daq_channel_entry*> channels{&wanted};
  std::vector<char*> files(argv + 2, argv + argc);
  ravo_daq_reader_2010 reader;
  if (reader.init(&files, &channels) != 0 || reader.start() != 0)
    return std::fprintf(stderr, "%s\n", reader.get_last_error()), 1;

  follower slow;
  std::vector<ravo_channel_entry_long*> entries;
  int status;
  while ((status = reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT)) == 0)
    if (!slow.look_at(&entries)) return 1;
  if (status != RAVO_DAQ_READER_OUT_OF_WINDOW)  // which is the end of the data
    return std::fprintf(stderr, "reading stopped: %s\n", reader.error_i2a(status)), 1;
}
