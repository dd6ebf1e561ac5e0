// Many small files, for tests of what becomes of files while a dataset is open.
#ifndef RAVO_TEST_DATASET_SINGLE_EVENTS_H
#define RAVO_TEST_DATASET_SINGLE_EVENTS_H

#include "written_files.h"

namespace ravo::test {

/// Files of an event each, a second apart: as many segments.
inline std::vector<std::string> single_events(const temporary_folder& folder, std::uint32_t count) {
  std::vector<std::string> files;
  for (std::uint32_t i = 0; i < count; ++i) {
    handmade_file file;
    file.events.push_back(event_at(i + 1, i * 1000));
    file.channels = {numbers_at("A", {{0, static_cast<float>(i)}})};
    files.push_back(write(folder, "f" + std::to_string(i) + ".raw", file));
  }
  return files;
}

}  // namespace ravo::test

#endif
