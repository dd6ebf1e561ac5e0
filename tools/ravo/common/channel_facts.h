// What the tables and descriptions of raw files say of the channels that a dataset reads, and the dataset
// itself does not tell: units, and which data type a single member was cut from.
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
  std::string units;         ///< empty when no file that was looked into says any
  std::uint32_t stored = 0;  ///< data type of its blocks in the files; 0 when that is not known
};

/// Looks into files of the dataset until all is known, but not into more than a few: they mostly say the
/// same.
std::vector<channel_facts> facts_of(const dataset& data);

/// Throws data_failure for a channel that is asked for a member that its type does not have: the dataset
/// would tell that of each value.
void check_members(const dataset& data);

/// The block of a value, in the form in which it is summarised and printed; the value has to have one.
decoded_block block_of(const value& one, const channel_facts& channel);

}  // namespace ravo::tool

#endif
