// The reader over simulated files of two runs against the answer key: every event, every channel, every
// byte, in both synch modes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "expectation.h"

namespace {

using namespace ravo::test;

template <class generation>
class EndToEnd : public testing::Test {};
TYPED_TEST_SUITE(EndToEnd, generations, generation_name);

// The channels that the expectation has data for at an event, by name.
std::vector<std::string> present(const expected_event& event, const std::vector<std::string>& channels) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < channels.size(); ++i)
    if (event[i]) names.push_back(channels[i]);
  return names;
}

template <class generation>
void expect_all_events(const std::vector<std::string>& channels, int mode) {
  const std::vector<expected_event> expected = expected_events<generation>(channels);
  typename generation::reader reader;
  ASSERT_NO_FATAL_FAILURE(start<generation>(reader, channels, mode));
  std::vector<ravo_channel_entry_long*> entries;
  for (std::size_t n = 0; n < expected.size(); ++n) {
    SCOPED_TRACE("event " + std::to_string(n));
    ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
    std::vector<std::string> names;
    for (const ravo_channel_entry_long* entry : entries)
      names.push_back(head_of<generation>(*entry)->chname);
    ASSERT_EQ(names, present(expected[n], channels));
    std::size_t at = 0;
    for (std::size_t i = 0; i < channels.size(); ++i)
      if (expected[n][i]) expect_block<generation>(*expected[n][i], channels[i], *entries[at++]);
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT),
            RAVO_DAQ_READER_OUT_OF_WINDOW);
  EXPECT_EQ(reader.get_number_of_events(), static_cast<int>(expected.size()));
}

template <class generation>
void expect_all_events_in_both_modes(const std::vector<std::string>& channels) {
  for (const int mode : {RAVO_DAQ_SLICER_SYNCH_MODE_EVID, RAVO_DAQ_SLICER_SYNCH_MODE_TIME}) {
    SCOPED_TRACE(mode);
    expect_all_events<generation>(channels, mode);
  }
}

TYPED_TEST(EndToEnd, AllChannelsAreDeliveredAsTheyWerePutIn) {
  expect_all_events_in_both_modes<TypeParam>(two_runs<TypeParam>().channels());
}

TYPED_TEST(EndToEnd, AFewChannelsAreDeliveredAsTheyWerePutIn) {
  expect_all_events_in_both_modes<TypeParam>(
      {"LINAC/RF/002", "LINAC/BPM/001", "LINAC/CAMERA/001", "LINAC/MAGNET/002"});
}

TYPED_TEST(EndToEnd, IrregularChannelsAreDeliveredAsTheyWerePutIn) {
  expect_all_events_in_both_modes<TypeParam>({"LINAC/BPM/HALF_RATE", "LINAC/TOROID/GAPS", "LINAC/RF/LATE"});
}

TYPED_TEST(EndToEnd, SlowChannelsAreDeliveredAsTheyWerePutIn) {
  expect_all_events_in_both_modes<TypeParam>(
      {"LINAC/MAGNET/001", "LINAC/TEMPERATURE/001", "LINAC/RUN/BEGIN", "LINAC/RUN/END"});
}

TYPED_TEST(EndToEnd, ChannelsAloneAreDeliveredAsTheyWerePutIn) {
  expect_all_events_in_both_modes<TypeParam>({"LINAC/SPECTRUM/003"});
  expect_all_events_in_both_modes<TypeParam>({"LINAC/CAMERA_EXT/002"});
}

TYPED_TEST(EndToEnd, AllKindsAndCompressorsAreInTheTestFiles) {
  const simulated_files& files = two_runs<TypeParam>();
  std::vector<std::pair<int, ravo_compression>> seen;
  for (const std::string& channel : files.channels())
    for (const known_block& block : files.blocks(channel))
      seen.emplace_back(block.stored_dtype, block.compression);
  using testing::Contains;
  for (const int dtype :
       {either<TypeParam>(RAVO_BLOCK_BPM_2010, RAVO_BLOCK_BPM),
        either<TypeParam>(RAVO_BLOCK_TOROID_2010, RAVO_BLOCK_TOROID),
        either<TypeParam>(RAVO_BLOCK_RF_250K_2010, RAVO_BLOCK_RF_250K), RAVO_BLOCK_GENERIC_SPECT,
        either<TypeParam>(RAVO_BLOCK_ENERGY_2010, RAVO_BLOCK_ENERGY), RAVO_BLOCK_IMAGE,
        RAVO_BLOCK_IMAGE_EXT, RAVO_BLOCK_IMG_ROI1, RAVO_BLOCK_NAME_VALUE, RAVO_BLOCK_NAME_VALUE_STRING})
    for (const ravo_compression form :
         {ravo_compression::none, ravo_compression::zlib, ravo_compression::lzo1x})
      EXPECT_THAT(seen, Contains(std::pair(dtype, form))) << dtype;
  for (const int dtype :
       {TypeParam::update, RAVO_ENV_BLOCK, TypeParam::begin_of_run, TypeParam::end_of_run})
    EXPECT_THAT(seen, Contains(std::pair(dtype, ravo_compression::none))) << dtype;
}

TYPED_TEST(EndToEnd, AChannelThatBeginsInTheSecondFileIsThereFromItsFirstEventOn) {
  const simulated_files& files = two_runs<TypeParam>();
  const auto& late = files.blocks("LINAC/RF/LATE");
  ASSERT_FALSE(late.empty());
  EXPECT_EQ(late.front().file, files.files()[1]);
  EXPECT_GT(late.front().id.event_number, files.blocks("LINAC/RF/001").front().id.event_number);
}

}  // namespace
