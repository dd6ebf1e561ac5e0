// Parts of selections, each opened by its text: what they deliver, one after the other, is what the whole
// delivers, and their ledgers and digests add up. The truth is the whole, read without parts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <tuple>

#include "cut_sets.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::ElementsAre;

/// What a reading has of one value.
using seen_value = std::tuple<int, std::int64_t, std::vector<std::byte>>;
struct seen_event {
  std::uint32_t number;
  std::int64_t time;
  std::vector<seen_value> values;
  bool operator==(const seen_event&) const = default;
};

std::int64_t microseconds(const time_stamp& time) {
  return std::int64_t{time.timeup} * 1000000 + time.timelow;
}

std::vector<seen_event> events_of(event_range events) {
  std::vector<seen_event> all;
  for (const event& one : events) {
    seen_event& seen = all.emplace_back(seen_event{one.number(), microseconds(one.time()), {}});
    for (std::size_t i = 0; i < one.channels(); ++i) {
      const value read = one[i];
      const auto bytes = read.bytes();
      seen.values.emplace_back(static_cast<int>(read.status()), read.age(),
                               std::vector<std::byte>(bytes.begin(), bytes.end()));
    }
  }
  return all;
}

/// The rows of a column. Values that are NaN are compared by their status.
struct seen_rows {
  std::vector<std::uint32_t> numbers;
  std::vector<std::int64_t> times;
  std::vector<int> status;
  std::vector<std::int64_t> ages;
  std::vector<float> values;
  bool operator==(const seen_rows&) const = default;

  void add(const column_data& column) {
    for (std::size_t i = 0; i < column.size(); ++i) {
      numbers.push_back(column.numbers[i]);
      times.push_back(microseconds(column.times[i]));
      status.push_back(static_cast<int>(column.status[i]));
      ages.push_back(column.ages.empty() ? 0 : column.ages[i]);
      values.push_back(has_value(column.status[i]) ? column.values<float>()[i] : 0);
    }
  }
};

/// What the tables say of the rows of a channel.
struct seen_index {
  std::vector<std::uint32_t> numbers;
  std::vector<std::int64_t> times;
  std::vector<index_status> status;
  std::vector<std::int64_t> ages;
  bool operator==(const seen_index&) const = default;

  void add(const channel_index& index) {
    numbers.insert(numbers.end(), index.numbers().begin(), index.numbers().end());
    times.insert(times.end(), index.times_us().begin(), index.times_us().end());
    status.insert(status.end(), index.status.begin(), index.status.end());
    for (std::size_t i = 0; i < index.size(); ++i) ages.push_back(index.ages.empty() ? 0 : index.ages[i]);
  }
};

/// Of one channel, a bin a second.
using seen_bins = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

column_options rows_of_events() {
  column_options options;
  options.rows = column_rows::events;
  return options;
}

/// All readings of a selection, or of its parts one after the other. Accounts go through JSON.
struct seen_all {
  std::vector<seen_event> events;
  std::vector<seen_rows> recorded, by_event;  ///< by channel
  std::vector<seen_index> index;              ///< of rows by event
  std::vector<seen_bins> available;           ///< recorded and damaged
  std::vector<named_value_digest> value_digests;
  std::size_t size = 0;
  read_ledger of_events, of_columns;
  std::vector<named_digest> digests;

  void add(const dataset& data) {
    event_range range = data.events();
    const auto more = events_of(std::move(range));
    events.insert(events.end(), more.begin(), more.end());
    of_events.add(read_ledger::from_json(data.ledger().to_json()));
    size += data.size();
    recorded.resize(data.channels().size());
    by_event.resize(data.channels().size());
    for (std::size_t i = 0; i < data.channels().size(); ++i) {
      const column_data column = data.column(data.channels()[i].label);
      recorded[i].add(column);
      of_columns.add(read_ledger::from_json(column.ledger.to_json()));
      by_event[i].add(data.column(data.channels()[i].label, rows_of_events()));
    }
    add_digests(digests, digests_from_json(digests_to_json(data.digest())));
    add_computed(data);
  }

