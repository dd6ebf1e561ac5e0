// What the slicer does when memory runs out. This program puts its own two functions in place of those that
// the reading layers get memory from, which fail for the sizes that a test names.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

#include "captured_output.h"
#include "decode/allocate.h"
#include "streams.h"

namespace {
std::atomic<std::size_t> refused_size{0};
}

namespace ravo {
void* allocate(std::size_t size) { return size == refused_size ? nullptr : std::malloc(size); }
void* reallocate(void* memory, std::size_t size) { return std::realloc(memory, size); }
}  // namespace ravo

namespace ravo::test {
namespace {

class refused {
 public:
  explicit refused(std::size_t size) { refused_size = size; }
  ~refused() { refused_size = 0; }
};

template <class Slicer>
void expect_emptied(const Slicer& slicer) {
  EXPECT_EQ(slicer.files.size() + slicer.chans.size() + slicer.chansp.size(), 0u);
  EXPECT_EQ(slicer.nchans, 0);
}

template <class generation>
class SlicerWithoutMemory : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerWithoutMemory, generations, generation_name);

TYPED_TEST(SlicerWithoutMemory, RefusesToCopyAFileName) {
  typename TypeParam::slicer slicer;
  captured_output captured;
  {
    const refused size(12);
    EXPECT_EQ(init(slicer, {"ten", "letters.raw"}, {"X"}), RAVO_DAQ_SLICER_INTERN_ERROR);
  }
  EXPECT_EQ(captured.stop(),
            either<TypeParam>(
                "ravo_daq_slicer_2010::init() failed to malloc 12 bytes for a file name letters.raw\n",
                "ravo_daq_slicer::init() failed to malloc 12 bytes for a file name letters.raw\n"));
  expect_emptied(slicer);
}

TYPED_TEST(SlicerWithoutMemory, RefusesToCopyAChannel) {
  typename TypeParam::slicer slicer;
  captured_output captured;
  {
    const refused size(sizeof(typename TypeParam::records::chan_param));
    EXPECT_EQ(init(slicer, {"f"}, {"X"}), RAVO_DAQ_SLICER_INTERN_ERROR);
  }
  EXPECT_EQ(captured.stop(),
            either<TypeParam>("ravo_daq_slicer_2010::init() failed to malloc channel entry for X\n",
                              "ravo_daq_slicer::init() failed to malloc channel entry for X\n"));
  expect_emptied(slicer);
}

TYPED_TEST(SlicerWithoutMemory, DoesNotStartWithoutSlots) {
  typename TypeParam::slicer slicer;
  ASSERT_EQ(init(slicer, {"1", "2", "3"}, {"X"}), 0);
  captured_output captured;
  ::testing::internal::CaptureStderr();
  {
    const refused size(3 * sizeof(void*));
    EXPECT_EQ(slicer.start(), RAVO_DAQ_SLICER_INTERN_ERROR);
  }
  EXPECT_EQ(captured.stop(), "Failed to allocate get_tables pointers\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr().rfind("malloc: ", 0), 0u);
  EXPECT_EQ(slicer.get_tables, nullptr);
  slicer.clean_up();
}

TYPED_TEST(SlicerWithoutMemory, DoesNotStartWithoutReaders) {
  stream<TypeParam> files;
  files.plain_file({"A"}, 1, 1);
  typename TypeParam::slicer slicer;
  ASSERT_EQ(init(slicer, files.paths(), {"A", "B", "C", "D", "E"}), 0);
  captured_output captured;
  ::testing::internal::CaptureStderr();
  {
    const refused size(5 * sizeof(void*));
    EXPECT_EQ(slicer.start(), RAVO_DAQ_SLICER_INTERN_ERROR);
  }
  EXPECT_EQ(captured.stop(), "Failed to allocate read_chans pointers\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr().rfind("malloc: ", 0), 0u);
  EXPECT_EQ(slicer.read_chans, nullptr);
  std::vector<ravo_channel_entry_long*> entries;
  EXPECT_EQ(slicer.get_data(nullptr, &entries, 1), RAVO_DAQ_SLICER_OUT_OF_WINDOW);
}

}  // namespace
}  // namespace ravo::test
