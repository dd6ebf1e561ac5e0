// The stream of events that the machine makes: which events a pulse has, when they happened, and which
// channels are in them. It writes nothing; writing.h does.
#ifndef RAVO_SIMULATOR_EVENTS_H
#define RAVO_SIMULATOR_EVENTS_H

#include <set>
#include <string>
#include <vector>

#include "channels.h"
#include "machine.h"

namespace ravo::simulator {

/// What is simulated, and what is wrong with the machine.
struct settings : simulation {
  std::set<std::uint32_t> pulses_without_events = {};  ///< nothing is recorded in them
  std::string absent_channel = {};                     ///< its instrument is switched off
};

/// Pulses without a run between two runs.
inline constexpr int pulses_between_runs = 50;

struct block {
  int channel;  ///< index in the list of channels
  std::vector<unsigned char> payload;
};

struct server_block {
  const char* server;
  time_stamp time;
  std::int32_t macro_pulse;
  std::vector<block> blocks;
};

struct event {
  std::uint32_t number;
  RAVO_EVTYPE type;
  time_stamp time;
  std::vector<server_block> servers;
};

/// Makes the events of one file after the other. A run is: a pulse for its begin, files x events pulses
/// with beam, a pulse for its end.
class event_stream {
 public:
  event_stream(const settings& what, const std::vector<channel>& channels);

  /// The first pulse of a file of a run (both counted from 0), and the pulse after its last.
  std::uint32_t first_pulse(int run, int file) const;
  std::uint32_t end_pulse(int run, int file) const;

  /// The events of one pulse, in the order in which they are written.
  std::vector<event> events_of(int run, int file, std::uint32_t pulse) const;

 private:
  bool has_data(const channel& what, int file, std::uint32_t pulse, std::uint32_t pulse_of_run) const;

  const settings& settings_;
  const std::vector<channel>& channels_;
};

}  // namespace ravo::simulator

#endif