 private:
  void add_computed(const dataset& data) {
    index_options by_events;
    by_events.rows = column_rows::events;
    const dataset_index tables = data.index(by_events);
    index.resize(tables.channels.size());
    for (std::size_t i = 0; i < index.size(); ++i) index[i].add(tables.channels[i]);
    availability_options bins;
    bins.bins = 50;
    bins.from = std::int64_t{noon - 10} * 1000000;
    bins.to = std::int64_t{noon + 40} * 1000000;
    const availability_map map = data.availability(bins);
    available.resize(map.channels.size(), seen_bins(bins.bins));
    for (std::size_t i = 0; i < available.size(); ++i)
      for (std::size_t bin = 0; bin < bins.bins; ++bin) {
        available[i][bin].first += map.channels[i].bins[bin].recorded;
        available[i][bin].second += map.channels[i].bins[bin].damaged;
      }
    const std::vector<named_value_digest> more = data.value_digests();
    value_digests.resize(more.size());
    for (std::size_t i = 0; i < more.size(); ++i) value_digests[i].digest.add(more[i].digest);
  }
};

using listed_case = std::tuple<std::string, std::string, std::uint64_t, std::uint32_t, std::int64_t, int>;
std::vector<listed_case> cases_of(const read_ledger& ledger) {
  std::vector<listed_case> cases;
  for (const missing_value& one : ledger.values)
    cases.emplace_back(one.channel, one.file, one.offset, one.event.event_number,
                       microseconds(one.event.time), static_cast<int>(one.cause));
  std::sort(cases.begin(), cases.end());
  return cases;
}

void expect_same_ledger(const read_ledger& sum, const read_ledger& whole) {
  ASSERT_EQ(sum.channels.size(), whole.channels.size());
  for (std::size_t i = 0; i < whole.channels.size(); ++i) {
    EXPECT_EQ(sum.channels[i].channel, whole.channels[i].channel);
    EXPECT_EQ(sum.channels[i].expected, whole.channels[i].expected) << whole.channels[i].channel;
    EXPECT_EQ(sum.channels[i].delivered, whole.channels[i].delivered);
    EXPECT_EQ(sum.channels[i].missing, whole.channels[i].missing);
  }
  EXPECT_EQ(cases_of(sum), cases_of(whole));
  std::set<std::pair<std::string, file_refusal>> of_sum, of_whole;
  for (const refused_file& file : sum.files) of_sum.emplace(file.path, file.reason);
  for (const refused_file& file : whole.files) of_whole.emplace(file.path, file.reason);
  EXPECT_EQ(of_sum, of_whole);
}

/// Each part opens its files and nothing else, and the plans of the parts add up.
void expect_good_plans(const std::vector<partition>& parts, const dataset& whole) {
  const read_plan plan = whole.plan();
  std::uint64_t events = 0, stored = 0;
  std::vector<std::uint64_t> values(plan.channels.size());
  std::set<std::string> files;
  for (const partition& part : parts) {
    EXPECT_EQ(part.plan.files, part.wanted.files.size());
    for (const std::string& file : part.wanted.files) EXPECT_TRUE(files.insert(file).second) << file;
    events += part.plan.events;
    stored += part.plan.stored_bytes;
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_EQ(part.plan.channels[i].channel, plan.channels[i].channel);
      values[i] += part.plan.channels[i].values;
    }
  }
  EXPECT_EQ(events, plan.events);
  EXPECT_EQ(stored, plan.stored_bytes);
  for (std::size_t i = 0; i < values.size(); ++i) EXPECT_EQ(values[i], plan.channels[i].values);
}

void expect_opened_as_planned(const dataset& data, const partition& part) {
  EXPECT_EQ(data.get_selection(), part.wanted);
  std::set<std::string> opened, named(part.wanted.files.begin(), part.wanted.files.end());
  for (const dataset_file& file : data.files())
    if (file.refusal == file_refusal::none) opened.insert(file.path);
  named.insert(part.wanted.context.begin(), part.wanted.context.end());
  EXPECT_EQ(opened, named);
  const std::vector<ravo_time_id> ids = data.event_ids();
  EXPECT_EQ(ids.size(), part.plan.events);
  ASSERT_EQ(part.first_event.has_value(), !ids.empty());
  if (ids.empty()) return;
  EXPECT_EQ(ids.front().event_number, part.first_event->event_number);
  EXPECT_EQ(microseconds(ids.front().time), microseconds(part.first_event->time));
  EXPECT_EQ(ids.back().event_number, part.last_event->event_number);
  EXPECT_EQ(microseconds(ids.back().time), microseconds(part.last_event->time));
}

