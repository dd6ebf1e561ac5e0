// Columns of name-value lists: rows go by the names of the records, whatever lists the events have; which
// names there are does not depend on threads; each element has a status.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <stop_token>

#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;

using list = std::vector<std::pair<std::string, float>>;

handmade_block block_of(const list& records) {
  handmade_block block;
  block.dtype = RAVO_BLOCK_NAME_VALUE;
  block.payload.i32(1).text("", 80).i32(static_cast<int>(records.size()));
  for (const auto& [name, number] : records) block.payload.text(name, 80).f32(number);
  return block;
}

handmade_block damaged_block() {
  handmade_block block = block_of({{"A", 1}});
  block.payload.resize(100);
  return block;
}

class Records : public testing::Test {
 protected:
  std::string write_lists(const std::vector<handmade_block>& blocks, std::uint32_t zip_flags = 0) {
    handmade_file file;
    handmade_channel channel("C");
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      file.events.push_back(
          event_at(static_cast<std::uint32_t>(i + 1), static_cast<std::uint32_t>(i * 100)));
      channel.blocks.push_back(zip_flags == 0 ? blocks[i] : zipped(blocks[i], zip_flags));
      channel.blocks.back().event = i;
    }
    file.channels = {channel};
    return write(folder, "a.raw", file);
  }
  dataset open(const std::vector<handmade_block>& blocks, const std::vector<std::string>& channels = {}) {
    return dataset::open(of_files({write_lists(blocks)}, channels));
  }
  temporary_folder folder;
};

/// An element as a test states it: a number, or nothing.
std::vector<std::optional<float>> row_of(const column_data& column, std::size_t row) {
  std::vector<std::optional<float>> elements;
  for (const float one : column.row<float>(row))
    elements.push_back(std::isnan(one) ? std::nullopt : std::optional<float>(one));
  return elements;
}
using elements = std::vector<std::optional<float>>;
using names = std::vector<std::string>;
using statuses = std::vector<value_status>;
constexpr std::nullopt_t none = std::nullopt;

statuses statuses_of(const column_data& column, std::size_t row) {
  statuses all;
  for (std::size_t i = 0; i < column.record_names.size(); ++i) all.push_back(column.status_of(row, i));
  return all;
}

TEST_F(Records, OfListsThatGrowHaveAPlaceForEachName) {
  using enum value_status;
  const column_data column =
      open({block_of({}), block_of({{"A", 1}}), block_of({{"A", 2}, {"B", 3}})}).column("C");
  EXPECT_EQ(column.record_names, (names{"A", "B"}));
  EXPECT_EQ(column.layout.dimensions, (std::vector<dimension_size>{{column_dimension::record, 2}}));
  EXPECT_FALSE(column.is_ragged());
  EXPECT_EQ(column.status, (statuses{ok, ok, ok}));
  EXPECT_EQ(row_of(column, 0), (elements{none, none}));
  EXPECT_EQ(row_of(column, 1), (elements{1, none}));
  EXPECT_EQ(row_of(column, 2), (elements{2, 3}));
  EXPECT_EQ(statuses_of(column, 0), (statuses{not_recorded, not_recorded}));
  EXPECT_EQ(statuses_of(column, 1), (statuses{ok, not_recorded}));
  EXPECT_EQ(statuses_of(column, 2), (statuses{ok, ok}));
  EXPECT_EQ(column.ledger.delivered(), 3u);
}

TEST_F(Records, GoByNameWhereverTheyStandInTheirList) {
  const column_data column = open({block_of({{"A", 1}, {"B", 2}, {"C", 3}}), block_of({{"C", 4}, {"A", 5}}),
                                   block_of({{"D", 6}, {"B", 7}})})
                                 .column("C");
  EXPECT_EQ(column.record_names, (names{"A", "B", "C", "D"}));
  EXPECT_EQ(row_of(column, 1), (elements{5, none, 4, none}));
  EXPECT_EQ(row_of(column, 2), (elements{none, 7, none, 6}));
}

