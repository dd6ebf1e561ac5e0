// Envelopes and histograms against those of the events' values, for every kind of value, with damage, in
// both generations.
#include <gtest/gtest.h>

#include "brute_force.h"
#include "format/time.h"

namespace {

using namespace ravo;
using namespace ravo::test;

std::int64_t position_of(bin_axis axis, const seen_value& one) {
  return axis == bin_axis::events ? static_cast<std::int64_t>(one.ordinal)
                                  : in_microseconds(one.event.time);
}

/// Good to bad, written down once more.
int place_in_order(value_status status) {
  using enum value_status;
  constexpr value_status order[] = {
      not_recorded,   ok,           held,           stale,          type_changed, block_too_large,
      cannot_convert, bad_checksum, cannot_inflate, event_disputed, misdirected,  truncated,
      file_missing};
  return static_cast<int>(std::find(std::begin(order), std::end(order), status) - std::begin(order));
}

void expect_bin(const channel_envelope& seen, std::size_t bin, const std::vector<seen_value>& inside) {
  const envelope_bin& one = seen.bins[bin];
  EXPECT_EQ(one.values, inside.size());
  value_status worst = value_status::not_recorded;
  std::uint64_t missing = 0;
  for (const seen_value& value : inside) {
    missing += value.status != value_status::ok;
    if (place_in_order(value.status) > place_in_order(worst)) worst = value.status;
  }
  EXPECT_EQ(one.missing, missing);
  EXPECT_EQ(one.worst, worst);
  if (inside.empty()) return;
  EXPECT_EQ(one.first.event_number, inside.front().event.event_number);
  EXPECT_EQ(one.last.event_number, inside.back().event.event_number);
}

void expect_numbers(const envelope_numbers& seen, const std::vector<double>& numbers) {
  const number_statistics expected = statistics_of(numbers);
  EXPECT_EQ(seen.count, expected.count);
  EXPECT_EQ(seen.nan, expected.nan);
  EXPECT_EQ(seen.infinite, expected.infinite);
  EXPECT_PRED2(is_same_number, seen.least, expected.least);
  EXPECT_PRED2(is_same_number, seen.mean, expected.mean);
  EXPECT_PRED2(is_same_number, seen.greatest, expected.greatest);
}

/// Without limits, the bins are of all events.
void expect_ends(const dataset& data, const channel_envelope& seen, const envelope_options& options) {
  if (data.size() == 0) return;
  std::vector<std::int64_t> positions;
  for (event_range events = data.events(); const event& one : events)
    positions.push_back(options.axis == bin_axis::events ? static_cast<std::int64_t>(positions.size())
                                                         : in_microseconds(one.time()));
  const auto [first, last] = std::minmax_element(positions.begin(), positions.end());
  if (!options.from) {
    EXPECT_EQ(seen.edges.front(), *first);
  }
  if (!options.to && (!options.from || *options.from <= *last)) {
    EXPECT_EQ(seen.edges.back(), *last + 1);
  }
}

void expect_envelope(const dataset& data, const std::string& channel, const envelope_options& options) {
  SCOPED_TRACE(channel);
  const channel_envelope seen = data.envelope(channel, options);
  std::vector<seen_value> values = values_of(data, channel);
  ASSERT_EQ(seen.edges.size(), seen.bins.size() + 1);
  ASSERT_LE(seen.bins.size(), options.bins);
  EXPECT_TRUE(std::is_sorted(seen.edges.begin(), seen.edges.end()));
  EXPECT_TRUE(seen.ledger.is_balanced());
  expect_ends(data, seen, options);
  const std::int64_t from = seen.edges.front(), to = seen.edges.back();
  std::erase_if(values, [&](const seen_value& one) {
    const std::int64_t at = position_of(options.axis, one);
    return (options.from && at < from) || (options.to && at >= to);
  });
  EXPECT_EQ(seen.ledger.expected(), values.size());
  std::size_t inside_of_all = 0;
  for (std::size_t bin = 0; bin < seen.bins.size(); ++bin) {
    const auto is_inside = [&](const seen_value& one) {
      const std::int64_t at = position_of(options.axis, one);
      return at >= seen.edges[bin] && at < seen.edges[bin + 1];
    };
    std::vector<seen_value> inside;
    std::copy_if(values.begin(), values.end(), std::back_inserter(inside), is_inside);
    inside_of_all += inside.size();
    expect_bin(seen, bin, inside);
    for (const envelope_series& series : seen.series) ASSERT_EQ(series.bins.size(), seen.bins.size());
  }
  EXPECT_EQ(inside_of_all, values.size());
  const std::vector<std::string> series = series_of(values);
  ASSERT_EQ(seen.series.size(), series.size());
  for (std::size_t i = 0; i < series.size(); ++i)
    for (std::size_t bin = 0; bin < seen.bins.size(); ++bin)
      expect_numbers(seen.series[i].bins[bin], numbers_in(values, series[i], [&](const seen_value& one) {
                       const std::int64_t at = position_of(options.axis, one);
                       return at >= seen.edges[bin] && at < seen.edges[bin + 1];
                     }));
}

template <class layout>
class Envelopes : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Envelopes, layouts);

