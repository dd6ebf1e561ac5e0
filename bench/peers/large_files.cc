#include "large_files.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "parts.h"
#include "raw_output.h"

namespace ravo::bench {

void write_large_files(const std::string& into, extent how_much) {
  const int events = how_much == extent::full ? 240 : 30;
  const shape what = waveforms(2048, large_file_channels, 2 * events);
  // Plain blocks take the same work whatever they hold: a few different ones are enough.
  std::vector<std::vector<unsigned char>> blocks;
  for (int i = 0; i < 61; ++i) blocks.push_back(make_block(what, i, 0));
  raw_output file(into, what, ravo_compression::none, static_cast<std::uint32_t>(events));
  std::size_t next = 0;
  for (int event = 0; event < what.events; ++event) {
    file.begin_event(event);
    for (int channel = 0; channel < what.channels; ++channel)
      file.add(channel, blocks[next++ % blocks.size()]);
    file.end_event();
  }
  file.close();
}

std::vector<std::string> large_files(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& one : std::filesystem::directory_iterator(folder))
    if (one.path().extension() == ".raw") files.push_back(one.path());
  if (files.empty()) throw std::runtime_error("no raw files in " + folder);
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace ravo::bench
