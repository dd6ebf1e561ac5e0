// Older files: writes every frame of a camera into the current folder, as frame_EVENT.pgm.
// LISTFILE names a raw file per line; lines that begin with "#" are comments.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
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

// A PGM file stores its pixels as raw files do: row by row, one or two bytes each, the high byte first.
bool write_frame(std::vector<ravo_channel_entry_long*>* entries) {
  ravo_daq_getdata event;
  unsigned number = 0;
  int bytes_per_pixel = 0, width = 0, height = 0;
  if (event.SetRes(entries) < 1 ||
      event.GetEventInfo(&number, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) != 0)
    return false;  // the library has said why
  // Only a consistent frame can be converted to numbers.
  if (!event.ConvertImage() || event.GetImagePar(nullptr, nullptr, &bytes_per_pixel, nullptr) != 0 ||
      bytes_per_pixel > 2) {
    std::fprintf(stderr, "event %u has no frame of one or two bytes a pixel\n", number);
    return false;
  }
  const int bytes = event.GetImageSize(nullptr, nullptr, &width, nullptr, nullptr, &height);
  const std::string name = "frame_" + std::to_string(number) + ".pgm";
  std::FILE* file = std::fopen(name.c_str(), "wb");
  if (!file) return std::perror(name.c_str()), false;
  std::fprintf(file, "P5\n%d %d\n%d\n", width, height, bytes_per_pixel == 1 ? 255 : 65535);
  std::fwrite(event.GetImage(), 1, static_cast<std::size_t>(bytes), file);
  const bool written = std::ferror(file) == 0;
  if (std::fclose(file) != 0 || !written) return std::perror(name.c_str()), false;
  std::fprintf(out, "%s\n", name.c_str());
  return true;
}

int main(int argc, char** argv) {
  if (argc != 3) return std::fprintf(stderr, "usage: camera_to_pgm LISTFILE CHANNEL\n"), 2;
  ravo_sprop wanted{};
  wanted.prname = argv[2];
  wanted.prlen = static_cast<int>(std::strlen(argv[2])) + 2;  // this is how a property counts its name
  std::vector<ravo_sprop*> properties{&wanted};
  ravo_time_id step{1, {0, 0}}, start{}, stop{};  // every event, from the first to the last

  ravo_daq_data data;  // reports errors on standard error
  if (data.Init(argv[1], &properties, 0, &step, &start, &stop) != 0) return 1;

  while (data.GetData() == 0)
    if (!write_frame(data.GetRes())) return 1;
  // GetData() ends the same way after the last event and after a failure; its reader knows which.
  const int status = data.GetReader()->get_data(nullptr, data.GetRes(), RAVO_DAQ_READ_CHAN_EVENT_NEXT);
  if (status != RAVO_DAQ_READER_OUT_OF_WINDOW)
    return std::fprintf(stderr, "reading stopped: %s\n", ravo_daq_reader::error_i2a(status)), 1;
}
