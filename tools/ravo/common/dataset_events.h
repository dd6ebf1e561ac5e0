// Events of the dataset layer in the form in which `ravo read` prints the events of either way of reading.
#ifndef RAVO_TOOL_DATASET_EVENTS_H
#define RAVO_TOOL_DATASET_EVENTS_H

#include <vector>

#include "common/channel_facts.h"
#include "common/reading.h"
#include "ravo_dataset/dataset.h"

namespace ravo::tool {

class dataset_events {
 public:
  explicit dataset_events(const dataset& data);

  /// The event with the channels that have a value, and those whose value is missing. Good until the next
  /// one is made, and as long as `one` lives.
  const read_event& printable(const event& one);

 private:
  std::vector<channel_facts> facts_;
  std::vector<read_channel> channels_;  // the same ones, for the printers
  read_event event_{};
};

/// The generation of the files of a dataset; nothing when there are both.
std::optional<ravo_file_generation> generation_of(const dataset& data);

}  // namespace ravo::tool

#endif