partition_options by_count(std::size_t count) {
  partition_options options;
  options.count = count;
  return options;
}
partition_options by_bytes(std::uint64_t bytes) {
  partition_options options;
  options.target_bytes = bytes;
  return options;
}

/// Reads the parts, and compares; returns how many there are.
std::size_t expect_same_as_whole(const dataset& whole, const seen_all& expected,
                                 const partition_options& options) {
  const std::vector<partition> parts = whole.partitions(options);
  expect_good_plans(parts, whole);
  seen_all sum;
  for (const partition& part : parts) {
    SCOPED_TRACE(part.text());
    EXPECT_EQ(selection::parse(part.text()), part.wanted);
    const dataset data = dataset::open(part.text());
    EXPECT_EQ(data.channels().size(), whole.channels().size());
    expect_opened_as_planned(data, part);
    sum.add(data);
  }
  if (parts.empty()) {
    EXPECT_TRUE(expected.events.empty());
    EXPECT_EQ(expected.of_columns.expected(), 0u);
    return 0;
  }
  EXPECT_EQ(sum.size, expected.size);
  EXPECT_EQ(sum.events, expected.events);
  EXPECT_EQ(sum.recorded, expected.recorded);
  EXPECT_EQ(sum.by_event, expected.by_event);
  EXPECT_EQ(sum.digests, expected.digests);
  EXPECT_EQ(sum.index, expected.index);
  EXPECT_EQ(sum.available, expected.available);
  for (std::size_t i = 0; i < expected.value_digests.size(); ++i)
    EXPECT_EQ(sum.value_digests[i].digest, expected.value_digests[i].digest);
  expect_same_ledger(sum.of_events, expected.of_events);
  expect_same_ledger(sum.of_columns, expected.of_columns);
  return parts.size();
}

/// By 1, 2 and 7 parts and by bytes.
std::size_t expect_parts_add_up(const dataset& whole, generator& random) {
  seen_all expected;
  expected.add(whole);
  std::size_t parts = 0;
  for (const std::size_t count : {1u, 2u, 7u})
    parts += expect_same_as_whole(whole, expected, by_count(count));
  return parts + expect_same_as_whole(whole, expected, by_bytes(1 + random.below(600)));
}

/// `nullopt` where only a spoiled file has the channel to join by, or no file is good.
std::optional<dataset> open_if_sound(const selection& wanted) {
  try {
    return dataset::open(wanted);
  } catch (const dataset_error&) {
    return std::nullopt;
  }
}

template <class layout>
class Parts : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Parts, layouts);

TYPED_TEST(Parts, OfSetsWithSlowChannelsAddUpToTheWhole) {
  std::size_t parts = 0, refused = 0;
  for (unsigned seed = 1; seed <= sets_to_try(100); ++seed) {
    cut_set<TypeParam> set(seed);
    const selection wanted = set.wanted();
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + wanted.to_text());
    const std::optional<dataset> whole = open_if_sound(wanted);
    if (!whole) {
      ++refused;
      continue;
    }
    parts += expect_parts_add_up(*whole, set.random);
    if (this->HasFailure()) return;
  }
  EXPECT_GT(parts, sets_to_try(100) * 5);
  EXPECT_LT(refused, sets_to_try(100) / 5);
}

TYPED_TEST(Parts, OfDamagedSetsAddUpToTheWhole) {
  for (unsigned seed = 1; seed <= sets_to_try(100); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const generated all =
        random.make<TypeParam>(folder, !random.chance(3), random.chance(2) ? harms::all : harms::no);
    selection wanted = of_files(all.files, all.channels);
    wanted.synch = random.chance(2) ? synch_mode::by_time : synch_mode::by_number;
    wanted.join = random.chance(3) ? join_policy::all : join_policy::any;
    wanted.step = 1 + random.below(3);
    expect_parts_add_up(dataset::open(wanted), random);
    if (this->HasFailure()) return;
  }
}

// Parts of parts are parts of the whole.
TYPED_TEST(Parts, CanBeCutAgain) {
  std::size_t parts = 0;
  for (unsigned seed = 1; seed <= sets_to_try(20); ++seed) {
    cut_set<TypeParam> set(seed + 5000);
    const selection wanted = set.wanted();
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + wanted.to_text());
    const std::optional<dataset> whole = open_if_sound(wanted);
    if (!whole) continue;
    for (const partition& part : whole->partitions(by_count(2)))
      parts += expect_parts_add_up(dataset::open(part.text()), set.random);
    if (this->HasFailure()) return;
  }
  EXPECT_GT(parts, sets_to_try(20) * 4);
}

