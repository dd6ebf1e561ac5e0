// Older files: prints a slow value, such as a magnet current, each time that a new one was sent.
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
  if (argc != 3) return std::fprintf(stderr, "usage: follow_slow_value LISTFILE CHANNEL\n"), 2;
  ravo_sprop wanted{};
  wanted.prname = argv[2];
  wanted.prlen = static_cast<int>(std::strlen(argv[2])) + 2;  // this is how a property counts its name
  std::vector<ravo_sprop*> properties{&wanted};
  ravo_time_id step{1, {0, 0}}, start{}, stop{};  // every event, from the first to the last

  ravo_daq_data data;  // reports errors on standard error
  if (data.Init(argv[1], &properties, 0, &step, &start, &stop) != 0) return 1;

  follower slow;
  while (data.GetData() == 0)
    if (!slow.look_at(data.GetRes())) return 1;
  // GetData() ends the same way after the last event and after a failure; its reader knows which.
  const int status = data.GetReader()->get_data(nullptr, data.GetRes(), RAVO_DAQ_READ_CHAN_EVENT_NEXT);
  if (status != RAVO_DAQ_READER_OUT_OF_WINDOW)
    return std::fprintf(stderr, "reading stopped: %s\n", ravo_daq_reader::error_i2a(status)), 1;
}
