// What a plan counts of the segments of a selection: sums that can be added, and the plan that they make.
#ifndef RAVO_DATASET_PLAN_SUMS_H
#define RAVO_DATASET_PLAN_SUMS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "align/segment.h"
#include "dataset_state.h"
#include "ravo_dataset/plan.h"

namespace ravo::detail {

/// Of one channel. Blocks whose heads were read say how large the others are.
struct channel_sums {
  std::uint64_t values = 0;
  std::uint64_t stored = 0;
  std::uint64_t sampled_stored = 0;
  std::uint64_t sampled_decoded = 0;
  std::uint64_t sampled_compressed = 0;  ///< of the decoded bytes

  void add(const channel_sums& other);
  /// Decoded bytes for each stored one, by the heads that were read.
  double decoded_a_stored_byte() const;
  std::uint64_t decoded() const;
};

struct plan_sums {
  std::uint64_t events = 0;
  std::vector<channel_sums> channels;  ///< all channels of the dataset, or empty
  std::uint64_t table_bytes = 0;       ///< of the largest segment
  std::uint64_t largest_block = 0;     ///< stored bytes
  std::vector<std::string> problems;   ///< files that were lost

  void add(const plan_sums& other);
  std::uint64_t decoded() const;
};

/// Counts the values of some events of a segment, and reads the heads of some of their blocks.
plan_sums count_values(dataset_state& state, const segment& part, const std::vector<std::uint32_t>& events);

/// The plan for reading what was counted; `files` is left to the caller.
read_plan plan_of(const dataset_state& state, const plan_sums& sums);

}  // namespace ravo::detail

#endif
