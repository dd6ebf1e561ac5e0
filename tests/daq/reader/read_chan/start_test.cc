// Starting a channel reader: what it refuses, how many workers it takes, what its limits are, and that it
// ends cleanly from every state.
#include <pthread.h>

#include "ravo_evutl.h"
#include "reading.h"

namespace {

using namespace ravo::test;

template <class generation>
class ChannelReaderStart : public channel_reader_test<generation> {};
TYPED_TEST_SUITE(ChannelReaderStart, generations, generation_name);

TYPED_TEST(ChannelReaderStart, DecodesEveryEvent) {
  typename TestFixture::reading file(this->one_channel_file(25));
  const auto reader = file.reader();
  ASSERT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_OK);
  EXPECT_TRUE(reader->is_done());
  EXPECT_EQ(reader->out_total, 25);
  EXPECT_EQ(reader->out_done, 25);
  for (int i = 0; i < 25; ++i) {
    const ravo_channel_entry_long& entry = reader->out[i];
    EXPECT_EQ(entry.event_id.event_number, 100u + static_cast<unsigned>(i));
    EXPECT_EQ(this->samples_of(entry), std::vector<float>{0.5f * static_cast<float>(i)});
  }
}

TYPED_TEST(ChannelReaderStart, RefusesAnUnknownChannelAndSignals) {
  typename TestFixture::reading file(this->one_channel_file(2));
  const auto reader = file.reader("NOBODY");
  captured_output output;
  EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_NOT_FOUND);
  EXPECT_EQ(output.stop(), either<TypeParam>("ravo_daq_read_chan_2010: channel not found\n",
                                             "ravo_daq_read_chan: channel not found\n"));
}

TYPED_TEST(ChannelReaderStart, NeedsNoWhereToPutTheSignal) {
  typename TestFixture::reading file(this->one_channel_file(2));
  const auto reader = file.reader();
  EXPECT_EQ(reader->start(nullptr, nullptr, nullptr), 0);
}

TYPED_TEST(ChannelReaderStart, IsDoneAtOnceWithoutEvents) {
  typename TestFixture::file_type content = this->one_channel_file(2);
  content.channels.emplace_back("EMPTY");
  typename TestFixture::reading file(content);
  const auto reader = file.reader("EMPTY");
  EXPECT_EQ(start_and_wait(*reader), 0);
  EXPECT_TRUE(reader->is_done());
  EXPECT_EQ(reader->out_total, 0);
  EXPECT_EQ(reader->nthreads, 0);  // no workers were thought of
}

TYPED_TEST(ChannelReaderStart, RefusesACountThatThePointerTableDoesNotBear) {
  typename TestFixture::reading file(this->one_channel_file(2));
  file.loader.get_cdt_table()->channel_entry()[0].count =
      0x7fffffff;  // behind the table-access library's back
  const auto reader = file.reader();
  captured_output output;
  EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  EXPECT_EQ(output.stop(), "CHAN Failed to create out array for 2147483647 entries\n");
}

/// Overwrites word `word` (0 evhd, 1 sbhd, 2 chhd, 3 data) of an event of the first channel.
template <class generation>
typename reading_of<generation>::damage pointer(std::size_t event, std::size_t word, std::uint32_t value) {
  return [=](typename reading_of<generation>::file_type& file, bytes& content) {
    content.set_u32(file.at["pointers"] + 12 + event * 16 + word * 4, value);
  };
}

TYPED_TEST(ChannelReaderStart, RefusesABasketHeadOutsideTheFile) {
  for (const std::uint32_t subheader : {0u, 7u, 0xffffff00u}) {
    typename TestFixture::reading file(this->one_channel_file(2), pointer<TypeParam>(0, 2, subheader));
    ASSERT_EQ(file.loader.status(), 1);
    const auto reader = file.reader();
    captured_output output;
    testing::internal::CaptureStderr();
    EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_INTERN_ERROR);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::StartsWith("mmap: "));
    EXPECT_EQ(output.stop(), "CHAN Failed to map channel basket header\n");
  }
}

TYPED_TEST(ChannelReaderStart, RefusesABasketLengthThatIsNotTrue) {
  for (const std::int32_t length : {-1, 0, this->subhead + 7, 0x7fffffff}) {
    typename TestFixture::file_type content = this->one_channel_file(2);
    content.channels[0].basket_length = length;
    typename TestFixture::reading file(content);
    const auto reader = file.reader();
    captured_output output;
    testing::internal::CaptureStderr();
    EXPECT_EQ(start_and_wait(*reader), RAVO_DAQ_READ_CHAN_INTERN_ERROR) << length;
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::StartsWith("mmap: "));
    EXPECT_EQ(output.stop(), "CHAN Failed to map channel basket\n");
    EXPECT_EQ(reader->chnb, nullptr);
  }
}

