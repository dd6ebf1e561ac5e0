// What printing the values of a dataset needs to know of its channels: units, axes, and the data type that
// a single member was cut from.
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
  int member = -1;    ///< -1: the whole channel
  std::string units;  ///< of a single member its own; empty if the files do not say
  std::string axis_label;
  std::string axis_unit;
  std::uint32_t stored = 0;  ///< data type of its blocks in the files; 0 if not known
};

/// As the first few files describe them: files mostly say the same.
std::vector<channel_facts> facts_of(const dataset& data);

/// Throws data_failure if a channel is asked for a member that its
/// type does not have: the dataset would report that for each value.
void check_members(const dataset& data);

/// The block of a value, in the form in which it is summarised and printed; the value must have one.
decoded_block block_of(const value& one, const channel_facts& channel);

}  // namespace ravo::tool

#endif
