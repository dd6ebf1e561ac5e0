// An image for which there is no memory. A program of its own: it replaces operator new.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "handmade_event.h"
#include "ravo_daq_data.h"

namespace {

long successes = -1;  // how many allocations still succeed before one fails; negative: all do

void* take(std::size_t size) {
  if (successes >= 0 && successes-- == 0) return nullptr;
  return std::malloc(size ? size : 1);
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* const memory = take(size)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace ravo::test {
namespace {

TEST(ImageWithoutMemory, FailsAndLeavesTheLastOneAsItIs) {
  handmade_event event;
  event.add<older_event>("CAM", RAVO_BLOCK_IMAGE, plain_frame(2, 1, 1, "ab"), RAVO_EV_IMAGE);
  ravo_daq_getdata cursor;
  ASSERT_EQ(cursor.SetRes(event.result()), 1);
  const float* last = cursor.ConvertImage();
  ASSERT_NE(last, nullptr);
  long failures = 0;
  for (;; ++failures) {
    ASSERT_LT(failures, 10);
    successes = failures;
    const float* const image = cursor.ConvertImage();
    const bool enough = successes >= 0;
    successes = -1;
    if (enough) {
      EXPECT_NE(image, nullptr);
      break;
    }
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(cursor.GetImageFloat(), last);
    EXPECT_EQ(cursor.GetImageVal(1, 0), 98.0f);
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
}  // namespace ravo::test
