// What the blocks of a file leave for those of the next file.
#include "decode/block_memory.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace ravo {
namespace {

TEST(BlockMemory, IsThatOfAnEarlierBlock) {
  void* const first = take_block(100'000);
  give_back_block(first);
  void* const second = take_block(100'000);
  EXPECT_EQ(second, first);
  std::free(second);
}

TEST(BlockMemory, IsThatOfTheLastBlockGivenBack) {
  std::array<void*, 3> blocks;
  for (void*& block : blocks) block = take_block(200'000);
  for (void* block : blocks) give_back_block(block);
  for (auto block = blocks.rbegin(); block != blocks.rend(); ++block)
    EXPECT_EQ(take_block(200'000), *block);
  for (void* block : blocks) std::free(block);
}

TEST(BlockMemory, MayBeHardlyLargerThanAskedFor) {
  void* const large = take_block(3'000'000);
  give_back_block(large);
  void* const smaller = take_block(1'500'000);
  EXPECT_NE(smaller, large);
  void* const nearly = take_block(2'900'000);
  EXPECT_EQ(nearly, large);
  std::free(smaller);
  std::free(nearly);
}

TEST(BlockMemory, MayComeFromMalloc) {
  void* const given = std::malloc(700'000);
  give_back_block(given);
  void* const taken = take_block(700'000);
  EXPECT_EQ(taken, given);
  std::free(taken);
}

TEST(BlockMemory, OfNothingIsNothing) { give_back_block(nullptr); }

TEST(BlockMemory, IsRefusedBeyondWhatTheMachineHas) {
  EXPECT_EQ(take_block(std::size_t{1} << 62), nullptr);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they have no such numbers
TEST(BlockMemory, IsKeptUpToItsLimit) {
  constexpr std::size_t block_size = std::size_t{16} << 20;
  constexpr std::size_t more_than_kept = most_kept_memory / block_size + 4;
  const std::size_t before = mallinfo2().hblkhd;
  std::vector<void*> blocks;
  for (std::size_t i = 0; i < more_than_kept; ++i) blocks.push_back(take_block(block_size));
  EXPECT_GT(mallinfo2().hblkhd - before, most_kept_memory);
  for (void* block : blocks) give_back_block(block);
  EXPECT_LE(mallinfo2().hblkhd - before, most_kept_memory);
  for (std::size_t i = 0; i < more_than_kept; ++i) std::free(take_block(block_size));
}
#endif

TEST(BlockMemory, BelongsToOneThreadAtATime) {
  constexpr std::size_t threads = 4, rounds = 2000;
  const auto work = [](unsigned char mark) {
    std::array<unsigned char*, 3> mine{};
    for (std::size_t round = 0; round < rounds; ++round) {
      const std::size_t size = 5000 + 1000 * (round % 3);
      for (unsigned char*& block : mine) {
        block = static_cast<unsigned char*>(take_block(size));
        std::memset(block, mark, size);
      }
      for (unsigned char* block : mine) {
        EXPECT_TRUE(std::all_of(block, block + size, [mark](unsigned char byte) { return byte == mark; }));
        give_back_block(block);
      }
    }
  };
  std::vector<std::jthread> all;
  for (std::size_t i = 0; i < threads; ++i) all.emplace_back(work, static_cast<unsigned char>(i + 1));
}

}  // namespace
}  // namespace ravo
