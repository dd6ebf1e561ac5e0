// Thousands of generated file sets: gaps, rates, damage, events without numbers, both generations and both
// synch modes. What the dataset layer delivers is compared with a model over plain lists, and with the
// classic slicer where the slicer's rules are the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "classic_reading.h"
#include "generated_sets.h"

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class Generated : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Generated, layouts);

TYPED_TEST(Generated, SetsAreReadAsTheModelSays) {
  for (unsigned seed = 1; seed <= sets_to_try(200); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const bool numbered = !random.chance(3);
    const generated all =
        random.make<TypeParam>(folder, numbered, random.chance(2) ? harms::all : harms::no);
    selection wanted = of_files(all.files, all.channels);
    wanted.synch = random.chance(2) ? synch_mode::by_time : synch_mode::by_number;
    const unsigned join = random.below(3);
    wanted.join = static_cast<join_policy>(join);
    const std::size_t joined = random.below(static_cast<unsigned>(all.channels.size()));
    if (wanted.join == join_policy::with) wanted.join_channel = all.channels[joined];
    wanted.step = 1 + random.below(3);
    std::vector<std::int64_t> times = times_of(all);
    std::erase_if(times, [&](std::int64_t time) {
      if (wanted.join == join_policy::with) return all.at(joined, time) == nullptr;
      for (std::size_t channel = 0; channel < all.channels.size(); ++channel)
        if (wanted.join == join_policy::all && all.at(channel, time) == nullptr) return true;
      return false;
    });
    std::vector<std::int64_t> expected;
    for (std::size_t i = 0; i < times.size(); i += wanted.step) expected.push_back(times[i]);

    dataset_options options;
    options.threads = 1 + random.below(3);
    const dataset data = dataset::open(wanted, options);
    ASSERT_EQ(data.size(), expected.size());
    const read_plan plan = data.plan();
    ASSERT_EQ(plan.events, expected.size());
    ASSERT_EQ(plan.files, all.files.size());
    std::size_t n = 0;
    std::vector<std::size_t> delivered(all.channels.size()), damaged(all.of_no_event);
    event_range events = data.events();
    for (const event& one : events) {
      ASSERT_EQ(milliseconds(one.time()), expected[n]);
      for (std::size_t channel = 0; channel < all.channels.size(); ++channel) {
        const put_in* const put = all.at(channel, expected[n]);
        const value seen = one[channel];
        if (put == nullptr) {
          ASSERT_EQ(seen.status(), value_status::not_recorded);
          continue;
        }
        ASSERT_EQ(seen.status(), status_of(put->done));
        if (status_of(put->done) == value_status::ok) {
          ASSERT_EQ(static_cast<float>(seen.scalar()), put->content);
        }
        ++(status_of(put->done) == value_status::ok ? delivered : damaged)[channel];
      }
      ++n;
    }
    ASSERT_EQ(n, expected.size());
    const read_ledger ledger = events.ledger();
    for (std::size_t channel = 0; channel < all.channels.size(); ++channel) {
      ASSERT_TRUE(ledger.channels[channel].is_balanced());
      ASSERT_EQ(ledger.channels[channel].delivered, delivered[channel]);
      ASSERT_EQ(ledger.channels[channel].missing_total(), damaged[channel]);
      const std::size_t rows = delivered[channel] + damaged[channel] - all.of_no_event[channel];
      ASSERT_EQ(plan.channels[channel].values, rows);
      const column_data column = data.column(all.channels[channel]);
      ASSERT_EQ(column.size(), rows);
      ASSERT_EQ(column.ledger.delivered(), delivered[channel]);
      ASSERT_EQ(column.ledger.missing(), damaged[channel]);
      for (std::size_t row = 0; row < column.size(); ++row) {
        const put_in* const put = all.at(channel, milliseconds(column.times[row]));
        ASSERT_EQ(column.status[row], status_of(put->done));
        if (status_of(put->done) == value_status::ok) {
          ASSERT_EQ(column.values<float>()[row], put->content);
        }
      }
    }
    ASSERT_EQ(ledger.values.size(), ledger.missing());
    for (const missing_value& one : ledger.values) {
      ASSERT_TRUE(std::count(all.files.begin(), all.files.end(), one.file) == 1);
      ASSERT_GT(one.offset, 0u);
    }
  }
}