/// Files of one event each, a second from one to the next, with "A" in each; "S" in the first.
template <class layout>
std::vector<std::string> files_of_one_event(const temporary_folder& folder, unsigned count) {
  std::vector<std::string> files;
  for (unsigned i = 0; i < count; ++i) {
    handmade_file_of<layout> made;
    made.events = {event_at(i + 1, i * 1000), event_at(i + 1, i * 1000, RAVO_EV_UPD)};
    made.channels = {numbers_at<layout>("A", {{0, static_cast<float>(i)}})};
    if (i == 0) {
      handmade_channel slow("S");
      slow.ev_mask = 1u << RAVO_EV_UPD;
      slow.blocks = {update_of(layout{}, 1, 10, noon)};
      made.channels.push_back(slow);
    }
    files.push_back(write(folder, "f" + std::to_string(i) + ".raw", made));
  }
  return files;
}

TYPED_TEST(Parts, NameTheirFilesAndThoseOfTheirContext) {
  const temporary_folder folder;
  const std::vector<std::string> files = files_of_one_event<TypeParam>(folder, 4);
  selection wanted = of_files(files);
  wanted.slow = slow_policy::hold;
  const std::vector<partition> parts = dataset::open(wanted).partitions(by_count(2));
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_THAT(parts[0].wanted.files, ElementsAre(files[0]));  // with the update, which is the larger half
  EXPECT_TRUE(parts[0].wanted.context.empty());
  EXPECT_THAT(parts[1].wanted.files, ElementsAre(files[1], files[2], files[3]));
  EXPECT_THAT(parts[1].wanted.context, ElementsAre(files[0]));
  EXPECT_EQ(parts[1].text(), "linac/main file=" + files[1] + "," + files[2] + "," + files[3] +
                                 " context=" + files[0] + " exact=fast:A,slow:S slow=hold");
  EXPECT_EQ(parts[1].plan.channels[1].values, 0u);
  const dataset second = dataset::open(parts[1].text());
  EXPECT_EQ(second.channels()[1].entries, 0u);
  EXPECT_EQ(second.plan().files, 3u);
  const column_data held = second.column("S", rows_of_events());
  EXPECT_THAT(held.status, ElementsAre(value_status::held, value_status::held, value_status::held));
  EXPECT_EQ(held.ledger.expected(), 0u);
}

TYPED_TEST(Parts, OfAnEventRangeOpenTheFilesThatHaveIt) {
  const temporary_folder folder;
  const std::vector<std::string> files = files_of_one_event<TypeParam>(folder, 20);
  selection wanted = of_files(files);
  wanted.first_event = 7;
  wanted.last_event = 8;
  const std::vector<partition> parts = dataset::open(wanted).partitions(by_count(1));
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_THAT(parts[0].wanted.files, ElementsAre(files[6], files[7]));
}

TYPED_TEST(Parts, ByCountAreAsManyAsAskedForWhereThereAreAsManyPieces) {
  const temporary_folder folder;
  const dataset whole = dataset::open(of_files(files_of_one_event<TypeParam>(folder, 9), {"A"}));
  for (std::size_t count = 1; count <= 12; ++count) {
    const auto parts = whole.partitions(by_count(count));
    EXPECT_EQ(parts.size(), std::min<std::size_t>(count, 9));
    for (const partition& part : parts) EXPECT_LE(part.plan.events, 9 / count + 1);
  }
}

TYPED_TEST(Parts, ByBytesAreNoLargerUnlessTheyAreOnePiece) {
  const temporary_folder folder;
  const dataset whole = dataset::open(of_files(files_of_one_event<TypeParam>(folder, 9), {"A"}));
  const std::uint64_t one = whole.partitions(by_count(9))[4].plan.decoded_bytes;
  EXPECT_EQ(whole.partitions(by_bytes(1)).size(), 9u);
  for (const partition& part : whole.partitions(by_bytes(3 * one))) {
    EXPECT_LE(part.plan.decoded_bytes, 3 * one);
    EXPECT_GE(part.plan.events, 1u);
  }
  EXPECT_EQ(whole.partitions(by_bytes(1000 * one)).size(), 1u);
}

