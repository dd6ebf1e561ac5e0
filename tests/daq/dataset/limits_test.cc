// The memory limit, cancellation and progress.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;

/// A file of one channel: `events` waves of `samples`, noise that does not compress.
std::string noise(const temporary_folder& folder, std::size_t events, std::size_t samples,
                  const char* name = "a.raw") {
  std::mt19937 random(7);
  handmade_file file;
  handmade_channel channel("NOISE");
  for (std::size_t i = 0; i < events; ++i) {
    file.events.push_back(event_at(static_cast<std::uint32_t>(i + 1), static_cast<std::uint32_t>(i * 100)));
    std::vector<float> wave(samples);
    for (float& sample : wave) sample = static_cast<float>(random());
    handmade_block block;
    block.event = i;
    block.payload = spectrum({wave});
    channel.blocks.push_back(i % 2 == 0 ? zipped(block, RAVO_ZIP_ZLIB) : block);
  }
  file.channels = {channel};
  return write(folder, name, file);
}

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
    sum += one["NOISE"].number();
    ++n;
  }
  EXPECT_EQ(n, 200u);
  EXPECT_LE(data.peak_memory(), options.memory_limit);
  // A column that does not fit is refused before it is read; in the caller's memory it is none of ours.
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

TEST(MemoryLimit, FilledByHeldEventsIsToldAndThenGoesOn) {
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
  held.clear();
  EXPECT_TRUE(data.at(200));
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

TEST(MemoryLimit, OfAnEventThatIsTooLargeIsTold) {
  const temporary_folder folder;
  const std::string path = noise(folder, 3, 100000);
  dataset_options options;
  options.memory_limit = 300u << 10;
  const dataset data = dataset::open(of_files({path}), options);
  EXPECT_THROW(data.at(1), memory_exceeded);
}

TEST(Cancellation, EndsEveryReadingAtAnyTime) {
  const temporary_folder folder;
  const std::string path = noise(folder, 150, 2048);
  std::mt19937 random(1);
  int cancelled = 0;
  for (int round = 0; round < 30; ++round) {
    std::stop_source stop;
    dataset_options options;
    options.stop = stop.get_token();
    options.threads = 2;
    // Told by the reading itself, at a moment that the round decides.
    std::atomic<int> calls{0};
    const int last = static_cast<int>(random() % 4);
    options.progress = [&](const read_progress&) {
      if (calls++ >= last) stop.request_stop();
    };
    const dataset data = dataset::open(of_files({path}), options);
    try {
      if (round % 3 == 0) {
        for (event_range events = data.events(); const event& one : events) (void)one;
      } else if (round % 3 == 1) {
        data.column("NOISE");
      } else {
        data.digest();
      }
    } catch (const read_cancelled&) {
      ++cancelled;
    }
  }
  EXPECT_GE(cancelled, 5);  // the others were over before they were told
}

TEST(Cancellation, FromAnotherThreadLeavesNothingBehind) {
  const temporary_folder folder;
  const std::string path = noise(folder, 150, 2048);
  for (int round = 0; round < 10; ++round) {
    std::stop_source stop;
    dataset_options options;
    options.stop = stop.get_token();
    const dataset data = dataset::open(of_files({path}), options);
    std::atomic<bool> begun{false};
    std::thread other([&] {
      while (!begun) std::this_thread::yield();
      stop.request_stop();
    });
    try {
      begun = true;
      for (event_range events = data.events(); const event& one : events) (void)one;
      data.column("NOISE");
    } catch (const read_cancelled&) {
    }
    other.join();
  }
}

TEST(Progress, OfAColumnEndsAtItsTotal) {
  const temporary_folder folder;
  const std::string path = noise(folder, 50, 2048);
  read_progress last;
  dataset_options options;
  options.progress = [&](const read_progress& now) {
    EXPECT_GE(now.done_bytes, last.done_bytes);
    last = now;
  };
  const dataset data = dataset::open(of_files({path}), options);
  data.column("NOISE");
  EXPECT_GT(last.total_bytes, 50u * 2048 * 4 / 2);
  EXPECT_EQ(last.done_bytes, last.total_bytes);
}

TEST(ManyFiles, AreOpenedAFewAtATime) {
  const temporary_folder folder;
  std::vector<std::string> files;
  for (std::uint32_t i = 0; i < 40; ++i) {
    handmade_file file;
    file.events.push_back(event_at(i + 1, i * 1000));
    file.channels = {numbers_at("A", {{0, static_cast<float>(i)}})};
    files.push_back(write(folder, "f" + std::to_string(i) + ".raw", file));
  }
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
  const std::string path = noise(folder, 120, 1024);
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
