// Cancellation, progress, many files and several threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <span>
#include <thread>

#include "noisy_file.h"
#include "single_events.h"

namespace {

using namespace ravo;
using namespace ravo::test;

/// Reads with options that request a stop at the n-th call of the progress function; whether the reading
/// was cancelled. Without a stop the same dataset then reads all `values`, and its account balances.
template <class Options, class Read>
bool is_cancelled_at(const dataset& data, int call, std::size_t values, Options options, Read read) {
  std::stop_source stop;
  options.stop = stop.get_token();
  int calls = 0;
  options.progress = [&](const read_progress&) {
    if (calls++ == call) stop.request_stop();
  };
  bool is_cancelled = false;
  try {
    read(options);
  } catch (const read_cancelled&) {
    is_cancelled = true;
  }
  const read_ledger before = data.ledger();
  EXPECT_TRUE(before.is_balanced());
  EXPECT_EQ(before.missing(), 0u);
  options.stop = {};
  options.progress = {};
  EXPECT_EQ(read(options), values);
  EXPECT_EQ(data.ledger().delivered(), before.delivered() + values);
  EXPECT_TRUE(data.ledger().is_balanced());
  return is_cancelled;
}

TEST(Cancellation, EndsAnyReadingAndTheDatasetReadsOn) {
  const temporary_folder folder;
  const std::string path = noise(folder, 600, 2048);
  for (const std::size_t threads : {1u, 3u}) {
    dataset_options how;
    how.threads = threads;
    const dataset data = dataset::open(of_files({path}), how);
    const auto by_events = [&](const event_options& options) {
      std::size_t count = 0;
      for (event_range events = data.events(options); const event& one : events) count += one[0] ? 1 : 0;
      return count;
    };
    // Two of them under one token, since the first may be over before it is asked how far it has come.
    const auto columns = [&](const column_options& options) {
      return data.column("NOISE", options).size() + data.column("NOISE", options).size();
    };
    const auto digests = [&](const digest_options& options) {
      return data.digest(options)[0].digest.values() + data.digest(options)[0].digest.values();
    };
    // Batch by batch: the last call is the one at the end, when nothing is left to cancel.
    int last = 0;
    while (is_cancelled_at(data, last, 600, event_options{}, by_events)) ++last;
    EXPECT_GE(last, 5);
    event_options backward;
    backward.order = event_order::backward;
    for (int call = 0; call < last; ++call)
      EXPECT_TRUE(is_cancelled_at(data, call, 600, backward, by_events)) << call;
    EXPECT_TRUE(is_cancelled_at(data, 0, 1200, column_options{}, columns));
    EXPECT_TRUE(is_cancelled_at(data, 0, 1200, digest_options{}, digests));
  }
}

TEST(Cancellation, BeforeTheFirstStepEndsThatReadingOnly) {
  const temporary_folder folder;
  const std::string path = noise(folder, 3, 64);
  std::stop_source source;
  dataset_options options;
  options.stop = source.get_token();
  const dataset data = dataset::open(of_files({path}), options);
  source.request_stop();
  EXPECT_THROW(dataset::open(of_files({path}), options), read_cancelled);
  const std::stop_token stop = source.get_token();
  event_options of_events;
  column_options of_column;
  digest_options of_digest;
  of_events.stop = of_column.stop = of_digest.stop = stop;
  EXPECT_THROW(data.size(stop), read_cancelled);
  EXPECT_THROW(data.event_ids(stop), read_cancelled);
  EXPECT_THROW(data.plan(stop), read_cancelled);
  EXPECT_THROW(data.events(of_events).next(), read_cancelled);
  EXPECT_THROW(data.at(1, stop), read_cancelled);
  EXPECT_THROW(data.at(time_stamp{noon, 0}, stop), read_cancelled);
  EXPECT_THROW(data.layout("NOISE", of_column), read_cancelled);
  EXPECT_THROW(data.column("NOISE", of_column), read_cancelled);
  EXPECT_THROW(data.digest(of_digest), read_cancelled);
  EXPECT_EQ(data.ledger().expected(), 0u);
  EXPECT_EQ(data.size(), 3u);
  EXPECT_EQ(data.event_ids().size(), 3u);
  EXPECT_EQ(numbers_of(data.events()).size(), 3u);
  EXPECT_TRUE(data.at(1));
  EXPECT_EQ(data.column("NOISE").size(), 3u);
}

std::size_t entries_of(const char* folder) {
  std::size_t count = 0;
  for (const auto& one : std::filesystem::directory_iterator(folder)) {
    static_cast<void>(one);
    ++count;
  }
  return count;
}

// Neither a thread nor an open file, and an account that adds up; and the memory is free for the next one.
TEST(Cancellation, FromAnotherThreadLeavesNothingBehind) {
  const temporary_folder folder;
  const std::string path = noise(folder, 150, 2048);
  std::thread([] {}).join();  // with the first thread comes a sanitizer's own
  const std::size_t threads = entries_of("/proc/self/task"), files = entries_of("/proc/self/fd");
  int cancelled = 0;
  for (int round = 0; round < 40 || (cancelled == 0 && round < 400); ++round) {
    std::stop_source stop;
    event_options of_events;
    column_options of_column;
    of_events.stop = of_column.stop = stop.get_token();
    dataset_options options;
    options.threads = 2;
    options.memory_limit = std::size_t{2} << 20;  // as much as the column takes, and little more
    const dataset data = dataset::open(of_files({path}), options);
    std::atomic<bool> begun{false};
    std::thread other([&] {
      while (!begun) std::this_thread::yield();
      for (int turns = 0; turns < round * 10; ++turns) std::this_thread::yield();
      stop.request_stop();
    });
    begun = true;
    std::size_t delivered = 0;
    try {
      for (event_range events = data.events(of_events); const event& one : events)
        delivered += one[0] ? 1 : 0;
      delivered += data.column("NOISE", of_column).size();
    } catch (const read_cancelled&) {
      ++cancelled;
    }
    other.join();
    EXPECT_TRUE(data.ledger().is_balanced());
    EXPECT_GE(data.ledger().delivered(), delivered);
    EXPECT_EQ(data.ledger().missing(), 0u);
    EXPECT_LE(data.peak_memory(), options.memory_limit);
    EXPECT_THROW(data.events(of_events).next(), read_cancelled);
    EXPECT_EQ(data.column("NOISE").size(), 150u);
    EXPECT_TRUE(data.ledger().is_balanced());
  }
  EXPECT_GT(cancelled, 0);
  // A thread that was joined is listed until the system has taken it down.
  for (int i = 0; i < 100000 && entries_of("/proc/self/task") > threads; ++i) std::this_thread::yield();
  EXPECT_LE(entries_of("/proc/self/task"), threads);
  EXPECT_EQ(entries_of("/proc/self/fd"), files);
}

/// Two files whose events take turns, so that each block is read by itself: one piece of work is long.
std::vector<std::string> taking_turns(const temporary_folder& folder, std::uint32_t count) {
  std::vector<std::string> files;
  for (std::uint32_t which = 0; which < 2; ++which) {
    handmade_file file;
    std::vector<std::pair<std::size_t, float>> numbers;
    for (std::uint32_t i = which; i < count; i += 2) {
      numbers.emplace_back(file.events.size(), static_cast<float>(i));
      file.events.push_back(event_at(i + 1, i * 100));
    }
    file.channels = {numbers_at("A", numbers)};
    files.push_back(write(folder, "f" + std::to_string(which) + ".raw", file));
  }
  return files;
}

TEST(Cancellation, LeavesNoRowUnreadThatIsSaidToBeThere) {
  constexpr std::uint32_t count = 200;
  const temporary_folder folder;
  const std::vector<std::string> files = taking_turns(folder, count);
  std::vector<float> values(count);
  for (unsigned round = 0; round < 150; ++round) {
    std::stop_source stop;
    dataset_options options;
    options.threads = 1;
    const dataset data = dataset::open(of_files(files), options);
    ASSERT_EQ(data.size(), count);  // aligned, so that the column is mostly reading
    std::fill(values.begin(), values.end(), -1.0f);
    column_options how;
    how.into = std::as_writable_bytes(std::span(values));
    how.stop = stop.get_token();
    std::atomic<bool> begun{false};
    std::thread other([&] {
      while (!begun) std::this_thread::yield();
      for (unsigned turns = 0; turns < round * 20; ++turns) std::this_thread::yield();
      stop.request_stop();
    });
    begun = true;
    try {
      const column_data column = data.column("A", how);
      EXPECT_EQ(column.ledger.delivered(), count);
      for (std::uint32_t i = 0; i < count; ++i) EXPECT_EQ(values[i], static_cast<float>(i));
    } catch (const read_cancelled&) {
    }
    other.join();
    if (HasFailure()) break;
  }
}

TEST(Progress, OfAColumnEndsAtItsTotal) {
  const temporary_folder folder;
  const std::string path = noise(folder, 50, 2048);
  read_progress last;
  column_options options;
  options.progress = [&](const read_progress& now) {
    EXPECT_GE(now.done_bytes, last.done_bytes);
    last = now;
  };
  dataset::open(of_files({path})).column("NOISE", options);
  EXPECT_GT(last.total_bytes, 50u * 2048 * 4 / 2);
  EXPECT_EQ(last.done_bytes, last.total_bytes);
}

TEST(Progress, OfEventsEndsAtItsTotalWhichIsKnownFromTheBeginning) {
  const temporary_folder folder;
  const std::string path = noise(folder, 600, 2048);
  std::vector<read_progress> reported;
  const dataset data = dataset::open(of_files({path}));
  for (const event_order order : {event_order::forward, event_order::backward}) {
    reported.clear();
    event_options how;
    how.order = order;
    how.progress = [&](const read_progress& now) { reported.push_back(now); };
    for (event_range events = data.events(how); const event& one : events) (void)one;
    ASSERT_GT(reported.size(), 3u);
    for (std::size_t i = 0; i < reported.size(); ++i) {
      EXPECT_EQ(reported[i].total_bytes, data.plan().stored_bytes);
      EXPECT_GE(reported[i].done_bytes, i == 0 ? 1 : reported[i - 1].done_bytes);
    }
    EXPECT_EQ(reported.back().done_bytes, reported.back().total_bytes);
  }
}

TEST(Progress, OfADigestIsThatOfAllItsChannels) {
  const temporary_folder folder;
  handmade_file file;
  std::vector<std::pair<std::size_t, float>> numbers;
  for (std::uint32_t i = 0; i < 30; ++i) {
    file.events.push_back(event_at(i + 1, i * 100));
    numbers.emplace_back(i, static_cast<float>(i));
  }
  file.channels = {numbers_at("A", numbers), numbers_at("B", numbers, 1), numbers_at("C", numbers, 2)};
  std::vector<read_progress> reported;
  digest_options options;
  options.progress = [&](const read_progress& now) { reported.push_back(now); };
  selection wanted = of_files({write(folder, "a.raw", file)});
  wanted.step = 3;
  const dataset data = dataset::open(wanted);
  data.digest(options);
  ASSERT_GE(reported.size(), 3u);
  for (std::size_t i = 0; i < reported.size(); ++i) {
    EXPECT_EQ(reported[i].total_bytes, data.plan().stored_bytes);
    EXPECT_GE(reported[i].done_bytes, i == 0 ? 0 : reported[i - 1].done_bytes);
  }
  EXPECT_EQ(reported.back().done_bytes, reported.back().total_bytes);
}

TEST(ManyFiles, AreAlignedByAllThreadsWhileEventsAreRead) {
  const temporary_folder folder;
  const std::vector<std::string> files = single_events(folder, 60);
  dataset_options options;
  options.threads = 4;
  options.open_files = 5;
  options.memory_limit = 256u << 10;  // too little to keep all that was aligned
  const dataset data = dataset::open(of_files(files), options);
  std::vector<std::thread> threads;
  std::atomic<std::size_t> counted{0}, planned{0}, read{0}, found{0};
  threads.emplace_back([&] { counted = data.size(); });
  threads.emplace_back([&] { planned = data.plan().events; });
  threads.emplace_back([&] { read = numbers_of(data.events()).size(); });
  threads.emplace_back([&] {
    for (std::uint32_t number = 60; number > 0; --number) found += data.at(number) ? 1 : 0;
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counted, 60u);
  EXPECT_EQ(planned, 60u);
  EXPECT_EQ(read, 60u);
  EXPECT_EQ(found, 60u);
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

// Rows of different shapes are discovered on the way, and read again from the first one.
TEST(Progress, OfAColumnThatTurnsOutRaggedNeverGoesBack) {
  const temporary_folder folder;
  handmade_file file;
  handmade_channel channel("A");
  for (std::uint32_t i = 0; i < 60; ++i) {
    file.events.push_back(event_at(i + 1, i * 100));
    handmade_block block;
    block.event = i;
    block.payload = spectrum({std::vector<float>(i < 50 ? 4096 : 5000, 1.0f)});
    channel.blocks.push_back(block);
  }
  file.channels = {channel};
  std::vector<read_progress> reported;
  dataset_options options;
  options.threads = 1;
  column_options how;
  how.progress = [&](const read_progress& now) { reported.push_back(now); };
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}), options);
  EXPECT_TRUE(data.column("A", how).is_ragged());
  ASSERT_FALSE(reported.empty());
  for (std::size_t i = 1; i < reported.size(); ++i)
    EXPECT_GE(reported[i].done_bytes, reported[i - 1].done_bytes);
  EXPECT_EQ(reported.back().done_bytes, reported.back().total_bytes);
}

