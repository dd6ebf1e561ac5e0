// Histograms of what a channel holds, computed while the blocks are decoded.
#ifndef RAVO_DATASET_HISTOGRAM_H
#define RAVO_DATASET_HISTOGRAM_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "ravo_dataset/ledger.h"
#include "ravo_dataset/progress.h"

namespace ravo {

struct histogram_options {
  std::size_t bins = 100;
  /// The limits, of all series alike. Without them each series has its least and greatest number as limits,
  /// for which all blocks are decoded twice; where these two are equal, a little less and a little more.
  std::optional<double> from{};
  std::optional<double> to{};
  std::stop_token stop{};  ///< ends the reading with read_cancelled
  progress_function progress{};
};

/// How often which numbers occur. Bin i is from edge(i) up to but without edge(i + 1); the last one is with
/// its upper edge.
struct number_histogram {
  std::string name;  ///< of the series, as series_statistics::name
  double from = 0;
  double to = 0;
  std::vector<std::uint64_t> counts;  ///< by bin; empty if a series has no finite number and no limits
  std::uint64_t below = 0;            ///< less than `from`, also -infinity
  std::uint64_t above = 0;            ///< greater than `to`, also infinity
  std::uint64_t nan = 0;

  double edge(std::size_t bin) const {
    return bin == counts.size()
               ? to
               : from + (to - from) * (static_cast<double>(bin) / static_cast<double>(counts.size()));
  }
};

struct channel_histogram {
  std::string channel;
  std::vector<number_histogram> series;  ///< in the order of channel_statistics::series
  read_ledger ledger;
};

}  // namespace ravo

#endif
