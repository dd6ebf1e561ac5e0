// Six events of two channels, of which one has a block that a test damages by name; and what every way of
// reading then has to say.
#ifndef RAVO_TEST_DATASET_DAMAGED_FILE_H
#define RAVO_TEST_DATASET_DAMAGED_FILE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <type_traits>

#include "classic_reading.h"
#include "written_files.h"

namespace ravo::test {

using testing::HasSubstr;

template <class layout>
class damaged_file : public testing::Test {
 protected:
  static constexpr std::size_t damaged = 3;  // of six events

  // Six events of two channels of some length; the fourth block of BAD is what a test makes of it.
  damaged_file() {
    for (std::uint32_t i = 0; i < 6; ++i) file.events.push_back(event_at(1001 + i, i * 100));
    handmade_channel good("GOOD"), bad("BAD");
    for (std::size_t i = 0; i < 6; ++i) {
      good.blocks.push_back(zipped(wave(i), RAVO_ZIP_ZLIB));
      bad.blocks.push_back(zipped(wave(i), RAVO_ZIP_ZLIB));
    }
    file.channels = {good, bad};
  }

  static handmade_block wave(std::size_t event) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < 300; ++i) samples.push_back(static_cast<float>(event * 1000 + i));
    handmade_block block;
    block.event = event;
    block.dtype = layout::single_type;
    block.payload = spectrum<layout>({samples});
    return block;
  }
  handmade_block& bad_block() { return file.channels[1].blocks[damaged]; }

  /// From the beginning of BAD's basket to the damaged block.
  std::size_t size_of_blocks() {
    std::size_t size = 8;
    for (std::size_t i = 0; i < damaged; ++i)
      size += (layout::subhead + 12 + compress_zlib(file.channels[1].blocks[i].payload).size() + 3) / 4 * 4;
    return size;
  }

  /// Where a word of the damaged entry lies in the pointers: row 1 (of BAD), six entries a row, four words
  /// each.
  enum class pointer { event_header, server_block, subheader, data };
  std::size_t at_pointer(pointer which) {
    return this->file.at.at("pointers") + 12 + (6 + damaged) * 16 + static_cast<std::size_t>(which) * 4;
  }

  /// Where the subheaders of BAD lie.
  std::vector<std::size_t> places_of_blocks(const bytes& built) const {
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < 6; ++i)
      places.push_back(built.word(file.at.at("pointers") + 12 + (6 + i) * 16 + 8));
    return places;
  }
  static void rename(bytes& built, std::size_t block, const std::string& name) {
    std::memset(built.data() + block, 0, layout::block_name);
    std::memcpy(built.data() + block, name.data(), name.size());
  }

  /// Nothing is missing.
  void expect_all(const std::string& path) {
    const dataset data = dataset::open(of_files({path}));
    event_range events = data.events();
    std::size_t n = 0;
    for (const event& one : events) {
      EXPECT_EQ(one["GOOD"].scalar(), static_cast<double>(n) * 1000);
      EXPECT_EQ(one["BAD"].scalar(), static_cast<double>(n) * 1000);
      ++n;
    }
    EXPECT_EQ(n, 6u);
    EXPECT_EQ(events.ledger().missing(), 0u);
    EXPECT_EQ(data.column("BAD").ledger.delivered(), 6u);
  }

  std::vector<classic_event> read_classic_of(const std::vector<std::string>& paths) {
    return read_classic(
        std::is_same_v<layout, layout_2010> ? ravo_file_generation::current : ravo_file_generation::older,
        paths, {"GOOD", "BAD"}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID);
  }

  /// What the classic reader hands over: everything but the values that are given as (event, channel),
  /// where channel 0 is GOOD and 1 is BAD. Both readers skip the same ones.
  void expect_passed_over(const std::string& path,
                          const std::set<std::pair<std::uint32_t, std::size_t>>& gone) {
    const std::vector<std::string> channels{"GOOD", "BAD"};
    const auto classic = read_classic_of({path});
    std::set<std::pair<std::uint32_t, std::size_t>> seen, classic_seen, expected;
    for (const classic_event& one : classic)
      for (const auto& [channel, value] : one) classic_seen.emplace(value.id.event_number, channel);
    const dataset data = dataset::open(of_files({path}, channels));
    for (event_range events = data.events(); const event& one : events)
      for (std::size_t channel = 0; channel < 2; ++channel)
        if (one[channel].has_value()) seen.emplace(one.number(), channel);
    for (std::uint32_t event = 1001; event < 1007; ++event)
      for (std::size_t channel = 0; channel < 2; ++channel)
        if (!gone.contains({event, channel})) expected.emplace(event, channel);
    EXPECT_EQ(classic_seen, expected);
    EXPECT_EQ(seen, expected);
  }

  /// The entry delivers nothing, and the ledger has it with file and offset.
  void expect_no_event(const std::string& path, std::size_t of_bad, std::size_t of_good) {
    const dataset data = dataset::open(of_files({path}));
    event_range events = data.events();
    for (const event& one : events) (void)one;
    const read_ledger ledger = events.ledger();
    EXPECT_TRUE(ledger.is_balanced());
    EXPECT_EQ(ledger.expected(), 12u);
    ASSERT_EQ(ledger.values.size(), of_bad + of_good);
    for (const missing_value& one : ledger.values) {
      EXPECT_EQ(one.cause, missing_cause::no_event_header);
      EXPECT_EQ(one.file, path);
      if (one.channel == "BAD") {
        EXPECT_EQ(one.offset, this->file.at.at("BAD") + size_of_blocks());
      }
    }
    const column_data column = data.column("BAD");
    EXPECT_EQ(column.size(), 6 - of_bad);
    EXPECT_TRUE(column.ledger.is_balanced());
    EXPECT_EQ(column.ledger.missing(), of_bad);
    dataset_options strict;
    strict.damage = damage_policy::strict();
    EXPECT_THROW(dataset::open(of_files({path}), strict).column("BAD"), missing_data);
  }

  /// Every way of reading reports the same for the damaged value, and delivers all others.
  void expect_status(value_status expected, const std::string& path) {
    const dataset data = dataset::open(of_files({path}), settings);
    const std::size_t bad = *data.find_channel("BAD"), good = *data.find_channel("GOOD");
    event_range events = data.events();
    std::size_t n = 0;
    for (const event& one : events) {
      EXPECT_EQ(one[good].status(), value_status::ok);
      EXPECT_EQ(one[bad].status(), n == damaged ? expected : value_status::ok) << n;
      if (n == damaged) {
        EXPECT_TRUE(one[bad].bytes().empty());
        EXPECT_EQ(one[bad].kind(), value_kind::none);
      } else {
        EXPECT_EQ(one[bad].scalar(), static_cast<double>(n) * 1000);
      }
      ++n;
    }
    EXPECT_EQ(n, 6u);
    expect_ledger(events.ledger(), expected, path);
    const column_data column = data.column("BAD");
    ASSERT_EQ(column.size(), 6u);
    for (std::size_t row = 0; row < 6; ++row) {
      EXPECT_EQ(column.status[row], row == damaged ? expected : value_status::ok);
      for (const float number : column.row<float>(row)) ASSERT_EQ(std::isnan(number), row == damaged);
    }
    expect_ledger(column.ledger, expected, path);
    EXPECT_EQ(data.column("GOOD").ledger.missing(), 0u);
    channel_digest by_event;
    for (event_range again = data.events(); const event& one : again) by_event.add(one[bad]);
    EXPECT_EQ(data.digest()[bad].digest, by_event);
    dataset_options strict = settings;
    strict.damage = damage_policy::strict();
    const dataset careful = dataset::open(of_files({path}), strict);
    EXPECT_NO_THROW(careful.column("GOOD"));
    EXPECT_THROW(careful.column("BAD"), missing_data);
    EXPECT_THROW(numbers_of(careful.events()), missing_data);
  }

  static void expect_ledger(const read_ledger& ledger, value_status status, const std::string& path) {
    EXPECT_TRUE(ledger.is_balanced());
    EXPECT_EQ(ledger.missing(), 1u);
    ASSERT_EQ(ledger.values.size(), 1u);
    EXPECT_EQ(ledger.values[0].channel, "BAD");
    EXPECT_EQ(ledger.values[0].file, path);
    EXPECT_EQ(ledger.values[0].event.event_number, 1001 + damaged);
    EXPECT_STREQ(missing_cause_text(ledger.values[0].cause), value_status_text(status));
    EXPECT_THAT(ledger.to_text(),
                HasSubstr("BAD: expected 6, delivered 5, 1 " + std::string(value_status_text(status))));
  }

  temporary_folder folder;
  handmade_file_of<layout> file;
  dataset_options settings;  ///< with which the file is opened
};

}  // namespace ravo::test

#endif
