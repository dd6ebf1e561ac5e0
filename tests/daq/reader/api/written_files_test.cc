// The reader from its front to the bytes on disk: files that the writer made, read back event by event and
// compared with what was put into them.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "captured_output.h"
#include "counted_new.h"
#include "environment_variable.h"
#include "failing_allocation.h"
#include "written_run.h"

namespace ravo::test {
namespace {

using channel_names = std::vector<std::string>;
const channel_names regular = {"BPM", "TOR", "RF", "GROW", "HALF"};

template <class generation>
class WrittenFiles : public testing::Test {
 protected:
  using subhead = typename generation::records::subhead;
  using server_block_head = typename generation::records::server_block_head;
  using run_type = written_run<generation>;
  /// Three files of twenty events, written once for all tests.
  static const run_type& run() {
    static const run_type written(3, 20);
    return written;
  }
  void init(const channel_names& channels, const std::vector<std::string>& files = run().files()) {
    std::vector<std::string> texts = files, names = channels;
    std::vector<char*> paths;
    for (std::string& text : texts) paths.push_back(text.data());
    std::vector<daq_channel_entry> kept;
    for (std::string& name : names) kept.push_back({name.data(), {}});
    std::vector<daq_channel_entry*> wanted;
    for (daq_channel_entry& channel : kept) wanted.push_back(&channel);
    ASSERT_EQ(reader.init(&paths, &wanted), 0) << reader.get_last_error();
    // The files' own, whatever the generation's defaults are.
    const ravo_time_id step{1, {0, run_type::step_us}};
    const time_stamp tolerance{0, run_type::step_us / 2};
    reader.set_period(&step);
    reader.set_time_diff(&tolerance);
  }
  void start(const channel_names& channels, const std::vector<std::string>& files = run().files()) {
    init(channels, files);
    ASSERT_EQ(reader.start(), 0) << reader.get_last_error();
  }
  int get(int mode = 1) { return reader.get_data(nullptr, &entries, mode); }
  unsigned current() const { return reader.current_event_id.event_number; }
  static const subhead& head(const ravo_channel_entry_long* entry) {
    return *reinterpret_cast<const subhead*>(entry->sbchdata[0].chhd);
  }
  static std::string payload(const ravo_channel_entry_long* entry) {
    return {reinterpret_cast<const char*>(entry->sbchdata[0].data),
            static_cast<std::size_t>(head(entry).ldata) - sizeof(subhead)};
  }
  /// Compares the entries with what these channels had in an event.
  void expect_event(unsigned number, const channel_names& channels) {
    SCOPED_TRACE(number);
    std::size_t next = 0;
    for (const std::string& channel : channels) {
      const std::string& written = run().payload(channel, number);
      if (written.empty()) continue;
      ASSERT_LT(next, entries.size());
      const ravo_channel_entry_long* entry = entries[next++];
      EXPECT_EQ(channel, head(entry).chname);
      EXPECT_EQ(payload(entry), written) << channel;
      EXPECT_EQ(entry->event_id.event_number, number);
      const auto& event = *reinterpret_cast<const ravo_eventheader*>(entry->sbchdata[0].evhd);
      EXPECT_EQ(event.event_number, number);
      EXPECT_EQ(event.event_time.timeup, run_type::time_of(number).timeup);
      EXPECT_EQ(event.event_time.timelow, run_type::time_of(number).timelow);
      const auto& server = *reinterpret_cast<const server_block_head*>(entry->sbchdata[0].sbhd);
      EXPECT_STREQ(server.server, "SERVER");
      EXPECT_EQ(server.mpulse, static_cast<int>(number));
    }
    EXPECT_EQ(next, entries.size());
  }
  /// The numbers of the events that get_data() delivers until it ends.
  std::vector<unsigned> delivered(int expected_end = RAVO_DAQ_READER_OUT_OF_WINDOW) {
    std::vector<unsigned> numbers;
    int status = 0;
    while (numbers.size() < 1000 && (status = get()) == 0) numbers.push_back(current());
    EXPECT_EQ(status, expected_end);
    return numbers;
  }
  /// first, ..., last without the updates.
  static std::vector<unsigned> regular_events(unsigned first, unsigned last) {
    std::vector<unsigned> numbers;
    for (unsigned number = first; number <= last; ++number)
      if (!run_type::is_update(number)) numbers.push_back(number);
    return numbers;
  }

  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
  std::vector<ravo_channel_entry_long*> entries;
  typename generation::reader reader;
};

TYPED_TEST_SUITE(WrittenFiles, generations, generation_name);

/// Files of a generation, read in a synch mode.
template <class generation_type, int synch_mode>
struct reading : generation_type {
  using generation = generation_type;
  static constexpr int mode = synch_mode;
};
using readings = testing::Types<reading<current_generation, 0>, reading<current_generation, 1>,
                                reading<older_generation, 0>, reading<older_generation, 1>>;
struct reading_name {
  template <class Reading>
  static std::string GetName(int) {
    return std::string(Reading::name) + (Reading::mode == 0 ? "ByNumber" : "ByTime");
  }
};

template <class Reading>
class InEachSynchMode : public WrittenFiles<typename Reading::generation> {};
TYPED_TEST_SUITE(InEachSynchMode, readings, reading_name);

TYPED_TEST(InEachSynchMode, EveryEventComesByteForByte) {
  this->reader.set_synch_mode(TypeParam::mode);
  this->start(regular);
  for (const unsigned number : this->regular_events(1, this->run().events())) {
    ASSERT_EQ(this->get(), 0) << number;
    EXPECT_EQ(this->current(), number);
    this->expect_event(number, regular);
  }
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW);
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW) << "and the end stays the end";
  EXPECT_EQ(this->reader.get_number_of_events(), 48);
}

