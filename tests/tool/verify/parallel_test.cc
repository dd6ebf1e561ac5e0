// Work that a few threads share, and what the calling thread does while it waits.
#include "parallel.h"

#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>

namespace {

using namespace ravo::checks;

// The caller and another thread have a piece each: the first to come waits for the other.
class pieces_of_two {
 public:
  bool is_mine() {
    if (++here_ == 2) here_.notify_all();
    for (int there = here_; there < 2; there = here_) here_.wait(there);
    return std::this_thread::get_id() == mine_;
  }

 private:
  const std::thread::id mine_ = std::this_thread::get_id();
  std::atomic<int> here_{0};
};

TEST(Parallel, DoesEachPieceOnce) {
  std::vector<std::atomic<int>> done(100);
  std::atomic<bool> is_over{false};
  in_parallel(
      3, done.size(), [&](std::size_t i) { ++done[i]; }, [] {}, is_over);
  for (const std::atomic<int>& one : done) EXPECT_EQ(one, 1);
  EXPECT_FALSE(is_over);
}

TEST(Parallel, AttendsWhileOnlyOthersWork) {
  pieces_of_two pieces;
  std::atomic<int> attended{0};
  std::atomic<bool> is_over{false};
  in_parallel(
      2, 2,
      [&](std::size_t) {
        if (pieces.is_mine()) return;
        for (int times = attended; times < 3; times = attended) attended.wait(times);
      },
      [&] {
        ++attended;
        attended.notify_one();
      },
      is_over);
  EXPECT_GE(attended, 3);
}

TEST(Parallel, EndsTheOthersWhenAttendingFails) {
  pieces_of_two pieces;
  std::atomic<bool> is_over{false};
  const auto attend = [&] { throw std::runtime_error("interrupted"); };
  const auto work = [&](std::size_t) {
    if (pieces.is_mine()) return;
    while (!is_over) std::this_thread::yield();
    throw work_is_over();
  };
  EXPECT_THROW(in_parallel(2, 2, work, attend, is_over), std::runtime_error);
}

TEST(Parallel, ThrowsWhatAPieceThrowsAndBeginsNoOther) {
  std::atomic<std::size_t> done{0};
  std::atomic<bool> is_over{false};
  const auto work = [&](std::size_t i) {
    if (i == 3) throw std::out_of_range("3");
    ++done;
  };
  EXPECT_THROW(in_parallel(
                   1, 100, work, [] {}, is_over),
               std::out_of_range);
  EXPECT_EQ(done, 3u);
}

}  // namespace
