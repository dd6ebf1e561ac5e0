// Events as they are printed, whichever way they were read; and `--classic`: a selection read
// event by event through the classic reader of its files' generation, as an oracle beside the
// dataset layer. Files and channels are checked first, so that a message names what is wrong.
#ifndef RAVO_TOOL_READING_H
#define RAVO_TOOL_READING_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/decoded_block.h"
#include "common/output.h"
#include "common/selection_options.h"
#include "ravo_dataset/status.h"
#include "ravo_file_generation.h"

namespace ravo::tool {

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
  std::optional<decoded_block> block;  ///< `nullopt` if it could not be converted
  bool held;                           ///< of a slow channel: the value is from an earlier event
  std::optional<value_status> status;  ///< of a value of the dataset layer; the readers report none
  std::int64_t age = 0;                ///< of a held value of the dataset layer, microseconds
};

/// One event: its number and time, and the channels that have data for it.
struct read_event {
  ravo_time_id id;
  std::optional<ravo_file_generation> generation;  ///< of all the files; `nullopt` if there are both
  std::vector<read_entry> entries;
};

/// Throws usage_failure for anything that the classic reader cannot do.
void check_that_the_reader_can(const selection& wanted, const selection_arguments& arguments,
                               const limit_arguments& limits);

/// Reads the selection and calls `take` with every event. `debug` is the reader's debug level;
/// above 0, what it prints goes to standard error. Throws data_failure or usage_failure; also,
/// after the last event, if blocks of the files could not be read. Returns the number of events.
std::uint64_t read_events(const asked_selection& asked, int debug, output& out,
                          const std::function<void(const read_event&)>& take);

}  // namespace ravo::tool

#endif
