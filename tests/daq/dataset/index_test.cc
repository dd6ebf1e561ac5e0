// The index of channels beside their columns and events, which decode what it only lists: the same rows,
// and of each value no other thing said. It reads no block and inflates nothing, and equal rows are there
// once.
#include <gtest/gtest.h>

#include <filesystem>

#include "counted_calls.h"
#include "noisy_file.h"
#include "slow_sets.h"

namespace {

using namespace ravo;
using namespace ravo::test;

/// Whether decoding may find this where the tables say that.
bool may_become(index_status said, value_status found) {
  switch (said) {
    case index_status::recorded:
      return found == value_status::ok || is_missing(found);
    case index_status::held:
    case index_status::stale:
      return found == static_cast<value_status>(said) || is_missing(found);
    case index_status::unknown:
      return found != value_status::not_recorded;
    default:
      return found == static_cast<value_status>(said);
  }
}

void expect_the_rows_of(const column_data& column, const channel_index& index) {
  ASSERT_EQ(index.channel, column.channel);
  ASSERT_EQ(index.size(), column.size());
  ASSERT_TRUE(std::equal(index.numbers().begin(), index.numbers().end(), column.numbers.begin(),
                         column.numbers.end()));
  const std::vector<std::int64_t> times = microseconds_of(column.times);
  ASSERT_TRUE(std::equal(index.times_us().begin(), index.times_us().end(), times.begin(), times.end()));
  for (std::size_t row = 0; row < index.size(); ++row)
    ASSERT_TRUE(may_become(index.status[row], column.status[row]))
        << "row " << row << ": " << index_status_text(index.status[row]) << ", "
        << value_status_text(column.status[row]);
  if (!index.ages.empty()) {
    ASSERT_EQ(index.ages, column.ages);
  }
}

void expect_the_rows_of_columns(const dataset& data) {
  for (const column_rows rows : {column_rows::recorded, column_rows::events}) {
    index_options options;
    options.rows = rows;
    const dataset_index index = data.index(options);
    ASSERT_EQ(index.channels.size(), data.channels().size());
    for (const channel_index& one : index.channels) {
      SCOPED_TRACE(one.channel);
      column_options how;
      how.rows = rows;
      expect_the_rows_of(data.column(one.channel, how), one);
    }
  }
}

template <class layout>
class Index : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Index, layouts);

TYPED_TEST(Index, HasTheRowsOfColumns) {
  std::size_t damaged = 0;
  for (unsigned seed = 1; seed <= sets_to_try(150); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const generated all =
        random.make<TypeParam>(folder, !random.chance(3), random.chance(2) ? harms::all : harms::no);
    selection wanted = of_files(all.files, all.channels);
    if (random.chance(3)) wanted.channels.push_back(all.channels.front() + ":0");
    wanted.synch = random.chance(2) ? synch_mode::by_time : synch_mode::by_number;
    wanted.join = static_cast<join_policy>(random.below(3));
    if (wanted.join == join_policy::with) wanted.join_channel = all.channels.front();
    wanted.step = 1 + random.below(3);
    if (random.chance(3)) wanted.limit = 1 + random.below(8);
    if (random.chance(3)) wanted.from = time_stamp{noon + random.below(2), random.below(10) * 100000};
    if (wanted.join == join_policy::with && wanted.channels.size() > all.channels.size())
      wanted.join = join_policy::any;  // the name alone would be two channels
    dataset_options options;
    options.threads = 1 + random.below(3);
    const dataset data = dataset::open(wanted, options);
    ASSERT_NO_FATAL_FAILURE(expect_the_rows_of_columns(data));
    for (const channel_index& one : data.index().channels)
      for (const index_status status : one.status) damaged += status == index_status::misdirected;
  }
  EXPECT_GT(damaged, 5u);
}

TYPED_TEST(Index, SaysOfEachEventWhatItsTablesSay) {
  for (unsigned seed = 1; seed <= sets_to_try(60); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 300);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, true, harms::all);
    const dataset data = dataset::open(of_files(all.files, all.channels));
    index_options options;
    options.rows = column_rows::events;
    const dataset_index index = data.index(options);
    std::size_t row = 0;
    for (event_range events = data.events(); const event& one : events) {
      for (std::size_t channel = 0; channel < all.channels.size(); ++channel) {
        const channel_index& listed = index.channels[channel];
        ASSERT_EQ(listed.numbers()[row], one.number());
        ASSERT_EQ(listed.times_us()[row], microseconds_of(one.time()));
        // What was put into the file, and what the tables can know of it.
        const put_in* const put = all.at(channel, milliseconds(one.time()));
        const index_status expected = put == nullptr                      ? index_status::not_recorded
                                      : put->done == harm::server_pointer ? index_status::misdirected
                                                                          : index_status::recorded;
        ASSERT_EQ(listed.status[row], expected);
        ASSERT_TRUE(may_become(listed.status[row], one[channel].status()));
      }
      ++row;
    }
    ASSERT_EQ(row, index.channels.front().size());
  }
}

