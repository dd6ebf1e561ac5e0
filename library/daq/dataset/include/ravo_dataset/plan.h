// What a reading will take, estimated before any of it is done.
#ifndef RAVO_DATASET_PLAN_H
#define RAVO_DATASET_PLAN_H

#include <cstdint>
#include <string>
#include <vector>

#include "ravo_export.h"

namespace ravo {

struct channel_plan {
  std::string channel;
  std::uint64_t values = 0;        ///< recorded in the selection's events
  std::uint64_t stored_bytes = 0;  ///< in the files
  /// When decoded; for compressed blocks estimated from the heads of some of them.
  std::uint64_t decoded_bytes = 0;
};

struct read_plan {
  std::uint64_t files = 0;
  std::uint64_t events = 0;
  std::vector<channel_plan> channels;
  std::uint64_t stored_bytes = 0;
  std::uint64_t decoded_bytes = 0;
  /// Memory, estimated from the mean size of each channel's blocks and of events: for reading event by
  /// event, and for reading one column after the other. A column whose rows turn out to be of different
  /// shapes takes up to twice as much while they are joined. Never more than the limit.
  std::uint64_t peak_bytes_of_events = 0;
  std::uint64_t peak_bytes_of_columns = 0;
  double seconds = 0;  ///< an estimate, with the threads of the dataset
  /// What will be missing for certain, in a sentence each: files that are left out, and what is wrong with
  /// the answer to a selection of runs or of a period.
  std::vector<std::string> problems;

  RAVO_EXPORT std::string to_text() const;
};

}  // namespace ravo

#endif