TYPED_TEST(ChannelReaderStart, ReportsItsMappingTime) {
  typename TestFixture::reading file(this->one_channel_file(2));
  file.loader.debug = -1;
  const auto reader = file.reader();
  captured_output output;
  ASSERT_EQ(start_and_wait(*reader), 0);
  reader->clean();  // waits for the workers' lines
  const std::string basket = std::to_string(8 + 2 * (this->subhead + this->scalar_size));
  EXPECT_THAT(output.stop(), testing::ContainsRegex(either<TypeParam>(
                                 std::string("START MMAP IN [0-9.]+ msec file:") + file.path() +
                                     " chbasket_size: " + basket + "  chn_base_size: [0-9]+   entries: 2\n",
                                 std::string("START MMAP IN [0-9.]+ msec  file: ") + file.path() +
                                     " chn_base_size: [0-9]+  entries: 2\n")));
}

// ---- how many workers ----

/// The number of workers that have run: at negative debug levels each reports its end.
template <class generation>
int workers_of(unsigned dtype_mask, unsigned ev_mask, unsigned events, int preset = 0, int most = 10) {
  auto content = channel_reading<generation>::one_channel_file(events);
  content.channels[0].dtype_mask = dtype_mask;
  content.channels[0].ev_mask = ev_mask;
  reading_of<generation> file(content);
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

template <class generation>
class ChannelReaderThreads : public channel_reader_test<generation> {
 protected:
  static int workers(unsigned dtype_mask, unsigned ev_mask, unsigned events, int preset = 0,
                     int most = 10) {
    return workers_of<generation>(dtype_mask, ev_mask, events, preset, most);
  }
};
TYPED_TEST_SUITE(ChannelReaderThreads, generations, generation_name);

TYPED_TEST(ChannelReaderThreads, AreSixWithoutDataTypes) { EXPECT_EQ(this->workers(0, 2, 20), 6); }
TYPED_TEST(ChannelReaderThreads, AreTwiceTheMembersOfTheType) {
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_RF_250K), 2, 20), 4);  // two members
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_BPM_Z), 2, 20), 8);    // four members
}
TYPED_TEST(ChannelReaderThreads, GoByTheLastTypeOfTheMask) {
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_BPM_Z) | bit(RAVO_BLOCK_RF_250K), 2, 20), 4);
}
TYPED_TEST(ChannelReaderThreads, AreTenForImages) {
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_IMAGE), 2, 20), 10);  // doubled to 20 and capped
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_IMAGE_EXT), 2, 20, 0, 7), 7);
}
TYPED_TEST(ChannelReaderThreads, GoByTheEventsWhenATypeHasOneMember) {
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_NORMAL), 20), 4);
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_LLRF_ML), 20), 2);
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_UPD), 20), 1);
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_UPD) | bit(RAVO_EV_LLRF_ML), 20), 2);
  EXPECT_EQ(this->workers(bit(RAVO_ENV_DICT_BLOCK), bit(RAVO_EV_NORMAL), 20),
            4);  // no member counts as one
}
TYPED_TEST(ChannelReaderThreads, KeepToTheirMaximum) {
  EXPECT_EQ(this->workers(0, 2, 20, 0, 2), 2);
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_SINGLE), bit(RAVO_EV_NORMAL), 20, 0, 3), 3);
}
TYPED_TEST(ChannelReaderThreads, WhenPresetAreNotCapped) { EXPECT_EQ(this->workers(0, 2, 20, 8, 2), 8); }

