// The large files: 2,000 channels of plain 8 KiB waveforms, as many events as nearly fill the 4 GiB that a
// file may have, in each of two files.
#ifndef RAVO_BENCH_PEERS_LARGE_FILES_H
#define RAVO_BENCH_PEERS_LARGE_FILES_H

#include <string>
#include <vector>

#include "shape.h"

namespace ravo::bench {

/// The files in a folder that write_large_files() has filled, in order.
std::vector<std::string> large_files(const std::string& folder);

inline constexpr int large_file_channels = 2000;

}  // namespace ravo::bench

#endif