TYPED_TEST(InEachSynchMode, EventsOfAFileComeBackInReverse) {
  this->reader.set_synch_mode(TypeParam::mode);
  this->start(regular, {this->run().files()[1]});
  const std::vector<unsigned> forwards = this->regular_events(21, 40);
  for (std::size_t i = 0; i < forwards.size(); ++i) ASSERT_EQ(this->get(1), 0);
  for (std::size_t i = forwards.size() - 1; i-- > 0;) {
    ASSERT_EQ(this->get(-1), 0) << forwards[i];
    EXPECT_EQ(this->current(), forwards[i]);
    this->expect_event(forwards[i], regular);
  }
  EXPECT_EQ(this->get(-1), RAVO_DAQ_READER_OUT_OF_WINDOW);
}

// A channel that goes back needs the tables of the file before; they were freed when all channels had left
// it, and the table-loading thread only goes forwards.
TYPED_TEST(InEachSynchMode, ThereIsNoWayBackIntoAFileThatAllChannelsHaveLeft) {
  this->reader.set_synch_mode(TypeParam::mode);
  this->start({"TOR"});
  for (const unsigned number : this->regular_events(1, 21)) {
    ASSERT_EQ(this->get(1), 0);
    EXPECT_EQ(this->current(), number);
  }
  EXPECT_EQ(this->get(-1), RAVO_DAQ_READER_OUT_OF_WINDOW);
  EXPECT_EQ(this->get(1), RAVO_DAQ_READER_OUT_OF_WINDOW);
}

TYPED_TEST(InEachSynchMode, OneChannelAloneComesWholeToo) {
  for (const std::string& channel : regular) {
    this->reader.clean_up();
    this->reader.set_synch_mode(TypeParam::mode);
    this->start({channel});
    for (unsigned number = 1; number <= this->run().events(); ++number) {
      if (this->run().payload(channel, number).empty()) continue;
      ASSERT_EQ(this->get(), 0);
      this->expect_event(number, {channel});
    }
    EXPECT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW);
  }
}

