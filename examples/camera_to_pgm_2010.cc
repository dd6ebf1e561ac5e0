// Writes every frame of a camera into the current folder, as frame_EVENT.pgm.
#include <unistd.h>

#include <cstdio>
#include <string>
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
  if (argc < 3) return std::fprintf(stderr, "usage: camera_to_pgm_2010 CHANNEL FILE...\n"), 2;
  daq_channel_entry wanted{argv[1], {}};
  std::vector<daq_channel_entry*> channels{&wanted};
  std::vector<char*> files(argv + 2, argv + argc);
  ravo_daq_reader_2010 reader;
  if (reader.init(&files, &channels) != 0 || reader.start() != 0)
    return std::fprintf(stderr, "%s\n", reader.get_last_error()), 1;

  std::vector<ravo_channel_entry_long*> entries;
  int status;
  while ((status = reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT)) == 0)
    if (!write_frame(&entries)) return 1;
  if (status != RAVO_DAQ_READER_OUT_OF_WINDOW)  // which is the end of the data
    return std::fprintf(stderr, "reading stopped: %s\n", reader.error_i2a(status)), 1;
}
