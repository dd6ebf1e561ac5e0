// Columns of blocks so large that all workers decode the first ones before it is known what the rows look
// like: every way in which the first blocks can be good, damaged or of other shapes, with 2 to 5 workers.
#include <gtest/gtest.h>

#include <bit>
#include <bitset>
#include <random>

#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;

/// Every n-th case is tried; n is 1 except under sanitizers, which take many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned stride = 5;
#else
constexpr unsigned stride = 1;
#endif

constexpr std::size_t blocks = 5;
constexpr std::size_t samples = 18'000;  // of noise: no smaller when it is stored

constexpr std::size_t very_many_samples = 150'000;

/// Zeros, with noise in every so many of them.
std::vector<float> wave(std::size_t event, std::size_t length = samples, std::size_t every = 1) {
  std::mt19937 random(static_cast<unsigned>(event));
  std::vector<float> values(length);
  // Any bits except those that are not a number.
  for (std::size_t i = 0; i < length; i += every)
    values[i] = std::bit_cast<float>(static_cast<std::uint32_t>(random()) & 0xbfffffffu);
  return values;
}

/// What is wrong with a block, if anything.
enum class spoiled { no, checksum, shorter, other_type };

class LargeBlocks : public testing::TestWithParam<std::size_t> {
 protected:
  std::string written(const std::vector<spoiled>& which, std::uint32_t zip = RAVO_ZIP_ZLIB) {
    handmade_file file;
    handmade_channel channel("WAVE");
    for (std::size_t i = 0; i < which.size(); ++i) {
      const auto number = static_cast<std::uint32_t>(i);
      file.events.push_back(event_at(number + 1, number * 100));
      channel.blocks.push_back(block(i, which[i], zip));
    }
    file.channels = {channel};
    return write(folder_, "a.raw", file);
  }
  /// Files of two blocks each whose tables take half as much memory as a worker needs for a block.
  std::vector<std::string> written_with_large_tables(std::size_t files, std::size_t every = 1) {
    constexpr std::size_t other_channels = 1500;
    std::vector<std::string> paths;
    for (std::size_t n = 0; n < files; ++n) {
      handmade_file file;
      handmade_channel channel("WAVE");
      for (std::size_t i = 0; i < 2; ++i) {
        const auto number = static_cast<std::uint32_t>(2 * n + i);
        file.events.push_back(event_at(number + 1, number * 1000));
        handmade_block made;
        made.event = i;
        made.payload = spectrum({wave(i, very_many_samples, every)});
        channel.blocks.push_back(zipped(made, RAVO_ZIP_ZLIB));
      }
      file.channels = {channel};
      for (std::size_t i = 0; i < other_channels; ++i)
        file.channels.emplace_back("EMPTY/" + std::to_string(i));
      paths.push_back(write(folder_, std::to_string(n) + ".raw", file));
    }
    return paths;
  }
  dataset opened(const std::string& path, std::size_t memory = std::size_t{256} << 20) const {
    return opened(std::vector<std::string>{path}, memory);
  }
  dataset opened(const std::vector<std::string>& paths, std::size_t memory) const {
    dataset_options options;
    options.threads = GetParam();
    options.memory_limit = memory;
    return dataset::open(of_files(paths, {"WAVE"}), options);
  }

 private:
  static handmade_block block(std::size_t event, spoiled how, std::uint32_t zip) {
    handmade_block made;
    made.event = event;
    made.payload = spectrum({wave(event, how == spoiled::shorter ? samples - 1000 : samples)});
    if (how == spoiled::other_type) made = frame(event);
    if (zip == 0) return made;
    made = zipped(made, zip);
    if (how == spoiled::checksum) made.orig_length = static_cast<std::uint32_t>(made.payload.size() - 4);
    return made;
  }

  static handmade_block frame(std::size_t event) {
    constexpr std::uint32_t side = 400;
    handmade_block made;
    made.event = event;
    made.dtype = RAVO_BLOCK_IMAGE;
    made.payload.u32(side).u32(side).u32(1).i32(0).u32(0).u32(0).i32(side * side);
    std::mt19937 random(static_cast<unsigned>(event));
    for (std::uint32_t i = 0; i < side * side; i += 4)
      made.payload.u32(static_cast<std::uint32_t>(random()));
    return made;
  }