TYPED_TEST(ChannelReaderThreads, AreNeverMoreThanTheEvents) {
  EXPECT_EQ(this->workers(bit(RAVO_BLOCK_IMAGE), 2, 2), 2);
  EXPECT_EQ(this->workers(0, 2, 1, 10), 1);
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

TYPED_TEST(ChannelReaderThreads, ThatCannotBeStartedAreReportedAndSignalled) {
  typename TestFixture::reading file(this->one_channel_file(5));
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

template <class generation>
class ChannelReaderLimits : public channel_reader_test<generation> {};
TYPED_TEST_SUITE(ChannelReaderLimits, generations, generation_name);

TYPED_TEST(ChannelReaderLimits, AreTheEarliestAndTheLatestEvent) {
  typename TestFixture::file_type content = this->one_channel_file(4);
  content.events = {{10, 50, 7}, {11, 50, 3}, {12, 50, 3}, {13, 50, 7}};
  typename TestFixture::reading file(content);
  const auto reader = file.reader();
  ASSERT_EQ(start_and_wait(*reader), 0);
  ravo_time_id earliest{};
  ravo_time_id latest{};
  reader->get_time_limits(&earliest, &latest);
  EXPECT_EQ(earliest.event_number, 11u);  // ties keep the earlier entry
  EXPECT_EQ(latest.event_number, 10u);
  reader->get_time_limits(nullptr, nullptr);
}

TYPED_TEST(ChannelReaderLimits, DoNotBeginWithAnEventWithoutATime) {
  typename TestFixture::file_type content = this->one_channel_file(3);
  content.events = {{10, 50, 7}, {11, 0, 3}, {12, 51, 3}};
  typename TestFixture::reading file(content);
  const auto reader = file.reader();
  start_and_wait(*reader);
  ravo_time_id earliest{};
  reader->get_time_limits(&earliest, nullptr);
  EXPECT_EQ(earliest.event_number, 10u);
}

TYPED_TEST(ChannelReaderLimits, LeaveOutWhatCannotBeDecoded) {
  typename TestFixture::file_type content = this->one_channel_file(5);
  for (auto& block : content.channels[0].blocks) block = zipped(block, 1);
  content.channels[0].blocks[0].zipp_length = 3;
  content.channels[0].blocks[4].zipp_length = 3;
  typename TestFixture::reading file(content);
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

template <class generation>
class ChannelReaderClean : public channel_reader_test<generation> {};
TYPED_TEST_SUITE(ChannelReaderClean, generations, generation_name);

TYPED_TEST(ChannelReaderClean, FreesAndCanBeDoneTwice) {
  typename TestFixture::reading file(this->one_channel_file(5));
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
  EXPECT_EQ(output.stop(), either<TypeParam>("ravo_daq_read_chan_2010:start() CHAN not initialized\n",
                                             "ravo_daq_read_chan:start() CHAN  not initialized\n"));
}

TYPED_TEST(ChannelReaderClean, WaitsForWorkersThatStillRun) {
  typename TestFixture::reading file(this->one_channel_file(400));
  for (int i = 0; i < 50; ++i) {
    const auto reader = file.reader();
    reader->set_number_of_threads(10);
    ASSERT_EQ(reader->start(nullptr, nullptr, nullptr), 0);
    reader->clean();  // at once; nothing may touch the freed array
  }
}

TYPED_TEST(ChannelReaderStart, CanBeDoneTwice) {
  typename TestFixture::reading file(this->one_channel_file(5));
  const auto reader = file.reader();
  ASSERT_EQ(reader->start(nullptr, nullptr, nullptr), 0);  // its signal is not taken by anybody
  ASSERT_EQ(start_and_wait(*reader), 0);
  EXPECT_EQ(ask(*reader, last).number(), 104u);
}

template <class generation>
class ChannelReaderDamage : public channel_reader_test<generation> {};
TYPED_TEST_SUITE(ChannelReaderDamage, generations, generation_name);

// Every word of a file with plain and compressed blocks, one after another: whatever becomes of the file, a
// reader starts or refuses, answers, prints and ends.
TYPED_TEST(ChannelReaderDamage, NoDamagedWordHangsOrHarmsAnybody) {
  typename TestFixture::file_type content = this->one_channel_file(3);
  content.channels[0].blocks[1] = zipped(content.channels[0].blocks[1], 1);
  content.channels[0].blocks[2] = zipped(content.channels[0].blocks[2], 2);
  bytes good = content.build();
  captured_output quiet;
  for (std::size_t word = 0; word + 4 <= good.size(); word += 4) {
    const std::uint32_t truth = good.word(word);
    if (truth == 0 && word % 64 != 0) continue;  // most are the zeros after texts
    for (const std::uint32_t value :
         {0u, 0xffffffffu, 0x7fffffffu, static_cast<std::uint32_t>(word), truth + 1}) {
      typename TestFixture::reading file(
          content, [&](typename TestFixture::file_type&, bytes& damaged) { damaged.set_u32(word, value); });
      const auto reader = file.reader("CHAN", 0);
      start_and_wait(*reader);
      for (const int type : {first, next, current, last, previous}) ask(*reader, type);
      for (const unsigned number : {100u, 101u, 0xffffffffu}) ask(*reader, {number, {1700000000, 0}}, next);
      reader->print_cdt_entry();
      reader->print_event_chan_pointers_entry();
      if constexpr (TypeParam::records::prints_channels) {
        reader->print_event_headers();
        reader->print_server_block_headers();
        reader->print_channel();
      }
    }
  }
}

template <class generation>
class ChannelReaderPointers : public channel_reader_test<generation> {};
TYPED_TEST_SUITE(ChannelReaderPointers, generations, generation_name);

TYPED_TEST(ChannelReaderPointers, LieInTheRowOfTheChannel) {
  typename TestFixture::file_type content = this->one_channel_file(3);
  content.channels.push_back(content.channels[0]);
  content.channels[1].name = "SECOND";
  content.channels[1].blocks.pop_back();
  typename TestFixture::reading file(content);
  const auto reader = file.reader("SECOND");
  start_and_wait(*reader);
  EXPECT_EQ(reader->get_data_table_pointer(0), file.loader.get_ecp_table()->chptr() + 3);
  EXPECT_EQ(reader->get_data_table_pointer(1), file.loader.get_ecp_table()->chptr() + 4);
  EXPECT_EQ(reader->get_data_table_pointer(3), nullptr);
  EXPECT_EQ(reader->get_data_table_pointer(-1), nullptr);
  const typename TestFixture::read_chan none(nullptr, nullptr, -1, nullptr);
  EXPECT_EQ(none.get_data_table_pointer(0), nullptr);
}

}  // namespace
