#include "read/computed.h"

#include <utility>

#include "ravo_dataset/errors.h"
#include "read/bins_of_axis.h"
#include "read/series_collector.h"

namespace ravo::detail {
namespace {

/// The totals of one bin in one chunk. A bin may be there several times.
struct binned_totals {
  std::size_t bin = 0;
  number_totals totals;
};

struct binning_account {
  const bins_of_axis* bins;

  static std::vector<binned_totals> begin(const series_run&, const auto&) { return {}; }
  void add(std::vector<binned_totals>& to, const walked_value& value, const number_run& run,
           const auto& room) const {
    const std::size_t bin = bins->bin_of(bins->position(value.ordinal(), value.rows.event(value.row)));
    if (to.empty() || to.back().bin != bin) {
      if (to.size() == to.capacity()) {
        const std::size_t wanted = std::max<std::size_t>(4, 2 * to.capacity());
        room(wanted * sizeof(binned_totals));
        to.reserve(wanted);
      }
      to.push_back({bin, {}});
    }
    to.back().totals.add(run);
  }

  std::vector<number_totals> begin_whole(const std::vector<binned_totals>&) const {
    return std::vector<number_totals>(bins->size());
  }
  std::size_t bytes_of_whole() const { return bins->size() * sizeof(number_totals); }
  static void add(std::vector<number_totals>& to, const std::vector<binned_totals>& more) {
    for (const binned_totals& one : more) to[one.bin].add(one.totals);
  }
};

bins_of_axis bins_for(dataset_state& state, const envelope_options& options) {
  std::int64_t from = options.from.value_or(0), to = options.to.value_or(0);
  if (!options.from || !options.to) {
    const event_survey survey = survey_events(state);
    const bool is_by_time = options.axis == bin_axis::time && survey.events != 0;
    if (!options.from) from = is_by_time ? survey.first : 0;
    if (!options.to) to = is_by_time ? survey.last + 1 : static_cast<std::int64_t>(survey.events);
  }
  return {options.axis, from, to, options.bins};
}

envelope_numbers numbers_of(const number_totals& totals) {
  return {totals.count,          totals.nan,    totals.infinite,
          totals.least_finite(), totals.mean(), totals.greatest_finite()};
}

class envelope_reading {
 public:
  envelope_reading(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                   const envelope_options& options)
      : state_(state), channel_(channel), options_(checked(options)), bins_(bins_for(*state, options)) {}

  channel_envelope read() {
    made_.channel = (*state_).channels[channel_].label;
    made_.axis = options_.axis;
    reservation reserved;
    grow(*state_, reserved, bins_.size() * (sizeof(envelope_bin) + sizeof(std::int64_t)),
         "The envelope of " + made_.channel);
    made_.bins.resize(bins_.size());
    for (std::size_t i = 0; i <= bins_.size(); ++i) made_.edges.push_back(bins_.edge(i));
    series_collector<std::vector<binned_totals>, std::vector<number_totals>, binning_account> collector(
        *state_, channel_, {&bins_}, [this](const walked_rows& rows, std::size_t row, value_status status) {
          add(rows.ordinals[row], rows.event(row), status);
        });
    made_.ledger = walk(collector);
    for (const auto* const series : collector.series().in_order()) {
      envelope_series& one = made_.series.emplace_back();
      one.name = series->name;
      for (const number_totals& totals : series->numbers) one.bins.push_back(numbers_of(totals));
    }
    return std::move(made_);
  }

 private:
  static const envelope_options& checked(const envelope_options& options) {
    if (options.bins == 0) throw selection_error("An envelope needs 1 bin or more");
    if (options.from && options.to && *options.to < *options.from)
      throw selection_error("An envelope's part of the axis ends before it begins");
    return options;
  }

  read_ledger walk(value_taker& taker) const {
    value_walk walk;
    walk.channels.push_back({channel_, &taker});
    walk.is_wanted = [this](std::uint64_t ordinal, const ravo_time_id& event) {
      return bins_.has(bins_.position(ordinal, event));
    };
    if (options_.from || options_.to) walk.extent = reading_extent::part;
    walk.progress = options_.progress;
    return std::move(walk_values(state_, walk).front());
  }

  void add(std::uint64_t ordinal, const ravo_time_id& event, value_status status) {
    envelope_bin& bin = made_.bins[bins_.bin_of(bins_.position(ordinal, event))];
    if (bin.values++ == 0) bin.first = event;
    bin.last = event;
    bin.missing += is_missing(status);
    bin.worst = worse_of(bin.worst, status);
  }

  const std::shared_ptr<dataset_state>& state_;
  const std::size_t channel_;
  const envelope_options& options_;
  const bins_of_axis bins_;
  channel_envelope made_;
};

}  // namespace

channel_envelope read_envelope(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                               const envelope_options& options) {
  return envelope_reading(state, channel, options).read();
}

}  // namespace ravo::detail
