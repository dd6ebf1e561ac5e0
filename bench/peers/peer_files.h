// Writes the data of a shape as raw files of the current generation and as HDF5, in one pass for all of
// them: what is compared is made once.
#ifndef RAVO_BENCH_PEERS_PEER_FILES_H
#define RAVO_BENCH_PEERS_PEER_FILES_H

#include <string>
#include <vector>

#include "shape.h"

namespace ravo::bench {

struct alternative {
  std::string name;  ///< of the filters
  std::string path;
};

/// One raw file and the HDF5 files that hold the same, stored in the same way.
struct peer_files {
  explicit peer_files(std::string of) : compression(std::move(of)) {}
  std::string compression;
  std::string raw;
  std::vector<alternative> hdf5;
};

/// One for each compression. They lie in a folder of their own in folder().
std::vector<peer_files> write_peers(const shape& what);

}  // namespace ravo::bench

#endif