/// The events that have a value: what the classic readers have too.
using read_values = std::map<std::size_t, std::pair<std::uint32_t, std::vector<std::byte>>>;
std::vector<read_values> delivered_by(const dataset& data) {
  std::vector<read_values> all;
  for (event_range events = data.events(); const event& one : events) {
    read_values values;
    for (std::size_t channel = 0; channel < one.channels(); ++channel) {
      const value seen = one[channel];
      if (!seen.has_value()) continue;
      const auto data_of = seen.bytes();
      values[channel] = {seen.recorded_with().event_number, {data_of.begin(), data_of.end()}};
    }
    if (!values.empty()) all.push_back(std::move(values));
  }
  return all;
}

std::vector<read_values> delivered_by(const std::vector<classic_event>& classic) {
  std::vector<read_values> all;
  for (const classic_event& one : classic)
    for (read_values& values = all.emplace_back(); const auto& [channel, seen] : one)
      values[channel] = {seen.id.event_number, seen.bytes};
  return all;
}

TYPED_TEST(Generated, SetsAreReadAsTheSlicerReadsThem) {
  unsigned compared = 0, passed_over = 0;
  for (unsigned seed = 1; seed <= sets_to_try(60); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 1000);
    const temporary_folder folder;
    const bool by_time = random.chance(3);
    // By time the slicers step by their period, and a hole that is wider ends the reading.
    const generated all = random.make<TypeParam>(
        folder, true, by_time || random.chance(2) ? harms::no : harms::that_readers_pass_over, !by_time);
    if (all.has_empty_file) continue;
    std::vector<std::string> channels;
    for (std::size_t i = 0; i < all.channels.size(); ++i) {
      if (!all.values[i].empty()) channels.push_back(all.channels[i]);
      for (const put_in& one : all.values[i]) passed_over += status_of(one.done) != value_status::ok;
    }
    if (channels.empty()) continue;
    const auto expected =
        read_classic(generation_of<TypeParam>, all.files, channels,
                     by_time ? RAVO_DAQ_SLICER_SYNCH_MODE_TIME : RAVO_DAQ_SLICER_SYNCH_MODE_EVID);
    selection wanted = of_files(all.files, channels);
    wanted.synch = by_time ? synch_mode::by_time : synch_mode::by_number;
    ASSERT_EQ(delivered_by(dataset::open(wanted)), delivered_by(expected));
    ++compared;
  }
  this->RecordProperty("sets", static_cast<int>(compared));
  EXPECT_GT(compared, sets_to_try(60) / 3);
  EXPECT_GT(passed_over, 0u);
}

// At some damage the readers' workers end, and what they would have decoded is lost. What they do
// deliver the dataset layer has too, and where they have nothing it has a value that was put in, or reports
// why there is none.
TYPED_TEST(Generated, DamagedSetsHoldWhatTheSlicerReadsOfThemOrSayWhyNot) {
  std::size_t equal = 0, more = 0, reported = 0;
  for (unsigned seed = 1; seed <= sets_to_try(60); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 2000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, true, harms::that_readers_notice);
    if (all.has_empty_file) continue;
    std::vector<std::string> channels;
    std::vector<std::size_t> position;  // among all channels of the set
    for (std::size_t i = 0; i < all.channels.size(); ++i)
      if (!all.values[i].empty()) {
        channels.push_back(all.channels[i]);
        position.push_back(i);
      }
    if (channels.empty()) continue;
    std::map<std::pair<std::uint32_t, std::size_t>, std::vector<std::byte>> classic;
    for (const classic_event& one :
         read_classic(generation_of<TypeParam>, all.files, channels, RAVO_DAQ_SLICER_SYNCH_MODE_EVID))
      for (const auto& [channel, seen] : one) classic[{seen.id.event_number, channel}] = seen.bytes;
    const dataset data = dataset::open(of_files(all.files, channels));
    for (event_range events = data.events(); const event& one : events)
      for (std::size_t channel = 0; channel < channels.size(); ++channel) {
        const value seen = one[channel];
        const auto theirs = classic.find({one.number(), channel});
        const put_in* const put = all.at(position[channel], milliseconds(one.time()));
        ASSERT_EQ(seen.status(), put == nullptr ? value_status::not_recorded : status_of(put->done));
        if (theirs == classic.end()) {
          ++(is_missing(seen.status()) ? reported : more);
          continue;
        }
        ASSERT_EQ(seen.status(), value_status::ok);
        ASSERT_TRUE(std::ranges::equal(seen.bytes(), theirs->second));
        classic.erase(theirs);
        ++equal;
      }
    ASSERT_TRUE(classic.empty());
  }
  EXPECT_GT(equal, 500u);
  EXPECT_GT(more, 0u);
  EXPECT_GT(reported, 50u);
}

