// What a channel is: the kind and shape of its values, their unit and axis, its members by name, how often
// it has values, and what of this changes from file to file.
#ifndef RAVO_DATASET_DESCRIBE_H
#define RAVO_DATASET_DESCRIBE_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_dataset/column.h"
#include "ravo_export.h"

namespace ravo {

/// Which blocks are decoded to find files in which values have another shape or other members.
enum class shape_search : std::uint8_t {
  /// The first block of a file whose type or decoded size is not that of the file before. A change that
  /// keeps both is not found: 2 x 256 samples to 1 x 512, another name of a record.
  by_size,
  /// The first block of each file.
  by_value,
};

struct describe_options {
  /// So many files, the earliest ones, are read for it: all, or a few where an answer that is mostly right
  /// is enough.
  std::size_t most_files = std::numeric_limits<std::size_t>::max();
  shape_search shapes = shape_search::by_size;
  /// Ends it with read_cancelled.
  std::stop_token stop = {};
};

/// A dimension of the values, with what the steps along it mean; empty where it is not said.
struct described_dimension {
  column_dimension dimension = column_dimension::sample;
  std::size_t size = 0;
  std::string label;  ///< "bunch time"
  std::string unit;   ///< "us"
  bool operator==(const described_dimension&) const = default;
};

/// A member of spectra and regions of interest, a record of name-value lists; the value itself where there
/// is only one.
struct described_member {
  std::string name;  ///< "X", "CHARGE", "CH0"
  std::string unit;
  bool operator==(const described_member&) const = default;
};

/// Which statement about a channel changes.
enum class described_part : std::uint8_t {
  description,
  unit,
  axis_label,
  axis_unit,
  data_type,  ///< of the first block of the file
  shape,      ///< of its first value that can be read: "float32, member 3, sample 64"
  members,    ///< of that value, by name: before, those that are gone; after, those that are new
};
/// "description", "unit", ... Static text.
RAVO_EXPORT const char* described_part_text(described_part part);

/// A file that says another thing than the last file before it that said any.
struct description_change {
  std::string path;
  described_part part = described_part::unit;
  std::string before;
  std::string after;
};

struct channel_description {
  std::string label;  ///< as dataset_channel has it, like the next three
  std::string name;
  int member = -1;
  bool is_slow = false;

  // ---- the values, as the first one that can be read shows them; of kind none if there is no such value

  value_kind kind = value_kind::none;
  element_type element = element_type::float32;
  /// Of a row of the channel's column; of texts none, whose lengths differ. Records are those of one list.
  std::vector<described_dimension> dimensions;
  spectrum_axis axis;
  std::vector<described_member> members;

  // ---- what the descriptions in the files say; of several files the first that says anything

  std::string description;
  /// Of the values. Of several members with units of their own all of them, "mm, mm, nC"; of a single
  /// member (NAME:n) its own.
  std::string unit;
  std::string axis_label;  ///< of the samples; if not described, what the data type says
  std::string axis_unit;

  // ---- over the files

  /// A RAVO_SUBBLOCK_TYPE, of the first block whose head can be read; -1 if there is none.
  std::int32_t data_type = -1;
  /// Every RAVO_SUBBLOCK_TYPE that the dictionaries name, or that a file's first block has.
  std::vector<std::int32_t> data_types;
  /// Recorded values a second, from the first to the last one in files whose events belong together; 0 if
  /// it is not known.
  double rate = 0;
  /// What changes from file to file, in the order of time: the first thousand.
  std::vector<description_change> changes;
  /// Files whose descriptions could not be read, in a sentence each: the first ten.
  std::vector<std::string> problems;
};

/// The unit of one of several members: the units of a channel may list one for each, "mm, mm, nC".
RAVO_EXPORT std::string unit_of_member(const std::string& units, std::size_t member, std::size_t members);

}  // namespace ravo

#endif
