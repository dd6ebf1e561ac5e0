// Pieces of work on the threads of a dataset, and on the one that waits for them.
#include "work/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <limits>
#include <set>
#include <stdexcept>
#include <stop_token>

#include "work/stop_scope.h"

namespace ravo::detail {
namespace {

TEST(WorkerPool, DoesEveryPieceOnce) {
  worker_pool pool(3);
  for (const std::size_t count : {0u, 1u, 2u, 3u, 4u, 1000u}) {
    std::vector<std::atomic<int>> done(count);
    pool.run(count, pool.size(), [&](std::size_t i) { ++done[i]; });
    for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(done[i], 1) << i << " of " << count;
  }
}

TEST(WorkerPool, WorksOnAsManyThreadsAsItHas) {
  worker_pool pool(3);
  std::latch together(3);
  std::mutex mutex;
  std::set<std::thread::id> threads;
  pool.run(3, pool.size(), [&](std::size_t) {
    together.arrive_and_wait();
    const std::lock_guard lock(mutex);
    threads.insert(std::this_thread::get_id());
  });
  EXPECT_EQ(threads.size(), 3u);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 1u);
}

TEST(WorkerPool, WorksOnNoMoreThreadsThanAreAskedFor) {
  worker_pool pool(4);
  std::mutex mutex;
  std::set<std::thread::id> threads;
  pool.run(500, 1, [&](std::size_t) {
    const std::lock_guard lock(mutex);
    threads.insert(std::this_thread::get_id());
  });
  EXPECT_EQ(threads, std::set{std::this_thread::get_id()});
}

TEST(WorkerPool, DoesNotWaitForThreadsThatAreBusyElsewhere) {
  std::latch is_over(1);
  std::size_t done = 0;
  worker_pool pool(2);
  for (std::size_t i = 0; i < pool.size(); ++i) pool.add([&] { is_over.wait(); });
  pool.run(10, pool.size(), [&](std::size_t) { ++done; });
  EXPECT_EQ(done, 10u);
  is_over.count_down();
}

TEST(WorkerPool, StartsOneThreadLessThanItWorksOn) {
  for (const std::size_t threads : {1u, 2u, 4u}) EXPECT_EQ(worker_pool(threads).size(), threads);
  worker_pool alone(1);
  std::set<std::thread::id> threads;
  alone.run(100, 4, [&](std::size_t) { threads.insert(std::this_thread::get_id()); });
  EXPECT_EQ(threads, std::set{std::this_thread::get_id()});
}

TEST(WorkerPool, PassesTheStopTokenOnToThreadsThatHelp) {
  worker_pool pool(3);
  std::stop_source stop, other;
  stop.request_stop();
  std::atomic<int> stopped{0};
  const auto count_stopped = [&] {
    std::latch together(3);
    stopped = 0;
    pool.run(3, pool.size(), [&](std::size_t) {
      together.arrive_and_wait();
      stopped += stop_scope::is_stopped() ? 1 : 0;
    });
    return stopped.load();
  };
  const stop_scope scope(stop.get_token());
  EXPECT_EQ(count_stopped(), 3);
  {
    const stop_scope inner(other.get_token());
    EXPECT_EQ(count_stopped(), 0);
  }
  EXPECT_EQ(count_stopped(), 3);
  EXPECT_THROW(stop_scope::check(), read_cancelled);
}

constexpr std::size_t endless = std::numeric_limits<std::size_t>::max() / 2;

TEST(WorkerPool, ThrowsTheFirstExceptionAndEndsTheOthersWork) {
  for (const std::size_t threads : {1u, 3u}) {
    worker_pool pool(threads);
    const auto work = [](std::size_t i) {
      if (i == 5) throw std::runtime_error("the fifth");
    };
    EXPECT_THROW(pool.run(endless, pool.size(), work), std::runtime_error);
    std::atomic<std::size_t> done{0};
    pool.run(3, pool.size(), [&](std::size_t) { ++done; });
    EXPECT_EQ(done, 3u) << "it can be used as before";
  }
}

TEST(WorkerPool, LooksBetweenItsPiecesAndEndsWhenThatThrows) {
  worker_pool pool(1);
  EXPECT_THROW(pool.run(
                   endless, pool.size(), [](std::size_t) {}, [] { throw std::runtime_error("enough"); }),
               std::runtime_error);
}

TEST(WorkerPool, LooksWhileItWaitsForTheOthers) {
  worker_pool pool(2);
  std::latch together(2);
  std::atomic<int> calls{0};
  const auto caller = std::this_thread::get_id();
  pool.run(
      2, pool.size(),
      [&](std::size_t) {
        together.arrive_and_wait();
        if (std::this_thread::get_id() != caller) calls.wait(0);
      },
      [&] {
        ++calls;
        calls.notify_all();
      });
  EXPECT_GE(calls, 1);
}

TEST(WorkerPool, RunsOneThingAfterAnotherAndLooksMeanwhile) {
  worker_pool pool(2);
  std::latch begun(1);
  std::atomic<int> calls{0};
  std::atomic<bool> is_done{false};
  std::thread other([&] {
    pool.run(1, pool.size(), [&](std::size_t) {
      begun.count_down();
      calls.wait(0);
      is_done = true;
    });
  });
  begun.wait();
  const auto attend = [&] {
    ++calls;
    calls.notify_all();
  };
  pool.run(
      1, pool.size(), [&](std::size_t) { EXPECT_TRUE(is_done); }, attend);
  attend();
  other.join();
}

TEST(WorkerPool, LetsWhoLooksRunSomething) {
  worker_pool pool(2);
  std::atomic<int> done{0};
  const auto attend = [&] {
    pool.run(3, pool.size(), [&](std::size_t) { ++done; });
    done.notify_all();
  };
  // The pieces end when another run has been checked; one of them is here, and ends by itself.
  std::latch together(2);
  const auto caller = std::this_thread::get_id();
  const auto work = [&](std::size_t) {
    together.arrive_and_wait();
    if (std::this_thread::get_id() != caller) done.wait(0);
  };
  pool.run(2, pool.size(), work, attend);
  EXPECT_GE(done, 3);
}

}  // namespace
}  // namespace ravo::detail