  temporary_folder folder_;
};

bool is_wave(const column_data& column, std::size_t row) {
  const auto got = column.row<float>(row);
  const std::vector<float> expected = wave(row);
  return std::equal(got.begin(), got.end(), expected.begin(), expected.end());
}

template <class Element>
bool is_same_row(const column_data& one, const column_data& other, std::size_t row) {
  const auto got = one.row<Element>(row), wanted = other.row<Element>(row);
  return std::equal(got.begin(), got.end(), wanted.begin(), wanted.end());
}

TEST_P(LargeBlocks, AreAllThereStoredInAnyWay) {
  for (const std::uint32_t zip : {0u, std::uint32_t{RAVO_ZIP_ZLIB}, 2u})
    for (std::size_t count = 1; count <= blocks; ++count) {
      const dataset data = opened(written(std::vector<spoiled>(count, spoiled::no), zip));
      ASSERT_GT(data.plan().channels[0].stored_bytes, count << 16);
      const column_data column = data.column("WAVE");
      ASSERT_EQ(column.size(), count);
      for (std::size_t row = 0; row < count; ++row) {
        EXPECT_EQ(column.status[row], value_status::ok);
        EXPECT_TRUE(is_wave(column, row)) << zip << " " << count << " " << row;
      }
      EXPECT_EQ(column.ledger.channels[0].delivered, count);
    }
}

TEST_P(LargeBlocks, AreThereWhicheverOfTheOthersAreDamaged) {
  for (unsigned bad = 1; bad < (1u << blocks); bad += stride) {
    std::vector<spoiled> which(blocks, spoiled::no);
    for (std::size_t i = 0; i < blocks; ++i)
      if (std::bitset<blocks>(bad)[i]) which[i] = spoiled::checksum;
    const dataset data = opened(written(which));
    const column_data column = data.column("WAVE");
    ASSERT_EQ(column.size(), blocks);
    for (std::size_t row = 0; row < blocks; ++row) {
      const bool is_good = which[row] == spoiled::no;
      EXPECT_EQ(column.status[row] == value_status::ok, is_good) << bad << " " << row;
      EXPECT_TRUE(!is_good || is_wave(column, row)) << bad << " " << row;
    }
    EXPECT_EQ(column.ledger.channels[0].delivered, blocks - std::bitset<blocks>(bad).count());
  }
}

// The first readable block decides what the rows are.
TEST_P(LargeBlocks, OfOtherShapesAndTypesAreAsAloneWithOneWorker) {
  const spoiled all[] = {spoiled::no, spoiled::checksum, spoiled::shorter, spoiled::other_type};
  for (std::size_t n = 0; n < 4 * 4 * 4; n += stride) {
    const std::string path = written({all[n % 4], all[n / 4 % 4], all[n / 16], spoiled::no, spoiled::no});
    const dataset data = opened(path);
    dataset_options one_worker;
    one_worker.threads = 1;
    const column_data expected = dataset::open(of_files({path}), one_worker).column("WAVE");
    const column_data column = data.column("WAVE");
    ASSERT_EQ(column.status, expected.status) << n;
    ASSERT_EQ(column.is_ragged(), expected.is_ragged()) << n;
    ASSERT_EQ(column.layout.kind, expected.layout.kind) << n;
    ASSERT_EQ(column.layout.element, expected.layout.element) << n;
    ASSERT_EQ(column.offsets, expected.offsets) << n;
    for (std::size_t row = 0; row < blocks; ++row) {
      if (column.status[row] != value_status::ok) continue;
      EXPECT_TRUE(column.layout.element == element_type::uint8
                      ? is_same_row<std::uint8_t>(column, expected, row)
                      : is_same_row<float>(column, expected, row))
          << n << " " << row;
    }
  }
}

