// Simulated files for the tests of the dataset layer, made once for each program.
#ifndef RAVO_TEST_DATASET_SMALL_RUNS_H
#define RAVO_TEST_DATASET_SMALL_RUNS_H

#include "ravo_dataset.h"
#include "simulated_files.h"

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

inline selection select(const std::vector<std::string>& files, const std::vector<std::string>& channels) {
  selection wanted;
  wanted.files = files;
  wanted.channels = channels;
  return wanted;
}

}  // namespace ravo::test

#endif
