#include "read/computed.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ravo_dataset/errors.h"
#include "read/series_collector.h"

namespace ravo::detail {
namespace {

/// The bins of one series; without limits there are none.
struct histogram_bins {
  double from = number_statistics::none;
  double to = number_statistics::none;
  std::vector<double> edges;  ///< one more than bins

  std::size_t count() const { return edges.empty() ? 0 : edges.size() - 1; }
  bool has(double number) const { return count() != 0 && number >= from && number <= to; }
  std::size_t bin_of(double number) const {
    const double place = (number - from) / (to - from) * static_cast<double>(count());
    std::size_t bin = std::min(static_cast<std::size_t>(place), count() - 1);
    while (number < edges[bin]) --bin;
    while (bin + 1 < count() && number >= edges[bin + 1]) ++bin;
    return bin;
  }
};

histogram_bins make_bins(double from, double to, std::size_t bins) {
  histogram_bins made{from, to, {}};
  number_histogram shape;
  shape.from = from;
  shape.to = to;
  shape.counts.resize(bins);
  made.edges.reserve(bins + 1);
  for (std::size_t i = 0; i <= bins; ++i) made.edges.push_back(shape.edge(i));
  return made;
}

// ---- the first pass: extremes

struct totals_account {
  static number_totals begin(const series_run&, const auto&) { return {}; }
  static void add(number_totals& to, const walked_value&, const number_run& run, const auto&) {
    to.add(run);
  }
  static number_totals begin_whole(const number_totals&) { return {}; }
  static std::size_t bytes_of_whole() { return 0; }
  static void add(number_totals& to, const number_totals& more) { to.add(more); }
};

// ---- the second pass: counts

/// The bins of each series: the same of all, or of each its own.
class bins_by_series {
 public:
  explicit bins_by_series(histogram_bins of_all) : of_all_(std::move(of_all)) {}

  void add(const series_table<number_totals>::series& series, histogram_bins bins) {
    by_series_.add_like(series.first, series.is_record, series.place, series.name, std::move(bins));
  }
  const histogram_bins& of(const series_run& run) const {
    const auto* const own = by_series_.find(run);
    return own == nullptr ? of_all_ : own->numbers;
  }

 private:
  const histogram_bins of_all_;
  series_table<histogram_bins> by_series_;
};

struct counted_numbers {
  const histogram_bins* bins = nullptr;
  std::vector<std::uint64_t> counts;
  std::uint64_t below = 0;
  std::uint64_t above = 0;
  std::uint64_t nan = 0;

  void add(const number_run& run) {
    visit_numbers(run, [this](double number) {
      if (bins->has(number))
        ++counts[bins->bin_of(number)];
      else if (std::isnan(number))
        ++nan;
      else
        ++(number > bins->from || (bins->count() == 0 && number > 0) ? above : below);
    });
  }
  void add(const counted_numbers& other) {
    for (std::size_t i = 0; i < counts.size(); ++i) counts[i] += other.counts[i];
    below += other.below;
    above += other.above;
    nan += other.nan;
  }
};

struct counting_account {
  const bins_by_series* bins;
  std::size_t most_bins;

  counted_numbers begin(const series_run& run, const auto& room) const {
    const histogram_bins& own = bins->of(run);
    room(own.count() * sizeof(std::uint64_t));
    return {&own, std::vector<std::uint64_t>(own.count())};
  }
  static void add(counted_numbers& to, const walked_value&, const number_run& run, const auto&) {
    to.add(run);
  }
  static counted_numbers begin_whole(const counted_numbers& of_chunk) {
    return {of_chunk.bins, std::vector<std::uint64_t>(of_chunk.counts.size())};
  }
  std::size_t bytes_of_whole() const { return most_bins * sizeof(std::uint64_t); }
  static void add(counted_numbers& to, const counted_numbers& more) { to.add(more); }
};

class histogram_reading {
 public:
  histogram_reading(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                    const histogram_options& options)
      : state_(state), channel_(channel), options_(options) {}

  channel_histogram read() {
    check();
    if (!options_.from || !options_.to) survey();
    bins_by_series bins(has_both() ? make_bins(*options_.from, *options_.to, options_.bins)
                                   : histogram_bins{});
    reservation reserved;
    for (const auto* const series : found_.in_order())
      if (series->numbers.finite() != 0) {
        grow(*state_, reserved, (options_.bins + 1) * sizeof(double), what());
        bins.add(*series, bins_of(series->numbers));
      }
    series_collector<counted_numbers, counted_numbers, counting_account> counter(
        *state_, channel_, {&bins, options_.bins}, ignore_rows);
    std::vector<read_ledger> ledgers = walk(counter, walk_purpose::reading);
    return histogram_of(counter.series(), std::move(ledgers.front()));
  }

 private:
  static void ignore_rows(const walked_rows&, std::size_t, value_status) {}
  bool has_both() const { return options_.from && options_.to; }
  std::string what() const { return "The histogram of " + (*state_).channels[channel_].label; }

  void check() const {
    if (options_.bins == 0) throw selection_error(what() + " needs 1 bin or more");
    const bool is_wrong = (options_.from && !std::isfinite(*options_.from)) ||
                          (options_.to && !std::isfinite(*options_.to)) ||
                          (has_both() && !(*options_.from < *options_.to)) ||
                          (has_both() && !std::isfinite(*options_.to - *options_.from));
    if (is_wrong) throw selection_error(what() + " needs finite limits, of which the lower one is less");
  }

  std::vector<read_ledger> walk(value_taker& taker, walk_purpose purpose) const {
    value_walk walk;
    walk.channels.push_back({channel_, &taker});
    walk.purpose = purpose;
    if (purpose == walk_purpose::reading) walk.progress = options_.progress;
    return walk_values(state_, walk);
  }

  void survey() {
    series_collector<number_totals, number_totals, totals_account> extremes(*state_, channel_, {},
                                                                            ignore_rows);
    walk(extremes, walk_purpose::preparation);
    found_ = std::move(extremes.series());
  }

  histogram_bins bins_of(const number_totals& numbers) const {
    double from = options_.from.value_or(numbers.least_finite());
    double to = options_.to.value_or(numbers.greatest_finite());
    if (!(from < to)) {
      constexpr double share = 1.0 / (1 << 20);
      const double middle = options_.from ? from : options_.to ? to : from;
      const double margin = std::max(0.5, std::abs(middle) * share);
      from = options_.from.value_or(middle - margin);
      to = options_.to.value_or(middle + margin);
    }
    return make_bins(from, to, options_.bins);
  }

  channel_histogram histogram_of(series_table<counted_numbers>& series, read_ledger ledger) const {
    channel_histogram made;
    made.channel = (*state_).channels[channel_].label;
    made.ledger = std::move(ledger);
    for (auto* const one : series.in_order()) {
      counted_numbers& counted = one->numbers;
      made.series.push_back({one->name, counted.bins->from, counted.bins->to, std::move(counted.counts),
                             counted.below, counted.above, counted.nan});
    }
    return made;
  }

  const std::shared_ptr<dataset_state>& state_;
  const std::size_t channel_;
  const histogram_options& options_;
  series_table<number_totals> found_;
};

}  // namespace

channel_histogram read_histogram(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                                 const histogram_options& options) {
  return histogram_reading(state, channel, options).read();
}

}  // namespace ravo::detail