TYPED_TEST(InEachSynchMode, TheSlowChannelStaysOnceItWasSeen) {
  this->reader.set_synch_mode(TypeParam::mode);
  this->start({"TOR", "SLOW"});
  for (unsigned number = 1; number <= this->run().events(); ++number) {
    SCOPED_TRACE(number);
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->current(), number);
    const unsigned updated = number / 5 * 5;
    const std::size_t expected =
        (TestFixture::run_type::is_update(number) ? 0u : 1u) + (updated > 0 ? 1u : 0u);
    ASSERT_EQ(this->entries.size(), expected);
    if (!TestFixture::run_type::is_update(number)) {
      EXPECT_EQ(this->payload(this->entries.front()), this->run().payload("TOR", number));
    }
    if (updated > 0) {
      const auto* slow = this->entries.back();
      EXPECT_EQ(slow->event_id.event_number, updated);
      EXPECT_EQ(this->head(slow).dtype & 0xffff, TypeParam::update);
      EXPECT_EQ(this->payload(slow), this->run().payload("SLOW", updated));
    }
  }
}

TYPED_TEST(InEachSynchMode, ATimeWindowCutsTheEvents) {
  this->reader.set_synch_mode(TypeParam::mode);
  this->init(regular);
  const ravo_time_id from{0, TestFixture::run_type::time_of(18)}, to{0, TestFixture::run_type::time_of(43)};
  this->reader.set_start_point(&from);
  this->reader.set_stop_point(&to);
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_EQ(this->delivered(), this->regular_events(18, 43));
  EXPECT_EQ(this->reader.get_time_period_us(), 25 * 100000.0);
}

TYPED_TEST(InEachSynchMode, ATimeWindowTrimsTheFiles) {
  this->reader.set_synch_mode(TypeParam::mode);
  this->init(regular);
  // The names have whole seconds: the files begin at 0, 2 and 4 seconds, and the step is 2.
  const ravo_time_id from{0, {TestFixture::run_type::epoch + 5, 0}},
      to{0, {TestFixture::run_type::epoch + 100, 0}};
  this->reader.set_start_point(&from);
  this->reader.set_stop_point(&to);
  ASSERT_EQ(this->reader.start(), 0);
  ASSERT_EQ(this->reader.get_number_of_files(), 2) << "the second file ends before the request";
  EXPECT_EQ(this->reader.get_file_name(0), this->run().files()[0]);
  EXPECT_EQ(this->reader.get_file_name(1), this->run().files()[2]);
  EXPECT_EQ(this->delivered(), this->regular_events(50, 60));
}

TYPED_TEST(InEachSynchMode, WhatFollowsTheLastEventIsEmpty) {
  this->reader.set_synch_mode(TypeParam::mode);
  this->init(regular);
  const ravo_time_id from{0, TestFixture::run_type::time_of(61)};
  this->reader.set_start_point(&from);
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_EQ(this->delivered(), std::vector<unsigned>{});
  EXPECT_EQ(this->reader.get_number_of_events(), 0);
}

TYPED_TEST(WrittenFiles, AWindowOfEventNumbersCutsTheEvents) {
  this->init(regular);
  const ravo_time_id from{19, {}}, to{22, {}};
  this->reader.set_start_point(&from);
  this->reader.set_stop_point(&to);
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_EQ(this->delivered(), (std::vector<unsigned>{19, 21, 22}));
}

TYPED_TEST(WrittenFiles, AnExplicitEventIsFound) {
  this->start(regular, {this->run().files()[0]});
  const ravo_time_id wanted{13, TestFixture::run_type::time_of(13)};
  ASSERT_EQ(this->reader.get_data(&wanted, &this->entries, 0), 0);
  this->expect_event(13, regular);
  ASSERT_EQ(this->get(1), 0);
  this->expect_event(14, regular);
}

