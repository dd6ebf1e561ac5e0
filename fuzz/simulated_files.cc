#include "simulated_files.h"

#include "writing.h"

namespace ravo::fuzz {

simulator::settings small_settings(const std::string& folder, ravo_file_generation generation) {
  simulator::settings what;
  what.files = 3;
  what.events = 3;
  // No cameras: their frames would be most of each file.
  what.counts = {2, 1, 1, 1, 1, 0, 0, 1, 1, 1, 1, 1};
  what.folder = folder;
  what.generation = generation;
  return what;
}

std::vector<std::string> simulate_small_files(const std::string& folder, ravo_file_generation generation,
                                              std::vector<std::string>& channels) {
  const simulator::settings what = small_settings(folder, generation);
  channels.clear();
  for (const simulator::channel& one : simulator::make_channels(what.counts, what.compression))
    channels.push_back(one.name);
  return simulator::simulate(what, {}, {}).files;
}

}  // namespace ravo::fuzz
