// Parts of columns: rows, samples and regions equal the slice of the whole column, and parts add up to it;
// chunks of columns that are larger than the memory; several columns at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

#include "equal_columns.h"
#include "generated_sets.h"
#include "noisy_file.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::HasSubstr;

column_options random_rows(generator& random, std::size_t rows) {
  column_options part;
  const auto below_all = [&] { return random.below(static_cast<unsigned>(rows) + 3); };
  if (rows > 0 && random.chance(3)) {
    for (std::size_t row = 0; row < rows; ++row)
      if (random.chance(3)) part.row_list.push_back(row);
    return part;
  }
  part.first = below_all();
  if (random.chance(2)) part.count = below_all();
  part.step = 1 + random.below(3);
  if (random.chance(9)) part.step = static_cast<std::size_t>(-1) - random.below(3);
  if (random.chance(9)) part.first = static_cast<std::size_t>(-1) - random.below(3);
  if (random.chance(9)) part.count = static_cast<std::size_t>(-1) - random.below(3);
  return part;
}

template <class layout>
class PartOf : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(PartOf, layouts);

TYPED_TEST(PartOf, DamagedColumnsIsTheSliceOfTheWhole) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 7000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, !random.chance(3), harms::all);
    selection wanted = of_files(all.files, all.channels);
    wanted.step = 1 + random.below(2);
    if (random.chance(4)) wanted.limit = 1 + random.below(20);
    dataset_options how;
    how.threads = 1 + random.below(3);
    const dataset data = dataset::open(wanted, how);
    for (const std::string& channel : all.channels)
      for (const column_rows kind : {column_rows::recorded, column_rows::events}) {
        column_options options;
        options.rows = kind;
        const column_data whole = data.column(channel, options);
        for (int i = 0; i < 4; ++i) {
          column_options part = random_rows(random, whole.size());
          part.rows = kind;
          ASSERT_NO_FATAL_FAILURE(
              expect_slice(whole, slice_of(whole.size(), part), data.column(channel, part)));
          ASSERT_EQ(data.layout(channel, part).rows, slice_of(whole.size(), part).size());
        }
      }
    ASSERT_TRUE(data.ledger().is_balanced());
  }
}

/// Reads a column in consecutive parts, and as the phases of a step, and adds their accounts up.
template <class Read>
void expect_sums(const column_data& whole, const std::vector<column_options>& parts, Read read) {
  read_ledger ledger;
  channel_digest digest;
  for (column_options part : parts) {
    part.with_digest = true;
    const column_data one = read(part);
    ledger.add(one.ledger);
    digest.add(*one.digest);
  }
  ASSERT_EQ(digest, *whole.digest);
  ASSERT_NO_FATAL_FAILURE(expect_equal_counts(ledger, whole.ledger));
}

TYPED_TEST(PartOf, ColumnsAddUpToTheWhole) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 8000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, !random.chance(3), harms::all);
    const dataset data = dataset::open(of_files(all.files, all.channels));
    for (const std::string& channel : all.channels)
      for (const column_rows kind : {column_rows::recorded, column_rows::events}) {
        column_options options;
        options.rows = kind;
        options.with_digest = true;
        const column_data whole = data.column(channel, options);
        const auto read = [&](const column_options& part) { return data.column(channel, part); };
        std::vector<column_options> cuts, phases;
        options.count = 1 + random.below(4);
        for (; options.first < whole.size(); options.first += *options.count) cuts.push_back(options);
        options.count.reset();
        cuts.push_back(options);  // to the end, wherever that is
        options.step = 2 + random.below(3);
        for (options.first = 0; options.first < options.step; ++options.first) phases.push_back(options);
        ASSERT_NO_FATAL_FAILURE(expect_sums(whole, cuts, read));
        ASSERT_NO_FATAL_FAILURE(expect_sums(whole, phases, read));
      }
  }
}

TYPED_TEST(PartOf, ColumnsInChunksIsTheWholeInTheEnd) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 9000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, !random.chance(3), harms::all);
    const dataset data = dataset::open(of_files(all.files, all.channels));
    for (const std::string& channel : all.channels) {
      column_options options = random_rows(random, 12);
      options.row_list.clear();
      options.rows = random.chance(2) ? column_rows::events : column_rows::recorded;
      options.with_digest = true;
      const column_data whole = data.column(channel, options);
      read_ledger ledger;
      channel_digest digest;
      std::size_t row = 0, chunks = 0;
      for (column_chunk_range range = data.column_chunks(channel, 1 + random.below(1000), options);
           const column_data& chunk : range) {
        for (std::size_t i = 0; i < chunk.size(); ++i, ++row) {
          ASSERT_LT(row, whole.size());
          ASSERT_NO_FATAL_FAILURE(expect_equal_row(whole, row, chunk, i));
        }
        ledger.add(chunk.ledger);
        digest.add(*chunk.digest);
        ++chunks;
      }
      ASSERT_GE(chunks, 1u);
      ASSERT_EQ(row, whole.size());
      ASSERT_EQ(digest, *whole.digest);
      ASSERT_NO_FATAL_FAILURE(expect_equal_counts(ledger, whole.ledger));
    }
  }
}

