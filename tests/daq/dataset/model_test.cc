// Thousands of generated file sets: gaps, rates, damage, events without numbers, both generations and both
// synch modes. What the dataset layer gives is held against a model over plain lists, and against the
// classic slicer where that one's rules are the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <random>

#include "classic_reading.h"
#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;

/// One value as it was put into a file.
struct put_in {
  std::uint32_t number;
  std::int64_t time;  // milliseconds behind noon
  float content;
  bool damaged;
};
/// All files of a set, channel by channel.
struct generated {
  std::vector<std::string> files;
  std::vector<std::string> channels;
  std::vector<std::vector<put_in>> values;
  /// A file has no block at all: made by hand, its first basket then begins where a table does, which the
  /// table-access library refuses and the slicer does not start with.
  bool has_empty_file = false;
};

class generator {
 public:
  explicit generator(unsigned seed) : random_(seed) {}
  bool chance(unsigned one_in) { return random_() % one_in == 0; }
  unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }

  /// Files one behind the other, of 10 Hz events with a jitter; each channel has its own rate and gaps.
  template <class layout>
  generated make(const temporary_folder& folder, bool numbered, bool with_damage) {
    generated all;
    const std::size_t channels = 1 + below(4);
    for (std::size_t i = 0; i < channels; ++i) all.channels.push_back("CH" + std::to_string(i));
    all.values.resize(channels);
    std::vector<unsigned> rate(channels);
    for (unsigned& one : rate) one = 1 + below(3);
    std::uint32_t number = 1 + below(1000), time = 0;
    for (unsigned file = 0, files = 1 + below(3); file < files; ++file) {
      handmade_file_of<layout> made;
      for (const std::string& name : all.channels) made.channels.emplace_back(name);
      const unsigned events = 1 + below(12);
      bool is_empty = true;
      for (unsigned i = 0; i < events; ++i, ++number, time += 100) {
        if (chance(6)) {  // a hole in all channels
          number += 1 + below(3);
          time += 100 * (1 + below(3));
        }
        made.events.push_back(event_at(numbered ? number : 0, time));
        for (std::size_t channel = 0; channel < channels; ++channel) {
          if (number % rate[channel] != 0 || chance(5)) continue;
          const float content = static_cast<float>(below(100000));
          handmade_block block = zipped(scalar<layout>(i, content), 1 + below(2));
          const bool damaged = with_damage && chance(8);
          if (damaged) block.zip_flags = 4;
          made.channels[channel].blocks.push_back(block);
          is_empty = false;
          all.values[channel].push_back({numbered ? number : 0, time, content, damaged});
        }
      }
      all.has_empty_file = all.has_empty_file || is_empty;
      all.files.push_back(write(folder, "set" + std::to_string(file) + ".raw", made));
    }
    return all;
  }

 private:
  std::mt19937 random_;
};

/// The events of all channels by time: since all channels of an event have its time, that is all there is
/// to it.
std::vector<std::int64_t> times_of(const generated& all) {
  std::vector<std::int64_t> times;
  for (const auto& values : all.values)
    for (const put_in& one : values) times.push_back(one.time);
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  return times;
}

std::int64_t milliseconds(const time_stamp& time) {
  return (std::int64_t{time.timeup} - noon) * 1000 + time.timelow / 1000;
}

template <class layout>
constexpr ravo_file_generation generation_of =
    std::is_same_v<layout, layout_2010> ? ravo_file_generation::current : ravo_file_generation::older;

template <class layout>
class Generated : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Generated, layouts);

