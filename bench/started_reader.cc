#include "started_reader.h"

#include <cstdlib>
#include <stdexcept>

namespace ravo::bench {

std::unique_ptr<ravo_daq_reader_2010> start_reader(const std::vector<std::string>& files,
                                                   const std::vector<std::string>& channels) {
  // The files have just been written, and the reader would leave new files alone.
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  std::vector<std::string> paths = files;
  std::vector<char*> path_texts;
  for (std::string& path : paths) path_texts.push_back(path.data());
  std::vector<std::string> names = channels;
  std::vector<daq_channel_entry> entries(names.size());
  std::vector<daq_channel_entry*> entry_pointers;
  for (std::size_t i = 0; i < names.size(); ++i) {
    entries[i].name = names[i].data();
    entry_pointers.push_back(&entries[i]);
  }
  auto reader = std::make_unique<ravo_daq_reader_2010>();
  if (reader->init(&path_texts, &entry_pointers) != 0 || reader->start() != 0)
    throw std::runtime_error(reader->get_last_error());
  return reader;
}

}  // namespace ravo::bench