TYPED_TEST(WrittenFiles, AnExplicitEventOutsideTheRequestEndsWithoutData) {
  this->init(regular);
  const ravo_time_id to{10, {}}, wanted{13, TestFixture::run_type::time_of(13)};
  this->reader.set_stop_point(&to);
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_EQ(this->reader.get_data(&wanted, &this->entries, 0), RAVO_DAQ_READER_NO_DATA);
  EXPECT_STREQ(this->reader.get_last_error(), "No required data");
  EXPECT_TRUE(this->entries.empty());
  EXPECT_EQ(this->reader.get_number_of_events(), 0);
}

TYPED_TEST(WrittenFiles, AStandingStepOutsideTheRequestEndsWithoutData) {
  this->init(regular);
  const ravo_time_id from{10, {}};
  this->reader.set_start_point(&from);
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_EQ(this->get(0), RAVO_DAQ_READER_NO_DATA) << "the first event is 1, and stays it";
  EXPECT_EQ(this->get(1), 0);
  EXPECT_EQ(this->current(), 11u);
}

TYPED_TEST(WrittenFiles, AnInvalidStepIsRefusedByTheSlicer) {
  this->start(regular);
  this->reader.set_error(0);
  EXPECT_EQ(this->get(3), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->get(-3), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(WrittenFiles, ASubchannelComesAloneUnderItsOwnName) {
  const channel_names wanted = {"BPM:2", "RF:0", "BPM"};
  this->start(wanted);
  unsigned number = 1;
  for (; number <= 4; ++number) {
    ASSERT_EQ(this->get(), 0);
    ASSERT_EQ(this->entries.size(), 3u);
    EXPECT_STREQ(this->head(this->entries[0]).chname, "BPM:2");
    EXPECT_EQ(this->head(this->entries[0]).dtype >> 16, TypeParam::bpm);
    EXPECT_NE(this->payload(this->entries[0]).find(TestFixture::run_type::member_samples(2, 4, number)),
              std::string::npos);
    EXPECT_EQ(this->payload(this->entries[0]).find(TestFixture::run_type::member_samples(1, 4, number)),
              std::string::npos);
    EXPECT_STREQ(this->head(this->entries[1]).chname, "RF:0");
    EXPECT_NE(this->payload(this->entries[1]).find(TestFixture::run_type::member_samples(0, 64, number)),
              std::string::npos);
    EXPECT_EQ(this->payload(this->entries[2]), this->run().payload("BPM", number));
  }
}

// A plain block of a single channel is never cut, a compressed one is: so TOR keeps its bare name and is no
// answer to TOR:0, while GROW:0 is found.
TYPED_TEST(WrittenFiles, SubchannelZeroOfASingleChannelIsFoundOnlyWhenCompressed) {
  this->start({"TOR:0", "GROW:0"});
  for (unsigned number = 1; number <= 4; ++number) {
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->current(), number);
    ASSERT_EQ(this->entries.size(), 1u);
    EXPECT_STREQ(this->head(this->entries[0]).chname, "GROW:0");
  }
}

TYPED_TEST(WrittenFiles, AChannelWithoutEventsLeavesTheOthersAlone) {
  this->start({"IDLE", "TOR", "NOWHERE"});
  for (const unsigned number : this->regular_events(1, this->run().events())) {
    ASSERT_EQ(this->get(), 0);
    this->expect_event(number, {"TOR"});
  }
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW);
}

TYPED_TEST(WrittenFiles, WithoutAnyKnownChannelStartFailsAndSaysSo) {
  this->init({"NOWHERE", "NEITHER"});
  EXPECT_EQ(this->reader.start(), RAVO_DAQ_READER_INTERN_ERROR);
  const std::string error = this->reader.get_last_error();
  // In the current generation the names of the channels follow it.
  EXPECT_EQ(error.rfind("Intern error", 0), 0u) << error;
  EXPECT_EQ(error.size() > std::strlen("Intern error"), either<TypeParam>(true, false)) << error;
  EXPECT_NE(this->reader.slicer, nullptr);
  EXPECT_EQ(this->reader.start(), RAVO_DAQ_READER_NOT_ALLOWED);
  this->reader.clean_up();
  this->start({"TOR"});
  EXPECT_EQ(this->get(), 0);
}

