// The instruments of the simulated machine: which channels there are, their names, how
// often they have data and how they are stored. payload.h knows the contents of their data.
#ifndef RAVO_SIMULATOR_CHANNELS_H
#define RAVO_SIMULATOR_CHANNELS_H

#include <optional>
#include <string>
#include <vector>

#include "ravo_raw_format.h"
#include "ravo_simulator.h"

namespace ravo::simulator {

enum class channel_kind {
  bpm,          ///< beam position and charge, bunch by bunch
  toroid,       ///< charge, bunch by bunch
  rf,           ///< amplitude and phase of a cavity: fill, flat top, decay
  spectrum,     ///< a photon spectrum in groups, with means and statistics
  energy,       ///< one scalar a pulse
  camera,       ///< a plain frame, one byte a pixel
  camera_ext,   ///< an extended frame, two bytes a pixel
  profile,      ///< the two profiles of a region of interest
  slow,         ///< a magnet current, recorded when it changes
  environment,  ///< a temperature, read every ten pulses
  status,       ///< name-value pairs
  message,      ///< a text
  run_begin,    ///< recorded once, when a run begins
  run_end,      ///< recorded once, when a run ends
};

/// When a channel has data among the events that its kind takes part in.
enum class presence {
  always,
  every_second,      ///< at half the rate
  gaps,              ///< not in pulses 30 to 49 of every hundred, and not in one of eleven others
  from_second_file,  ///< not in the first file of a run
  never,             ///< declared only
};

struct channel {
  std::string name;
  channel_kind kind;
  int place;  ///< along the machine, from 0
  presence when = presence::always;
  ravo_compression compression = ravo_compression::none;
  int env_index = -1;                                               ///< of environment channels
  ravo_file_generation generation = ravo_file_generation::current;  ///< of the files

  /// The type in the files.
  RAVO_SUBBLOCK_TYPE dtype() const;
  /// The type of the current generation, whatever the generation of the files.
  RAVO_SUBBLOCK_TYPE current_dtype() const;
  /// The event type that carries the channel.
  RAVO_EVTYPE event_type() const;
  /// The front-end server that delivers it.
  const char* server() const;
};

/// Channels that are there whatever the counts are.
inline constexpr int special_channels = 6;

/// The channels, in the order of the file's dictionary. Without `compression`,
/// neighbours of a kind are stored zlib, plain and LZO in turn.
std::vector<channel> make_channels(const simulated_channels& counts,
                                   std::optional<ravo_compression> compression);

/// What the file says about a channel; delete with ravo_free_chan_descr.
chan_descr_2010* describe(const channel& what, int key);

}  // namespace ravo::simulator

#endif
