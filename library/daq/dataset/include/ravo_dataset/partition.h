// A part of a selection that is a selection of its own: of whole files, so that no file is opened for
// nothing.
#ifndef RAVO_DATASET_PARTITION_H
#define RAVO_DATASET_PARTITION_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>

#include "ravo_core_records.h"
#include "ravo_dataset/plan.h"
#include "ravo_dataset/selection.h"

namespace ravo {

/// How a selection is cut: one of target_bytes and count.
struct partition_options {
  /// As many decoded bytes, by the plan's estimate, as a part has at most. A part of which a piece cannot
  /// be cut is larger.
  std::optional<std::uint64_t> target_bytes;
  /// As many parts, of about equal decoded bytes; fewer where there are fewer pieces.
  std::optional<std::size_t> count;
  std::stop_token stop;  ///< ends the cutting with read_cancelled
};

/// A part of a selection. Files that overlap in time stay together.
struct partition {
  /// Opens only the files of the part, which are `wanted.files`, and those in which slow values lie that
  /// its events hold, `wanted.context`. It has the channels of the whole (`wanted.exact`) and of its events
  /// those that the whole takes (`wanted.phase`, `wanted.limit`). The first part lists the files that were
  /// left out (`wanted.left_out`). Long lists go into a file by move_lists_to_manifest().
  selection wanted;
  std::optional<ravo_time_id> first_event;  ///< `nullopt` if the part has no events
  std::optional<ravo_time_id> last_event;
  /// What reading the part will take: files (without those of the context), events, of each channel the
  /// values, and stored, decoded and peak bytes.
  read_plan plan;

  /// The part as a text.
  std::string text() const { return wanted.to_text(); }
};

}  // namespace ravo

#endif
