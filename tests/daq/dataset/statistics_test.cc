// Statistics of channels against those of the events' values, for every kind of value, with damage, in both
// generations; and what sums of floats are known to get wrong.
#include <gtest/gtest.h>

#include "brute_force.h"
#include "format/time.h"
#include "read/number_totals.h"

namespace {

using namespace ravo;
using namespace ravo::test;

void expect_same(const number_statistics& seen, const number_statistics& expected) {
  EXPECT_EQ(seen.count, expected.count);
  EXPECT_EQ(seen.nan, expected.nan);
  EXPECT_EQ(seen.infinite, expected.infinite);
  EXPECT_PRED2(is_same_number, seen.mean, expected.mean);
  EXPECT_PRED2(is_same_number, seen.deviation, expected.deviation);
  EXPECT_PRED2(is_same_number, seen.least, expected.least);
  EXPECT_PRED2(is_same_number, seen.greatest, expected.greatest);
}

void expect_first_and_last(const channel_statistics& seen, const std::vector<seen_value>& values) {
  if (values.empty()) return;
  EXPECT_EQ(seen.first.event_number, values.front().recorded.event_number);
  EXPECT_EQ(in_microseconds(seen.first.time), in_microseconds(values.front().recorded.time));
  EXPECT_EQ(seen.last.event_number, values.back().recorded.event_number);
  EXPECT_EQ(in_microseconds(seen.last.time), in_microseconds(values.back().recorded.time));
}

void expect_statistics(const dataset& data, const channel_statistics& seen) {
  SCOPED_TRACE(seen.channel);
  const std::vector<seen_value> values = values_of(data, seen.channel);
  ASSERT_EQ(seen.values, values.size());
  std::array<std::uint64_t, value_status_count> by_status{};
  std::uint64_t without_numbers = 0;
  for (const seen_value& one : values) {
    ++by_status[static_cast<std::size_t>(one.status)];
    without_numbers += one.status == value_status::ok && !one.has_numbers;
  }
  EXPECT_EQ(seen.by_status, by_status);
  EXPECT_EQ(seen.without_numbers, without_numbers);
  EXPECT_TRUE(seen.ledger.is_balanced());
  EXPECT_EQ(seen.ledger.delivered(), by_status[0]);
  EXPECT_EQ(seen.ledger.missing(), values.size() - by_status[0]);
  expect_first_and_last(seen, values);
  const std::vector<std::string> series = series_of(values);
  ASSERT_EQ(seen.series.size(), series.size());
  for (std::size_t i = 0; i < series.size(); ++i) {
    if (series[i].starts_with("R:")) {
      EXPECT_EQ("R:" + seen.series[i].name, series[i]);
    }
    expect_same(seen.series[i].numbers,
                statistics_of(numbers_in(values, series[i], [](const seen_value&) { return true; })));
  }
}

template <class layout>
class Statistics : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Statistics, layouts);

TYPED_TEST(Statistics, AreThoseOfTheEventsOfEveryKind) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    selection wanted = of_files(write_kinds<TypeParam>(folder, random));
    wanted.step = 1 + random.below(2);
    if (random.chance(3)) wanted.limit = 1 + random.below(12);
    dataset_options options;
    options.threads = 1 + random.below(3);
    const dataset data = dataset::open(wanted, options);
    const std::vector<channel_statistics> all = data.statistics();
    ASSERT_EQ(all.size(), data.channels().size());
    for (const channel_statistics& one : all) expect_statistics(data, one);
    expect_statistics(data, data.statistics("MIXED"));
  }
}

TYPED_TEST(Statistics, OfAMemberAreThoseOfTheMember) {
  generator random(7);
  const temporary_folder folder;
  const dataset data = dataset::open(
      of_files(write_kinds<TypeParam>(folder, random), {"KIND3:CHARGE", "KIND3:0", "KIND7:1", "KIND4:1"}));
  for (const channel_statistics& one : data.statistics()) expect_statistics(data, one);
  EXPECT_EQ(data.statistics("KIND3:2").series.at(0).name, "CHARGE");
  EXPECT_EQ(data.statistics("KIND7:1").series.at(0).name, "Y");
}

