#include "read/computed.h"

#include <cmath>
#include <map>
#include <memory>
#include <utility>

#include "read/series_collector.h"

namespace ravo::detail {
namespace {

struct moments_account {
  static number_moments begin(const series_run&, const auto&) { return {}; }
  static void add(number_moments& to, const walked_value&, const number_run& run, const auto&) {
    to.add(run);
  }
  static number_moments begin_whole(const number_moments&) { return {}; }
  static std::size_t bytes_of_whole() { return 0; }
  static void add(number_moments& to, const number_moments& more) { to.add(more); }
};
using moments_collector = series_collector<number_moments, number_moments, moments_account>;

/// The distances of neighbouring values, in event numbers.
class gap_finder {
 public:
  /// What another kind of distance takes.
  static constexpr std::size_t bytes_of_distance = 64;

  /// The next value with a number; `true` if its distance is a new one.
  bool add(std::uint32_t number) {
    const std::uint32_t before = std::exchange(before_, number);
    if (before == 0 || number <= before) return false;
    distance& met = distances_[number - before];
    if (met.count++ != 0) return false;
    met.after = before;
    return true;
  }

  std::optional<gap_statistics> gaps() const {
    std::uint64_t all = 0, so_far = 0;
    for (const auto& [width, met] : distances_) all += met.count;
    if (all < 2) return std::nullopt;
    std::uint32_t usual = 0;
    for (const auto& [width, met] : distances_) {
      usual = width;
      so_far += met.count;
      if (2 * so_far >= all) break;
    }
    gap_statistics gaps;
    for (const auto& [width, met] : distances_) {
      if (2 * std::uint64_t{width} <= 3 * std::uint64_t{usual}) continue;
      gaps.count += met.count;
      gaps.events +=
          met.count * (static_cast<std::uint64_t>(std::lround(static_cast<double>(width) / usual)) - 1);
      gaps.longest = width;
      gaps.after_event = met.after;
    }
    return gaps;
  }

 private:
  struct distance {
    std::uint64_t count = 0;
    std::uint32_t after = 0;  ///< the event before the first one
  };
  std::uint32_t before_ = 0;
  std::map<std::uint32_t, distance> distances_;
};

/// The statistics of one channel while it is read.
class channel_account {
 public:
  channel_account(dataset_state& state, std::size_t channel)
      : state_(state),
        collector_(state, channel, {},
                   [this](const walked_rows& rows, std::size_t row, value_status status) {
                     add(rows, row, status);
                   }) {
    made_.channel = state.channels[channel].label;
  }
  channel_account(const channel_account&) = delete;
  channel_account& operator=(const channel_account&) = delete;

  moments_collector& collector() { return collector_; }

  channel_statistics finish(read_ledger ledger) {
    const value_counts& counts = collector_.counts();
    made_.without_numbers = counts.without_numbers;
    made_.texts = counts.texts;
    made_.stored_bytes = counts.stored_bytes;
    made_.decoded_bytes = counts.decoded_bytes;
    made_.gaps = gaps_.gaps();
    for (const auto* const series : collector_.series().in_order())
      made_.series.push_back({series->name, series->numbers.statistics()});
    made_.ledger = std::move(ledger);
    return std::move(made_);
  }

 private:
  void add(const walked_rows& rows, std::size_t row, value_status status) {
    if (made_.values++ == 0) made_.first = rows.first_recorded;
    made_.last = rows.last_recorded;
    ++made_.by_status[static_cast<std::size_t>(status)];
    if (gaps_.add(rows.event(row).event_number))
      grow(state_, reserved_, gap_finder::bytes_of_distance, "The gaps of " + made_.channel);
  }

  dataset_state& state_;
  channel_statistics made_;
  gap_finder gaps_;
  reservation reserved_;
  moments_collector collector_;
};

}  // namespace

std::vector<channel_statistics> read_statistics(const std::shared_ptr<dataset_state>& state,
                                                const std::vector<std::size_t>& channels,
                                                const statistics_options& options) {
  std::vector<std::unique_ptr<channel_account>> accounts;
  value_walk walk;
  walk.progress = options.progress;
  for (const std::size_t channel : channels) {
    accounts.push_back(std::make_unique<channel_account>(*state, channel));
    walk.channels.push_back({channel, &accounts.back()->collector()});
  }
  std::vector<read_ledger> ledgers = walk_values(state, walk);
  std::vector<channel_statistics> all;
  for (std::size_t i = 0; i < accounts.size(); ++i)
    all.push_back(accounts[i]->finish(std::move(ledgers[i])));
  return all;
}

}  // namespace ravo::detail