TYPED_TEST(Envelopes, AreThoseOfTheEventsOfEveryKind) {
  for (unsigned seed = 1; seed <= sets_to_try(25); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 100);
    const temporary_folder folder;
    selection wanted = of_files(write_kinds<TypeParam>(folder, random));
    wanted.step = 1 + random.below(2);
    if (random.chance(3)) wanted.limit = 1 + random.below(12);
    dataset_options opened;
    opened.threads = 1 + random.below(3);
    const dataset data = dataset::open(wanted, opened);
    envelope_options options;
    options.axis = random.chance(2) ? bin_axis::time : bin_axis::events;
    options.bins = 1 + random.below(30);
    const std::int64_t begin = options.axis == bin_axis::events ? 0 : std::int64_t{noon} * 1000000;
    const std::int64_t unit = options.axis == bin_axis::events ? 1 : 100000;
    if (random.chance(3)) options.from = begin + unit * random.below(20);
    if (random.chance(3)) options.to = begin + unit * (20 + random.below(60));
    for (const dataset_channel& channel : data.channels()) expect_envelope(data, channel.label, options);
  }
}

TYPED_TEST(Envelopes, OfGeneratedSetsWithDamageAreThoseOfTheEvents) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 6000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, !random.chance(3), harms::that_readers_notice);
    const dataset data = dataset::open(of_files(all.files, all.channels));
    envelope_options options;
    options.axis = random.chance(2) ? bin_axis::time : bin_axis::events;
    options.bins = 1 + random.below(12);
    for (const std::string& channel : all.channels) expect_envelope(data, channel, options);
  }
}

// ---- edges

std::string write_numbers(const temporary_folder& folder, std::uint32_t count) {
  handmade_file file;
  std::vector<std::pair<std::size_t, float>> numbers;
  for (std::uint32_t i = 0; i < count; ++i) {
    file.events.push_back(event_at(1 + i, 100 * i));
    numbers.emplace_back(i, static_cast<float>(i));
  }
  file.channels = {numbers_at("A", numbers)};
  return write(folder, "a.raw", file);
}

TEST(EnvelopeBins, AreEvenlyLongAndNoMoreThanEvents) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_numbers(folder, 10)}));
  envelope_options options;
  options.bins = 4;
  EXPECT_EQ(data.envelope("A", options).edges, (std::vector<std::int64_t>{0, 2, 5, 7, 10}));
  options.bins = 1000;
  const channel_envelope all = data.envelope("A", options);
  ASSERT_EQ(all.bins.size(), 10u);
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(all.series.at(0).bins[i].least, static_cast<double>(i));
    EXPECT_EQ(all.series.at(0).bins[i].greatest, static_cast<double>(i));
  }
}

TEST(EnvelopeBins, OfTimeHaveMicrosecondsSince1970) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_numbers(folder, 10)}));
  envelope_options options;
  options.axis = bin_axis::time;
  options.bins = 3;
  constexpr std::int64_t begin = std::int64_t{noon} * 1000000;
  EXPECT_EQ(data.envelope("A", options).edges,
            (std::vector<std::int64_t>{begin, begin + 300000, begin + 600000, begin + 900001}));
}

TEST(EnvelopeBins, OfNothingAreNone) {
  const temporary_folder folder;
  selection wanted = of_files({write_numbers(folder, 10)});
  wanted.first_event = 1000;
  const channel_envelope seen = dataset::open(wanted).envelope("A");
  EXPECT_TRUE(seen.bins.empty());
  EXPECT_EQ(seen.edges, (std::vector<std::int64_t>{0}));
}

TEST(EnvelopeBins, OfAPartAfterTheLastEventAreNone) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_numbers(folder, 10)}));
  envelope_options options;
  options.from = 100;
  const channel_envelope seen = data.envelope("A", options);
  EXPECT_TRUE(seen.bins.empty());
  EXPECT_EQ(seen.edges, (std::vector<std::int64_t>{100}));
  EXPECT_EQ(seen.ledger.expected(), 0u);
}

TEST(EnvelopeBins, OfAllTimesThatThereAreAreEvenlyLong) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_numbers(folder, 10)}));
  envelope_options options;
  options.axis = bin_axis::time;
  options.bins = 7;
  options.from = std::numeric_limits<std::int64_t>::min();
  options.to = std::numeric_limits<std::int64_t>::max();
  const channel_envelope seen = data.envelope("A", options);
  EXPECT_EQ(seen.edges, (std::vector<std::int64_t>{
                            *options.from, -6588122883467697006, -3952873730080618204, -1317624576693539402,
                            1317624576693539400, 3952873730080618202, 6588122883467697004, *options.to}));
  std::vector<std::uint64_t> values;
  for (const envelope_bin& bin : seen.bins) values.push_back(bin.values);
  EXPECT_EQ(values, (std::vector<std::uint64_t>{0, 0, 0, 10, 0, 0, 0}));
}

