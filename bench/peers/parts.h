// The parts of the comparison; each prints its tables.
#ifndef RAVO_BENCH_PEERS_PARTS_H
#define RAVO_BENCH_PEERS_PARTS_H

#include <string>

#include "shape.h"

namespace ravo::bench {

/// Which clock measures the work.
enum class measured { by_the_clock, processor_time };

struct ways_options {
  extent how_much = extent::full;
  std::string only;  ///< shapes whose names contain this
  /// On a machine with other load, processor time says more; not for HDF5, which uses one
  /// processor.
  measured time = measured::by_the_clock;
};

/// Every way of reading every shape, compared with the bare loop and HDF5.
void compare_ways(const ways_options& options);
/// One event of twelve channels, from files that the page cache has forgotten.
void compare_at(extent how_much);
/// How long it takes until there is something to read: a file of many channels, and many files of a run.
void compare_opening(extent how_much);

/// Writes into a folder the large files that the next two read.
void write_large_files(const std::string& folder, extent how_much);
/// A large file of 2,000 channels: open, and the first event of twelve channels.
void compare_opening_large(const std::string& folder);
/// Reads all of the large files in a process whose own memory is capped.
void read_in_capped_memory(const std::string& folder);

}  // namespace ravo::bench

#endif