TYPED_TEST(Statistics, OfGeneratedSetsWithDamageAreThoseOfTheEvents) {
  for (unsigned seed = 1; seed <= sets_to_try(60); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 5000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, !random.chance(3), harms::all);
    selection wanted = of_files(all.files, all.channels);
    wanted.join = static_cast<join_policy>(random.below(2));
    const dataset data = dataset::open(wanted);
    event_range events = data.events();
    for (const event& one : events) (void)one;
    const read_ledger expected = events.ledger();
    const std::vector<channel_statistics> seen = data.statistics();
    for (std::size_t i = 0; i < seen.size(); ++i) {
      const std::uint64_t of_no_event =
          expected.channels[i].missing[static_cast<std::size_t>(missing_cause::no_event_header)];
      EXPECT_EQ(seen[i].ledger.channels.at(0).expected, expected.channels[i].expected);
      EXPECT_EQ(seen[i].ledger.channels.at(0).missing, expected.channels[i].missing);
      EXPECT_EQ(seen[i].values, expected.channels[i].expected - of_no_event);
      const std::vector<seen_value> values = values_of(data, seen[i].channel);
      expect_first_and_last(seen[i], values);
      const auto numbers = numbers_in(values, "0", [](const seen_value&) { return true; });
      if (numbers.empty()) continue;
      ASSERT_EQ(seen[i].series.size(), 1u);
      EXPECT_EQ(seen[i].series[0].name, "CH0");
      expect_same(seen[i].series[0].numbers, statistics_of(numbers));
    }
  }
}

// ---- floats of all sizes

std::vector<float> wild_floats(std::size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<float> all(count);
  for (float& one : all) {
    const auto bits = static_cast<std::uint32_t>(random());
    std::memcpy(&one, &bits, sizeof one);
  }
  return all;
}

std::string write_waves(const temporary_folder& folder, const std::vector<float>& numbers,
                        std::size_t in_wave) {
  handmade_file file;
  handmade_channel channel("C");
  for (std::size_t at = 0; at < numbers.size(); at += in_wave) {
    const auto begin = numbers.begin() + static_cast<std::ptrdiff_t>(at);
    handmade_block block;
    block.event = file.events.size();
    block.payload = spectrum({{begin, begin + static_cast<std::ptrdiff_t>(in_wave)}});
    file.events.push_back(event_at(static_cast<std::uint32_t>(1 + block.event),
                                   static_cast<std::uint32_t>(100 * block.event)));
    channel.blocks.push_back(block);
  }
  file.channels = {channel};
  return write(folder, "waves" + std::to_string(in_wave) + ".raw", file);
}

bool same_bits(const number_statistics& a, const number_statistics& b) {
  const auto bits = [](double number) { return std::bit_cast<std::uint64_t>(number); };
  return a.count == b.count && a.nan == b.nan && a.infinite == b.infinite && bits(a.mean) == bits(b.mean) &&
         bits(a.deviation) == bits(b.deviation) && bits(a.least) == bits(b.least) &&
         bits(a.greatest) == bits(b.greatest);
}

TEST(StatisticsOfWildFloats, DoNotDependOnThreadsNorOnHowTheNumbersAreCutIntoValues) {
  const temporary_folder folder;
  const std::vector<float> numbers = wild_floats(24000, 1);
  std::optional<number_statistics> first;
  for (const std::size_t in_wave : {1u, 5u, 24u, 600u, 12000u, 24000u})
    for (const std::size_t threads : {1u, 2u, 5u}) {
      dataset_options options;
      options.threads = threads;
      const dataset data = dataset::open(of_files({write_waves(folder, numbers, in_wave)}), options);
      const number_statistics seen = data.statistics("C").series.at(0).numbers;
      if (!first) first = seen;
      EXPECT_TRUE(same_bits(seen, *first)) << in_wave << " " << threads;
    }
  EXPECT_GT(first->nan, 0u);
}

number_statistics statistics_of_floats(const std::vector<float>& numbers) {
  detail::number_moments moments;
  moments.add({element_type::float32, reinterpret_cast<const std::byte*>(numbers.data()), numbers.size()});
  return moments.statistics();
}

TEST(ExactSums, LoseNothingBetweenNumbersOfDifferentSizes) {
  constexpr float large = 3e38f, tiny = std::numeric_limits<float>::denorm_min();
  EXPECT_EQ(statistics_of_floats({large, tiny, -large}).mean, static_cast<double>(tiny) / 3);
  EXPECT_EQ(statistics_of_floats({large, large, large, large}).mean, static_cast<double>(large));
  EXPECT_EQ(statistics_of_floats({large, large, large, large}).deviation, 0);
  // 2^53 + 1 + 2^-20 is more than half way between two doubles.
  EXPECT_EQ(statistics_of_floats({0x1p53f, 1.0f, 0x1p-20f, 0}).mean, (0x1p53 + 2) / 4);
  EXPECT_EQ(statistics_of_floats({-0x1p53f, -1.0f, -0x1p-20f, 0}).mean, (-0x1p53 - 2) / 4);
}