TYPED_TEST(WrittenFiles, MayBeReadAgainAfterACleanUp) {
  for (int round = 0; round < 3; ++round) {
    this->start(regular);
    ASSERT_EQ(this->get(), 0);
    this->expect_event(1, regular);
    ASSERT_EQ(this->get(), 0);
    this->expect_event(2, regular);
    this->reader.clean_up();
    EXPECT_EQ(this->get(), RAVO_DAQ_READER_NOT_INIT);
    EXPECT_EQ(this->reader.get_number_of_events(), 0);
  }
}

TYPED_TEST(WrittenFiles, MayBeAbandonedAtAnyMoment) {
  for (unsigned events = 0; events < 25; events += 6) {
    typename TypeParam::reader other;
    std::string path = this->run().files()[0], second = this->run().files()[1], name = "BPM";
    std::vector<char*> paths{path.data(), second.data()};
    daq_channel_entry channel{name.data(), {}};
    std::vector<daq_channel_entry*> wanted{&channel};
    ASSERT_EQ(other.init(&paths, &wanted), 0);
    ASSERT_EQ(other.start(), 0);
    for (unsigned i = 0; i < events; ++i) ASSERT_EQ(other.get_data(nullptr, &this->entries, 1), 0);
  }
}

TYPED_TEST(WrittenFiles, TheSteadyStateAllocatesNothing) {
  // Without GROW: its blocks keep growing, and a buffer with them.
  this->start({"BPM", "TOR", "RF", "HALF", "SLOW"}, {this->run().files()[0]});
  for (int i = 0; i < 6; ++i) ASSERT_EQ(this->get(), 0);
  const long by_hand = failing_allocation::asked;
  const long by_new = counted_new::made;
  for (int i = 6; i < 20; ++i) ASSERT_EQ(this->get(), 0);
  EXPECT_EQ(failing_allocation::asked - by_hand, 0);
  EXPECT_EQ(counted_new::made - by_new, 0);
}

TYPED_TEST(WrittenFiles, ABufferGrowsWithTheBlocksOfItsChannel) {
  this->start({"GROW"}, {this->run().files()[0]});
  ASSERT_EQ(this->get(), 0);
  const long before = failing_allocation::asked;
  for (const unsigned number : this->regular_events(2, 20)) {
    ASSERT_EQ(this->get(), 0);
    this->expect_event(number, {"GROW"});
  }
  EXPECT_EQ(failing_allocation::asked - before, 15);
}

TYPED_TEST(WrittenFiles, AReaderCanBeCleanedUpAfterAnyFailedAllocationInStart) {
  captured_output output;
  testing::internal::CaptureStderr();
  for (long successes = 0; successes < 60; ++successes) {
    this->init({"BPM", "TOR"}, {this->run().files()[0]});
    {
      failing_allocation fails(successes);
      if (this->reader.start() == 0) {
        while (this->reader.get_data(nullptr, &this->entries, 1) == 0) {
        }
      }
      if (!fails.happened()) break;
    }
    this->reader.clean_up();
  }
  this->reader.clean_up();
  this->init({"BPM", "TOR"}, {this->run().files()[0]});
  EXPECT_EQ(this->reader.start(), 0);
  EXPECT_EQ(this->get(), 0);
  testing::internal::GetCapturedStderr();
}

TYPED_TEST(WrittenFiles, TheSpanOfOneFileIsThatOfItsEvents) {
  this->init(regular, {this->run().files()[0]});
  EXPECT_EQ(this->reader.get_time_period_us(), 19 * 100000.0);
  EXPECT_EQ(this->reader.get_tables.status(), 0) << "the file is released again";
}

