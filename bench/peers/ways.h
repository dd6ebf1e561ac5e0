// The ways of reading all values of a raw file's channels, each from a closed file to the last value.
#ifndef RAVO_BENCH_PEERS_WAYS_H
#define RAVO_BENCH_PEERS_WAYS_H

#include <string>
#include <vector>

#include "bench_files.h"
#include "shape.h"

namespace ravo::bench {

/// `into` has room for all values: channel after channel, event after event. The ways that return event by
/// event copy values there only if it is not null; otherwise they read each value in place.
class raw_ways {
 public:
  raw_ways(const shape& what, const std::string& path);

  /// The limit: only inflates, swaps and stores blocks whose places are known.
  void bare(std::byte* into) const;
  /// dataset::column() of each channel, into memory that exists already.
  void columns(std::byte* into) const;
  /// dataset::events().
  void events(std::byte* into) const;
  /// ravo_daq_reader_2010::get_data().
  void get_data(std::byte* into) const;

 private:
  const shape& what_;
  std::string path_;
  loaded_file tables_;
};

/// The same for an HDF5 file.
class hdf5_ways {
 public:
  hdf5_ways(const shape& what, std::string path) : what_(what), path_(std::move(path)) {}
  void bulk(std::byte* into) const;
  void by_event(std::byte* into) const;

 private:
  const shape& what_;
  std::string path_;
};

}  // namespace ravo::bench

#endif