TEST_F(Records, OfANameThatAListHasTwiceAreTwo) {
  const column_data column = open({block_of({{"A", 1}, {"B", 2}}), block_of({{"A", 3}, {"A", 4}, {"B", 5}}),
                                   block_of({{"B", 6}, {"A", 7}})})
                                 .column("C");
  EXPECT_EQ(column.record_names, (names{"A", "B", "A"}));
  EXPECT_EQ(row_of(column, 0), (elements{1, 2, none}));
  EXPECT_EQ(row_of(column, 1), (elements{3, 5, 4}));
  EXPECT_EQ(row_of(column, 2), (elements{7, 6, none}));
}

TEST_F(Records, OfADamagedListHaveItsStatus) {
  using enum value_status;
  const column_data column =
      open({block_of({{"A", 1}}), damaged_block(), block_of({{"B", 2}})}).column("C");
  EXPECT_EQ(column.record_names, (names{"A", "B"}));
  EXPECT_EQ(column.status, (statuses{ok, cannot_convert, ok}));
  EXPECT_EQ(statuses_of(column, 1), (statuses{cannot_convert, cannot_convert}));
  EXPECT_EQ(row_of(column, 1), (elements{none, none}));
  EXPECT_EQ(column.ledger.delivered(), 2u);
  EXPECT_EQ(column.ledger.missing(), 1u);
}

TEST_F(Records, OfOnePlaceGoByNameToo) {
  using enum value_status;
  const dataset data =
      open({block_of({{"A", 1}, {"B", 2}}), block_of({{"B", 3}, {"A", 4}}), block_of({{"A", 5}})},
           {"C:0", "C:1"});
  const column_data first = data.column("C:0");
  EXPECT_EQ(first.record_names, (names{"A", "B"}));
  EXPECT_EQ(row_of(first, 0), (elements{1, none}));
  EXPECT_EQ(row_of(first, 1), (elements{none, 3}));
  const column_data second = data.column("C:1");
  EXPECT_EQ(second.record_names, (names{"B", "A"}));
  EXPECT_EQ(second.status, (statuses{ok, ok, cannot_convert}));
}

TEST_F(Records, OfOneNameAreNoDimension) {
  const dataset data = open({block_of({{"A", 1}, {"B", 2}}), block_of({{"A", 3}, {"B", 4}})}, {"C:1"});
  const column_data column = data.column("C:1");
  EXPECT_EQ(column.layout.dimensions, std::vector<dimension_size>{});
  EXPECT_EQ(column.values<float>()[1], 4.0f);
}

TEST_F(Records, FitIntoTheMemoryThatTheLayoutAsksFor) {
  const dataset data = open({block_of({{"A", 1}}), block_of({{"B", 2}, {"C", 3}})});
  const column_layout layout = data.layout("C");
  EXPECT_EQ(layout.bytes(), 2u * 3u * sizeof(float));
  std::vector<std::byte> memory(layout.bytes());
  column_options options;
  options.into = memory;
  const column_data column = data.column("C", options);
  EXPECT_EQ(static_cast<const void*>(column.bytes().data()), memory.data());
  EXPECT_EQ(row_of(column, 1), (elements{none, 2, 3}));
}

TEST_F(Records, OfHeldListsAreHeld) {
  handmade_file file;
  handmade_channel slow("C"), fast("F");
  slow.ev_mask = 1u << RAVO_EV_ENV;
  for (std::uint32_t i = 0; i < 4; ++i) {
    file.events.push_back(event_at(i + 1, i * 100, i % 2 == 0 ? RAVO_EV_ENV : RAVO_EV_NORMAL));
    handmade_block block = i == 0 ? block_of({{"A", 1}}) : block_of({{"A", 2}, {"B", 3}});
    block.event = i;
    if (i % 2 == 0) slow.blocks.push_back(block);
    fast.blocks.push_back(scalar(i, 1));
  }
  file.channels = {slow, fast};
  selection wanted = of_files({write(folder, "a.raw", file)});
  wanted.slow = slow_policy::hold;
  column_options options;
  options.rows = column_rows::events;
  const column_data column = dataset::open(wanted).column("C", options);
  using enum value_status;
  ASSERT_EQ(column.status, (statuses{ok, held, ok, held}));
  EXPECT_EQ(row_of(column, 1), (elements{1, none}));
  EXPECT_EQ(statuses_of(column, 1), (statuses{held, not_recorded}));
  EXPECT_EQ(statuses_of(column, 3), (statuses{held, held}));
}