TYPED_TEST(WrittenFiles, TheSpanOfSeveralFilesComesFromTheirNames) {
  this->init(regular);
  // The first events lie at 0.1, 2.1 and 4.1 seconds, the names say 0, 2 and 4, and the step is 2.
  EXPECT_EQ(this->reader.get_time_period_us(), 6e6);
}

TYPED_TEST(WrittenFiles, TheDictionaryNamesTheChannelsOfTheFile) {
  ASSERT_EQ(this->reader.get_tables.get_all_tables(this->run().files()[0].c_str(), 0, nullptr), 0);
  std::set<std::string> names;
  int count = 0, ev_mask = 0, dtype_mask = 0;
  for (int i = 0; const char* name = this->reader.get_channel_name(i, &count, &ev_mask, &dtype_mask); ++i) {
    names.insert(name);
    if (names.size() > 7) break;
    if (std::string(name) == "HALF") {
      EXPECT_EQ(count, 8);
      EXPECT_EQ(ev_mask, 1 << RAVO_EV_NORMAL);
    }
    if (std::string(name) == "SLOW") {
      EXPECT_EQ(count, 4);
      EXPECT_EQ(ev_mask, 1 << RAVO_EV_UPD);
    }
  }
  EXPECT_EQ(names, (std::set<std::string>{"BPM", "TOR", "RF", "GROW", "HALF", "SLOW", "IDLE"}));
  this->reader.get_tables.clean_up();
  EXPECT_EQ(this->reader.get_channel_name(0, nullptr, nullptr, nullptr), nullptr);
}

TYPED_TEST(WrittenFiles, AFileThatIsNotARawFileIsABadFormat) {
  temporary_folder folder;
  std::string path =
      folder.write("linac_main_run7_file1_20250101T000000Z.raw", std::vector<unsigned char>(5000, 'x'));
  std::vector<char*> paths{path.data()};
  EXPECT_EQ(this->reader.init(&paths, nullptr), RAVO_DAQ_READER_BAD_FILE_FORMAT);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
  std::string good = this->run().files()[0];
  this->reader.clean_up();
  paths = {good.data()};
  EXPECT_EQ(this->reader.init(&paths, nullptr), 0);
}

template <class generation>
class DamagedMiddle : public WrittenFiles<generation> {
 protected:
  /// The run with its second file cut in half.
  std::vector<std::string> files_with_a_half() {
    std::vector<std::string> files;
    for (const std::string& path : this->run().files()) {
      std::vector<unsigned char> bytes = read_file(path);
      if (files.size() == 1) bytes.resize(bytes.size() / 2);
      files.push_back(folder.write(std::filesystem::path(path).filename().string(), bytes));
    }
    return files;
  }
  temporary_folder folder;
};
TYPED_TEST_SUITE(DamagedMiddle, generations, generation_name);

TYPED_TEST(DamagedMiddle, EndsTheDataAfterTheFirstFile) {
  for (const channel_names& channels : {channel_names{"BPM"}, regular}) {
    this->reader.clean_up();
    this->start(channels, this->files_with_a_half());
    for (const unsigned number : this->regular_events(1, 20)) {
      ASSERT_EQ(this->get(), 0);
      this->expect_event(number, channels);
    }
    // A lone channel is lost with the file. Of several, all but the last to leave keep their old readers,
    // which have no answer to an invalid event.
    const bool is_alone = channels.size() == 1;
    captured_output output;
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(this->get(), is_alone ? -3 : -6);
      EXPECT_TRUE(this->entries.empty());
    }
    EXPECT_EQ(output.stop().find("RAVO_DAQ_READ_CHAN_INV_PARAM") == std::string::npos, is_alone);
    EXPECT_EQ(this->reader.get_number_of_events(), 16);
  }
}

}  // namespace
}  // namespace ravo::test
