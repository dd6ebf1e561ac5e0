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

/// A file of one channel: waves of so many equal samples, a thousand bytes for each stored one.
inline std::string flat(const temporary_folder& folder, std::size_t events, std::size_t samples = 16384) {
  handmade_file file;
  handmade_channel channel("FLAT");
  handmade_block block;
  block.payload = spectrum({std::vector<float>(samples, 2.5f)});
  // Compressed here once: the file would compress each of the equal blocks again.
  const std::string data = compress_zlib(block.payload);
  bytes stored;
  stored.u32(std::uint32_t{RAVO_ZIP_ZLIB}).u32(static_cast<std::uint32_t>(block.payload.size()));
  stored.u32(static_cast<std::uint32_t>(data.size())).raw(data);
  block.payload = stored;
  block.error = RAVO_CHAN_ZIP_FLAG;
  for (block.event = 0; block.event < events; ++block.event) {
    const auto number = static_cast<std::uint32_t>(block.event);
    file.events.push_back(event_at(number + 1, number * 100));
    channel.blocks.push_back(block);
  }
  file.channels = {channel};
  return write(folder, "flat.raw", file);
}

}  // namespace ravo::test

#endif
