// Simulated files for the tests of the dataset layer, made once for each program.
#ifndef RAVO_TEST_DATASET_SMALL_RUNS_H
#define RAVO_TEST_DATASET_SMALL_RUNS_H

#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "ravo_dataset.h"
#include "simulated_files.h"
#include "temporary_folder.h"

namespace ravo::test {

/// Two runs of two files with every kind of channel and every compressor.
inline const simulated_files& small_runs(ravo_file_generation generation) {
  const auto make = [](ravo_file_generation which) {
    simulator::settings what;
    what.seed = 5;
    what.runs = 2;
    what.files = 2;
    what.events = 40;
    what.counts = {3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3};
    what.generation = which;
    return what;
  };
  static const simulated_files current(make(ravo_file_generation::current));
  static const simulated_files older(make(ravo_file_generation::older));
  return generation == ravo_file_generation::current ? current : older;
}

/// Copies with some bytes of the first half changed, where the blocks lie.
inline std::vector<std::string> damaged_copies(const std::vector<std::string>& paths,
                                               const temporary_folder& folder) {
  std::vector<std::string> copies;
  std::mt19937 flips(3);
  for (const std::string& path : paths) {
    std::ifstream from(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(from), {}};
    for (int i = 0; i < 150; ++i) bytes[4096 + flips() % (bytes.size() / 2)] ^= 0x24;
    const std::string name = path.substr(path.rfind('/') + 1);
    std::ofstream(folder.file(name), std::ios::binary) << bytes;
    copies.push_back(folder.file(name));
  }
  return copies;
}

inline selection select(const std::vector<std::string>& files, const std::vector<std::string>& channels) {
  selection wanted;
  wanted.files = files;
  wanted.channels = channels;
  return wanted;
}

}  // namespace ravo::test

#endif
