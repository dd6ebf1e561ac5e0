// Subchannels of simulated channels: one member cut out of every block, against the member's bytes in
// the answer key, cut by hand.
#include <gtest/gtest.h>

#include <cstring>

#include "expectation.h"
#include "ravo_payload.h"

namespace {

using namespace ravo::test;

/// What is in a spectrum block once a member, in bytes and in the order of the file.
std::vector<std::size_t> parts_of(const ravo_spect_head_2010& head) {
  const std::size_t mean = head.flags & RAVO_SPECT_HAS_MEANS ? 4 : 0;
  const std::size_t statistics = head.flags & RAVO_SPECT_HAS_STATISTICS ? 132 : 0;
  return {mean, statistics, static_cast<std::size_t>(head.samples * head.groups) * sizeof(float)};
}
std::vector<std::size_t> parts_of(const ravo_spect_head& head) {
  return {4, static_cast<std::size_t>(head.samples) * sizeof(float)};
}

// Member `member` of a spectrum block, as a block of one member.
template <class spectrum_head>
std::vector<unsigned char> cut(const std::vector<unsigned char>& payload, std::size_t member) {
  spectrum_head head;
  std::memcpy(&head, payload.data(), sizeof head);
  const auto members = static_cast<std::size_t>(head.members);
  head.members = 1;
  std::vector<unsigned char> part(sizeof head);
  std::memcpy(part.data(), &head, sizeof head);
  std::size_t at = sizeof head;
  for (const std::size_t size : parts_of(head)) {
    const auto first = payload.begin() + static_cast<std::ptrdiff_t>(at + member * size);
    part.insert(part.end(), first, first + static_cast<std::ptrdiff_t>(size));
    at += members * size;
  }
  return part;
}

template <class generation>
class EndToEndMembers : public testing::Test {
 protected:
  /// Reads a member alone and compares it with what was cut out of the whole channel by hand.
  void expect_member(const char* channel, std::size_t member, RAVO_SUBBLOCK_TYPE cut_dtype) {
    const std::string key = std::string(channel) + ":" + std::to_string(member);
    SCOPED_TRACE(key);
    typename generation::reader reader;
    ASSERT_NO_FATAL_FAILURE(start<generation>(reader, {key}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID));
    std::vector<ravo_channel_entry_long*> entries;
    for (const known_block& whole : two_runs<generation>().blocks(channel)) {
      known_block part = whole;
      part.payload = cut<typename generation::spectrum_head>(whole.payload, member);
      part.dtype = cut_dtype;
      ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
      ASSERT_EQ(entries.size(), 1u);
      expect_block<generation>(part, key, *entries[0]);
      EXPECT_EQ(head_of<generation>(*entries[0])->dtype >> 16, whole.dtype);
      if (this->HasFailure()) return;
    }
    EXPECT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT),
              RAVO_DAQ_READER_OUT_OF_WINDOW);
  }
  /// Reads a member that is not cut: the block keeps its name, and no request for a member matches it.
  void expect_no_member(const char* key) {
    SCOPED_TRACE(key);
    typename generation::reader reader;
    ASSERT_NO_FATAL_FAILURE(start<generation>(reader, {key}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID));
    std::vector<ravo_channel_entry_long*> entries;
    ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
    EXPECT_TRUE(entries.empty());
  }
};
TYPED_TEST_SUITE(EndToEndMembers, generations, generation_name);

TYPED_TEST(EndToEndMembers, OfSeveralAreCutOutOfEveryBlock) {
  this->expect_member("LINAC/BPM/001", 2, TypeParam::single);  // zlib
  this->expect_member("LINAC/BPM/002", 0, TypeParam::single);  // plain
  this->expect_member("LINAC/BPM/003", 1, TypeParam::single);  // LZO
  this->expect_member("LINAC/RF/002", 1, TypeParam::single);
}

TYPED_TEST(EndToEndMembers, OfASingleOneAreCutOutOfCompressedBlocksAlone) {
  this->expect_member("LINAC/TOROID/001", 0, either<TypeParam>(RAVO_BLOCK_TOROID_2010, RAVO_BLOCK_TOROID));
  this->expect_no_member("LINAC/TOROID/002:0");
}

// A generic spectrum has members, but its type does not say how many.
TYPED_TEST(EndToEndMembers, OfGenericSpectraAreCutInTheCurrentGenerationAlone) {
  if constexpr (either<TypeParam>(true, false)) {
    this->expect_member("LINAC/SPECTRUM/001", 1, RAVO_BLOCK_GENERIC_SPECT);
    this->expect_member("LINAC/SPECTRUM/002", 0, RAVO_BLOCK_GENERIC_SPECT);
  } else {
    this->expect_no_member("LINAC/SPECTRUM/001:1");
    this->expect_no_member("LINAC/SPECTRUM/002:0");
  }
}

}  // namespace
