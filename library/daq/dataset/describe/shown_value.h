// A value as a description shows it: what it is, its shape and its members by name, without its numbers;
// and what differs between two of them.
#ifndef RAVO_DATASET_SHOWN_VALUE_H
#define RAVO_DATASET_SHOWN_VALUE_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/column.h"
#include "read/block_scan.h"

namespace ravo::detail {

struct shown_value {
  std::int32_t type = 0;  ///< a RAVO_SUBBLOCK_TYPE
  value_kind kind = value_kind::none;
  element_type element = element_type::float32;
  spectrum_axis axis;
  std::vector<dimension_size> dimensions;  ///< none of texts, whose lengths differ
  std::vector<std::string> members;        ///< names, also of records and of a single member

  /// "float32, member 3, sample 64". The number of bytes is not part of it: it differs from value to value.
  std::string shape_text() const;
};

/// Decodes the block of an entry; `nullopt` if it cannot be read.
std::optional<shown_value> read_shown_value(dataset_state& state, const segment& part, std::size_t channel,
                                            const entry& where, block_memory& memory);

/// The names that only the first list has, and those that only the second one has: a few of each, sorted
/// and separated by commas. A name that one list has twice and the other once is among them.
std::pair<std::string, std::string> different_names(std::vector<std::string> before,
                                                    std::vector<std::string> after);

}  // namespace ravo::detail

#endif
