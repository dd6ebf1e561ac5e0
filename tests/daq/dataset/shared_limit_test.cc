// Several readings of one dataset under one limit, in one thread: what one of them decoded ahead of use
// makes room for another, and where there is never enough room this is reported without a wait.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "noisy_file.h"
#include "resident_memory.h"

namespace {

using namespace ravo;
using namespace ravo::test;

constexpr std::size_t mebibyte = std::size_t{1} << 20;
constexpr std::size_t samples = mebibyte / sizeof(float);  // of an event

dataset_options with_limit(std::size_t bytes, std::size_t threads = 2) {
  dataset_options options;
  options.memory_limit = bytes;
  options.threads = threads;
  return options;
}

/// Whether a reading stalled; every wait for memory that never comes then takes 10 seconds or more.
class stopwatch {
 public:
  bool stood_still() const { return std::chrono::steady_clock::now() - begun_ > std::chrono::seconds(9); }

 private:
  std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
};

TEST(SharedLimit, IsSharedByRangesThatAreTakenInTurn) {
  const temporary_folder folder;
  constexpr std::uint32_t events = 60;
  const std::string path = noise(folder, events, 16384);
  const stopwatch watch;
  for (const std::size_t threads : {1u, 4u}) {
    SCOPED_TRACE(threads);
    const dataset data = dataset::open(of_files({path}), with_limit(8 * mebibyte, threads));
    std::vector<event_range> ranges;
    for (int i = 0; i < 4; ++i) ranges.push_back(data.events());
    for (std::uint32_t number = 1; number <= events; ++number)
      for (event_range& range : ranges) {
        const auto one = range.next();
        ASSERT_TRUE(one);
        EXPECT_EQ(one->number(), number);
        EXPECT_EQ((*one)["NOISE"].spectrum().values.size(), 16384u);
      }
    for (event_range& range : ranges) EXPECT_FALSE(range.next());
    EXPECT_LE(data.peak_memory(), 8 * mebibyte);
  }
  EXPECT_FALSE(watch.stood_still());
}

// A batch of these is a thousand times as large in memory as in the file: the first ones are planned before
// this is known.
class SharedLimitOfFlatBlocks : public testing::TestWithParam<std::size_t> {};  // samples

TEST_P(SharedLimitOfFlatBlocks, IsSharedByRangesThatAreTakenInTurn) {
  const temporary_folder folder;
  const auto events = static_cast<std::uint32_t>(20 * samples / GetParam());
  const std::string path = flat(folder, events, GetParam());
  const stopwatch watch;
  for (const event_order order : {event_order::forward, event_order::backward})
    for (const std::size_t threads : {1u, 4u}) {
      SCOPED_TRACE(threads);
      const dataset data = dataset::open(of_files({path}), with_limit(8 * mebibyte, threads));
      event_options how;
      how.order = order;
      std::vector<event_range> ranges;
      for (int i = 0; i < 4; ++i) ranges.push_back(data.events(how));
      for (std::uint32_t i = 1; i <= events; ++i)
        for (event_range& range : ranges) {
          const auto one = range.next();
          ASSERT_TRUE(one);
          EXPECT_EQ(one->number(), order == event_order::forward ? i : events + 1 - i);
          EXPECT_EQ((*one)["FLAT"].scalar(), 2.5);
        }
      for (event_range& range : ranges) {
        EXPECT_FALSE(range.next());
        EXPECT_EQ(range.ledger().delivered(), events);
        EXPECT_TRUE(range.ledger().is_balanced());
      }
      EXPECT_LE(data.peak_memory(), 8 * mebibyte);
    }
  EXPECT_FALSE(watch.stood_still());
}
INSTANTIATE_TEST_SUITE_P(Sizes, SharedLimitOfFlatBlocks,
                         testing::Values(samples / 16, samples / 4, samples / 2, samples));

// An event that is in use stays as it is, whatever the others need.
TEST(SharedLimit, TakesNothingFromEventsThatAreHeld) {
  const temporary_folder folder;
  constexpr std::uint32_t events = 100;
  const std::string path = flat(folder, events);
  const dataset data = dataset::open(of_files({path}), with_limit(8 * mebibyte));
  event_range first = data.events(), second = data.events();
  for (std::uint32_t number = 1; number <= events; ++number) {
    const auto held = first.next();
    ASSERT_TRUE(held);
    try {
      ASSERT_TRUE(second.next());
    } catch (const memory_exceeded&) {
      // What is held is in the way.
    }
    EXPECT_EQ(held->number(), number);
    const auto values = (*held)["FLAT"].spectrum().values;
    EXPECT_EQ(std::count(values.begin(), values.end(), 2.5f), 16384);
  }
  EXPECT_FALSE(first.next());
}

// Ranges of several threads take each other's batches, and each has all of its events anyway.
TEST(SharedLimit, IsSharedByRangesOfSeveralThreads) {
  const temporary_folder folder;
  constexpr std::uint32_t events = 200;
  const std::string path = flat(folder, events);
  const dataset data = dataset::open(of_files({path}), with_limit(8 * mebibyte));
  std::vector<std::thread> readers;
  std::atomic<std::uint32_t> sound{0};
  for (int i = 0; i < 4; ++i)
    readers.emplace_back([&] {
      event_range range = data.events();
      std::uint32_t number = 0;
      while (number < events) try {
          const auto one = range.next();
          if (!one || one->number() != ++number) return;
          if ((*one)["FLAT"].scalar() == 2.5) ++sound;
        } catch (const memory_exceeded&) {
          // All four decode at this moment; it goes on with the event that it did not deliver.
        }
    });
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(sound, 4 * events);
  EXPECT_LE(data.peak_memory(), 8 * mebibyte);
}

TEST(SharedLimit, GivesAColumnWhatARangeDecodedAhead) {
  const temporary_folder folder;
  constexpr std::size_t events = 100;
  const std::string path = noise(folder, events, 16384);
  const stopwatch watch;
  const dataset data = dataset::open(of_files({path}), with_limit(8 * mebibyte));
  event_range range = data.events();
  ASSERT_TRUE(range.next());
  EXPECT_EQ(data.column("NOISE").size(), events);
  std::size_t left = 0;
  while (range.next()) ++left;
  EXPECT_EQ(left, events - 1);
  EXPECT_LE(data.peak_memory(), 8 * mebibyte);
  EXPECT_FALSE(watch.stood_still());
}

// No other thread is at work that could give back anything.
TEST(SharedLimit, ThatIsFullOfHeldEventsIsSaidWithoutAWait) {
  const temporary_folder folder;
  const std::string path = flat(folder, 20, samples);
  const stopwatch watch;
  const dataset data = dataset::open(of_files({path}), with_limit(8 * mebibyte));
  event_range range = data.events();
  std::vector<event> held;
  EXPECT_THROW(
      {
        while (auto one = range.next()) held.push_back(*one);
      },
      memory_exceeded);
  EXPECT_GE(held.size(), 3u);
  EXPECT_THROW(data.column("FLAT"), memory_exceeded);
  EXPECT_THROW(data.digest(), memory_exceeded);
  EXPECT_FALSE(watch.stood_still());
  held.clear();
  EXPECT_EQ(data.digest()[0].digest.values(), 20u);
}

// The memory of large blocks goes back to the system.
TEST(SharedLimit, HoldsForTheResidentMemoryOfLargeBlocks) {
  const temporary_folder folder;
  const std::string path = flat(folder, 12, 16 * samples);
  const auto read = [&] {
    const dataset data = dataset::open(of_files({path}), with_limit(20 * mebibyte));
    const bool is_whole = data.digest()[0].digest.values() == 12;
    std::size_t count = 0;
    for (event_range events = data.events(); const event& one : events)
      count += one["FLAT"].scalar() == 2.5 ? 1 : 0;
    return is_whole && count == 12 && data.peak_memory() <= 20 * mebibyte;
  };
  EXPECT_EXIT(exit_by(read, 28 * mebibyte), testing::ExitedWithCode(0), "");
}

}  // namespace
