// What accounts say of files that go while they are in use, of parts of a selection, and of readings that
// end with an exception: to the last value, and never more than was asked for.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "single_events.h"

namespace {

using namespace ravo;
using namespace ravo::test;

TEST(ManyFiles, ThatAreGoneAreCountedInEitherOrder) {
  const temporary_folder folder;
  const std::vector<std::string> files = single_events(folder, 4);
  dataset_options options;
  options.open_files = 1;
  const dataset data = dataset::open(of_files(files), options);
  ASSERT_TRUE(data.at(2));  // its file stays open
  for (const std::size_t gone : {0u, 2u, 3u}) std::filesystem::remove(files[gone]);
  for (const event_order order : {event_order::forward, event_order::backward}) {
    event_options how;
    how.order = order;
    event_range events = data.events(how);
    std::size_t count = 0;
    while (events.next()) ++count;
    EXPECT_EQ(count, 1u);
    const read_ledger ledger = events.ledger();
    EXPECT_EQ(ledger.expected(), 4u);
    EXPECT_EQ(ledger.delivered(), 1u);
    EXPECT_EQ(ledger.channels[0].missing[static_cast<std::size_t>(missing_cause::file_missing)], 3u);
  }
}

TEST(ManyFiles, ThatAreGoneAreCountedWhenTheirEventIsAskedFor) {
  const temporary_folder folder;
  const std::vector<std::string> files = single_events(folder, 4);
  dataset_options options;
  options.open_files = 1;
  const dataset data = dataset::open(of_files(files), options);
  options.damage = damage_policy::strict();
  const dataset strict = dataset::open(of_files(files), options);
  ASSERT_TRUE(data.at(2));  // its file stays open
  ASSERT_TRUE(strict.at(2));
  std::filesystem::remove(files[0]);
  EXPECT_FALSE(data.at(1));
  EXPECT_FALSE(data.at(time_stamp{noon, 0}));
  EXPECT_FALSE(data.at(77));
  // Whether the file had a value of this event is unknown.
  EXPECT_EQ(data.ledger().expected(), 1u);
  ASSERT_EQ(data.ledger().files.size(), 1u);
  EXPECT_EQ(data.ledger().files[0].path, files[0]);
  EXPECT_THROW(strict.at(1), missing_data);
  EXPECT_FALSE(strict.at(77));
}

// A file of five events that vanishes while it is not open. Its index said when they are, and how many
// values its channel has; not which of them a reading would have taken.
TEST(ManyFiles, ThatAreGoneAreCountedOnlyWhereAllOfTheirValuesAreMeant) {
  const temporary_folder folder;
  std::vector<std::string> files;
  for (std::uint32_t part = 0; part < 2; ++part) {
    handmade_file file;
    std::vector<std::pair<std::size_t, float>> numbers;
    for (std::uint32_t i = 0; i < 5; ++i) {
      file.events.push_back(event_at(1 + part * 5 + i, part * 10000 + i * 100));
      numbers.emplace_back(i, 1.0f);
    }
    file.channels = {numbers_at("A", numbers)};
    files.push_back(write(folder, "f" + std::to_string(part) + ".raw", file));
  }
  const std::string bytes = [&] {
    std::ifstream in(files[0], std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }();
  struct reading {
    const char* limits;
    event_options slice;
    bool is_known;
  };
  event_options second, first_two;
  second.step = 2;
  first_two.count = 2;
  for (const reading& one : {reading{"", {}, true},
                             {"event=1-7", {}, true},
                             {"to=1700000000.4", {}, true},
                             {"event=3-", {}, false},
                             {"from=1700000000.2", {}, false},
                             {"step=2", {}, false},
                             {"join=all", {}, false},
                             {"", second, false},
                             {"", first_two, false}}) {
    SCOPED_TRACE(one.limits);
    std::ofstream(files[0], std::ios::binary) << bytes;
    selection wanted = selection::parse(one.limits);
    wanted.files = files;
    wanted.channels = {"A"};
    dataset_options options;
    options.open_files = 1;
    options.threads = 1;  // so that it is the second file that stays open
    const dataset data = dataset::open(wanted, options);
    options.damage.largest_missing_share = 0.9;
    const dataset limited = dataset::open(wanted, options);
    std::filesystem::remove(files[0]);
    event_range events = data.events(one.slice);
    std::size_t count = 0;
    while (events.next()) ++count;
    const read_ledger ledger = events.ledger();
    EXPECT_TRUE(ledger.is_balanced());
    EXPECT_EQ(ledger.delivered(), count);
    EXPECT_EQ(ledger.missing(), one.is_known ? 5u : 0u);
    ASSERT_EQ(ledger.files.size(), one.is_known ? 0u : 1u);
    if (!one.is_known) {
      EXPECT_EQ(ledger.files[0].reason, file_refusal::missing);
    }
    EXPECT_TRUE(data.ledger().is_balanced());
    EXPECT_EQ(data.plan().problems, (std::vector<std::string>{files[0] + ": it cannot be read any more"}));
    const auto read_limited = [&] {
      event_range range = limited.events(one.slice);
      while (range.next()) continue;
    };
    if (!one.is_known) {
      EXPECT_THROW(read_limited(), missing_data);
    }
  }
}

// The ledger of a slice is that of its events: a second entry of an event that is not read does not count.
TEST(Ledgers, OfAPartHaveTheSecondEntriesOfItsEventsOnly) {
  const temporary_folder folder;
  handmade_file file;
  handmade_channel channel("A");
  for (std::uint32_t i = 0; i < 8; ++i) {
    file.events.push_back(event_at(i + 1, i * 100));
    for (std::uint32_t entries = 0; entries < (i % 2 == 0 ? 1u : 3u); ++entries)
      channel.blocks.push_back(scalar<layout_2010>(i, static_cast<float>(i)));
  }
  file.channels = {channel};
  const std::string path = write(folder, "a.raw", file);
  const auto missing_of = [](const dataset& data, const event_options& how) {
    event_range events = data.events(how);
    while (events.next()) continue;
    EXPECT_TRUE(events.ledger().is_balanced());
    return events.ledger().channels[0].missing[static_cast<std::size_t>(missing_cause::second_of_event)];
  };
  const dataset all = dataset::open("file=" + path);
  event_options slice;
  EXPECT_EQ(missing_of(all, slice), 8u);
  slice.order = event_order::backward;
  EXPECT_EQ(missing_of(all, slice), 8u);
  slice.first = 2;
  slice.count = 2;
  EXPECT_EQ(missing_of(all, slice), 2u);
  slice = {};
  slice.step = 2;
  EXPECT_EQ(missing_of(all, slice), 0u);
  slice.first = 1;
  EXPECT_EQ(missing_of(all, slice), 8u);
  for (const auto& [text, seconds] :
       {std::pair("step=2", 0u), {"step=3", 2u}, {"event=2-3", 2u}, {"event=3", 0u}}) {
    SCOPED_TRACE(text);
    const dataset some = dataset::open("file=" + path + " " + text);
    EXPECT_EQ(missing_of(some, {}), seconds);
    for (const column_rows rows : {column_rows::recorded, column_rows::events}) {
      column_options how;
      how.rows = rows;
      const column_data column = some.column("A", how);
      EXPECT_EQ(column.ledger.missing(), seconds);
      EXPECT_EQ(column.ledger.delivered(), column.size());
    }
  }
  ASSERT_TRUE(all.at(4));
  EXPECT_TRUE(all.ledger().is_balanced());
}

TEST(Ledgers, OfColumnsThatThrowAreInThatOfTheDataset) {
  const temporary_folder folder;
  handmade_file file;
  handmade_channel channel("A");
  for (std::uint32_t i = 0; i < 8; ++i) {
    file.events.push_back(event_at(i + 1, i * 100));
    handmade_block block = zipped(scalar<layout_2010>(i, 1), RAVO_ZIP_ZLIB);
    if (i == 5) block.zip_flags = 4;
    channel.blocks.push_back(block);
  }
  file.channels = {channel};
  dataset_options options;
  options.damage = damage_policy::strict();
  options.threads = 1;
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}), options);
  EXPECT_THROW(data.column("A"), missing_data);
  EXPECT_EQ(data.ledger().expected(), 6u);
  EXPECT_EQ(data.ledger().missing(), 1u);
  EXPECT_TRUE(data.ledger().is_balanced());
  EXPECT_THROW(data.digest(), missing_data);
  EXPECT_EQ(data.ledger().missing(), 2u);
  EXPECT_TRUE(data.ledger().is_balanced());
}

}  // namespace