TYPED_TEST(Index, HoldsSlowValuesAsAColumnDoes) {
  std::size_t held = 0, damaged = 0;
  for (unsigned seed = 1; seed <= sets_to_try(60); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const slow_set all =
        make_slow_set<TypeParam>(folder, random, random.chance(2) ? harms::all : harms::no);
    if (all.updates.empty()) continue;
    selection wanted = of_files(all.files, {"FAST", "SLOW"});
    wanted.join = join_policy::with;
    wanted.join_channel = "FAST";
    wanted.slow = random.chance(2) ? slow_policy::hold : slow_policy::nearest;
    if (random.chance(2)) wanted.max_age = random.below(1000) * 1000u;
    const dataset data = dataset::open(wanted);
    ASSERT_NO_FATAL_FAILURE(expect_the_rows_of_columns(data));
    index_options options;
    options.rows = column_rows::events;
    for (const index_status status : data.index({"SLOW"}, options).channels.front().status) {
      held += status == index_status::held;
      damaged += status == index_status::misdirected;
    }
  }
  EXPECT_GT(held, 20u);
  EXPECT_GT(damaged, 5u);
}

TYPED_TEST(Index, InflatesNothing) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, true, harms::no);
    counted_calls::all().clear();
    const dataset data = dataset::open(of_files(all.files, all.channels));
    index_options events;
    events.rows = column_rows::events;
    std::size_t rows = 0;
    for (const channel_index& one : data.index().channels) rows += one.size();
    for (const channel_index& one : data.index(events).channels) ASSERT_FALSE(one.size() > data.size());
    EXPECT_EQ(counted_calls::all().inflated(), 0u);
    (void)data.digest();
    EXPECT_EQ(counted_calls::all().inflated(), rows);
  }
}

TEST(Index, AndDescriptionsInflateAFewBlocks) {
  const temporary_folder folder;
  std::vector<std::string> files;
  for (std::uint32_t i = 0; i < 5; ++i) {
    handmade_file file;
    handmade_channel wave("WAVE");
    for (std::uint32_t at = 0; at < 3; ++at) {
      file.events.push_back(event_at(3 * i + at + 1, 1000 * i + 100 * at));
      handmade_block block;
      block.event = at;
      block.dtype = layout_2010::single_type;
      block.payload = spectrum({std::vector<float>(i == 3 ? 200 : 100, static_cast<float>(i))});
      wave.blocks.push_back(zipped(block, RAVO_ZIP_ZLIB));
    }
    file.channels = {wave};
    files.push_back(write(folder, "f" + std::to_string(i) + ".raw", file));
  }
  const dataset data = dataset::open(of_files(files));
  (void)data.index();
  counted_calls::all().clear();
  describe_options options;
  EXPECT_EQ(data.describe("WAVE", options).changes.size(), 2u);
  EXPECT_EQ(counted_calls::all().inflated(), 3u);  // the first one, and two of another size
  counted_calls::all().clear();
  options.shapes = shape_search::by_value;
  EXPECT_EQ(data.describe("WAVE", options).changes.size(), 2u);
  EXPECT_EQ(counted_calls::all().inflated(), files.size());
}

// But for the end of a file, which says where its tables are, and has the end of the last block too.
TEST(Index, ReadsNoBlock) {
  const temporary_folder folder;
  const std::string path = noise(folder, 20, 10'000);
  const dataset data = dataset::open(of_files({path}));
  counted_calls::all().clear();
  EXPECT_EQ(data.index().of("NOISE").size(), 20u);
  const std::vector<read_range> reads = counted_calls::all().reads();
  EXPECT_FALSE(reads.empty());
  counted_calls::all().clear();
  EXPECT_EQ(data.column("NOISE").ledger.delivered(), 20u);
  const std::vector<read_range> blocks = counted_calls::all().reads();
  EXPECT_GE(blocks.size(), 3u);
  std::size_t compared = 0;
  for (const read_range& read : reads) {
    if (read.end == std::filesystem::file_size(path)) continue;
    ++compared;
    for (const read_range& block : blocks) EXPECT_FALSE(read.meets(block));
  }
  EXPECT_GT(compared, 3u);
}

TYPED_TEST(Index, OfAMemberDoesNotKnowWhetherABlockHasIt) {
  const temporary_folder folder;
  handmade_file_of<TypeParam> file;
  file.events = {event_at(1, 0), event_at(2, 100)};
  file.channels = {numbers_at<TypeParam>("A", {{0, 1.0f}})};
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}, {"A", "A:0", "A:7"}));
  using enum index_status;
  EXPECT_EQ(data.index().of("A").status, std::vector{recorded});
  EXPECT_EQ(data.index().of("A:0").status, std::vector{unknown});
  EXPECT_EQ(data.index().of("A:7").status, std::vector{unknown});
  EXPECT_EQ(data.column("A:7").status, std::vector{value_status::cannot_convert});
}

