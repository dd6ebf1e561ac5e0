// What the tables and descriptions of raw files say about the channels that a dataset reads and
// the dataset itself does not report: units, and the data type that a single member was cut from.
#ifndef RAVO_TOOL_CHANNEL_FACTS_H
#define RAVO_TOOL_CHANNEL_FACTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/decoded_block.h"
#include "ravo_dataset/dataset.h"

namespace ravo::tool {

struct channel_facts {
  std::string label;
  std::string name;
  int member = -1;           ///< -1: the whole channel
  std::string units;         ///< empty if no file that was scanned has any
  std::uint32_t stored = 0;  ///< data type of its blocks in the files; 0 if not known
};

/// Scans files of the dataset until all facts are known,
/// but only the first few: they mostly say the same.
std::vector<channel_facts> facts_of(const dataset& data);

/// Throws data_failure if a channel is asked for a member that its
/// type does not have: the dataset would report that for each value.
void check_members(const dataset& data);

/// The block of a value, in the form in which it is summarised and printed; the value must have one.
decoded_block block_of(const value& one, const channel_facts& channel);

}  // namespace ravo::tool

#endif
