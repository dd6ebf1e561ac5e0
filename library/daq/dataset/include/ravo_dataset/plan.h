// What a reading will take, told before any of it is done.
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
  /// When decoded; told by the heads of some of the blocks where they are compressed.
  std::uint64_t decoded_bytes = 0;
};

struct read_plan {
  std::uint64_t files = 0;
  std::uint64_t events = 0;
  std::vector<channel_plan> channels;
  std::uint64_t stored_bytes = 0;
  std::uint64_t decoded_bytes = 0;
  /// Of memory, estimated from the mean of each channel's blocks and of events: reading event by event, and
  /// reading one column after the other. A column whose rows turn out to be of different shapes takes up to
  /// twice as much when they are put together. Never more than the limit.
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