/// Two files of three events, a second apart: A and B have the same ones, C has others from the second file
/// on, and D from the first one on.
std::vector<std::string> write_alike(const temporary_folder& folder) {
  std::vector<std::string> files;
  for (std::uint32_t part = 0; part < 2; ++part) {
    handmade_file file;
    for (std::uint32_t i = 0; i < 3; ++i)
      file.events.push_back(event_at(1 + part * 3 + i, part * 1000 + i));
    const std::vector<std::pair<std::size_t, float>> all = {{0, 1.0f}, {1, 2.0f}, {2, 3.0f}};
    file.channels = {numbers_at("A", all), numbers_at("B", all),
                     numbers_at("C", part == 0 ? all : std::vector(all.begin(), all.begin() + 1)),
                     numbers_at("D", {{1, 1.0f}})};
    files.push_back(write(folder, "f" + std::to_string(part) + ".raw", file));
  }
  return files;
}

TEST(Index, HasEqualRowsOnce) {
  const temporary_folder folder;
  selection wanted = of_files(write_alike(folder), {"A", "B", "C", "D"});
  const dataset_index index = dataset::open(wanted).index();
  EXPECT_EQ(index.of("A").rows, index.of("B").rows);
  EXPECT_NE(index.of("A").rows, index.of("C").rows);
  EXPECT_NE(index.of("C").rows, index.of("D").rows);
  EXPECT_EQ(index.of("A").rows->numbers, (std::vector<std::uint32_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(index.of("C").rows->numbers, (std::vector<std::uint32_t>{1, 2, 3, 4}));
  EXPECT_EQ(index.of("D").rows->numbers, (std::vector<std::uint32_t>{2, 5}));
}

TEST(Index, OfSomeChannelsIsInTheOrderAskedFor) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files(write_alike(folder)));
  const dataset_index index = data.index({"D", "A"});
  ASSERT_EQ(index.channels.size(), 2u);
  EXPECT_EQ(index.channels[0].channel, "D");
  EXPECT_EQ(index.channels[1].channel, "A");
  EXPECT_TRUE(data.index(std::vector<std::string>{}).channels.empty());
  EXPECT_THROW(data.index({"NOPE"}), selection_error);
  EXPECT_THROW(index.of("B"), access_error);
}

TEST(Index, SaysWhichFilesAreGone) {
  const temporary_folder folder;
  const std::vector<std::string> files = write_alike(folder);
  dataset_options options;
  options.open_files = 1;
  options.threads = 1;  // so that the second file is the one that stays open
  const dataset data = dataset::open(of_files(files, {"A"}), options);
  EXPECT_EQ(data.size(), 6u);  // the tables of both are known
  std::filesystem::remove(files[0]);
  using enum index_status;
  EXPECT_EQ(data.index().of("A").status,
            (std::vector{file_missing, file_missing, file_missing, recorded, recorded, recorded}));
}

TEST(Index, CountsForTheMemoryLimitAsLongAsItLives) {
  constexpr std::size_t events = 20'000;
  const temporary_folder folder;
  handmade_file file;
  std::vector<std::pair<std::size_t, float>> numbers;
  for (std::uint32_t i = 0; i < events; ++i) {
    file.events.push_back(event_at(i + 1, i));
    numbers.emplace_back(i, 1.0f);
  }
  file.channels = {numbers_at("A", numbers)};
  dataset_options options;
  options.memory_limit = 8 << 20;
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}), options);
  std::vector<dataset_index> kept;
  const auto keep_many = [&] {
    for (int i = 0; i < 100; ++i) kept.push_back(data.index());
  };
  EXPECT_THROW(keep_many(), memory_exceeded);
  EXPECT_GT(kept.size(), 5u);
  kept.clear();
  const auto keep_uncounted = [&] {
    for (int i = 0; i < 100; ++i) kept.emplace_back(data.index()).share.reset();
  };
  EXPECT_NO_THROW(keep_uncounted());
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

TEST(Index, EndsWhenAStopIsRequested) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files(write_alike(folder)));
  std::stop_source source;
  source.request_stop();
  EXPECT_THROW(data.index({}, source.get_token()), read_cancelled);
  EXPECT_EQ(data.index().of("A").size(), 6u);
}

TEST(Times, AreMicrosecondsSince1970) {
  EXPECT_EQ(microseconds_of({1'700'000'000, 250'000}), 1'700'000'000'250'000);
  EXPECT_EQ(microseconds_of({0xffffffffu, 999'999}), 4'294'967'295'999'999);
  const time_stamp times[] = {{0, 1}, {1, 0}};
  EXPECT_EQ(microseconds_of(times), (std::vector<std::int64_t>{1, 1'000'000}));
}

}  // namespace
