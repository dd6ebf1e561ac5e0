// The reader over simulated files of two runs against the answer key: every event, every channel, every
// byte, in both synch modes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "expectation.h"

namespace {

using namespace ravo::test;

struct reading_case {
  const char* name;
  int mode;
  std::vector<std::string> channels;  // empty: all
};

class EndToEnd : public testing::TestWithParam<reading_case> {};

// The channels that the expectation has data for at an event, by name.
std::vector<std::string> present(const expected_event& event, const std::vector<std::string>& channels) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < channels.size(); ++i)
    if (event[i]) names.push_back(channels[i]);
  return names;
}

std::string name_of(const ravo_channel_entry_long& entry) {
  return reinterpret_cast<const ravo_serv_block_subhead_2010*>(entry.sbchdata[0].chhd)->chname;
}

TEST_P(EndToEnd, EveryEventIsDeliveredAsItWasPutIn) {
  const simulated_files& files = two_runs();
  const std::vector<std::string> channels =
      GetParam().channels.empty() ? files.channels() : GetParam().channels;
  const std::vector<expected_event> expected = expected_events(files, channels);
  ravo_daq_reader_2010 reader;
  ASSERT_NO_FATAL_FAILURE(set_up(reader, files.files(), channels, GetParam().mode));
  ASSERT_EQ(reader.start(), RAVO_DAQ_READER_OK);

  std::vector<ravo_channel_entry_long*> entries;
  for (std::size_t n = 0; n < expected.size(); ++n) {
    SCOPED_TRACE("event " + std::to_string(n));
    ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
    std::vector<std::string> names;
    for (const ravo_channel_entry_long* entry : entries) names.push_back(name_of(*entry));
    ASSERT_EQ(names, present(expected[n], channels));
    std::size_t at = 0;
    for (std::size_t i = 0; i < channels.size(); ++i)
      if (expected[n][i]) expect_block(*expected[n][i], channels[i], *entries[at++]);
    if (HasFailure()) return;
  }
  EXPECT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT),
            RAVO_DAQ_READER_OUT_OF_WINDOW);
  EXPECT_EQ(reader.get_number_of_events(), static_cast<int>(expected.size()));
}

const std::vector<std::string> few = {"LINAC/RF/002", "LINAC/BPM/001", "LINAC/CAMERA/001",
                                      "LINAC/MAGNET/002"};
const std::vector<std::string> irregular = {"LINAC/BPM/HALF_RATE", "LINAC/TOROID/GAPS", "LINAC/RF/LATE"};
const std::vector<std::string> slow = {"LINAC/MAGNET/001", "LINAC/TEMPERATURE/001", "LINAC/RUN/BEGIN",
                                       "LINAC/RUN/END"};

INSTANTIATE_TEST_SUITE_P(
    SynchModes, EndToEnd,
    testing::Values(reading_case{"AllByEventNumber", RAVO_DAQ_SLICER_SYNCH_MODE_EVID, {}},
                    reading_case{"AllByTime", RAVO_DAQ_SLICER_SYNCH_MODE_TIME, {}},
                    reading_case{"FewByEventNumber", RAVO_DAQ_SLICER_SYNCH_MODE_EVID, few},
                    reading_case{"FewByTime", RAVO_DAQ_SLICER_SYNCH_MODE_TIME, few},
                    reading_case{"IrregularByEventNumber", RAVO_DAQ_SLICER_SYNCH_MODE_EVID, irregular},
                    reading_case{"IrregularByTime", RAVO_DAQ_SLICER_SYNCH_MODE_TIME, irregular},
                    reading_case{"SlowByEventNumber", RAVO_DAQ_SLICER_SYNCH_MODE_EVID, slow},
                    reading_case{"SlowByTime", RAVO_DAQ_SLICER_SYNCH_MODE_TIME, slow},
                    reading_case{
                        "OneByEventNumber", RAVO_DAQ_SLICER_SYNCH_MODE_EVID, {"LINAC/SPECTRUM/003"}},
                    reading_case{"OneByTime", RAVO_DAQ_SLICER_SYNCH_MODE_TIME, {"LINAC/CAMERA_EXT/002"}}),
    [](const testing::TestParamInfo<reading_case>& tested) { return tested.param.name; });

TEST(EndToEndChannels, AllKindsAndCompressorsAreInTheTestFiles) {
  const simulated_files& files = two_runs();
  std::vector<std::pair<int, ravo_compression>> seen;
  for (const std::string& channel : files.channels())
    for (const known_block& block : files.blocks(channel))
      seen.emplace_back(block.stored_dtype, block.compression);
  using testing::Contains;
  for (const int dtype :
       {RAVO_BLOCK_BPM_2010, RAVO_BLOCK_TOROID_2010, RAVO_BLOCK_RF_250K_2010, RAVO_BLOCK_GENERIC_SPECT,
        RAVO_BLOCK_ENERGY_2010, RAVO_BLOCK_IMAGE, RAVO_BLOCK_IMAGE_EXT, RAVO_BLOCK_IMG_ROI1,
        RAVO_BLOCK_NAME_VALUE, RAVO_BLOCK_NAME_VALUE_STRING})
    for (const ravo_compression form :
         {ravo_compression::none, ravo_compression::zlib, ravo_compression::lzo1x})
      EXPECT_THAT(seen, Contains(std::pair(dtype, form))) << dtype;
  for (const int dtype : {RAVO_UPD_BLOCK_2010, RAVO_ENV_BLOCK, RAVO_BOR_BLOCK_2010, RAVO_EOR_BLOCK_2010})
    EXPECT_THAT(seen, Contains(std::pair(dtype, ravo_compression::none))) << dtype;
}

TEST(EndToEndChannels, AChannelThatBeginsInTheSecondFileIsThereFromItsFirstEventOn) {
  const simulated_files& files = two_runs();
  const auto& late = files.blocks("LINAC/RF/LATE");
  ASSERT_FALSE(late.empty());
  EXPECT_EQ(late.front().file, files.files()[1]);
  EXPECT_GT(late.front().id.event_number, files.blocks("LINAC/RF/001").front().id.event_number);
}

}  // namespace
