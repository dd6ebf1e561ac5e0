// Subchannels of simulated channels: one member cut out of every block, against the member's bytes in
// the answer key, cut by hand.
#include <gtest/gtest.h>

#include <cstring>

#include "expectation.h"
#include "ravo_payload.h"

namespace {

using namespace ravo::test;

// Member `member` of a spectrum block, as a block of one member.
std::vector<unsigned char> cut(const std::vector<unsigned char>& payload, std::size_t member) {
  ravo_spect_head_2010 head;
  std::memcpy(&head, payload.data(), sizeof head);
  const auto members = static_cast<std::size_t>(head.members);
  const auto values = static_cast<std::size_t>(head.samples * head.groups) * sizeof(float);
  const std::size_t mean = head.flags & RAVO_SPECT_HAS_MEANS ? 4 : 0;
  const std::size_t statistics = head.flags & RAVO_SPECT_HAS_STATISTICS ? 132 : 0;
  head.members = 1;
  std::vector<unsigned char> part(sizeof head);
  std::memcpy(part.data(), &head, sizeof head);
  std::size_t at = sizeof head;
  for (const std::size_t size : {mean, statistics, values}) {
    const auto first = payload.begin() + static_cast<std::ptrdiff_t>(at + member * size);
    part.insert(part.end(), first, first + static_cast<std::ptrdiff_t>(size));
    at += members * size;
  }
  return part;
}

struct member_case {
  const char* name;
  const char* channel;
  std::size_t member;
  RAVO_SUBBLOCK_TYPE cut_dtype;
};

class EndToEndMembers : public testing::TestWithParam<member_case> {};

TEST_P(EndToEndMembers, AMemberIsCutOutOfEveryBlock) {
  const member_case& what = GetParam();
  const simulated_files& files = two_runs();
  const std::string key = std::string(what.channel) + ":" + std::to_string(what.member);
  ravo_daq_reader_2010 reader;
  ASSERT_NO_FATAL_FAILURE(set_up(reader, files.files(), {key}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID));
  ASSERT_EQ(reader.start(), RAVO_DAQ_READER_OK);
  std::vector<ravo_channel_entry_long*> entries;
  for (const known_block& whole : files.blocks(what.channel)) {
    known_block member = whole;
    member.payload = cut(whole.payload, what.member);
    member.dtype = what.cut_dtype;
    ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
    ASSERT_EQ(entries.size(), 1u);
    expect_block(member, key, *entries[0]);
    const auto* head = reinterpret_cast<const ravo_serv_block_subhead_2010*>(entries[0]->sbchdata[0].chhd);
    EXPECT_EQ(head->dtype >> 16, whole.dtype);
    if (HasFailure()) return;
  }
  EXPECT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT),
            RAVO_DAQ_READER_OUT_OF_WINDOW);
}

INSTANTIATE_TEST_SUITE_P(
    Members, EndToEndMembers,
    testing::Values(member_case{"BpmZlib", "LINAC/BPM/001", 2, RAVO_BLOCK_1CHAN_2010},
                    member_case{"BpmPlain", "LINAC/BPM/002", 0, RAVO_BLOCK_1CHAN_2010},
                    member_case{"BpmLzo", "LINAC/BPM/003", 1, RAVO_BLOCK_1CHAN_2010},
                    member_case{"RfPlain", "LINAC/RF/002", 1, RAVO_BLOCK_1CHAN_2010},
                    member_case{"SpectrumZlib", "LINAC/SPECTRUM/001", 1, RAVO_BLOCK_GENERIC_SPECT},
                    member_case{"SpectrumPlain", "LINAC/SPECTRUM/002", 0, RAVO_BLOCK_GENERIC_SPECT},
                    member_case{"CompressedSingleMember", "LINAC/TOROID/001", 0, RAVO_BLOCK_TOROID_2010}),
    [](const testing::TestParamInfo<member_case>& tested) { return tested.param.name; });

// A plain block of one member is not cut, so it keeps its name, and no request for NAME:0 matches it.
TEST(EndToEndChannels, ThePlainBlockOfASingleMemberIsNotDeliveredAsASubchannel) {
  const simulated_files& files = two_runs();
  ravo_daq_reader_2010 reader;
  ASSERT_NO_FATAL_FAILURE(
      set_up(reader, files.files(), {"LINAC/TOROID/002:0"}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID));
  ASSERT_EQ(reader.start(), RAVO_DAQ_READER_OK);
  std::vector<ravo_channel_entry_long*> entries;
  ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
  EXPECT_TRUE(entries.empty());
}

}  // namespace
