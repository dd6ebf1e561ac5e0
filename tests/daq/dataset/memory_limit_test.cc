// The memory limit: what counts for it, that it is kept, and what is said when it does not suffice.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <numeric>
#include <optional>
#include <span>
#include <thread>

#include "noisy_file.h"

namespace {

using namespace ravo;
using namespace ravo::test;

TEST(MemoryLimit, IsKeptByEventsAndColumns) {
  const temporary_folder folder;
  const std::string path = noise(folder, 200, 4096);  // 3.3 MB decoded
  dataset_options options;
  options.memory_limit = 1u << 20;
  options.threads = 3;
  const dataset data = dataset::open(of_files({path}), options);
  double sum = 0;
  std::size_t n = 0;
  for (event_range events = data.events(); const event& one : events) {
    sum += one["NOISE"].scalar();
    ++n;
  }
  EXPECT_EQ(n, 200u);
  EXPECT_LE(data.peak_memory(), options.memory_limit);
  // A column that does not fit is refused before it is read; in the caller's memory it does not count.
  EXPECT_THROW(data.column("NOISE"), memory_exceeded);
  std::vector<std::byte> memory(data.layout("NOISE").bytes());
  column_options into;
  into.into = memory;
  const column_data column = data.column("NOISE", into);
  double column_sum = 0;
  for (std::size_t row = 0; row < column.size(); ++row) column_sum += column.row<float>(row)[0];
  EXPECT_EQ(column_sum, sum);
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

TEST(MemoryLimit, CountsRowsOfDifferentShapesToo) {
  const temporary_folder folder;
  handmade_file file;
  handmade_channel channel("RAGGED");
  for (std::size_t i = 0; i < 100; ++i) {
    file.events.push_back(event_at(static_cast<std::uint32_t>(i + 1), static_cast<std::uint32_t>(i * 100)));
    handmade_block block;
    block.event = i;
    block.payload = spectrum({std::vector<float>(4000 + i, static_cast<float>(i))});
    channel.blocks.push_back(zipped(block, RAVO_ZIP_ZLIB));
  }
  file.channels = {channel};
  const std::string path = write(folder, "a.raw", file);  // 1.6 MB of values
  dataset_options options;
  options.threads = 2;
  options.memory_limit = 5u << 20;
  const dataset data = dataset::open(of_files({path}), options);
  const column_data column = data.column("RAGGED");
  ASSERT_TRUE(column.is_ragged());
  EXPECT_EQ(column.row<float>(99).size(), 4099u);
  EXPECT_GT(data.peak_memory(), column.bytes().size() * 2 - (64u << 10));  // in parts, and put together
  EXPECT_LE(data.peak_memory(), options.memory_limit);
  options.memory_limit = 1u << 20;
  const dataset short_of = dataset::open(of_files({path}), options);
  EXPECT_THROW(short_of.column("RAGGED"), memory_exceeded);
  EXPECT_LE(short_of.peak_memory(), options.memory_limit);
}

/// Reads by events and by columns, and compares the peak memory with the plan.
void expect_planned(const std::string& path, std::uint64_t most_times_too_much) {
  for (const std::size_t threads : {1u, 2u, 4u}) {
    dataset_options options;
    options.threads = threads;
    const dataset by_event = dataset::open(of_files({path}), options);
    const read_plan plan = by_event.plan();
    for (event_range events = by_event.events(); const event& one : events) (void)one;
    EXPECT_LE(by_event.peak_memory(), plan.peak_bytes_of_events) << threads;
    EXPECT_LE(plan.peak_bytes_of_events, most_times_too_much * by_event.peak_memory()) << threads;
    const dataset by_column = dataset::open(of_files({path}), options);
    by_column.column(by_column.channels()[0].label);
    EXPECT_LE(by_column.peak_memory(), plan.peak_bytes_of_columns) << threads;
    EXPECT_LE(plan.peak_bytes_of_columns, most_times_too_much * by_column.peak_memory()) << threads;
  }
}

TEST(MemoryLimit, IsNotReachedByWhatThePlanSays) {
  const temporary_folder folder;
  expect_planned(noise(folder, 400, 4096), 16);  // 6.5 MB decoded
  expect_planned(flat(folder, 100), 16);         // the same, of next to nothing
  // Columns of single numbers mostly take memory for what goes with the numbers.
  handmade_file file;
  std::vector<std::pair<std::size_t, float>> numbers;
  for (std::uint32_t i = 0; i < 5000; ++i) {
    file.events.push_back(event_at(i + 1, i * 100));
    numbers.emplace_back(i, static_cast<float>(i));
  }
  file.channels = {numbers_at("NUMBERS", numbers)};
  expect_planned(write(folder, "numbers.raw", file), 16);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // their memory is not the program's
/// In a process of its own whose address space may grow by no more than `bytes`: the sum of all values.
int read_in_little_memory(const std::string& path, std::size_t bytes, std::size_t limit, double expected) {
  mallopt(M_ARENA_MAX, 1);  // others reserve address space that is never used
  std::ifstream sizes("/proc/self/statm");
  std::size_t pages = 0;
  sizes >> pages;
  const rlim_t most = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + bytes;
  const rlimit narrow{most, most};
  if (setrlimit(RLIMIT_AS, &narrow) != 0) return 2;
  dataset_options options;
  options.threads = 2;
  options.memory_limit = limit;
  const dataset data = dataset::open(of_files({path}), options);
  double sum = 0;
  for (event_range events = data.events(); const event& one : events) sum += one["FLAT"].scalar();
  const auto digest = data.digest();
  return sum == expected && digest[0].digest.values() == data.size() && data.peak_memory() <= limit ? 0 : 3;
}

TEST(MemoryLimit, HoldsInAProcessThatHasNoMore) {
  const temporary_folder folder;
  constexpr std::size_t events = 1500;
  const std::string path = flat(folder, events);
  const std::size_t decoded = dataset::open(of_files({path})).plan().decoded_bytes;
  // The stacks of two threads come on top.
  constexpr std::size_t limit = 8u << 20, more = 48u << 20;
  ASSERT_GT(decoded, limit + more);
  EXPECT_EXIT(std::exit(read_in_little_memory(path, limit + more, limit, events * 2.5)),
              testing::ExitedWithCode(0), "");
}
#endif

TEST(MemoryLimit, FilledByHeldEventsIsReportedAndThenGoesOn) {
  const temporary_folder folder;
  const std::string path = noise(folder, 200, 4096);
  dataset_options options;
  options.memory_limit = 1u << 20;
  const dataset data = dataset::open(of_files({path}), options);
  std::vector<event> held;
  event_range events = data.events();
  EXPECT_THROW(
      {
        while (auto one = events.next()) held.push_back(*one);
      },
      memory_exceeded);
  EXPECT_GT(held.size(), 10u);
  std::uint32_t next = static_cast<std::uint32_t>(held.size()) + 1;
  held.clear();
  // No event is lost for that.
  while (const auto one = events.next()) EXPECT_EQ(one->number(), next++);
  EXPECT_EQ(next, 201u);
  EXPECT_EQ(events.ledger().delivered(), 200u);
  EXPECT_TRUE(data.at(200));
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

// The tables of the file that a held value lies in are needed beside those of the events' own.
TEST(MemoryLimit, LeavesRoomForTheFileOfAHeldValue) {
  const temporary_folder folder;
  constexpr std::uint32_t events_of_file = 1500, files = 4;
  std::vector<std::string> paths;
  for (std::uint32_t which = 0; which < files; ++which) {
    handmade_file file;
    std::vector<std::pair<std::size_t, float>> numbers;
    for (std::uint32_t i = 0; i < events_of_file; ++i) {
      const std::uint32_t number = which * events_of_file + i;
      file.events.push_back(event_at(number + 1, number * 100));
      numbers.emplace_back(i, static_cast<float>(number));
    }
    file.channels = {numbers_at("FAST", numbers)};
    if (which == 0) {
      file.events.push_back(event_at(1, 0, RAVO_EV_UPD));
      handmade_channel slow("SLOW");
      slow.ev_mask = 1u << RAVO_EV_UPD;
      slow.blocks.push_back(update_of(layout_2010{}, file.events.size() - 1, 7.5f, noon));
      file.channels.push_back(slow);
    }
    paths.push_back(write(folder, "f" + std::to_string(which) + ".raw", file));
  }
  selection wanted = of_files(paths);
  wanted.slow = slow_policy::hold;
  for (const std::size_t limit : {600u << 10, 800u << 10, 2u << 20}) {
    SCOPED_TRACE(limit);
    dataset_options options;
    options.threads = 3;
    options.memory_limit = limit;
    const dataset data = dataset::open(wanted, options);
    std::size_t fast = 0, with_value = 0;
    for (event_range events = data.events(); const event& one : events) {
      fast += one["FAST"].status() == value_status::ok ? 1 : 0;
      with_value += one["SLOW"].update().value == 7.5f ? 1 : 0;
    }
    EXPECT_EQ(fast, events_of_file * files);
    EXPECT_EQ(with_value, events_of_file * files);
    EXPECT_LE(data.peak_memory(), limit);
  }
}

TEST(MemoryLimit, CutsBatchesThatInflateToMoreThanItHolds) {
  // Stored bytes decide what is read together.
  const temporary_folder folder;
  const std::string path = flat(folder, 100);
  dataset_options options;
  options.threads = 2;
  options.memory_limit = 700u << 10;
  const dataset data = dataset::open(of_files({path}), options);
  std::vector<std::uint32_t> expected(100);
  std::iota(expected.begin(), expected.end(), 1u);
  EXPECT_EQ(numbers_of(data.events()), expected);
  std::reverse(expected.begin(), expected.end());
  event_options backward;
  backward.order = event_order::backward;
  EXPECT_EQ(numbers_of(data.events(backward)), expected);
  EXPECT_EQ(data.ledger().delivered(), 200u);
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

/// Reads on three threads at once; all of them have to get the same.
template <class Read>
void expect_three_times_at_once(const channel_digest& expected, Read read) {
  std::atomic<int> equal{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back([&] { equal += read() == expected ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(equal, 3);
}

TEST(MemoryLimit, IsSharedByReadingsThatWaitForOneAnother) {
  const temporary_folder folder;
  const std::string path = noise(folder, 60, 16384);  // 64 KiB an event
  dataset_options options;
  options.threads = 2;
  options.memory_limit = 900u << 10;
  const dataset data = dataset::open(of_files({path}), options);
  const channel_digest expected = data.digest()[0].digest;
  expect_three_times_at_once(expected, [&] {
    channel_digest seen;
    for (event_range events = data.events(); const event& one : events) seen.add(one[0]);
    return seen;
  });
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

// The limit is little more than what one of them needs for a block.
TEST(MemoryLimit, IsSharedByColumnsThatWaitForOneAnother) {
  const temporary_folder folder;
  const std::string path = flat(folder, 300);  // 64 KiB a row
  for (const std::size_t threads : {1u, 3u}) {
    SCOPED_TRACE(threads);
    dataset_options options;
    options.threads = threads;
    options.memory_limit = 250u << 10;
    const dataset data = dataset::open(of_files({path}), options);
    const channel_digest expected = data.digest()[0].digest;
    expect_three_times_at_once(expected, [&] { return data.digest()[0].digest; });
    EXPECT_LE(data.peak_memory(), options.memory_limit);
  }
}

// Of several workers that have no room for what their blocks inflate to, one waits, and none keeps what it
// has.
TEST(MemoryLimit, IsKeptByWorkersOfAColumnThatHaveNoRoom) {
  const temporary_folder folder;
  const std::string path = flat(folder, 200);  // 64 KiB a row
  std::vector<float> rows(200 * 16384);
  column_options how;
  how.into = std::as_writable_bytes(std::span(rows));
  std::optional<channel_digest> expected;
  for (const std::size_t limit : {16u << 20, 400u << 10, 330u << 10, 300u << 10}) {
    SCOPED_TRACE(limit);
    dataset_options options;
    options.threads = 4;
    options.memory_limit = limit;
    const dataset data = dataset::open(of_files({path}), options);
    how.with_digest = true;
    std::fill(rows.begin(), rows.end(), 0.0f);
    const column_data column = data.column("FLAT", how);
    EXPECT_EQ(column.ledger.delivered(), 200u);
    EXPECT_EQ(column.ledger.expected(), 200u);
    EXPECT_TRUE(std::all_of(rows.begin(), rows.end(), [](float one) { return one == 2.5f; }));
    if (!expected) expected = column.digest;
    EXPECT_EQ(column.digest, expected);
    EXPECT_LE(data.peak_memory(), limit);
  }
}

TEST(MemoryLimit, OfAnEventThatIsTooLargeIsReported) {
  const temporary_folder folder;
  const std::string path = noise(folder, 3, 100000);
  dataset_options options;
  options.memory_limit = 300u << 10;
  const dataset data = dataset::open(of_files({path}), options);
  EXPECT_THROW(data.at(1), memory_exceeded);
}

}  // namespace