TEST(ManyFiles, AreOpenedAFewAtATime) {
  const temporary_folder folder;
  const std::vector<std::string> files = single_events(folder, 40);
  dataset_options options;
  options.open_files = 3;
  options.threads = 2;
  const dataset data = dataset::open(of_files(files), options);
  std::size_t open_now = 0;
  for (const auto& one : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const auto target = std::filesystem::read_symlink(one.path(), gone);
    if (!gone && target.string().starts_with(folder.path().string())) ++open_now;
  }
  EXPECT_LE(open_now, 3u);
  const column_data column = data.column("A");
  ASSERT_EQ(column.size(), 40u);
  for (std::size_t i = 0; i < 40; ++i) EXPECT_EQ(column.values<float>()[i], static_cast<float>(i));
}

TEST(SeveralThreads, MayReadOneDataset) {
  const temporary_folder folder;
  const std::string path = noise(folder, 480, 2048);
  dataset_options options;
  options.threads = 2;
  const dataset data = dataset::open(of_files({path}), options);
  const std::string expected = data.digest()[0].digest.to_text();
  std::vector<std::thread> threads;
  std::atomic<int> equal{0};
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&, i] {
      channel_digest seen;
      if (i % 2 == 0) {
        for (event_range events = data.events(); const event& one : events) seen.add(one[0]);
      } else {
        column_options with_digest;
        with_digest.with_digest = true;
        seen = *data.column("NOISE", with_digest).digest;
      }
      if (seen.to_text() == expected) ++equal;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(equal, 4);
}

}  // namespace
