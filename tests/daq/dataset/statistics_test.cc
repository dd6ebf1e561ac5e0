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

// As many numbers as are added at once; 256 of 24 bits that are 32 bits apart do not fit into 63 bits.
TEST(ExactSums, OfNumbersWhoseSizesLieFarApartDoNotOverflow) {
  __extension__ using wide = unsigned __int128;
  constexpr std::size_t count = 256;
  constexpr std::uint64_t small = (1u << 24) - 1;  // all bits of a float
  for (unsigned apart = 28; apart <= 36; ++apart)
    for (const int sign : {1, -1}) {
      SCOPED_TRACE(sign * static_cast<int>(apart));
      const std::uint64_t large = small << apart, difference = large - small;
      std::vector<float> numbers(count, static_cast<float>(sign) * static_cast<float>(large));
      numbers[17] = static_cast<float>(sign) * static_cast<float>(small);
      const number_statistics seen = statistics_of_floats(numbers);
      EXPECT_EQ(seen.mean, sign * static_cast<double>((count - 1) * wide{large} + small) / count);
      // Of n - 1 equal numbers and another one, n * squares - sum^2 is (n - 1) * difference^2.
      const wide spread = (count - 1) * wide{difference} * difference;
      EXPECT_EQ(seen.deviation, std::sqrt(static_cast<double>(spread)) / count);
    }
}

TEST(ExactSums, AreThoseOfWholeNumbersAtEveryScale) {
  __extension__ using wide = __int128;
  std::mt19937 random(5);
  for (int scale = -149; scale <= 74; ++scale) {
    SCOPED_TRACE(scale);
    const std::size_t count = 1 + random() % 256;
    std::vector<float> numbers;
    wide sum = 0, squares = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const std::int64_t mantissa = static_cast<std::int64_t>(random() >> 8) - (1 << 22);
      const std::int64_t whole = mantissa * (std::int64_t{1} << random() % 31);
      numbers.push_back(std::ldexp(static_cast<float>(whole), scale));
      sum += whole;
      squares += wide{whole} * whole;
    }
    const auto n = static_cast<double>(count);
    const double spread = static_cast<double>(static_cast<wide>(count) * squares - sum * sum);
    const number_statistics seen = statistics_of_floats(numbers);
    EXPECT_EQ(seen.mean, std::ldexp(static_cast<double>(sum), scale) / n);
    EXPECT_EQ(seen.deviation, std::ldexp(std::sqrt(spread), scale) / n);
  }
}

TEST(ExactSums, AreRoundedOnceWhereverTheirLastBitLies) {
  for (int unit = -149; unit <= 74; ++unit) {
    // Half way between two doubles, where the even one is taken; and a little more.
    const float large = std::ldexp(1.0f, unit + 53), half = std::ldexp(1.0f, unit);
    EXPECT_EQ(statistics_of_floats({large, half, 0, 0}).mean, std::ldexp(0x1p53, unit) / 4) << unit;
    for (int last = -149; last < unit; ++last)
      ASSERT_EQ(statistics_of_floats({large, half, std::ldexp(1.0f, last), 0}).mean,
                std::ldexp(0x1p53 + 2, unit) / 4)
          << unit << " " << last;
  }
}

TEST(ExactSums, DoNotShowWhichZeroCameFirst) {
  EXPECT_FALSE(std::signbit(statistics_of_floats({-0.0f, 0.0f}).least));
  EXPECT_FALSE(std::signbit(statistics_of_floats({-0.0f}).greatest));
}

// ---- gaps

std::optional<gap_statistics> gaps_of(const std::vector<std::uint32_t>& events) {
  const temporary_folder folder;
  handmade_file file;
  std::vector<std::pair<std::size_t, float>> numbers;
  for (const std::uint32_t event : events) {
    numbers.emplace_back(numbers.size(), 1.0f);
    file.events.push_back(event_at(event, 100 * event));
  }
  file.channels = {numbers_at("C", numbers)};
  return dataset::open(of_files({write(folder, "a.raw", file)})).statistics("C").gaps;
}

TEST(StatisticsOfGaps, BeginAfterOneAndAHalfTimesTheUsualDistance) {
  const auto none = gaps_of({2, 4, 6, 8, 11});
  ASSERT_TRUE(none);
  EXPECT_EQ(none->count, 0u);
  EXPECT_EQ(none->events, 0u);
  const auto one = gaps_of({2, 4, 6, 8, 11, 15});
  ASSERT_TRUE(one);
  EXPECT_EQ(one->count, 1u);
  EXPECT_EQ(one->events, 1u);
  EXPECT_EQ(one->longest, 4u);
  EXPECT_EQ(one->after_event, 11u);
}

TEST(StatisticsOfGaps, GoByTheSmallerOfTwoDistancesInTheMiddle) {
  const auto gaps = gaps_of({1, 2, 3, 5, 7});
  ASSERT_TRUE(gaps);
  EXPECT_EQ(gaps->count, 2u);
  EXPECT_EQ(gaps->events, 2u);
  EXPECT_EQ(gaps->longest, 2u);
  EXPECT_EQ(gaps->after_event, 3u);
}

TEST(StatisticsOfGaps, NeedThreeValues) {
  EXPECT_FALSE(gaps_of({1, 2}));
  EXPECT_TRUE(gaps_of({1, 2, 3}));
}

// ---- readings

/// Files of so many events each, with a wave at those whose place in the file leaves 0 or 2 divided by 3.
std::vector<std::string> write_parts(const temporary_folder& folder, std::uint32_t files,
                                     std::uint32_t events) {
  std::vector<std::string> paths;
  for (std::uint32_t number = 0; number < files; ++number) {
    handmade_file file;
    handmade_channel channel("C");
    for (std::uint32_t i = 0; i < events; ++i) {
      const std::uint32_t event = number * events + i;
      file.events.push_back(event_at(1 + event, 10 * event));
      handmade_block block;
      block.event = i;
      block.payload = spectrum({std::vector<float>(1 + i % 5, static_cast<float>(event))});
      if (i % 3 != 1) channel.blocks.push_back(block);
    }
    file.channels = {channel};
    paths.push_back(write(folder, "part" + std::to_string(number) + ".raw", file));
  }
  return paths;
}

TEST(StatisticsReading, OfManyFilesInLittleMemoryIsThatOfTheEvents) {
  const temporary_folder folder;
  selection wanted = of_files(write_parts(folder, 30, 301));
  dataset_options options;
  options.memory_limit = std::size_t{1} << 20;  // so that the rows of all files are not there at once
  const dataset data = dataset::open(wanted, options);
  const channel_statistics seen = data.statistics("C");
  expect_statistics(data, seen);
  EXPECT_EQ(seen.values, 30u * 201);
  ASSERT_TRUE(seen.gaps);
  EXPECT_EQ(seen.gaps->count, 30u * 100);
}

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
