// The reader from its front to the bytes on disk: files that the writer made, read back event by event and
// held against what was put into them.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "captured_output.h"
#include "counted_new.h"
#include "environment_variable.h"
#include "failing_allocation.h"
#include "ravo_daq_reader_2010.h"
#include "written_run.h"

namespace ravo::test {
namespace {

using channel_names = std::vector<std::string>;
const channel_names regular = {"BPM", "TOR", "RF", "GROW", "HALF"};

/// Three files of twenty events, written once for all tests.
const written_run& run() {
  static const written_run written(3, 20);
  return written;
}

class WrittenFiles : public testing::Test {
 protected:
  void init(const channel_names& channels, const std::vector<std::string>& files = run().files()) {
    std::vector<std::string> texts = files, names = channels;
    std::vector<char*> paths;
    for (std::string& text : texts) paths.push_back(text.data());
    std::vector<daq_channel_entry> kept;
    for (std::string& name : names) kept.push_back({name.data(), {}});
    std::vector<daq_channel_entry*> wanted;
    for (daq_channel_entry& channel : kept) wanted.push_back(&channel);
    ASSERT_EQ(reader.init(&paths, &wanted), 0) << reader.get_last_error();
  }
  void start(const channel_names& channels, const std::vector<std::string>& files = run().files()) {
    init(channels, files);
    ASSERT_EQ(reader.start(), 0) << reader.get_last_error();
  }
  int get(int mode = 1) { return reader.get_data(nullptr, &entries, mode); }
  unsigned current() const { return reader.current_event_id.event_number; }
  static const ravo_serv_block_subhead_2010& head(const ravo_channel_entry_long* entry) {
    return *reinterpret_cast<const ravo_serv_block_subhead_2010*>(entry->sbchdata[0].chhd);
  }
  static std::string payload(const ravo_channel_entry_long* entry) {
    return {reinterpret_cast<const char*>(entry->sbchdata[0].data),
            static_cast<std::size_t>(head(entry).ldata) - sizeof(ravo_serv_block_subhead_2010)};
  }
  /// Holds the entries against what these channels had in an event.
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
      EXPECT_EQ(event.event_time.timeup, written_run::time_of(number).timeup);
      EXPECT_EQ(event.event_time.timelow, written_run::time_of(number).timelow);
      const auto& server = *reinterpret_cast<const ravo_serv_block_head_2010*>(entry->sbchdata[0].sbhd);
      EXPECT_STREQ(server.server, "SERVER");
      EXPECT_EQ(server.mpulse, static_cast<int>(number));
    }
    EXPECT_EQ(next, entries.size());
  }
  /// The numbers of the events that get_data() delivers until it ends.
  std::vector<unsigned> delivered(int expected_end = -3) {
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
      if (!written_run::is_update(number)) numbers.push_back(number);
    return numbers;
  }

  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
  std::vector<ravo_channel_entry_long*> entries;
  ravo_daq_reader_2010 reader;
};

class InEachSynchMode : public WrittenFiles, public testing::WithParamInterface<int> {};

TEST_P(InEachSynchMode, EveryEventComesByteForByte) {
  reader.set_synch_mode(GetParam());
  start(regular);
  for (const unsigned number : regular_events(1, run().events())) {
    ASSERT_EQ(get(), 0) << number;
    EXPECT_EQ(current(), number);
    expect_event(number, regular);
  }
  EXPECT_STREQ(reader.get_last_error(), "OK");
  EXPECT_EQ(get(), -3);
  EXPECT_EQ(get(), -3) << "and the end stays the end";
  EXPECT_EQ(reader.get_number_of_events(), 48);
}

TEST_P(InEachSynchMode, EventsOfAFileComeBackInReverse) {
  reader.set_synch_mode(GetParam());
  start(regular, {run().files()[1]});
  const std::vector<unsigned> forwards = regular_events(21, 40);
  for (std::size_t i = 0; i < forwards.size(); ++i) ASSERT_EQ(get(1), 0);
  for (std::size_t i = forwards.size() - 1; i-- > 0;) {
    ASSERT_EQ(get(-1), 0) << forwards[i];
    EXPECT_EQ(current(), forwards[i]);
    expect_event(forwards[i], regular);
  }
  EXPECT_EQ(get(-1), -3);
}

// A channel that goes back needs the tables of the file before; they were freed when all channels had left
// it, and the table-loading thread only goes forwards.
TEST_P(InEachSynchMode, ThereIsNoWayBackIntoAFileThatAllChannelsHaveLeft) {
  reader.set_synch_mode(GetParam());
  start({"TOR"});
  for (const unsigned number : regular_events(1, 21)) {
    ASSERT_EQ(get(1), 0);
    EXPECT_EQ(current(), number);
  }
  EXPECT_EQ(get(-1), -3);
  EXPECT_EQ(get(1), -3);
}

