// Envelopes: what a picture needs of a channel that has more values than the picture has pixels. Each bin
// has least, mean and greatest of all numbers in it, never a number that was picked, and the worst status
// of its values, so that a single spike and a single missing value show at every scale.
#ifndef RAVO_DATASET_ENVELOPE_H
#define RAVO_DATASET_ENVELOPE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/ledger.h"
#include "ravo_dataset/progress.h"
#include "ravo_dataset/statistics.h"
#include "ravo_dataset/status.h"

namespace ravo {

/// What the bins divide.
enum class bin_axis {
  events,  ///< the events of the selection, by their positions from 0 on, as in event_ids()
  time,    ///< the time of the events, in microseconds since 1970
};

struct envelope_options {
  bin_axis axis = bin_axis::events;
  /// As many bins, but no more than there are events, or microseconds.
  std::size_t bins = 1000;
  /// A part of the axis: from the first position or microsecond on, up to but without the last. Left out:
  /// the beginning of the selection, and its end.
  std::optional<std::int64_t> from{};
  std::optional<std::int64_t> to{};
  std::stop_token stop{};  ///< ends the reading with read_cancelled
  progress_function progress{};
};

/// The order of statuses from good to bad: of the values of a bin the one that comes last here counts.
/// Nothing recorded is the best, since nothing is wrong; then what can be read; then what is missing, by
/// how much around it may be missing too: a value, its block, its place in the file, the file.
inline constexpr value_status statuses_from_good_to_bad[value_status_count] = {
    value_status::not_recorded,   value_status::ok,           value_status::held,
    value_status::stale,          value_status::type_changed, value_status::block_too_large,
    value_status::cannot_convert, value_status::bad_checksum, value_status::cannot_inflate,
    value_status::event_disputed, value_status::misdirected,  value_status::truncated,
    value_status::file_missing,
};
/// The position of a status in that order.
constexpr int badness_of(value_status status) {
  int position = 0;
  while (statuses_from_good_to_bad[position] != status) ++position;
  return position;
}
constexpr value_status worse_of(value_status a, value_status b) {
  return badness_of(a) < badness_of(b) ? b : a;
}

/// The values of one bin: each recorded value once, at its event. Held values do not count.
struct envelope_bin {
  std::uint64_t values = 0;   ///< recorded, whatever their status
  std::uint64_t missing = 0;  ///< how many of them cannot be read
  value_status worst = value_status::not_recorded;
  ravo_time_id first{};  ///< the first and the last event with a value; without meaning if there is none
  ravo_time_id last{};
};

/// The numbers of one series in one bin. Mean and extremes are of the finite ones; NaN if there are none.
struct envelope_numbers {
  std::uint64_t count = 0;
  std::uint64_t nan = 0;
  std::uint64_t infinite = 0;
  double least = number_statistics::none;
  double mean = number_statistics::none;  ///< the exact sum, rounded once, divided by how many there are
  double greatest = number_statistics::none;
};

struct envelope_series {
  std::string name;                    ///< as series_statistics::name
  std::vector<envelope_numbers> bins;  ///< as many as channel_envelope::bins
};

struct channel_envelope {
  std::string channel;
  bin_axis axis = bin_axis::events;
  std::vector<envelope_bin> bins;
  std::vector<std::int64_t> edges;      ///< bin i is from edges[i] up to but without edges[i + 1]
  std::vector<envelope_series> series;  ///< in the order of channel_statistics::series
  read_ledger ledger;
};

}  // namespace ravo

#endif