/// Lists made from a seed, and the columns that follow from them by the rule alone.
TEST_F(Records, AreTheSameWhateverReadsThem) {
  std::mt19937 random(3);
  std::vector<list> lists(3000);
  std::vector<handmade_block> blocks;
  for (list& one : lists) {
    const std::size_t records = random() % 6;
    for (std::size_t i = 0; i < records; ++i)
      one.emplace_back("RECORD" + std::to_string(random() % 12), static_cast<float>(random() % 1000));
    blocks.push_back(block_of(one));
  }
  std::vector<std::pair<std::string, std::size_t>> places;  // name and occurrence
  std::vector<std::map<std::size_t, float>> rows;
  for (const list& one : lists) {
    std::map<std::string, std::size_t> seen;
    auto& row = rows.emplace_back();
    for (const auto& [name, number] : one) {
      const std::pair<std::string, std::size_t> record{name, seen[name]++};
      const auto place = std::find(places.begin(), places.end(), record) - places.begin();
      if (place == static_cast<std::ptrdiff_t>(places.size())) places.push_back(record);
      row[static_cast<std::size_t>(place)] = number;
    }
  }
  for (const std::uint32_t zip_flags : {0u, 1u, 2u})
    for (const std::size_t threads : {1u, 4u}) {
      dataset_options options;
      options.threads = threads;
      const dataset data = dataset::open(of_files({write_lists(blocks, zip_flags)}), options);
      const column_data column = data.column("C");
      ASSERT_EQ(column.record_names.size(), places.size());
      for (std::size_t i = 0; i < places.size(); ++i) ASSERT_EQ(column.record_names[i], places[i].first);
      for (std::size_t row = 0; row < rows.size(); ++row)
        for (std::size_t i = 0; i < places.size(); ++i) {
          const auto there = rows[row].find(i);
          ASSERT_EQ(column.status_of(row, i),
                    there == rows[row].end() ? value_status::not_recorded : value_status::ok);
          if (there != rows[row].end()) {
            ASSERT_EQ(column.row<float>(row)[i], there->second);
          }
        }
    }
}

TEST_F(Records, WithMoreNamesThanFitIntoTheMemoryAreRefused) {
  std::vector<handmade_block> blocks;
  for (int i = 0; i < 400; ++i) {
    list one;
    for (int record = 0; record < 50; ++record)
      one.emplace_back("RECORD" + std::to_string(50 * i + record), 1.0f);
    blocks.push_back(block_of(one));
  }
  dataset_options options;
  options.memory_limit = 4u << 20;
  options.threads = 2;
  const dataset data = dataset::open(of_files({write_lists(blocks, 1)}), options);
  EXPECT_THROW(data.column("C"), memory_exceeded);
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

TEST_F(Records, CanBeCancelledFromTheirFirstPassOn) {
  std::vector<handmade_block> blocks;
  for (int i = 0; i < 3000; ++i) blocks.push_back(block_of({{"A", 1}, {"B" + std::to_string(i % 7), 1}}));
  std::stop_source source;
  dataset_options options;
  options.threads = 1;
  column_options how;
  how.stop = source.get_token();
  std::uint64_t done = 0;
  how.progress = [&](const read_progress& progress) {
    done = progress.done_bytes;
    source.request_stop();
  };
  const dataset data = dataset::open(of_files({write_lists(blocks)}), options);
  EXPECT_THROW(data.column("C", how), read_cancelled);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(data.ledger().delivered(), 0u);
}

}  // namespace
