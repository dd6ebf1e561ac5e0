// What only the older slicer does: its texts and defaults, a thread that loads all files at once and
// returns, errors told at every debug level, no second try and no place for update blocks in ties.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scripted_play.h"
#include "streams.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;
using testing::Not;

using older_play = play_of<ravo::generation_2009>;

// ---- set-up ----

TEST(OlderSlicerSetUp, HasItsOwnDefaults) {
  ravo_daq_slicer slicer;
  EXPECT_EQ(slicer.get_time_diff()->timeup, 0u);
  EXPECT_EQ(slicer.get_time_diff()->timelow, 95000u);
  EXPECT_EQ(slicer.get_event_step()->event_number, 1u);
  EXPECT_EQ(slicer.get_event_step()->time.timeup, 0u);
  EXPECT_EQ(slicer.get_event_step()->time.timelow, 200000u);
}

TEST(OlderSlicerSetUp, TakesNamesOf79Characters) {
  EXPECT_EQ(sizeof ravo_daq_chan_param{}.name, 80u);
  EXPECT_EQ(sizeof ravo_daq_chan_param{}.nname, 80u);
}

template <class slicer>
concept has_by_time_fix = requires(slicer& one) {
  one.set_by_time_fix(true);
};

TEST(OlderSlicerSetUp, KnowsNoByTimeFix) {
  EXPECT_FALSE(has_by_time_fix<ravo_daq_slicer>);
  EXPECT_TRUE(has_by_time_fix<ravo_daq_slicer_2010>);
}

std::string output_of_init(std::size_t count_of_files, std::size_t count_of_channels) {
  std::string name = "name";
  ravo_daq_chan_param channel{"X", "", -1, {}};
  const std::vector<char*> files(count_of_files, name.data());
  const std::vector<ravo_daq_chan_param*> channels(count_of_channels, &channel);
  ravo_daq_slicer slicer;
  captured_output output;
  EXPECT_EQ(slicer.init(&files, &channels, 0), -1);
  return output.stop();
}

TEST(OlderSlicerSetUp, SaysInOneTextWhatIsMissing) {
  EXPECT_EQ(output_of_init(3, 0), "SLICER: either no files (3) or channels: (0)\n");
  EXPECT_EQ(output_of_init(0, 2), "SLICER: either no files (0) or channels: (2)\n");
  EXPECT_EQ(output_of_init(0, 0), "SLICER: either no files (0) or channels: (0)\n");
}

// ---- the thread ----

/// The thread's task as start() sets it up; the thread is not started.
auto& prepare_thread(older_play& p) {
  auto& task = p.slicer.task;
  const auto files = p.slicer.files.size();
  p.slicer.get_tables = static_cast<scripted_tables**>(std::calloc(files, sizeof(scripted_tables*)));
  task.slicer = &p.slicer;
  task.files = &p.slicer.files;
  task.chans = &p.slicer.chansp;
  task.get_tables = p.slicer.get_tables;
  task.get_tables_num = task.go = static_cast<int>(files);
  task.tmx = &p.slicer.tmx;
  task.tcond = &p.slicer.tcond;
  return task;
}

// None of the ten files is claimed by anybody.
TEST(OlderTableThread, LoadsAllFilesWhateverHasBeenClaimedAndReturns) {
  std::vector<std::string> files;
  for (int i = 0; i < 10; ++i) files.push_back("f" + std::to_string(i));
  older_play p({"X"}, files);
  ASSERT_EQ(p.init(), 0);
  auto& task = prepare_thread(p);
  task.status = 5;
  scripted_table_thread<ravo::generation_2009>(&task);  // returns though nobody stops it
  EXPECT_EQ(p.all().files_loaded, 10);
  EXPECT_EQ(task.ready, 10);
  EXPECT_EQ(task.status, 0);
}

TEST(OlderTableThread, LooksForItsEndOnlyWhenItHasTakenACredit) {
  older_play p({"X"});
  ASSERT_EQ(p.init(), 0);
  auto& task = prepare_thread(p);
  task.stop = 1;
  scripted_table_thread<ravo::generation_2009>(&task);
  EXPECT_EQ(task.go, 0);
  EXPECT_EQ(p.all().files_loaded, 0);
}

// ---- start ----

TEST(OlderSlicerStart, HandsOnAFailedCreationWithoutAText) {
  older_play p({"X"});
  p.channel("X").time_diff_status = -7;
  int status = 0;
  EXPECT_THAT(p.output(1, [&] { status = p.start(); }), Not(HasSubstr("CREATE_CHANNEL")));
  EXPECT_EQ(status, -6);
}

TEST(OlderSlicerStart, TellsOfLostChannelsAtEveryDebugLevel) {
  older_play p({"X", "Y"});
  p.channel("X").start_status = -5;
  p.channel("Y").out_total = 0;
  const std::string text = p.output(0, [&] { EXPECT_EQ(p.start(), 0); });
  EXPECT_THAT(text, HasSubstr("ERROR with channel (start) X:5 error: -5\n"));
  EXPECT_THAT(text, HasSubstr("ERROR with channel (no cfgs) Y:6\n"));
  EXPECT_THAT(text, Not(HasSubstr("clean_descr")));
  EXPECT_STREQ(p.slicer.get_not_found_channels(), "X;Y");
}

TEST(OlderSlicerStart, HasItsOwnTextsAndTellsNoTimes) {
  older_play p({"X"});
  const std::string told = p.output(2, [&] { EXPECT_EQ(p.start(), 0); });
  EXPECT_THAT(told, HasSubstr("ravo_daq_slicer::create_channel()CREATING CHANNEL: X:5 WITH FILE a\n"));
  EXPECT_THAT(told, HasSubstr("Calling get_chan_data() start channel (up)\n"));
  p.slicer.clean_up();
  p.channel("X").busy_milliseconds = 3;
  EXPECT_THAT(p.output(-1, [&] { EXPECT_EQ(p.start(), 0); }), Not(HasSubstr("msec")));
}

