// Starting a channel reader: what it refuses, how many workers it takes, what its limits are, and that it
// ends cleanly from every state.
#include <pthread.h>

#include "ravo_evutl.h"
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
    ASSERT_EQ(file.loader.status(), 1);
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

/// The number of workers that have run: at negative debug levels each tells its end.
int workers(unsigned dtype_mask, unsigned ev_mask, unsigned events, int preset = 0, int most = 10) {
  handmade_file content = one_channel_file(events);
  content.channels[0].dtype_mask = dtype_mask;
  content.channels[0].ev_mask = ev_mask;
  reading file(content);
  file.loader.debug = -1;
  const auto reader = file.reader();
  if (preset != 0) reader->set_number_of_threads(preset);
  reader->set_max_number_of_threads(most);
  captured_output output;
  start_and_wait(*reader);
  reader->clean();
  const std::string text = output.stop();
  int ended = 0;
  for (std::size_t at = 0; (at = text.find("thread: finished ", at)) != std::string::npos; ++at) ++ended;
  return ended;
}

constexpr unsigned bit(int n) { return 1u << n; }

TEST(ChannelReaderThreads, AreSixWithoutDataTypes) { EXPECT_EQ(workers(0, 2, 20), 6); }
TEST(ChannelReaderThreads, AreTwiceTheMembersOfTheType) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_RF_250K), 2, 20), 4);   // two members
  EXPECT_EQ(workers(bit(RAVO_BLOCK_BPM_Z), 2, 20), 8);     // four members
}
TEST(ChannelReaderThreads, GoByTheLastTypeOfTheMask) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_BPM_Z) | bit(RAVO_BLOCK_RF_250K), 2, 20), 4);
}
TEST(ChannelReaderThreads, AreTenForImages) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_IMAGE), 2, 20), 10);  // doubled to 20 and capped
  EXPECT_EQ(workers(bit(RAVO_BLOCK_IMAGE_EXT), 2, 20, 0, 7), 7);
}
TEST(ChannelReaderThreads, GoByTheEventsWhenATypeHasOneMember) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_NORMAL), 20), 4);
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_LLRF_ML), 20), 2);
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_UPD), 20), 1);
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_UPD) | bit(RAVO_EV_LLRF_ML), 20), 2);
  EXPECT_EQ(workers(bit(RAVO_ENV_DICT_BLOCK), bit(RAVO_EV_NORMAL), 20), 4);  // no member counts as one
}
TEST(ChannelReaderThreads, KeepToTheirMaximum) {
  EXPECT_EQ(workers(0, 2, 20, 0, 2), 2);
  EXPECT_EQ(workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_NORMAL), 20, 0, 3), 3);
}
TEST(ChannelReaderThreads, WhenPresetAreNotCapped) { EXPECT_EQ(workers(0, 2, 20, 8, 2), 8); }

TEST(ChannelReaderThreads, AreNeverMoreThanTheEvents) {
  EXPECT_EQ(workers(bit(RAVO_BLOCK_IMAGE), 2, 2), 2);
  EXPECT_EQ(workers(0, 2, 1, 10), 1);
}

/// While it lives, no thread can be made: the default stack is larger than the address space.
class no_threads {
 public:
  no_threads() {
    pthread_getattr_default_np(&before_);
    pthread_attr_t huge = before_;
    pthread_attr_setstacksize(&huge, std::size_t{1} << 47);
    pthread_setattr_default_np(&huge);
  }
  ~no_threads() { pthread_setattr_default_np(&before_); }

 private:
  pthread_attr_t before_;
};

TEST(ChannelReaderThreads, ThatCannotBeMadeAreToldAndSignalled) {
  reading file(one_channel_file(5));
  const auto reader = file.reader();
  reader->set_number_of_threads(2);
  captured_output output;
  {
    const no_threads none;
    EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_OK);
  }
  EXPECT_EQ(output.stop(), "failed to start thread 0\nfailed to start thread 1\n");
  EXPECT_EQ(ask(*reader, first).status, RAVO_DAQ_READ_CHAN_NO_DATA);
  EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_OK);  // and another time
  EXPECT_EQ(ask(*reader, first).number(), 100u);
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
  ASSERT_EQ(reader->start(nullptr, nullptr, nullptr), 0);  // its signal is not taken by anybody
  ASSERT_EQ(start_and_wait(*reader), 0);
  EXPECT_EQ(ask(*reader, last).number(), 104u);
}

// Every word of a file with plain and compressed blocks, one after another: whatever becomes of the file, a
// reader starts or refuses, answers, prints and ends.
TEST(ChannelReaderDamage, NoDamagedWordHangsOrHarmsAnybody) {
  handmade_file content = one_channel_file(3);
  content.channels[0].blocks[1] = zipped(content.channels[0].blocks[1], 1);
  content.channels[0].blocks[2] = zipped(content.channels[0].blocks[2], 2);
  bytes good = content.build();
  captured_output quiet;
  for (std::size_t word = 0; word + 4 <= good.size(); word += 4) {
    const std::uint32_t truth = good.word(word);
    if (truth == 0 && word % 64 != 0) continue;  // most are the zeros behind texts
    for (const std::uint32_t value : {0u, 0xffffffffu, 0x7fffffffu, static_cast<std::uint32_t>(word), truth + 1}) {
      reading file(content, [&](handmade_file&, bytes& damaged) { damaged.set_u32(word, value); });
      const auto reader = file.reader("CHAN", 0);
      start_and_wait(*reader);
      for (const int type : {first, next, current, last, previous}) ask(*reader, type);
      for (const unsigned number : {100u, 101u, 0xffffffffu}) ask(*reader, {number, {1700000000, 0}}, next);
      reader->print_cdt_entry();
      reader->print_event_chan_pointers_entry();
      reader->print_event_headers();
      reader->print_server_block_headers();
      reader->print_channel();
    }
  }
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
