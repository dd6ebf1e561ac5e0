// Raw files with the channels of a shape, written event by event.
#ifndef RAVO_BENCH_PEERS_RAW_OUTPUT_H
#define RAVO_BENCH_PEERS_RAW_OUTPUT_H

#include <string>
#include <vector>

#include "ravo_daq_writer_2010.h"
#include "shape.h"

namespace ravo::bench {

/// Every operation throws with the writer's message if it fails.
class raw_output {
 public:
  /// Creates the folder. `events_in_file`: 0 for all.
  raw_output(const std::string& folder, const shape& what, ravo_compression compression,
             std::uint32_t events_in_file = 0);
  void begin_event(int event);
  void add(int channel, const std::vector<unsigned char>& block);
  void end_event();
  /// The files.
  std::vector<std::string> close();

 private:
  void check(int status) const;
  ravo_daq_writer_2010 writer_;
};

/// The number of an event in the files.
inline std::uint32_t number_of(int event) { return static_cast<std::uint32_t>(event + 1); }

}  // namespace ravo::bench

#endif
