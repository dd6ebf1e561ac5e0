// A file that does not compress, for tests of memory, cancellation and progress.
#ifndef RAVO_TEST_DATASET_NOISY_FILE_H
#define RAVO_TEST_DATASET_NOISY_FILE_H

#include <random>

#include "written_files.h"

namespace ravo::test {

/// A file of one channel: `events` waves of `samples`, noise that does not compress.
inline std::string noise(const temporary_folder& folder, std::size_t events, std::size_t samples,
                         const char* name = "a.raw") {
  std::mt19937 random(7);
  handmade_file file;
  handmade_channel channel("NOISE");
  for (std::size_t i = 0; i < events; ++i) {
    file.events.push_back(event_at(static_cast<std::uint32_t>(i + 1), static_cast<std::uint32_t>(i * 100)));
    std::vector<float> wave(samples);
    for (float& sample : wave) sample = static_cast<float>(random());
    handmade_block block;
    block.event = i;
    block.payload = spectrum({wave});
    channel.blocks.push_back(i % 2 == 0 ? zipped(block, RAVO_ZIP_ZLIB) : block);
  }
  file.channels = {channel};
  return write(folder, name, file);
}

}  // namespace ravo::test

#endif