// What suffices for one worker suffices for any number of them.
TEST_P(LargeBlocks, AreReadUnderEveryMemoryLimitThatSufficesForOneAtATime) {
  const std::string path = written(std::vector<spoiled>(blocks, spoiled::no));
  std::vector<std::byte> memory(blocks * samples * sizeof(float));
  column_options into;
  into.into = memory;
  dataset_options one_worker;
  one_worker.threads = 1;
  const dataset alone = dataset::open(of_files({path}), one_worker);
  static_cast<void>(alone.column("WAVE", into));
  const std::size_t least = alone.peak_memory() + 4096;  // more workers, more pieces of work
  for (std::size_t limit = least; limit < GetParam() * least; limit += stride * least / 6) {
    const dataset data = opened(path, limit);
    const column_data column = data.column("WAVE", into);
    for (std::size_t row = 0; row < blocks; ++row) ASSERT_TRUE(is_wave(column, row)) << limit;
    EXPECT_LE(data.peak_memory(), limit);
  }
  EXPECT_THROW(opened(path, samples).column("WAVE", into), memory_exceeded);
}

// A worker that waits for the tables of the next file holds nothing that another one waits for.
TEST_P(LargeBlocks, OfManyFilesAreReadUnderLimitsThatSufficeForOneAtATime) {
  constexpr std::size_t files = 6;
  const std::vector<std::string> paths = written_with_large_tables(files);
  const std::vector<float> expected[] = {wave(0, very_many_samples), wave(1, very_many_samples)};
  std::vector<std::byte> memory(2 * files * very_many_samples * sizeof(float));
  column_options into;
  into.into = memory;
  dataset_options one_worker;
  one_worker.threads = 1;
  const dataset alone = dataset::open(of_files(paths, {"WAVE"}), one_worker);
  static_cast<void>(alone.column("WAVE", into));
  const std::size_t least = alone.peak_memory() + 16384;  // more workers, more pieces of work
  for (std::size_t limit = least; limit < 2 * least; limit += stride * least / 48) {
    const dataset data = opened(paths, limit);
    const column_data column = data.column("WAVE", into);
    ASSERT_EQ(column.size(), 2 * files);
    for (std::size_t row = 0; row < column.size(); ++row)
      ASSERT_EQ(std::memcmp(column.row<float>(row).data(), expected[row % 2].data(),
                            very_many_samples * sizeof(float)),
                0)
          << limit << " " << row;
    EXPECT_LE(data.peak_memory(), limit);
  }
}

// Reading by event waits for no memory that what it has decoded ahead itself takes: from the first limit on
// that suffices for one worker, every limit suffices for any number of them.
TEST_P(LargeBlocks, OfManyFilesAreReadEventByEventUnderLimitsThatHoldOne) {
  constexpr std::size_t files = 6, every = 8;  // what is stored is small beside what comes out
  const std::vector<std::string> paths = written_with_large_tables(files, every);
  const std::vector<float> expected[] = {wave(0, very_many_samples, every),
                                         wave(1, very_many_samples, every)};
  const auto read = [&](std::size_t limit, std::size_t threads, event_order order) {
    dataset_options options;
    options.threads = threads;
    options.memory_limit = limit;
    const dataset data = dataset::open(of_files(paths, {"WAVE"}), options);
    event_options in;
    in.order = order;
    std::size_t count = 0;
    for (event_range events = data.events(in); const event& one : events) {
      const auto got = one["WAVE"].spectrum().values;
      const std::vector<float>& wanted = expected[(one.number() + 1) % 2];
      if (!std::equal(got.begin(), got.end(), wanted.begin(), wanted.end())) return std::size_t{0};
      ++count;
    }
    EXPECT_LE(data.peak_memory(), limit);
    return count;
  };
  constexpr std::size_t step = very_many_samples * sizeof(float) / 32;
  std::size_t limit = 34 * step;
  for (bool is_enough = false; !is_enough && limit < 128 * step;) try {
      is_enough = read(limit, 1, event_order::forward) == 2 * files;
    } catch (const memory_exceeded&) {
      limit += step;
    }
  for (const std::size_t last = limit + 48 * step; limit < last; limit += stride * step)
    for (const event_order order : {event_order::forward, event_order::backward})
      for (const std::size_t threads : {std::size_t{1}, GetParam()})
        ASSERT_EQ(read(limit, threads, order), 2 * files) << limit << " " << threads;
}

INSTANTIATE_TEST_SUITE_P(Workers, LargeBlocks, testing::Values(2, 3, 5));

}  // namespace