TEST(Streams, OfTheSameTimeAreOneSegment) {
  // Two streams with a channel each and the same events; their times differ by some milliseconds.
  const temporary_folder folder;
  std::vector<std::string> files;
  for (std::uint32_t part = 0; part < 2; ++part)
    for (std::uint32_t stream = 0; stream < 2; ++stream) {
      handmade_file made;
      std::vector<std::pair<std::size_t, float>> values;
      for (std::uint32_t i = 0; i < 5; ++i) {
        const std::uint32_t number = 11 + part * 5 + i;
        made.events.push_back(event_at(number, number * 100 + stream * 3));
        values.emplace_back(i, static_cast<float>(number + stream * 1000));
      }
      made.channels = {numbers_at(stream == 0 ? "A" : "B", values)};
      files.push_back(
          write(folder, std::string(stream == 0 ? "a" : "b") + std::to_string(part) + ".raw", made));
    }
  for (const synch_mode mode : {synch_mode::by_number, synch_mode::by_time}) {
    selection wanted = of_files(files);
    wanted.synch = mode;
    wanted.join = join_policy::all;
    const dataset data = dataset::open(wanted);
    ASSERT_EQ(data.size(), 10u);
    std::uint32_t number = 11;
    for (event_range events = data.events(); const event& one : events) {
      EXPECT_EQ(one.number(), number);
      EXPECT_EQ(one["A"].scalar(), number);
      EXPECT_EQ(one["B"].scalar(), number + 1000);
      ++number;
    }
  }
}

TEST(Streams, ThatRestartTheirCountAreReadOneAfterTheOther) {
  const temporary_folder folder;
  std::vector<std::string> files;
  for (std::uint32_t run = 0; run < 2; ++run) {
    handmade_file made;
    for (std::uint32_t i = 0; i < 3; ++i) made.events.push_back(event_at(1 + i, run * 60000 + i * 100));
    made.channels = {numbers_at("A", {{0, 1.0f}, {1, 2.0f}, {2, 3.0f}})};
    files.push_back(write(folder, "run" + std::to_string(run) + ".raw", made));
  }
  EXPECT_EQ(numbers_of(dataset::open(of_files(files)).events()),
            (std::vector<std::uint32_t>{1, 2, 3, 1, 2, 3}));
}

TEST(Streams, TheSameFileTwiceIsReadOnce) {
  const temporary_folder folder;
  handmade_file made;
  made.events.push_back(event_at(1, 0));
  made.channels = {numbers_at("A", {{0, 1.0f}})};
  const std::string path = write(folder, "a.raw", made);
  const dataset data = dataset::open(of_files({path, folder.path().string() + "/./a.raw"}));
  EXPECT_EQ(data.files().size(), 1u);
  EXPECT_EQ(data.column("A").size(), 1u);
}

TEST(Streams, AFolderGivesItsRawFiles) {
  const temporary_folder folder;
  handmade_file made;
  made.events.push_back(event_at(1, 0));
  made.channels = {numbers_at("A", {{0, 1.0f}})};
  write(folder, "a.raw", made);
  folder.write("notes.txt", std::vector<unsigned char>(10, 'x'));
  EXPECT_EQ(dataset::open(of_files({folder.path().string()})).files().size(), 1u);
  const temporary_folder empty;
  EXPECT_THROW(dataset::open(of_files({empty.path().string()})), selection_error);
}

}  // namespace
