// Starting a channel reader: what it refuses, how many workers it takes, what its limits are, and that it
// ends cleanly from every state.
#include "reading.h"

namespace {

using namespace ravo::test;

TEST(ChannelReaderStart, DecodesEveryEvent) {
  reading file(one_channel_file(25));
  const auto reader = file.reader();
  ASSERT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_OK);
  EXPECT_TRUE(reader->is_done());
  EXPECT_EQ(reader->out_total, 25);
  EXPECT_EQ(reader->out_done, 25);
  for (int i = 0; i < 25; ++i) {
    const ravo_channel_entry_long& entry = reader->out[i];
    EXPECT_EQ(entry.event_id.event_number, 100u + static_cast<unsigned>(i));
    EXPECT_EQ(samples_of(entry), std::vector<float>{0.5f * static_cast<float>(i)});
  }
}

TEST(ChannelReaderStart, RefusesAnUnknownChannelAndSignals) {
  reading file(one_channel_file(2));
  const auto reader = file.reader("NOBODY");
  captured_output output;
  EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_NOT_FOUND);
  EXPECT_EQ(output.stop(), "ravo_daq_read_chan_2010: channel not found\n");
}

TEST(ChannelReaderStart, NeedsNoWhereToPutTheSignal) {
  reading file(one_channel_file(2));
  const auto reader = file.reader();
  EXPECT_EQ(reader->start(nullptr, nullptr, nullptr), 0);
}

TEST(ChannelReaderStart, IsDoneAtOnceWithoutEvents) {
  handmade_file content = one_channel_file(2);
  content.channels.emplace_back("EMPTY");
  reading file(content);
  const auto reader = file.reader("EMPTY");
  EXPECT_EQ(start_and_wait(*reader), 0);
  EXPECT_TRUE(reader->is_done());
  EXPECT_EQ(reader->out_total, 0);
  EXPECT_EQ(reader->nthreads, 0);  // no workers were thought of
}

TEST(ChannelReaderStart, RefusesACountThatThePointerTableDoesNotBear) {
  reading file(one_channel_file(2));
  file.loader.get_cdt_table()->channel_entry()[0].count = 0x7fffffff;  // behind the table-access library's back
  const auto reader = file.reader();
  captured_output output;
  EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  EXPECT_EQ(output.stop(), "CHAN Failed to create out array for 2147483647 entries\n");
}

/// Overwrites word `word` (0 evhd, 1 sbhd, 2 chhd, 3 data) of an event of the first channel.
reading::damage pointer(std::size_t event, std::size_t word, std::uint32_t value) {
  return [=](handmade_file& file, bytes& content) {
    content.set_u32(file.at["pointers"] + 12 + event * 16 + word * 4, value);
  };
}

TEST(ChannelReaderStart, RefusesABasketHeadOutsideTheFile) {
  for (const std::uint32_t subheader : {0u, 7u, 0xffffff00u}) {
    reading file(one_channel_file(2), pointer(0, 2, subheader));
    if (file.loader.status() == 0) continue;  // refused earlier: as good
    const auto reader = file.reader();
    captured_output output;
    EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_INTERN_ERROR);
    EXPECT_EQ(output.stop(), "CHAN Failed to map channel basket header\n");
  }
}

TEST(ChannelReaderStart, RefusesABasketLengthThatIsNotTrue) {
  for (const std::int32_t length : {-1, 0, 275, 0x7fffffff}) {
    handmade_file content = one_channel_file(2);
    content.channels[0].basket_length = length;
    reading file(content);
    const auto reader = file.reader();
    captured_output output;
    EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_INTERN_ERROR) << length;
    EXPECT_EQ(output.stop(), "CHAN Failed to map channel basket\n");
    EXPECT_EQ(reader->chnb, nullptr);
  }
}

TEST(ChannelReaderStart, TellsItsMappingTime) {
  reading file(one_channel_file(2));
  file.loader.debug = -1;
  const auto reader = file.reader();
  captured_output output;
  ASSERT_EQ(start_and_wait(*reader), 0);
  reader->clean();  // waits for the workers' lines
  EXPECT_THAT(output.stop(), testing::ContainsRegex("START MMAP IN [0-9.]+ msec file:" + file.path() +
                                                    " chbasket_size: 616  chn_base_size: [0-9]+   entries: 2\n"));
}

// ---- how many workers ----

int workers(unsigned dtype_mask, unsigned ev_mask, unsigned events, int preset = 0, int most = 10) {
  handmade_file content = one_channel_file(events);
  content.channels[0].dtype_mask = dtype_mask;
  content.channels[0].ev_mask = ev_mask;
  reading file(content);
  const auto reader = file.reader();
  if (preset != 0) reader->set_number_of_threads(preset);
  reader->set_max_number_of_threads(most);
  start_and_wait(*reader);
  return reader->nthreads;
}

constexpr unsigned bit(int n) { return 1u << n; }

TEST(ChannelReaderThreads, AreSixWithoutDataTypes) { EXPECT_EQ(workers(0, 2, 3), 6); }
TEST(ChannelReaderThreads, AreTwiceTheMembersOfTheType) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_RF_250K), 2, 3), 4);   // two members
  EXPECT_EQ(workers(bit(RAVO_BLOCK_BPM_Z), 2, 3), 8);     // four members
}
TEST(ChannelReaderThreads, GoByTheLastTypeOfTheMask) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_BPM_Z) | bit(RAVO_BLOCK_RF_250K), 2, 3), 4);
}
TEST(ChannelReaderThreads, AreTenForImages) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_IMAGE), 2, 3), 10);  // doubled to 20 and capped
  EXPECT_EQ(workers(bit(RAVO_BLOCK_IMAGE_EXT), 2, 3, 0, 7), 7);
}
TEST(ChannelReaderThreads, GoByTheEventsWhenATypeHasOneMember) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_NORMAL), 3), 4);
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_LLRF_ML), 3), 2);
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_UPD), 3), 1);
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_UPD) | bit(RAVO_EV_LLRF_ML), 3), 2);
  EXPECT_EQ(workers(bit(RAVO_ENV_DICT_BLOCK), bit(RAVO_EV_NORMAL), 3), 4);  // no member counts as one
}
TEST(ChannelReaderThreads, KeepToTheirMaximum) {
  EXPECT_EQ(workers(0, 2, 3, 0, 2), 2);
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_NORMAL), 3, 0, 3), 3);
}
TEST(ChannelReaderThreads, WhenPresetAreNotCapped) { EXPECT_EQ(workers(0, 2, 3, 8, 2), 8); }

