// Memory refused at every place in turn: a look-up then answers whole or not at all, and leaves nothing
// behind. A program of its own, because it puts its own operator new in place of the library's.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <new>
#include <pugixml.hpp>

#include "asking.h"
#include "temporary_folder.h"

namespace {

// The allocation after so many more fails, and only that one; negative: none.
std::atomic<long> left = -1;
std::atomic<long> living = 0;

bool is_due() {
  long now = left;
  while (now >= 0 && !left.compare_exchange_weak(now, now - 1)) {
  }
  return now == 0;
}

void* take(std::size_t size) {
  void* memory = is_due() ? nullptr : malloc(size);
  if (memory) ++living;
  return memory;
}

void give(void* memory) {
  if (memory) --living;
  free(memory);
}

}  // namespace

// All of them, so that what one gives another may take.
void* operator new(std::size_t size) {
  if (void* memory = take(size ? size : 1)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return take(size ? size : 1); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return take(size ? size : 1); }
void operator delete(void* memory) noexcept { give(memory); }
void operator delete[](void* memory) noexcept { give(memory); }
void operator delete(void* memory, std::size_t) noexcept { give(memory); }
void operator delete[](void* memory, std::size_t) noexcept { give(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { give(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { give(memory); }

namespace {

using namespace ravo::test;

class Memory : public testing::Test {
 protected:
  Memory() {
    pugi::set_memory_management_functions(take, give);
    for (int run : {1, 2})
      ravo::catalogue::add_runs(
          directory_, {run_of(run, {entry("/a_long_enough_path/one" + std::to_string(run), 1000, 2000),
                                    entry("/a_long_enough_path/two" + std::to_string(run), 2000, 3000)})});
  }
  // Runs the look-up with each of its allocations refused in turn, until it needs no more.
  template <class LookUp>
  void refuse_each(LookUp look_up) {
    std::vector<ravo_root_xml_files*> found;
    for (long successes = 0;; ++successes) {
      ASSERT_LT(successes, 100000);
      const long before = living;
      left = successes;
      const int status = look_up(found);
      const bool refused = left < 0;
      left = -1;
      if (!refused || status == 0) {
        ASSERT_EQ(status, 0);
        EXPECT_EQ(found.size(), 2u);
        ravo_free_root_xml_files(&found);
        if (!refused) return;
      }
      EXPECT_TRUE(found.empty());
      found.shrink_to_fit();
      EXPECT_EQ(living, before) << "after " << successes;
    }
  }

  temporary_folder folder_;
  std::string directory_ = folder_.file("cat");
};

TEST_F(Memory, RefusedToALookUpOfRunsLeavesTheListAsItWas) {
  int one = 1, two = 2;
  const std::vector<int*> runs{&one, &two};
  refuse_each([&](std::vector<ravo_root_xml_files*>& found) {
    return get_files_for_runs(&runs, &found, "linac", "main", directory_.c_str(), 1);
  });
}

TEST_F(Memory, RefusedToALookUpOfAPeriodLeavesTheListAsItWas) {
  refuse_each([&](std::vector<ravo_root_xml_files*>& found) {
    return get_files_for_period(1000, 3000, &found, "linac", "main", directory_.c_str(), 1);
  });
}

TEST_F(Memory, RefusedToALookUpOfATimeTouchesNoTime) {
  for (long successes = 0;; ++successes) {
    ASSERT_LT(successes, 100000);
    time_stamp start{7, 7}, end{8, 8};
    left = successes;
    const int status = get_time_for_run(1, &start, &end, "linac", directory_.c_str());
    const bool refused = left < 0;
    left = -1;
    EXPECT_EQ(start.timeup, status == 0 ? 1000u : 7u);
    EXPECT_EQ(end.timeup, status == 0 ? 3000u : 8u);
    if (!refused) {
      EXPECT_EQ(status, 0);
      return;
    }
  }
}

}  // namespace
