// The simulated raw files that fuzzing starts from: few events, and one channel of nearly every kind.
#ifndef RAVO_FUZZ_SIMULATED_FILES_H
#define RAVO_FUZZ_SIMULATED_FILES_H

#include <string>
#include <vector>

#include "events.h"
#include "ravo_file_generation.h"

namespace ravo::fuzz {

simulator::settings small_settings(const std::string& folder, ravo_file_generation generation);

/// Writes them and returns their paths; `channels` receives the names of the channels.
std::vector<std::string> simulate_small_files(const std::string& folder, ravo_file_generation generation,
                                              std::vector<std::string>& channels);

}  // namespace ravo::fuzz

#endif
