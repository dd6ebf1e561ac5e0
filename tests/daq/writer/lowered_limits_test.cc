// What the writer says when one event alone, or the tables of a run, would cross what offsets can reach:
// with limits of a few kilobytes in place of the library's, whose sums limits_test.cc works out.
#include <gtest/gtest.h>

#include "file_layout.h"
#include "writing.h"

namespace {

std::uint64_t limit = 0;

}  // namespace

bool ravo::writer::file_layout::fits() const { return total <= limit; }

namespace {

using namespace ravo::test;

template <class generation>
class LoweredLimits : public testing::Test {
 protected:
  LoweredLimits() {
    must(writer_, writer_.open(settings_in(folder_)));
    for (const char* const name : {"A", "B", "C", "D"})
      must(writer_, writer_.add_channel(channel_of(name, generation::single)));
  }
  void expect_refused(int status, const std::string& text) {
    EXPECT_EQ(status, RAVO_DAQ_WRITER_TOO_LARGE);
    EXPECT_EQ(writer_.get_last_error(), text);
  }
  /// What was taken before the refusal is a whole file, and within the limit.
  void expect_a_file_within_the_limit() {
    must(writer_, writer_.end_event());
    must(writer_, writer_.close());
    const std::vector<std::string> files = writer_.get_files();
    ASSERT_EQ(files.size(), 1u);
    EXPECT_LE(std::filesystem::file_size(files[0]), limit);
    EXPECT_GT(std::filesystem::file_size(files[0]), limit / 2);
  }

  temporary_folder folder_;
  typename generation::writer writer_;
};

TYPED_TEST_SUITE(LoweredLimits, generations, generation_name);

TYPED_TEST(LoweredLimits, OfARunWhoseTablesAloneAreTooLong) {
  limit = 500;
  this->expect_refused(
      this->writer_.begin_event(event_of(1, noon)),
      "the tables of so many channels and descriptions would not fit a file; spread the channels "
      "over several streams");
  limit = 10000;
  must(this->writer_, this->writer_.begin_event(event_of(1, noon)));
}

TYPED_TEST(LoweredLimits, OfAnEventWithTooManyServerBlocks) {
  limit = 10000;
  must(this->writer_, this->writer_.begin_event(event_of(1, noon)));
  int taken = 0, status = 0;
  while ((status = this->writer_.begin_server_block({"SERVER", {noon, 0}, 0, 0, 0})) >= 0 && taken < 1000)
    ++taken;
  EXPECT_GT(taken, 10);
  this->expect_refused(
      status,
      "with this server block the event alone would cross the 4 GiB that an offset can reach; give "
      "the event in parts");
  this->expect_a_file_within_the_limit();
}

TYPED_TEST(LoweredLimits, OfAnEventWithTooManyData) {
  limit = 10000;
  must(this->writer_, this->writer_.begin_event(event_of(1, noon)));
  must(this->writer_, this->writer_.begin_server_block({"SERVER", {noon, 0}, 0, 0, 0}));
  const payload wave = smooth_spectrum<typename TypeParam::layout>(600, 0);
  int taken = 0, status = 0;
  for (; taken < 4 && (status = give(this->writer_, taken, wave)) >= 0;) ++taken;
  EXPECT_GT(taken, 0);
  EXPECT_LT(taken, 4);
  this->expect_refused(status,
                       std::string("with channel ") + "ABCD"[taken] +
                           " the event alone would cross the 4 GiB that an offset can reach, or its server "
                           "block 2 GiB; spread the data over more events or server blocks");
  this->expect_a_file_within_the_limit();
}

}  // namespace