TYPED_TEST(Parts, ByBytesTakeWhatFitsToTheByte) {
  const temporary_folder folder;
  const dataset whole = dataset::open(of_files(files_of_one_event<TypeParam>(folder, 9), {"A"}));
  const std::uint64_t three = whole.partitions(by_count(3))[0].plan.decoded_bytes;
  const auto sizes = [&whole](const partition_options& options) {
    std::vector<std::uint64_t> events;
    for (const partition& part : whole.partitions(options)) events.push_back(part.plan.events);
    return events;
  };
  ASSERT_THAT(sizes(by_count(3)), ElementsAre(3u, 3u, 3u));
  EXPECT_THAT(sizes(by_bytes(three)), ElementsAre(3u, 3u, 3u));
  EXPECT_THAT(sizes(by_bytes(three - 1)), ElementsAre(2u, 2u, 2u, 2u, 1u));
}

/// Files of one event each with a wave of so many hundred numbers.
template <class layout>
std::vector<std::string> files_of_sizes(const temporary_folder& folder, const std::vector<unsigned>& sizes,
                                        std::uint32_t zip_flags = 0) {
  std::vector<std::string> files;
  for (unsigned i = 0; i < sizes.size(); ++i) {
    handmade_file_of<layout> made;
    made.events = {event_at(i + 1, i * 1000)};
    handmade_block block;
    block.dtype = layout::single_type;
    block.payload = spectrum<layout>({std::vector<float>(100 * std::size_t{sizes[i]}, 1.5f)});
    handmade_channel channel("A");
    channel.blocks = {zip_flags == 0 ? block : zipped(block, zip_flags)};
    made.channels = {channel};
    files.push_back(write(folder, "size" + std::to_string(i) + ".raw", made));
  }
  return files;
}

struct cut_case {
  std::vector<unsigned> sizes;
  std::size_t count;
  std::vector<std::uint64_t> files_of_parts;
};

TYPED_TEST(Parts, ByCountAreCutAtTheFileNearestToAnEqualPart) {
  for (const cut_case& one :
       {cut_case{{60, 10, 10, 10, 10, 10, 10}, 3, {1, 3, 3}},
        cut_case{{10, 10, 10, 10, 10, 10, 60}, 3, {4, 2, 1}}, cut_case{{30, 15, 35}, 2, {2, 1}},
        cut_case{{30, 15, 5, 30}, 2, {2, 2}}, cut_case{{10, 90, 10, 10}, 2, {2, 2}}}) {
    const temporary_folder folder;
    std::vector<std::uint64_t> files;
    const dataset whole = dataset::open(of_files(files_of_sizes<TypeParam>(folder, one.sizes)));
    for (const partition& part : whole.partitions(by_count(one.count))) files.push_back(part.plan.files);
    EXPECT_EQ(files, one.files_of_parts);
  }
}

TYPED_TEST(Parts, TakeAsLongAsTheWhole) {
  const temporary_folder folder;
  const dataset whole = dataset::open(of_files(files_of_sizes<TypeParam>(folder, {50, 50, 80, 10}, 1)));
  double seconds = 0;
  for (const partition& part : whole.partitions(by_count(4))) seconds += part.plan.seconds;
  EXPECT_GT(seconds, 0);
  EXPECT_NEAR(whole.plan().seconds, seconds, seconds / 100);
}

// A small file before a large one makes the reading no smaller.
TYPED_TEST(Parts, NeedNoMoreMemoryThanTheWhole) {
  const temporary_folder folder;
  handmade_file_of<TypeParam> large;
  std::vector<std::pair<std::size_t, float>> numbers;
  for (std::uint32_t i = 0; i < 5000; ++i) {
    large.events.push_back(event_at(100 + i, 1000 + 10 * i));
    numbers.emplace_back(i, 1.0f);
  }
  large.channels = {numbers_at<TypeParam>("A", numbers)};
  const std::string small = files_of_one_event<TypeParam>(folder, 1).front();
  const dataset whole = dataset::open(of_files({small, write(folder, "large.raw", large)}, {"A"}));
  for (const partition& part : whole.partitions(by_count(2))) {
    EXPECT_LE(part.plan.peak_bytes_of_columns, whole.plan().peak_bytes_of_columns);
    EXPECT_LE(part.plan.peak_bytes_of_events, whole.plan().peak_bytes_of_events);
  }
}