TEST(ExactSums, OfADeviationDoNotCancel) {
  // Far from zero, the squares are large and the deviation is small.
  std::vector<float> numbers;
  for (int i = 0; i < 1000; ++i) numbers.push_back(16777214.0f + static_cast<float>(i % 2));
  EXPECT_EQ(statistics_of_floats(numbers).deviation, 0.5);
  EXPECT_EQ(statistics_of_floats(numbers).mean, 16777214.5);
}

TEST(ExactSums, OfGroupsAreThoseOfSingleNumbers) {
  std::vector<float> numbers = wild_floats(3000, 2);
  for (std::size_t i = 0; i < 1500; ++i) numbers[i] = static_cast<float>(i % 7) - 3.5f;
  detail::number_moments by_one;
  for (const float& one : numbers)
    by_one.add({element_type::float32, reinterpret_cast<const std::byte*>(&one), 1});
  EXPECT_TRUE(same_bits(by_one.statistics(), statistics_of_floats(numbers)));
}

TEST(ExactSums, DoNotShowWhichZeroCameFirst) {
  EXPECT_FALSE(std::signbit(statistics_of_floats({-0.0f, 0.0f}).least));
  EXPECT_FALSE(std::signbit(statistics_of_floats({-0.0f}).greatest));
}

// ---- readings

TEST(StatisticsReading, ThatIsCancelledLeavesTheDatasetAsItWas) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_waves(folder, wild_floats(24000, 3), 24)}));
  std::stop_source source;
  source.request_stop();
  statistics_options options;
  options.stop = source.get_token();
  EXPECT_THROW(data.statistics("C", options), read_cancelled);
  EXPECT_EQ(data.statistics("C").values, 1000u);
  EXPECT_TRUE(data.ledger().is_balanced());
}

TEST(StatisticsReading, ReportsHowFarItHasCome) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_waves(folder, wild_floats(24000, 3), 24)}));
  read_progress last;
  statistics_options options;
  options.progress = [&last](const read_progress& now) {
    EXPECT_GE(now.done_bytes, last.done_bytes);
    last = now;
  };
  const channel_statistics seen = data.statistics("C", options);
  EXPECT_EQ(last.done_bytes, last.total_bytes);
  EXPECT_EQ(last.total_bytes, seen.stored_bytes);
}

TEST(StatisticsReading, ThrowsWhatThePolicyDoesNotAllow) {
  const temporary_folder folder;
  handmade_file file;
  file.events = {event_at(1, 0), event_at(2, 100)};
  handmade_channel channel("C");
  channel.blocks = {scalar(0, 1.0f), zipped(scalar(1, 2.0f), 4)};
  file.channels = {channel};
  dataset_options strict;
  strict.damage = damage_policy::strict();
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}), strict);
  EXPECT_THROW(data.statistics("C"), missing_data);
  EXPECT_EQ(data.ledger().missing(), 1u);
  EXPECT_TRUE(data.ledger().is_balanced());
}

TEST(StatisticsReading, TakesLittleMemoryForManyValues) {
  const temporary_folder folder;
  const std::string path = write_waves(folder, wild_floats(4000000, 4), 2000);
  dataset_options options;
  options.memory_limit = std::size_t{4} << 20;  // a quarter of the values
  const dataset data = dataset::open(of_files({path}), options);
  EXPECT_EQ(data.statistics("C").values, 2000u);
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

TEST(StatisticsOfRecords, ThatHaveManyNamesAreRefusedWhereTheyDoNotFit) {
  const temporary_folder folder;
  handmade_file file;
  file.events = {event_at(1, 0)};
  handmade_channel channel("C");
  handmade_block block;
  block.dtype = RAVO_BLOCK_NAME_VALUE;
  constexpr int records = 20000;
  block.payload.i32(1).text("", 80).i32(records);
  for (int i = 0; i < records; ++i) block.payload.text("R" + std::to_string(i), 80).f32(1);
  channel.blocks = {block};
  file.channels = {channel};
  const std::string path = write(folder, "a.raw", file);
  EXPECT_EQ(dataset::open(of_files({path})).statistics("C").series.size(), 20000u);
  dataset_options options;
  options.memory_limit = std::size_t{4} << 20;
  EXPECT_THROW(dataset::open(of_files({path}), options).statistics("C"), memory_exceeded);
}

}  // namespace
