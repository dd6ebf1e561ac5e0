// Statistics of what a channel holds: of its numbers count, mean, deviation and extremes, of its values how
// many there are, how often, and where some are missing between others. Computed while the blocks are
// decoded; no column is made.
#ifndef RAVO_DATASET_STATISTICS_H
#define RAVO_DATASET_STATISTICS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/ledger.h"
#include "ravo_dataset/progress.h"
#include "ravo_dataset/status.h"

namespace ravo {

struct statistics_options {
  std::stop_token stop{};        ///< ends the reading with read_cancelled
  progress_function progress{};  ///< of all channels together
};

/// Statistics of many numbers. The sums that mean and deviation come from are exact, so that neither the
/// number of threads nor the order of the values changes a bit of them.
struct number_statistics {
  static constexpr double none = std::numeric_limits<double>::quiet_NaN();

  std::uint64_t count = 0;     ///< of all numbers
  std::uint64_t nan = 0;       ///< how many of them are NaN
  std::uint64_t infinite = 0;  ///< how many of them are infinite
  /// Of the finite numbers; NaN if there are none. The exact sum, rounded once, divided by their count.
  double mean = none;
  /// Of the finite numbers, from their mean: the root of the mean square (divided by their count).
  double deviation = none;
  double least = none;
  double greatest = none;

  std::uint64_t finite() const { return count - nan - infinite; }
  std::uint64_t not_finite() const { return nan + infinite; }
};

/// The numbers of one member of a spectrum, of one profile of a region of interest, of the records of one
/// name, of all pixels of a picture, or of updates.
struct series_statistics {
  std::string name;  ///< of the member by its data type ("CHARGE"), of the record; "PIXELS"; "" of updates
  number_statistics numbers;
};

/// Places where the distance to the next value is more than one and a half times the usual one, which is
/// the median of the distances in event numbers.
struct gap_statistics {
  std::uint64_t count = 0;
  std::uint64_t events = 0;       ///< values that usual distances would have had there
  std::uint32_t longest = 0;      ///< event numbers from the value before the longest gap to the next one
  std::uint32_t after_event = 0;  ///< the event before the longest gap
};

/// What a channel holds over a selection: each recorded value once, at the event that has it. Held values
/// do not count.
struct channel_statistics {
  std::string channel;
  std::uint64_t values = 0;                                   ///< recorded, also those that cannot be read
  std::array<std::uint64_t, value_status_count> by_status{};  ///< how many of them have which status
  /// Values that can be read and have no numbers: frames that are no pictures, texts, other data.
  std::uint64_t without_numbers = 0;
  std::uint64_t texts = 0;          ///< how many of these are texts
  std::uint64_t stored_bytes = 0;   ///< of the blocks in the files
  std::uint64_t decoded_bytes = 0;  ///< of the data of the blocks that can be read
  ravo_time_id first{};             ///< what the first value was recorded with, as value::recorded_with()
  ravo_time_id last{};              ///< the same of the last one
  std::optional<gap_statistics>
      gaps;  ///< `nullopt` of fewer than three values, and of events without numbers
  /// Members in their order, and records in the order in which they first occur.
  std::vector<series_statistics> series;
  read_ledger ledger;

  /// Values a second; `nullopt` of a single one.
  std::optional<double> rate() const {
    const double span = 1e6 * (static_cast<double>(last.time.timeup) - first.time.timeup) +
                        (static_cast<double>(last.time.timelow) - first.time.timelow);
    if (values < 2 || span <= 0) return std::nullopt;
    return static_cast<double>(values - 1) * 1e6 / span;
  }
};

}  // namespace ravo

#endif
