// Raw files for the benchmarks, in a temporary folder that is removed with the program, and where their
// blocks are.
#ifndef RAVO_BENCH_BENCH_FILES_H
#define RAVO_BENCH_BENCH_FILES_H

#include <string>
#include <vector>

#include "bare_loop.h"
#include "ravo_daq_read_chan_2010.h"
#include "writing.h"

namespace ravo::bench {

/// A folder of this program, removed when it ends.
const std::string& folder();

/// One file with one channel of equal blocks: `values` samples of a digitised waveform in an event.
std::string one_channel_file(ravo_compression compression, int values, int events);
inline constexpr const char* one_channel = "BENCH/WAVEFORM";

/// The data of a block of such a channel: a ringing signal as an ADC samples it, different in each event.
std::vector<unsigned char> waveform(int values, int event);

/// Simulated files; made when first asked for.
const std::vector<std::string>& simulated(const simulator::settings& what);

/// The loaded tables of a file; throws when it is refused.
class loaded_file {
 public:
  explicit loaded_file(const std::string& path);
  ~loaded_file() { tables.clean_up(); }
  loaded_file(const loaded_file&) = delete;
  loaded_file& operator=(const loaded_file&) = delete;

  /// Where the channel's blocks are; empty if it has none.
  std::span<const ravo_event_chan_ptr_entry> places(const std::string& channel) const;

  std::string path;
  mutable ravo_file_get_tables_2010 tables;
};

/// The times of two ways of doing the same work, measured in turn, so that other load affects both.
class comparison {
 public:
  void add(double library, double bare);
  /// The bare loop's best time over the library's best: 1 is as fast as bare work can be.
  double of_bare() const { return best_bare_ / best_library_; }

 private:
  double best_library_ = 1e300;
  double best_bare_ = 1e300;
};

/// The processors of the whole machine.
int machine_threads();

/// Seconds since some moment.
double now();

}  // namespace ravo::bench

#endif