TEST_P(InEachSynchMode, OneChannelAloneComesWholeToo) {
  for (const std::string& channel : regular) {
    reader.clean_up();
    reader.set_synch_mode(GetParam());
    start({channel});
    for (unsigned number = 1; number <= run().events(); ++number) {
      if (run().payload(channel, number).empty()) continue;
      ASSERT_EQ(get(), 0);
      expect_event(number, {channel});
    }
    EXPECT_EQ(get(), -3);
  }
}

TEST_P(InEachSynchMode, TheSlowChannelStaysOnceItWasSeen) {
  reader.set_synch_mode(GetParam());
  start({"TOR", "SLOW"});
  for (unsigned number = 1; number <= run().events(); ++number) {
    SCOPED_TRACE(number);
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(current(), number);
    const unsigned updated = number / 5 * 5;
    const std::size_t expected = (written_run::is_update(number) ? 0u : 1u) + (updated > 0 ? 1u : 0u);
    ASSERT_EQ(entries.size(), expected);
    if (!written_run::is_update(number)) {
      EXPECT_EQ(payload(entries.front()), run().payload("TOR", number));
    }
    if (updated > 0) {
      const auto* slow = entries.back();
      EXPECT_EQ(slow->event_id.event_number, updated);
      EXPECT_EQ(head(slow).dtype & 0xffff, 33);
      EXPECT_EQ(payload(slow), run().payload("SLOW", updated));
    }
  }
}

TEST_P(InEachSynchMode, ATimeWindowCutsTheEvents) {
  reader.set_synch_mode(GetParam());
  init(regular);
  const ravo_time_id from{0, written_run::time_of(18)}, to{0, written_run::time_of(43)};
  reader.set_start_point(&from);
  reader.set_stop_point(&to);
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(delivered(), regular_events(18, 43));
  EXPECT_EQ(reader.get_time_period_us(), 25 * 100000.0);
}

TEST_P(InEachSynchMode, ATimeWindowTrimsTheFiles) {
  reader.set_synch_mode(GetParam());
  init(regular);
  // The names tell whole seconds: the files begin at 0, 2 and 4 seconds, and the step is 2.
  const ravo_time_id from{0, {written_run::epoch + 5, 0}}, to{0, {written_run::epoch + 100, 0}};
  reader.set_start_point(&from);
  reader.set_stop_point(&to);
  ASSERT_EQ(reader.start(), 0);
  ASSERT_EQ(reader.get_number_of_files(), 2) << "the second file ends before the request";
  EXPECT_EQ(reader.get_file_name(0), run().files()[0]);
  EXPECT_EQ(reader.get_file_name(1), run().files()[2]);
  EXPECT_EQ(delivered(), regular_events(50, 60));
}

TEST_P(InEachSynchMode, WhatIsBehindTheLastEventIsEmpty) {
  reader.set_synch_mode(GetParam());
  init(regular);
  const ravo_time_id from{0, written_run::time_of(61)};
  reader.set_start_point(&from);
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(delivered(), std::vector<unsigned>{});
  EXPECT_EQ(reader.get_number_of_events(), 0);
}
INSTANTIATE_TEST_SUITE_P(Modes, InEachSynchMode, testing::Values(0, 1));

TEST_F(WrittenFiles, AWindowOfEventNumbersCutsTheEvents) {
  init(regular);
  const ravo_time_id from{19, {}}, to{22, {}};
  reader.set_start_point(&from);
  reader.set_stop_point(&to);
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(delivered(), (std::vector<unsigned>{19, 21, 22}));
}

TEST_F(WrittenFiles, AnExplicitEventIsFound) {
  start(regular, {run().files()[0]});
  const ravo_time_id wanted{13, written_run::time_of(13)};
  ASSERT_EQ(reader.get_data(&wanted, &entries, 0), 0);
  expect_event(13, regular);
  ASSERT_EQ(get(1), 0);
  expect_event(14, regular);
}

TEST_F(WrittenFiles, AnExplicitEventOutsideTheRequestEndsWithoutData) {
  init(regular);
  const ravo_time_id to{10, {}}, wanted{13, written_run::time_of(13)};
  reader.set_stop_point(&to);
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(reader.get_data(&wanted, &entries, 0), -1);
  EXPECT_STREQ(reader.get_last_error(), "No required data");
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(reader.get_number_of_events(), 0);
}