TYPED_TEST(PartOf, SeveralColumnsAtOnceAreEachOfThem) {
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 10000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, !random.chance(3), harms::all);
    dataset_options how;
    how.threads = 1 + random.below(3);
    const dataset data = dataset::open(of_files(all.files, all.channels), how);
    column_options options = random_rows(random, 12);
    options.row_list.clear();
    options.rows = random.chance(2) ? column_rows::events : column_rows::recorded;
    options.with_digest = true;
    read_progress last;
    column_options followed = options;
    followed.progress = [&last](const read_progress& now) {
      EXPECT_GE(now.done_bytes, last.done_bytes);
      last = now;
    };
    const std::vector<column_data> together = data.columns(all.channels, followed);
    ASSERT_EQ(last.done_bytes, last.total_bytes);
    ASSERT_EQ(together.size(), all.channels.size());
    for (std::size_t i = 0; i < together.size(); ++i) {
      const column_data alone = data.column(all.channels[i], options);
      ASSERT_EQ(together[i].channel, alone.channel);
      ASSERT_NO_FATAL_FAILURE(expect_slice(alone, slice_of(alone.size(), {}), together[i]));
      ASSERT_EQ(*together[i].digest, *alone.digest);
      ASSERT_NO_FATAL_FAILURE(expect_equal_counts(together[i].ledger, alone.ledger));
      if (options.rows == column_rows::events) {
        ASSERT_EQ(together[i].numbers, together[0].numbers) << "rows of one event";
      }
    }
    ASSERT_TRUE(data.ledger().is_balanced());
  }
}

class LargeColumn : public testing::Test {
 protected:
  static constexpr std::size_t rows = 300, samples = 2048;
  LargeColumn() {
    for (event_range all = dataset::open(of_files({path})).events(); const event& one : all) {
      const auto values = one[0].spectrum().values;
      expected.emplace_back(values.begin(), values.end());
    }
  }

  temporary_folder folder;
  const std::string path = noise(folder, rows, samples);
  std::vector<std::vector<float>> expected;  ///< as they are read with their events
};