TYPED_TEST(Parts, CountNoBytesOfABlockThatIsTooLargeToBeDecoded) {
  const temporary_folder folder;
  const selection wanted = of_files(files_of_sizes<TypeParam>(folder, {100}, 1));
  const std::uint64_t size = dataset::open(wanted).locate("A", 0)->decoded_bytes;
  dataset_options options;
  options.largest_block = size;
  const dataset fits = dataset::open(wanted, options);
  EXPECT_EQ(fits.column("A").status.at(0), value_status::ok);
  EXPECT_GE(fits.plan().decoded_bytes, size - 1);  // an estimate
  --options.largest_block;
  const dataset too_large = dataset::open(wanted, options);
  EXPECT_EQ(too_large.column("A").status.at(0), value_status::block_too_large);
  EXPECT_EQ(too_large.plan().decoded_bytes, 0u);
}

TYPED_TEST(Parts, OfFilesThatOverlapAreOne) {
  const temporary_folder folder;
  std::vector<std::string> files;
  for (unsigned i = 0; i < 3; ++i) {
    handmade_file_of<TypeParam> made;
    made.events = {event_at(1 + i, i * 1000), event_at(9 + i, 9000 + i * 1000)};
    made.channels = {numbers_at<TypeParam>("A" + std::to_string(i), {{0, 1.0f}, {1, 2.0f}})};
    files.push_back(write(folder, "f" + std::to_string(i) + ".raw", made));
  }
  EXPECT_EQ(dataset::open(of_files(files)).partitions(by_count(3)).size(), 1u);
}

TYPED_TEST(Parts, ThatLackAChannelHaveItNotRecorded) {
  const temporary_folder folder;
  handmade_file_of<TypeParam> first, second;
  first.events = {event_at(1, 0)};
  first.channels = {numbers_at<TypeParam>("A", {{0, 1.0f}}), numbers_at<TypeParam>("B*", {{0, 2.0f}}),
                    numbers_at<TypeParam>("C:1", {{0, 3.0f}})};
  second.events = {event_at(2, 1000)};
  second.channels = {numbers_at<TypeParam>("A", {{0, 1.0f}}), numbers_at<TypeParam>("B2", {{0, 2.0f}}),
                     numbers_at<TypeParam>("C", {{0, 3.0f}})};
  const dataset whole = dataset::open(
      of_files({write(folder, "a.raw", first), write(folder, "b.raw", second)}, {"A", "B*", "C:1"}));
  ASSERT_EQ(whole.channels().size(), 3u);
  const auto parts = whole.partitions(by_count(2));
  ASSERT_EQ(parts.size(), 2u);
  const dataset data = dataset::open(parts[1].text());
  for (event_range events = data.events(); const event& one : events) {
    EXPECT_EQ(one["A"].status(), value_status::ok);
    EXPECT_EQ(one["B*"].status(), value_status::not_recorded);
    EXPECT_EQ(one["C:1"].status(), value_status::not_recorded);
  }
  EXPECT_EQ(data.column("B*").size(), 0u);
}

TYPED_TEST(Parts, OfMembersByNameAreAskedForByName) {
  const temporary_folder folder;
  const std::vector<std::string> files = files_of_one_event<TypeParam>(folder, 2);
  const std::string text =
      "file=" + files[0] + "," + files[1] + " exact=fast.0.CHARGE:A,fast.1:A join=with:A:CHARGE";
  const dataset data = dataset::open(text);
  EXPECT_EQ(data.find_channel("A:CHARGE"), 0u);
  const auto parts = data.partitions(by_count(2));
  ASSERT_EQ(parts.size(), 2u);
  const dataset part = dataset::open(parts[1].text());
  EXPECT_EQ(part.find_channel("A:CHARGE"), 0u);
  EXPECT_EQ(part.channels()[1].label, "A:1");
}

TEST(PartOptions, AreOneOfTwo) {
  const temporary_folder folder;
  const dataset whole = dataset::open(of_files(files_of_one_event<layout_2010>(folder, 2)));
  partition_options both = by_count(1);
  both.target_bytes = 1;
  for (const partition_options& options : {partition_options(), both, by_count(0), by_bytes(0)})
    EXPECT_THROW(static_cast<void>(whole.partitions(options)), selection_error);
}

TEST(PartOptions, EndTheCuttingOnRequest) {
  const temporary_folder folder;
  const dataset whole = dataset::open(of_files(files_of_one_event<layout_2010>(folder, 2)));
  std::stop_source source;
  source.request_stop();
  partition_options options = by_count(1);
  options.stop = source.get_token();
  EXPECT_THROW(static_cast<void>(whole.partitions(options)), read_cancelled);
  EXPECT_EQ(whole.partitions(by_count(2)).size(), 2u);
}