// ---- files ----

TEST(OlderSlicerFileSwitch, NamesTheChannelThatLeaves) {
  older_play p({"X"}, {"a", "b"});
  ASSERT_EQ(p.start(), 0);
  const std::string text = p.output(1, [&] { EXPECT_EQ(p.slicer.change_config(0, 1, 1), 0); });
  EXPECT_THAT(text, HasSubstr("Channel X switching to the next file fentry before: 0\n"));
  EXPECT_THAT(text, HasSubstr("Channel[0] switching to the next file fentry after: 1\n"));
}

TEST(OlderSlicerFileSwitch, TellsOfTablesThatNoSlotHolds) {
  older_play p({"X"});
  ASSERT_EQ(p.start(), 0);
  p.slicer.get_tables[0] = nullptr;
  EXPECT_EQ(p.output(0, [&] { EXPECT_EQ(p.slicer.change_config(0, 1, 1), -1); }),
            "STRANGE ravo_file_get_tables not found in the table... removing it anyway\n"
            "STRANGE no files found we'll lose the channel[0] X\n");
}

// ---- get_data ----

TEST(OlderSlicerAnswers, BeginWithTheCurrentEvent) {
  older_play p({"X"});
  ASSERT_EQ(p.start(), 0);
  p.slicer.current_event_id = {7, {8, 9}};
  EXPECT_THAT(p.output(1, [&] { p.get(1); }),
              testing::StartsWith("current_event_id.event_number (input): 7:8_9  synch_mode:0\n"));
  p.slicer.current_event_id = {7, {8, 9}};
  EXPECT_EQ(p.output(1, [&] { EXPECT_EQ(p.get(5), -7); }),
            "current_event_id.event_number (input): 7:8_9  synch_mode:0\n");
  EXPECT_THAT(p.output(0, [&] { p.get(1); }), Not(HasSubstr("(input)")));
}

TEST(OlderSlicerAnswers, ForgetTheEventWithoutChannels) {
  ravo_daq_slicer slicer;
  slicer.current_event_id = {7, {8, 9}};
  std::vector<ravo_channel_entry_long*> entries;
  EXPECT_EQ(slicer.get_data(nullptr, &entries, 1), -3);
  EXPECT_EQ(slicer.current_event_id.event_number, 0u);
  EXPECT_EQ(slicer.current_event_id.time.timeup, 0u);
  EXPECT_EQ(slicer.current_event_id.time.timelow, 0u);
}

TEST(OlderSlicerAnswers, TryNoSecondTimeWhenALoneChannelCannotMove) {
  older_play p({"X"});
  p.channel("X").answer = [](const ravo_time_id&, int) { return -3; };
  ASSERT_EQ(p.start(), 0);
  p.pass_first_call();
  const std::string text = p.output(1, [&] { EXPECT_EQ(p.get(1), -3); });
  EXPECT_THAT(text, HasSubstr("NO CONGIGS ANY MORE for X:5 \n"));
  EXPECT_THAT(text, Not(HasSubstr("out of winndow")));
}

TEST(OlderSlicerAnswers, SayWhetherTheEntryIsOfTheEvent) {
  older_play p({"X"});
  p.channel("X").entry = entry_of({4, {5, 6}});
  ASSERT_EQ(p.start(), 0);
  EXPECT_THAT(p.output(3, [&] { EXPECT_EQ(p.get(0), 0); }), HasSubstr("found: 1\n"));
}

TEST(OlderSlicerAnswers, TellNoTimes) {
  older_play p({"X"});
  p.channel("X").entry = entry_of({4, {5, 6}});
  ASSERT_EQ(p.start(), 0);
  p.channel("X").busy_milliseconds = 3;
  EXPECT_THAT(p.output(-1, [&] { EXPECT_EQ(p.get(0), 0); }), Not(HasSubstr("msec")));
}

// Searching the last event by time: of one event within the tolerance the strictly earliest entry counts,
// also when it is an update.
TEST(OlderSlicerAnswers, AnUpdateMayWinATieOfTheLastEvent) {
  ravo_serv_block_subhead update{};
  update.dtype = RAVO_UPD_BLOCK;
  ravo_serv_block_subhead plain{};
  plain.dtype = RAVO_BLOCK_SINGLE;
  older_play p({"X", "UPD"});
  ASSERT_EQ(p.init(), 0);
  const time_stamp tolerance{0, 95000};
  p.slicer.set_time_diff(&tolerance);
  p.slicer.set_synch_mode(1);
  p.channel("X").entry = entry_of({4, {1000, 50000}});
  p.channel("X").entry.sbchdata[0].chhd = reinterpret_cast<std::uint64_t>(&plain);
  p.channel("UPD").entry = entry_of({4, {1000, 20000}});
  p.channel("UPD").entry.sbchdata[0].chhd = reinterpret_cast<std::uint64_t>(&update);
  ASSERT_EQ(p.slicer.start(), 0);
  p.pass_first_call();
  const ravo_time_id target{0, {900, 0}};
  EXPECT_EQ(p.get(2, &target), 0);
  EXPECT_EQ(p.slicer.current_event_id.time.timelow, 20000u);
}

// ---- clean_up ----

TEST(OlderSlicerCleanUp, SaysNothingOfTheThread) {
  older_play p({"X"});
  ASSERT_EQ(p.start(), 0);
  EXPECT_THAT(p.output(1, [&] { p.slicer.clean_up(); }), Not(HasSubstr("table_thread")));
}

}  // namespace
