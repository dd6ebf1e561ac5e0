// Blocks above a size can be refused before they are inflated: each has a status of its own, in every way
// of reading, and costs neither the memory nor the time of decoding it.
#include <gtest/gtest.h>

#include <random>

#include "damaged_file.h"

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class BlockLimit : public damaged_file<layout> {
 protected:
  /// The fourth block of BAD has so many samples, and the others have 300.
  void make_large(std::size_t samples, std::uint32_t zip_flags) {
    handmade_block& bad = this->bad_block();
    bad.payload = spectrum<layout>({std::vector<float>(samples, 1.5f)});
    bad.zip_flags = zip_flags;
    bad.zip_flag_set = zip_flags != 0;
    this->settings.largest_block = bad.payload.size() - 1;
  }
};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(BlockLimit, layouts);

constexpr std::uint32_t plain = 0;

TYPED_TEST(BlockLimit, RefusesABlockThatDecodesToMore) {
  for (const std::uint32_t stored : {plain, std::uint32_t{RAVO_ZIP_ZLIB}, std::uint32_t{RAVO_ZIP_LZO1X}}) {
    SCOPED_TRACE(stored);
    this->make_large(20'000, stored);
    this->expect_status(value_status::block_too_large, write(this->folder, "a.raw", this->file));
  }
}

TYPED_TEST(BlockLimit, TakesABlockOfThatSize) {
  this->make_large(300, RAVO_ZIP_ZLIB);
  ++this->settings.largest_block;
  const dataset data = dataset::open(of_files({write(this->folder, "a.raw", this->file)}), this->settings);
  EXPECT_EQ(data.column("BAD").ledger.missing(), 0u);
  EXPECT_EQ(data.column("GOOD").ledger.missing(), 0u);
}

// With a memory limit that would not hold it, stored or inflated.
TYPED_TEST(BlockLimit, TakesNoMemoryForWhatItRefuses) {
  for (const std::uint32_t stored : {plain, std::uint32_t{RAVO_ZIP_ZLIB}}) {
    SCOPED_TRACE(stored);
    this->make_large(1'000'000, stored);
    this->settings.largest_block = 64 << 10;
    this->settings.memory_limit = 1u << 20;
    this->expect_status(value_status::block_too_large, write(this->folder, "a.raw", this->file));
  }
}

// What a zip header claims is judged with what its bytes can become: a lie alone refuses no block.
TYPED_TEST(BlockLimit, GoesByWhatTheStoredBytesCanBecome) {
  this->make_large(300, RAVO_ZIP_ZLIB);
  this->bad_block().orig_length = 0x7fffffff;
  this->settings.largest_block = 16 << 20;
  this->expect_status(value_status::cannot_inflate, write(this->folder, "a.raw", this->file));
}

// The claim of two gigabytes is believed, since so many stored bytes could become as much.
TYPED_TEST(BlockLimit, IsAQuarterOfAGigabyteWhereNothingIsSaid) {
  EXPECT_EQ(dataset_options().largest_block, std::uint64_t{256} << 20);
  std::mt19937 random(3);
  std::vector<float> noise(200'000);
  for (float& sample : noise) sample = static_cast<float>(random());
  this->bad_block().payload = spectrum<TypeParam>({noise});
  const std::string sound = write(this->folder, "a.raw", this->file);
  EXPECT_EQ(dataset::open(of_files({sound})).column("BAD").ledger.missing(), 0u);
  this->bad_block().orig_length = 0x7fffffff;
  this->expect_status(value_status::block_too_large, write(this->folder, "b.raw", this->file));
}

TEST(ValueStatus, KeepsItsNumbersAndHasAText) {
  EXPECT_EQ(static_cast<int>(value_status::misdirected), 10);
  EXPECT_EQ(static_cast<int>(value_status::block_too_large), 12);
  EXPECT_STREQ(value_status_text(value_status::block_too_large), "block too large");
  EXPECT_EQ(missing_cause_of(value_status::block_too_large), missing_cause::block_too_large);
  // A missing value's status and its cause have one text.
  for (std::size_t i = 0; i < value_status_count; ++i) {
    const auto status = static_cast<value_status>(i);
    if (is_missing(status) && std::string(value_status_text(status)) != "unknown") {
      EXPECT_STREQ(value_status_text(status), missing_cause_text(missing_cause_of(status)));
    }
  }
}

}  // namespace