TEST(Context, ThatOverlapsTheFilesInTimeIsRefused) {
  const temporary_folder folder;
  handmade_file first, second;
  first.events = {event_at(1, 0), event_at(3, 2000)};
  second.events = {event_at(2, 1000)};
  first.channels = {numbers_at("A", {{0, 1.0f}, {1, 1.0f}})};
  second.channels = {numbers_at("A", {{0, 1.0f}})};
  selection wanted = of_files({write(folder, "a.raw", first)});
  wanted.context = {write(folder, "b.raw", second)};
  wanted.slow = slow_policy::hold;
  EXPECT_THROW(dataset::open(wanted), selection_error);
}

TEST(Context, ThatIsListedAmongTheFilesTooIsAFile) {
  const temporary_folder folder;
  const auto files = files_of_one_event<layout_2010>(folder, 2);
  selection wanted = of_files(files);
  wanted.context = {folder.path().string() + "/./f0.raw"};
  EXPECT_EQ(dataset::open(wanted).size(), 2u);
}

TEST(Context, AloneIsNoSelection) {
  const temporary_folder folder;
  selection wanted;
  wanted.context = files_of_one_event<layout_2010>(folder, 1);
  EXPECT_THROW(dataset::open(wanted), selection_error);
}

TEST(Phase, IsLessThanTheStep) {
  const temporary_folder folder;
  selection wanted = of_files(files_of_one_event<layout_2010>(folder, 7));
  wanted.step = 3;
  wanted.phase = 2;
  EXPECT_THAT(numbers_of(dataset::open(wanted).events()), ElementsAre(3u, 6u));
  EXPECT_EQ(dataset::open(wanted).size(), 2u);
  event_options backward;
  backward.order = event_order::backward;
  EXPECT_THAT(numbers_of(dataset::open(wanted).events(backward)), ElementsAre(6u, 3u));
  wanted.limit = 1;
  EXPECT_THAT(numbers_of(dataset::open(wanted).events()), ElementsAre(3u));
  wanted.phase = 3;
  EXPECT_THROW(dataset::open(wanted), selection_error);
}

TEST(LeftOutFiles, AreListedAndNotOpened) {
  const temporary_folder folder;
  const auto files = files_of_one_event<layout_2010>(folder, 3);
  selection wanted = of_files({files[0], files[2]});
  wanted.left_out = {{files[1], file_refusal::still_written}};
  const dataset data = dataset::open(wanted);
  EXPECT_EQ(data.size(), 2u);
  ASSERT_EQ(data.ledger().files.size(), 1u);
  EXPECT_EQ(data.ledger().files[0].path, files[1]);
  EXPECT_EQ(data.ledger().files[0].reason, file_refusal::still_written);
  dataset_options strict;
  strict.damage = damage_policy::strict();
  EXPECT_THROW(dataset::open(wanted, strict), file_left_out);
}

TEST(Gaps, MakeHeldValuesStale) {
  const temporary_folder folder;
  selection wanted = of_files(files_of_one_event<layout_2010>(folder, 4), {"A", "S"});
  wanted.slow = slow_policy::hold;
  wanted.gaps = {{time_stamp{noon + 1, 500000}, time_stamp{noon + 1, 500001}}};
  using enum value_status;
  const dataset data = dataset::open(wanted.to_text());
  EXPECT_THAT(data.column("S", rows_of_events()).status, ElementsAre(ok, held, stale, stale));
}

TEST(Gaps, AreFilesThatAreMissingFromWhatIsAvailable) {
  const temporary_folder folder;
  selection wanted = of_files(files_of_one_event<layout_2010>(folder, 4), {"A"});
  wanted.gaps = {{time_stamp{noon + 1, 500000}, time_stamp{noon + 1, 500001}}};
  availability_options seconds;
  seconds.bins = 4;
  seconds.from = std::int64_t{noon} * 1000000;
  seconds.to = std::int64_t{noon + 4} * 1000000;
  const availability_map map = dataset::open(wanted.to_text()).availability(seconds);
  std::vector<bool> missing;
  for (const availability_bin& bin : map.channels.at(0).bins) missing.push_back(bin.is_file_missing);
  EXPECT_THAT(missing, ElementsAre(false, true, false, false));
}

}  // namespace