TEST(EnvelopeBins, ThatMakeNoSenseAreRefused) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_numbers(folder, 10)}));
  envelope_options none, reversed;
  none.bins = 0;
  reversed.from = 5;
  reversed.to = 4;
  EXPECT_THROW(data.envelope("A", none), selection_error);
  EXPECT_THROW(data.envelope("A", reversed), selection_error);
  EXPECT_THROW(data.envelope("B"), selection_error);
}

// ---- histograms

void expect_counts(const number_histogram& seen, const std::vector<double>& numbers, std::size_t bins) {
  std::vector<std::uint64_t> counts(seen.counts.size());
  std::uint64_t below = 0, above = 0, nan = 0;
  for (const double one : numbers) {
    if (std::isnan(one)) {
      ++nan;
      continue;
    }
    std::size_t bin = 0;
    while (bin < bins && !(one >= seen.edge(bin) && one < seen.edge(bin + 1))) ++bin;
    if (counts.empty())
      ++(one > 0 ? above : below);
    else if (bin < bins)
      ++counts[bin];
    else if (one == seen.to)
      ++counts.back();
    else
      ++(one > seen.to ? above : below);
  }
  EXPECT_EQ(seen.counts, counts);
  EXPECT_EQ(seen.below, below);
  EXPECT_EQ(seen.above, above);
  EXPECT_EQ(seen.nan, nan);
}

void expect_histogram(const dataset& data, const std::string& channel, const histogram_options& options) {
  SCOPED_TRACE(channel);
  const channel_histogram seen = data.histogram(channel, options);
  const std::vector<seen_value> values = values_of(data, channel);
  const std::vector<std::string> series = series_of(values);
  ASSERT_EQ(seen.series.size(), series.size());
  for (std::size_t i = 0; i < series.size(); ++i) {
    const auto numbers = numbers_in(values, series[i], [](const seen_value&) { return true; });
    const number_statistics expected = statistics_of(numbers);
    const number_histogram& one = seen.series[i];
    const bool has_limits = (options.from && options.to) || expected.finite() != 0;
    ASSERT_EQ(one.counts.size(), has_limits ? options.bins : 0);
    if (options.from) {
      EXPECT_TRUE(!has_limits || one.from == *options.from);
    } else if (expected.least < expected.greatest && !options.to) {
      EXPECT_EQ(one.from, expected.least);
      EXPECT_EQ(one.to, expected.greatest);
    }
    expect_counts(one, numbers, options.bins);
  }
}

TYPED_TEST(Envelopes, AndHistogramsAreThoseOfTheEvents) {
  for (unsigned seed = 1; seed <= sets_to_try(25); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 200);
    const temporary_folder folder;
    dataset_options opened;
    opened.threads = 1 + random.below(3);
    const dataset data = dataset::open(of_files(write_kinds<TypeParam>(folder, random)), opened);
    histogram_options options;
    options.bins = 1 + random.below(20);
    if (random.chance(3)) options.from = -static_cast<double>(random.below(500));
    if (random.chance(3)) options.to = 1 + random.below(500);
    const std::uint64_t before = data.ledger().expected();
    for (const dataset_channel& channel : data.channels()) {
      if (options.from && options.to && *options.from >= *options.to) continue;
      expect_histogram(data, channel.label, options);
    }
    EXPECT_GT(data.ledger().expected(), before);
  }
}

TEST(Histograms, OfOneNumberHaveItInTheMiddle) {
  const temporary_folder folder;
  const number_histogram seen =
      dataset::open(of_files({write_numbers(folder, 1)})).histogram("A").series.at(0);
  EXPECT_EQ(seen.from, -0.5);
  EXPECT_EQ(seen.to, 0.5);
  EXPECT_EQ(seen.counts.at(50), 1u);
}

TEST(Histograms, CountTheGreatestNumberInTheLastBin) {
  const temporary_folder folder;
  histogram_options options;
  options.bins = 9;
  const number_histogram seen =
      dataset::open(of_files({write_numbers(folder, 10)})).histogram("A", options).series.at(0);
  EXPECT_EQ(seen.counts, (std::vector<std::uint64_t>{1, 1, 1, 1, 1, 1, 1, 1, 2}));
}

TEST(Histograms, WithLimitsThatMakeNoSenseAreRefused) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_numbers(folder, 10)}));
  for (const auto& [from, to] :
       std::vector<std::pair<double, double>>{{1, 1}, {2, 1}, {NAN, 1}, {0, INFINITY}, {-1e308, 1e308}}) {
    histogram_options options;
    options.from = from;
    options.to = to;
    EXPECT_THROW(data.histogram("A", options), selection_error) << from << " " << to;
  }
  histogram_options none;
  none.bins = 0;
  EXPECT_THROW(data.histogram("A", none), selection_error);
}

TEST(Histograms, CountEachValueOnceInTheLedger) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_numbers(folder, 10)}));
  EXPECT_EQ(data.histogram("A").ledger.delivered(), 10u);
  EXPECT_EQ(data.ledger().delivered(), 10u);
}

}  // namespace