TEST(ChannelReaderThreads, AreNeverMoreThanTheEvents) {
  handmade_file content = one_channel_file(2);
  content.channels[0].dtype_mask = bit(RAVO_BLOCK_IMAGE);
  reading file(content);
  file.loader.debug = -1;  // every worker tells its end
  const auto reader = file.reader();
  captured_output output;
  start_and_wait(*reader);
  reader->clean();
  const std::string text = output.stop();
  int ended = 0;
  for (std::size_t at = 0; (at = text.find("thread: finished ", at)) != std::string::npos; ++at) ++ended;
  EXPECT_EQ(ended, 2);
}

// ---- limits ----

TEST(ChannelReaderLimits, AreTheEarliestAndTheLatestEvent) {
  handmade_file content = one_channel_file(4);
  content.events = {{10, 50, 7}, {11, 50, 3}, {12, 50, 3}, {13, 50, 7}};
  reading file(content);
  const auto reader = file.reader();
  ASSERT_EQ(start_and_wait(*reader), 0);
  ravo_time_id earliest{};
  ravo_time_id latest{};
  reader->get_time_limits(&earliest, &latest);
  EXPECT_EQ(earliest.event_number, 11u);  // ties keep the earlier entry
  EXPECT_EQ(latest.event_number, 10u);
  reader->get_time_limits(nullptr, nullptr);
}

TEST(ChannelReaderLimits, DoNotBeginWithAnEventWithoutATime) {
  handmade_file content = one_channel_file(3);
  content.events = {{10, 50, 7}, {11, 0, 3}, {12, 51, 3}};
  reading file(content);
  const auto reader = file.reader();
  start_and_wait(*reader);
  ravo_time_id earliest{};
  reader->get_time_limits(&earliest, nullptr);
  EXPECT_EQ(earliest.event_number, 10u);
}

TEST(ChannelReaderLimits, LeaveOutWhatCannotBeDecoded) {
  handmade_file content = one_channel_file(5);
  for (auto& block : content.channels[0].blocks) block = zipped(block, 1);
  content.channels[0].blocks[0].zipp_length = 3;
  content.channels[0].blocks[4].zipp_length = 3;
  reading file(content);
  const auto reader = file.reader();
  captured_output quiet;
  start_and_wait(*reader);
  ravo_time_id earliest{};
  ravo_time_id latest{};
  reader->get_time_limits(&earliest, &latest);
  EXPECT_EQ(earliest.event_number, 101u);
  EXPECT_EQ(latest.event_number, 103u);
}

// ---- the end ----

TEST(ChannelReaderClean, FreesAndCanBeDoneTwice) {
  reading file(one_channel_file(5));
  const auto reader = file.reader();
  start_and_wait(*reader);
  reader->clean();
  EXPECT_EQ(reader->out, nullptr);
  EXPECT_EQ(reader->out_total, 0);
  EXPECT_EQ(reader->chnb, nullptr);
  EXPECT_EQ(reader->get_cfg(), nullptr);
  EXPECT_EQ(reader->event_last.event_number, 104u);  // kept
  reader->clean();
  captured_output output;
  EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_NOT_INIT);
  EXPECT_EQ(output.stop(), "ravo_daq_read_chan_2010:start() CHAN not initialized\n");
}

TEST(ChannelReaderClean, WaitsForWorkersThatStillRun) {
  reading file(one_channel_file(400));
  for (int i = 0; i < 50; ++i) {
    const auto reader = file.reader();
    reader->set_number_of_threads(10);
    ASSERT_EQ(reader->start(nullptr, nullptr, nullptr), 0);
    reader->clean();  // at once; nothing may touch the freed array
  }
}

TEST(ChannelReaderStart, CanBeDoneTwice) {
  reading file(one_channel_file(5));
  const auto reader = file.reader();
  start_and_wait(*reader);
  ASSERT_EQ(start_and_wait(*reader), 0);
  EXPECT_EQ(ask(*reader, last).number(), 104u);
}

TEST(ChannelReaderPointers, LieInTheRowOfTheChannel) {
  handmade_file content = one_channel_file(3);
  content.channels.push_back(content.channels[0]);
  content.channels[1].name = "SECOND";
  content.channels[1].blocks.pop_back();
  reading file(content);
  const auto reader = file.reader("SECOND");
  start_and_wait(*reader);
  EXPECT_EQ(reader->get_data_table_pointer(0), file.loader.get_ecp_table()->chptr() + 3);
  EXPECT_EQ(reader->get_data_table_pointer(1), file.loader.get_ecp_table()->chptr() + 4);
  EXPECT_EQ(reader->get_data_table_pointer(3), nullptr);
  EXPECT_EQ(reader->get_data_table_pointer(-1), nullptr);
  const ravo_daq_read_chan_2010 none(nullptr, nullptr, -1, nullptr);
  EXPECT_EQ(none.get_data_table_pointer(0), nullptr);
}

}  // namespace