TEST_F(LargeColumn, IsReadInChunksWithinTheMemory) {
  dataset_options how;
  how.threads = 2;
  how.memory_limit = rows * samples * sizeof(float) / 3;
  const dataset data = dataset::open(of_files({path}), how);
  EXPECT_THROW(data.column("NOISE"), memory_exceeded);
  const std::uint64_t before = data.ledger().delivered();
  for (const std::size_t bytes : {std::size_t{1}, std::size_t{50'000}, std::size_t{1} << 40}) {
    std::size_t row = 0;
    column_chunk_range chunks = data.column_chunks("NOISE", bytes);
    while (const std::optional<column_data> chunk = chunks.next()) {
      ASSERT_GE(chunk->size(), 1u);
      EXPECT_LE(chunk->bytes().size(), std::max(bytes, samples * sizeof(float)));
      for (std::size_t i = 0; i < chunk->size(); ++i, ++row)
        ASSERT_TRUE(std::ranges::equal(chunk->row<float>(i), expected[row])) << row;
    }
    EXPECT_EQ(row, rows);
    EXPECT_FALSE(chunks.next());
  }
  EXPECT_EQ(data.ledger().delivered(), before + 3 * rows);
  EXPECT_TRUE(data.ledger().is_balanced());
  EXPECT_LE(data.peak_memory(), how.memory_limit);
}

TEST_F(LargeColumn, IsReadInPartsWithinTheMemory) {
  dataset_options how;
  how.memory_limit = rows * samples * sizeof(float) / 3;
  const dataset data = dataset::open(of_files({path}), how);
  column_options part;
  part.row_list = {1, 2, 77, rows - 1};
  const column_data column = data.column("NOISE", part);
  ASSERT_EQ(column.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i)
    EXPECT_TRUE(std::ranges::equal(column.row<float>(i), expected[part.row_list[i]]));
  part = {};
  part.samples = item_range{100, 3};  // of all rows
  const column_data narrow = data.column("NOISE", part);
  ASSERT_EQ(narrow.size(), rows);
  for (std::size_t i = 0; i < rows; ++i)
    EXPECT_TRUE(std::ranges::equal(narrow.row<float>(i), std::span(expected[i]).subspan(100, 3)));
}

TEST_F(LargeColumn, CancelledBetweenChunksIsReadOn) {
  const dataset data = dataset::open(of_files({path}));
  std::stop_source stop;
  column_options options;
  options.stop = stop.get_token();
  column_chunk_range chunks = data.column_chunks("NOISE", 20 * samples * sizeof(float), options);
  ASSERT_EQ(chunks.next().value().size(), 15u);
  stop.request_stop();
  EXPECT_THROW(chunks.next(), read_cancelled);
  EXPECT_TRUE(data.ledger().is_balanced());
  EXPECT_EQ(data.column("NOISE").size(), rows);
}

TEST_F(LargeColumn, CancelledInItsMiddleIsReadOn) {
  const dataset data = dataset::open(of_files({path}));
  column_options part;
  std::stop_source stop;
  part.stop = stop.get_token();
  part.first = 10;
  part.progress = [&](const read_progress&) { stop.request_stop(); };
  const auto read_twice = [&] {
    data.column("NOISE", part);  // its last report may be the first
    data.column("NOISE", part);
  };
  EXPECT_THROW(read_twice(), read_cancelled);
  const auto read_several = [&] { data.columns({"NOISE", "NOISE"}, part); };
  EXPECT_THROW(read_several(), read_cancelled);
  EXPECT_TRUE(data.ledger().is_balanced());
  EXPECT_EQ(data.ledger().missing(), 0u);
  part.stop = {};
  part.progress = {};
  EXPECT_EQ(data.column("NOISE", part).size(), rows - 10);
}

TEST_F(LargeColumn, SharesTheMemoryWithTheOthersThatAreReadWithIt) {
  dataset_options how;
  how.memory_limit = rows * samples * sizeof(float) * 3 / 2;
  const dataset data = dataset::open(of_files({path}), how);
  EXPECT_EQ(data.columns({"NOISE"}).front().size(), rows);
  EXPECT_THROW(data.columns({"NOISE", "NOISE"}), memory_exceeded);
  column_options half;
  half.step = 2;
  EXPECT_EQ(data.columns({"NOISE", "NOISE"}, half).size(), 2u);
  EXPECT_TRUE(data.columns({}).empty());
}

class Rows : public testing::Test {
 protected:
  Rows() {
    handmade_file file;
    std::vector<std::pair<std::size_t, float>> numbers;
    for (std::uint32_t i = 0; i < 10; ++i) {
      file.events.push_back(event_at(i + 1, i * 100));
      numbers.emplace_back(i, static_cast<float>(i));
    }
    file.channels = {numbers_at("A", numbers)};
    path = write(folder, "a.raw", file);
  }
  std::string refusal(const column_options& part) const {
    const dataset data = dataset::open(of_files({path}));
    try {
      data.column("A", part);
    } catch (const dataset_error& error) {
      EXPECT_TRUE(data.ledger().is_balanced());
      return error.what();
    }
    return "";
  }
  temporary_folder folder;
  std::string path;
};

TEST_F(Rows, ThatMakeNoSenseAreRefused) {
  column_options part;
  part.step = 0;
  EXPECT_THAT(refusal(part), HasSubstr("step"));
  part = {};
  part.row_list = {1, 2};
  part.first = 1;
  EXPECT_THAT(refusal(part), HasSubstr("not both"));
  part.first = 0;
  part.row_list = {2, 1};
  EXPECT_THAT(refusal(part), HasSubstr("ascend"));
  part.row_list = {2, 2};
  EXPECT_THAT(refusal(part), HasSubstr("ascend"));
  part.row_list = {2, 10};
  EXPECT_THAT(refusal(part), HasSubstr("has 10 rows, counted from 0, and row 10 was asked for"));
  part = {};
  part.region = pixel_region{0, 0, 1, 1};
  EXPECT_THAT(refusal(part), HasSubstr("no pictures"));
}

TEST_F(Rows, ComeIntoTheCallersMemoryToo) {
  const dataset data = dataset::open(of_files({path}));
  column_options part;
  part.first = 3;
  part.step = 3;
  std::vector<float> values(data.layout("A", part).bytes() / sizeof(float), -1);
  ASSERT_EQ(values.size(), 3u);
  part.into = std::as_writable_bytes(std::span(values));
  data.column("A", part);
  EXPECT_EQ(values, (std::vector<float>{3, 6, 9}));
  EXPECT_THROW(data.columns({"A", "A"}, part), selection_error);
  EXPECT_THROW(data.column_chunks("A", 100, part), selection_error);
}

}  // namespace
