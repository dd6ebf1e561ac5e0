// The one account of memory, and who may wait for it: nothing goes beyond the limit, work that is refused
// memory is done all the same, and a wait that nothing can end ends by itself.
#include "work/memory_budget.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "ravo_dataset/errors.h"
#include "work/memory_turn.h"
#include "work/stop_scope.h"

namespace ravo::detail {
namespace {

constexpr std::size_t limit = std::size_t{1} << 20;

class stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begun_).count();
  }

 private:
  std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
};

TEST(MemoryBudget, RefusesWhatDoesNotFitNow) {
  memory_budget memory(limit);
  reservation most = memory.reserve(limit - 100, "A table", on_full::refuse);
  EXPECT_THROW(memory.reserve(101, "A table", on_full::refuse), memory_refused);
  EXPECT_EQ(memory.reserve(100, "A table", on_full::refuse).bytes(), 100u);
  EXPECT_EQ(memory.used(), limit - 100);
  EXPECT_FALSE(memory.try_grow(most, 101));
  EXPECT_TRUE(memory.try_grow(most, 100));
  most.shrink(10);
  EXPECT_EQ(memory.used(), 10u);
  most.release();
  EXPECT_EQ(memory.used(), 0u);
  EXPECT_EQ(memory.peak(), limit);
}

TEST(MemoryBudget, SaysAtOnceThatTheLimitIsTooSmall) {
  memory_budget memory(limit);
  const stopwatch watch;
  try {
    memory.reserve(limit + 1, "A column", on_full::wait);
    FAIL();
  } catch (const memory_exceeded& error) {
    EXPECT_STREQ(error.what(),
                 "A column needs 1048577 bytes, more than the memory limit of 1048576; raise the limit or "
                 "select less");
  }
  EXPECT_LT(watch.seconds(), 0.5);
}

TEST(MemoryBudget, WaitsForWhatAnotherThreadGivesBack) {
  memory_budget memory(limit);
  reservation all = memory.reserve(limit, "A table", on_full::refuse);
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    all.release();
  });
  EXPECT_EQ(memory.reserve(limit, "A table", on_full::wait).bytes(), limit);
  other.join();
}

TEST(MemoryBudget, EndsAWaitThatNobodyCanEnd) {
  memory_budget memory(limit);
  const reservation all = memory.reserve(limit - 1, "A table", on_full::refuse);
  const stopwatch watch;
  try {
    memory.reserve(2, "A column", on_full::wait);
    FAIL();
  } catch (const memory_exceeded& error) {
    EXPECT_STREQ(error.what(),
                 "A column needs 2 bytes, and 1048575 of the memory limit of 1048576 are in use; let go of "
                 "events and columns, or raise the limit");
  }
  EXPECT_LT(watch.seconds(), 5);
}

// Both are at work, and neither can give back what it has while it waits.
TEST(MemoryBudget, EndsTheWaitOfTwoThatWaitForEachOther) {
  memory_budget memory(limit);
  const stopwatch watch;
  std::atomic<int> ready{0}, refused{0};
  std::vector<std::thread> workers;
  for (int i = 0; i < 2; ++i)
    workers.emplace_back([&] {
      const memory_budget::at_work at_work(memory);
      const reservation half = memory.reserve(limit / 2, "A table", on_full::wait);
      for (++ready; ready != 2;) std::this_thread::yield();
      try {
        memory.reserve(limit / 2, "A table", on_full::wait);
      } catch (const memory_exceeded&) {
        ++refused;
      }
    });
  for (std::thread& worker : workers) worker.join();
  EXPECT_GE(refused, 1);
  EXPECT_LT(watch.seconds(), 5);
}

TEST(MemoryBudget, FreesWhatCanBeMadeAnewBeforeItWaits) {
  memory_budget memory(limit);
  std::vector<reservation> kept;
  for (int i = 0; i < 4; ++i) kept.push_back(memory.reserve(limit / 4, "A segment", on_full::refuse));
  memory.set_reclaim([&] {
    if (kept.empty()) return false;
    kept.pop_back();
    return true;
  });
  EXPECT_THROW(memory.reserve(limit / 2, "A column", on_full::refuse), memory_refused);
  EXPECT_EQ(kept.size(), 4u);
  const reservation column = memory.reserve(limit / 2, "A column", on_full::wait);
  EXPECT_EQ(kept.size(), 2u);
}

TEST(MemoryBudget, EndsAWaitWhenTheReadingIsCancelled) {
  std::stop_source stop;
  memory_budget memory(limit);
  const reservation all = memory.reserve(limit, "A table", on_full::refuse);
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    stop.request_stop();
  });
  const stop_scope scope(stop.get_token());
  EXPECT_THROW(memory.reserve(1, "A column", on_full::wait), read_cancelled);
  other.join();
}

