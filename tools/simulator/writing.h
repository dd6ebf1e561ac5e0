// Runs the simulated machine and writes its raw files. An observer sees every block that
// was written: the answer key that programs which read the files are checked against.
#ifndef RAVO_SIMULATOR_WRITING_H
#define RAVO_SIMULATOR_WRITING_H

#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "events.h"

namespace ravo::simulator {

/// One block that is in the files.
struct answer {
  int run;
  int file;  ///< number in the file's name
  std::uint32_t event_number;
  RAVO_EVTYPE event_type;
  time_stamp event_time;
  const char* server;
  time_stamp server_time;
  const channel* what;
  std::span<const unsigned char> payload;  ///< in host order, as it was put in
};

/// A block as every reader returns it: environment readings and begin and end
/// of run have the form of updates, everything else is as it was written.
struct delivered_block {
  RAVO_SUBBLOCK_TYPE dtype;
  std::vector<unsigned char> payload;
};
delivered_block deliver(const answer& put_in);

/// The files cannot be written; what() says why.
struct simulation_failed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct simulation_result {
  std::vector<std::string> files;
  std::uint64_t events = 0;
  std::uint64_t blocks = 0;
};

/// Called for each block, in the order of the files.
using observer = std::function<void(const answer&)>;
/// Called after each pulse with the pulses done and the total; false ends
/// the work early, and the file that is being written is then abandoned.
using progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

/// Writes the files. Either callback may be empty.
simulation_result simulate(const settings& what, const observer& observe, const progress& report);

}  // namespace ravo::simulator

#endif