TEST_F(WrittenFiles, AStandingStepOutsideTheRequestEndsWithoutData) {
  init(regular);
  const ravo_time_id from{10, {}};
  reader.set_start_point(&from);
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(get(0), -1) << "the first event is 1, and stays it";
  EXPECT_EQ(get(1), 0);
  EXPECT_EQ(current(), 11u);
}

TEST_F(WrittenFiles, AStepThatIsNoneIsRefusedByTheSlicer) {
  start(regular);
  reader.set_error(0);
  EXPECT_EQ(get(3), -7);
  EXPECT_EQ(get(-3), -7);
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(WrittenFiles, ASubchannelComesAloneUnderItsOwnName) {
  const channel_names wanted = {"BPM:2", "RF:0", "BPM"};
  start(wanted);
  unsigned number = 1;
  for (; number <= 4; ++number) {
    ASSERT_EQ(get(), 0);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_STREQ(head(entries[0]).chname, "BPM:2");
    EXPECT_EQ(head(entries[0]).dtype >> 16, RAVO_BLOCK_BPM_2010);
    EXPECT_NE(payload(entries[0]).find(written_run::member_samples(2, 4, number)), std::string::npos);
    EXPECT_EQ(payload(entries[0]).find(written_run::member_samples(1, 4, number)), std::string::npos);
    EXPECT_STREQ(head(entries[1]).chname, "RF:0");
    EXPECT_NE(payload(entries[1]).find(written_run::member_samples(0, 64, number)), std::string::npos);
    EXPECT_EQ(payload(entries[2]), run().payload("BPM", number));
  }
}

// A plain block of a single channel is never cut, a compressed one is: so TOR keeps its bare name and is no
// answer to TOR:0, while GROW:0 is found.
TEST_F(WrittenFiles, SubchannelZeroOfASingleChannelIsFoundOnlyWhenCompressed) {
  start({"TOR:0", "GROW:0"});
  for (unsigned number = 1; number <= 4; ++number) {
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(current(), number);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_STREQ(head(entries[0]).chname, "GROW:0");
  }
}

TEST_F(WrittenFiles, AChannelWithoutEventsLeavesTheOthersAlone) {
  start({"IDLE", "TOR", "NOWHERE"});
  for (const unsigned number : regular_events(1, run().events())) {
    ASSERT_EQ(get(), 0);
    expect_event(number, {"TOR"});
  }
  EXPECT_EQ(get(), -3);
}

TEST_F(WrittenFiles, WithoutAnyKnownChannelStartFailsAndSaysSo) {
  init({"NOWHERE", "NEITHER"});
  EXPECT_EQ(reader.start(), -6);
  EXPECT_EQ(std::string(reader.get_last_error()).rfind("Intern error:", 0), 0u) << reader.get_last_error();
  EXPECT_NE(reader.slicer, nullptr);
  EXPECT_EQ(reader.start(), -8);
  reader.clean_up();
  start({"TOR"});
  EXPECT_EQ(get(), 0);
}

TEST_F(WrittenFiles, MayBeReadAgainAfterACleanUp) {
  for (int round = 0; round < 3; ++round) {
    start(regular);
    ASSERT_EQ(get(), 0);
    expect_event(1, regular);
    ASSERT_EQ(get(), 0);
    expect_event(2, regular);
    reader.clean_up();
    EXPECT_EQ(get(), -4);
    EXPECT_EQ(reader.get_number_of_events(), 0);
  }
}

TEST_F(WrittenFiles, MayBeAbandonedAtAnyMoment) {
  for (unsigned events = 0; events < 25; events += 6) {
    ravo_daq_reader_2010 other;
    std::string path = run().files()[0], second = run().files()[1], name = "BPM";
    std::vector<char*> paths{path.data(), second.data()};
    daq_channel_entry channel{name.data(), {}};
    std::vector<daq_channel_entry*> wanted{&channel};
    ASSERT_EQ(other.init(&paths, &wanted), 0);
    ASSERT_EQ(other.start(), 0);
    for (unsigned i = 0; i < events; ++i) ASSERT_EQ(other.get_data(nullptr, &entries, 1), 0);
  }
}

TEST_F(WrittenFiles, TheSteadyStateAllocatesNothing) {
  // GROW is left out: its blocks grow for ever, and a buffer with them.
  start({"BPM", "TOR", "RF", "HALF", "SLOW"}, {run().files()[0]});
  for (int i = 0; i < 6; ++i) ASSERT_EQ(get(), 0);
  const long by_hand = failing_allocation::asked;
  const long by_new = counted_new::made;
  for (int i = 6; i < 20; ++i) ASSERT_EQ(get(), 0);
  EXPECT_EQ(failing_allocation::asked - by_hand, 0);
  EXPECT_EQ(counted_new::made - by_new, 0);
}

TEST_F(WrittenFiles, ABufferGrowsWithTheBlocksOfItsChannel) {
  start({"GROW"}, {run().files()[0]});
  ASSERT_EQ(get(), 0);
  const long before = failing_allocation::asked;
  for (const unsigned number : regular_events(2, 20)) {
    ASSERT_EQ(get(), 0);
    expect_event(number, {"GROW"});
  }
  EXPECT_EQ(failing_allocation::asked - before, 15);
}

TEST_F(WrittenFiles, AnAllocationThatFailsAnywhereInStartLeavesAReaderThatCanBeCleanedUp) {
  captured_output output;
  testing::internal::CaptureStderr();
  for (long successes = 0; successes < 60; ++successes) {
    init({"BPM", "TOR"}, {run().files()[0]});
    {
      failing_allocation fails(successes);
      if (reader.start() == 0) {
        while (reader.get_data(nullptr, &entries, 1) == 0) {
        }
      }
      if (!fails.happened()) break;
    }
    reader.clean_up();
  }
  reader.clean_up();
  init({"BPM", "TOR"}, {run().files()[0]});
  EXPECT_EQ(reader.start(), 0);
  EXPECT_EQ(get(), 0);
  testing::internal::GetCapturedStderr();
}

TEST_F(WrittenFiles, TheSpanOfOneFileIsThatOfItsEvents) {
  init(regular, {run().files()[0]});
  EXPECT_EQ(reader.get_time_period_us(), 19 * 100000.0);
  EXPECT_EQ(reader.get_tables.status(), 0) << "the file is released again";
}

TEST_F(WrittenFiles, TheSpanOfSeveralFilesComesFromTheirNames) {
  init(regular);
  // The first events lie at 0.1, 2.1 and 4.1 seconds, the names tell 0, 2 and 4, and the step is 2.
  EXPECT_EQ(reader.get_time_period_us(), 6e6);
}

TEST_F(WrittenFiles, TheDictionaryNamesTheChannelsOfTheFile) {
  ASSERT_EQ(reader.get_tables.get_all_tables(run().files()[0].c_str(), 0, nullptr), 0);
  std::set<std::string> names;
  int count = 0, ev_mask = 0, dtype_mask = 0;
  for (int i = 0; const char* name = reader.get_channel_name(i, &count, &ev_mask, &dtype_mask); ++i) {
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
  reader.get_tables.clean_up();
  EXPECT_EQ(reader.get_channel_name(0, nullptr, nullptr, nullptr), nullptr);
}

TEST_F(WrittenFiles, AFileThatIsNoneIsABadFormat) {
  temporary_folder folder;
  std::string path =
      folder.write("linac_main_run7_file1_20250101T000000Z.raw", std::vector<unsigned char>(5000, 'x'));
  std::vector<char*> paths{path.data()};
  EXPECT_EQ(reader.init(&paths, nullptr), -9);
  EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
  std::string good = run().files()[0];
  reader.clean_up();
  paths = {good.data()};
  EXPECT_EQ(reader.init(&paths, nullptr), 0);
}

class DamagedMiddle : public WrittenFiles, public testing::WithParamInterface<std::size_t> {
 protected:
  /// The run with its second file cut in half.
  std::vector<std::string> files_with_a_half() {
    std::vector<std::string> files;
    for (const std::string& path : run().files()) {
      std::vector<unsigned char> bytes = read_file(path);
      if (files.size() == 1) bytes.resize(bytes.size() / 2);
      files.push_back(folder.write(std::filesystem::path(path).filename().string(), bytes));
    }
    return files;
  }
  temporary_folder folder;
};

TEST_P(DamagedMiddle, EndsTheDataBehindTheFirstFile) {
  channel_names channels(regular.begin(), regular.begin() + static_cast<std::ptrdiff_t>(GetParam()));
  start(channels, files_with_a_half());
  for (const unsigned number : regular_events(1, 20)) {
    ASSERT_EQ(get(), 0);
    expect_event(number, channels);
  }
  // A lone channel is lost with the file. Of several, all but the last to leave keep their old readers,
  // which have no answer to an event that is none.
  const bool is_alone = channels.size() == 1;
  captured_output output;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(get(), is_alone ? -3 : -6);
    EXPECT_TRUE(entries.empty());
  }
  EXPECT_EQ(output.stop().find("RAVO_DAQ_READ_CHAN_INV_PARAM") == std::string::npos, is_alone);
  EXPECT_EQ(reader.get_number_of_events(), 16);
}
INSTANTIATE_TEST_SUITE_P(Channels, DamagedMiddle, testing::Values(1, 5));

}  // namespace
}  // namespace ravo::test