TEST(MemoryBudget, HandsOutBuffersAgain) {
  memory_budget memory(limit);
  pooled_buffer first = memory.take_buffer(100'000, "A block", on_full::refuse);
  unsigned char* const where = first.data();
  first.release();
  EXPECT_EQ(memory.used(), 0u);
  const pooled_buffer again = memory.take_buffer(60'000, "A block", on_full::refuse);
  EXPECT_EQ(again.data(), where);
  EXPECT_EQ(again.size(), 100'000u);
  EXPECT_EQ(memory.peak(), 100'000u);
}

TEST(MemoryBudget, FreesThePoolRatherThanRaiseThePeak) {
  memory_budget memory(limit);
  memory.take_buffer(100'000, "A block", on_full::refuse).release();
  const reservation table = memory.reserve(90'000, "A table", on_full::refuse);
  EXPECT_EQ(memory.peak(), 100'000u);
  EXPECT_NO_THROW(memory.reserve(limit - 90'000, "A table", on_full::refuse));
}

TEST(MemoryBudget, FitsABufferInPlace) {
  memory_budget memory(limit);
  pooled_buffer buffer;
  memory.fit(buffer, 5000, "A block", on_full::refuse);
  EXPECT_GE(buffer.size(), 5000u);
  unsigned char* const where = buffer.data();
  memory.fit(buffer, 6000, "A block", on_full::refuse);
  EXPECT_EQ(buffer.data(), where);
  EXPECT_THROW(memory.fit(buffer, limit + 1, "A block", on_full::refuse), memory_refused);
  const reservation table = memory.reserve(100, "A table", on_full::refuse);
  memory.fit(buffer, limit - 100, "A block", on_full::wait);  // there is no room for whole pages
  EXPECT_EQ(buffer.size(), limit - 100);
}

// Each needs three quarters of the limit, in two halves: all that begin at once are refused the second one.
TEST(MemoryTurn, DoesAllWorkWhereOnlyOneHasRoom) {
  memory_budget memory(limit);
  memory_turn turn;
  std::atomic<int> done{0};
  std::vector<std::thread> workers;
  for (int i = 0; i < 4; ++i)
    workers.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        const memory_budget::at_work at_work(memory);
        turn.run([&](on_full how) {
          const reservation first = memory.reserve(3 * limit / 8, "A window", how);
          std::this_thread::yield();
          const reservation second = memory.reserve(3 * limit / 8, "A block", how);
          ++done;
        });
      }
    });
  for (std::thread& worker : workers) worker.join();
  EXPECT_EQ(done, 800);
  EXPECT_LE(memory.peak(), limit);
  EXPECT_EQ(memory.used(), 0u);
  EXPECT_FALSE(turn.is_waited_for());
}

TEST(MemoryTurn, LeavesOtherExceptionsToItsCaller) {
  memory_turn turn;
  int calls = 0;
  EXPECT_THROW(turn.run([&](on_full) {
    ++calls;
    throw read_cancelled();
  }),
               read_cancelled);
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(turn.is_waited_for());
}

TEST(MemoryTurn, RepeatsWorkUntilThereIsRoom) {
  memory_budget memory(limit);
  std::vector<reservation> ahead;
  for (int i = 0; i < 3; ++i) ahead.push_back(memory.reserve(limit / 4, "Ahead", on_full::refuse));
  const auto work = [&] { return memory.reserve(3 * limit / 4, "A batch", on_full::refuse).bytes(); };
  const auto make_room = [&] {
    if (ahead.empty()) return false;
    ahead.pop_back();
    return true;
  };
  EXPECT_EQ(repeat_until_there_is_room(memory, work, make_room), 3 * limit / 4);
  EXPECT_EQ(ahead.size(), 1u);
}

// What the work itself gives back when it is refused is no reason to go on.
TEST(MemoryTurn, GivesUpWorkForWhichThereWillBeNoRoom) {
  memory_budget memory(limit);
  const reservation held = memory.reserve(limit / 2, "Held events", on_full::refuse);
  const stopwatch watch;
  const auto work = [&] {
    const reservation first = memory.reserve(limit / 4, "A batch", on_full::refuse);
    return memory.reserve(limit / 2, "A batch", on_full::refuse).bytes();
  };
  EXPECT_EQ(repeat_until_there_is_room(memory, work, [] { return false; }), std::nullopt);
  EXPECT_LT(watch.seconds(), 5);
}

}  // namespace
}  // namespace ravo::detail
