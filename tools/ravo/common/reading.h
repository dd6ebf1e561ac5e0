// Reads channels of raw files event by event through the reader of the files' generation, for
// `ravo read --classic`: checks the files and the channels first, so that what is wrong is said by name,
// and then hands each event inside the windows to whoever prints it, in the same form for both generations.
#ifndef RAVO_TOOL_READING_H
#define RAVO_TOOL_READING_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/decoded_block.h"
#include "common/file_request.h"
#include "common/output.h"
#include "ravo_daq_slicer_2010.h"
#include "ravo_dataset/status.h"
#include "ravo_file_generation.h"

namespace ravo::tool {

/// What is asked of `read`.
struct read_request {
  std::vector<std::string> files;      ///< by name; empty: `wanted` is set
  std::optional<file_request> wanted;  ///< files by run or period
  std::vector<std::string> channels;   ///< names, NAME:member, or patterns
  std::optional<std::uint32_t> first_event;
  std::optional<std::uint32_t> last_event;
  std::optional<time_stamp> from;
  std::optional<time_stamp> to;
  ravo_daq_slicer_synch_mode mode = RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
  /// How far apart the times of one event may lie, microseconds. Not set: 50 ms, or half the distance of
  /// events when that is less.
  std::optional<double> tolerance;
  std::uint64_t limit = 0;  ///< 0: no limit
  int debug = 0;            ///< of the reader; not 0: what it prints goes to standard error
};

/// One channel that is read.
struct read_channel {
  std::string name;
  int subchannel = -1;
  std::string units;
  std::uint64_t blocks = 0;  ///< in all files together, by their dictionaries

  std::string key() const { return subchannel < 0 ? name : name + ":" + std::to_string(subchannel); }
};

/// One channel's data of an event.
struct read_entry {
  const read_channel* channel;
  ravo_time_id id;                     ///< of the event that the data are from
  std::optional<decoded_block> block;  ///< nothing: it could not be converted
  bool held;                           ///< of a slow channel: the value is from an earlier event
  std::optional<value_status> status;  ///< of a value of the dataset layer; the readers tell none
  std::int64_t age = 0;                ///< of a held value of the dataset layer, microseconds
};

/// One event: its number and time, and the channels that have data for it.
struct read_event {
  ravo_time_id id;
  std::optional<ravo_file_generation> generation;  ///< of all the files; nothing when they are of both
  std::vector<read_entry> entries;
};

/// Reads; `take` gets every event. Throws data_failure or usage_failure; also, after the last event, when
/// blocks that are in the files could not be read. Returns the number of events.
std::uint64_t read_events(const read_request& request, output& out,
                          const std::function<void(const read_event&)>& take);

}  // namespace ravo::tool

#endif