TYPED_TEST(Generated, SetsAreReadAsTheModelSays) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder folder;
    const bool numbered = !random.chance(3);
    const generated all = random.make<TypeParam>(folder, numbered, random.chance(2));
    selection wanted = of_files(all.files, all.channels);
    wanted.synch = random.chance(2) ? synch_mode::by_time : synch_mode::by_number;
    wanted.join = random.chance(2) ? join_policy::all : join_policy::any;
    wanted.step = 1 + random.below(3);
    std::vector<std::int64_t> times = times_of(all);
    if (wanted.join == join_policy::all)
      std::erase_if(times, [&](std::int64_t time) {
        return !std::all_of(all.values.begin(), all.values.end(), [&](const auto& values) {
          return std::any_of(values.begin(), values.end(),
                             [&](const put_in& one) { return one.time == time; });
        });
      });
    std::vector<std::int64_t> expected;
    for (std::size_t i = 0; i < times.size(); i += wanted.step) expected.push_back(times[i]);

    dataset_options options;
    options.threads = 1 + random.below(3);
    const dataset data = dataset::open(wanted, options);
    ASSERT_EQ(data.size(), expected.size());
    std::size_t n = 0;
    std::vector<std::size_t> delivered(all.channels.size()), damaged(all.channels.size());
    event_range events = data.events();
    for (const event& one : events) {
      ASSERT_EQ(milliseconds(one.time()), expected[n]);
      for (std::size_t channel = 0; channel < all.channels.size(); ++channel) {
        const auto& values = all.values[channel];
        const auto found = std::find_if(values.begin(), values.end(),
                                        [&](const put_in& v) { return v.time == expected[n]; });
        const value seen = one[channel];
        if (found == values.end()) {
          ASSERT_EQ(seen.status(), value_status::not_recorded);
          continue;
        }
        ASSERT_EQ(seen.status(), found->damaged ? value_status::cannot_inflate : value_status::ok);
        if (!found->damaged) {
          ASSERT_EQ(static_cast<float>(seen.number()), found->content);
        }
        ++(found->damaged ? damaged : delivered)[channel];
      }
      ++n;
    }
    ASSERT_EQ(n, expected.size());
    const read_ledger ledger = events.ledger();
    for (std::size_t channel = 0; channel < all.channels.size(); ++channel) {
      ASSERT_TRUE(ledger.channels[channel].is_balanced());
      ASSERT_EQ(ledger.channels[channel].delivered, delivered[channel]);
      ASSERT_EQ(ledger.channels[channel].missing_total(), damaged[channel]);
      const column_data column = data.column(all.channels[channel]);
      ASSERT_EQ(column.size(), delivered[channel] + damaged[channel]);
      ASSERT_EQ(column.ledger.delivered(), delivered[channel]);
      for (std::size_t row = 0; row < column.size(); ++row)
        if (column.status[row] == value_status::ok) {
          const auto& values = all.values[channel];
          const auto at = std::find_if(values.begin(), values.end(), [&](const put_in& v) {
            return v.time == milliseconds(column.times[row]);
          });
          ASSERT_EQ(column.values<float>()[row], at->content);
        }
    }
  }
}

TYPED_TEST(Generated, SetsAreReadAsTheSlicerReadsThem) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 1000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, true, false);
    if (all.has_empty_file) continue;
    std::vector<std::string> channels;
    for (std::size_t i = 0; i < all.channels.size(); ++i)
      if (!all.values[i].empty()) channels.push_back(all.channels[i]);
    if (channels.empty()) continue;
    const auto expected =
        read_classic(generation_of<TypeParam>, all.files, channels, RAVO_DAQ_SLICER_SYNCH_MODE_EVID);
    const dataset data = dataset::open(of_files(all.files, channels));
    std::size_t n = 0;
    for (event_range events = data.events(); const event& one : events) {
      ASSERT_LT(n, expected.size());
      for (std::size_t channel = 0; channel < channels.size(); ++channel) {
        const auto there = expected[n].find(channel);
        ASSERT_EQ(one[channel].has_value(), there != expected[n].end());
        if (there == expected[n].end()) continue;
        ASSERT_EQ(one[channel].recorded_with().event_number, there->second.id.event_number);
        ASSERT_TRUE(std::equal(one[channel].bytes().begin(), one[channel].bytes().end(),
                               there->second.bytes.begin(), there->second.bytes.end()));
      }
      ++n;
    }
    ASSERT_EQ(n, expected.size());
  }
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
      EXPECT_EQ(one["A"].number(), number);
      EXPECT_EQ(one["B"].number(), number + 1000);
      ++number;
    }
  }
}

TEST(Streams, ThatCountAnewAreReadOneBehindTheOther) {
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
