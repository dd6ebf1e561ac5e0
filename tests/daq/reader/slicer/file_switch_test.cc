// Channels moving from file to file: which file is entered, who shares and who frees the tables, when a
// channel is lost, and what is said about it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scripted_play.h"
#include "streams.h"

namespace ravo::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// What is said of the file that channel 0, "X", leaves.
template <class generation>
std::string leaving(int entry) {
  return either<generation>("Channel[0] switching to the next file fentry before: ",
                            "Channel X switching to the next file fentry before: ") +
         std::to_string(entry) + "\n";
}

/// Waits until all files are loaded; there must be no more than the thread loads unclaimed.
template <class generation>
void wait_until_all_loaded(play_of<generation>& p) {
  pthread_mutex_lock(&p.slicer.tmx);
  while (p.slicer.task.next_file < static_cast<int>(p.slicer.files.size()) && p.slicer.task.status == 0)
    pthread_cond_wait(&p.slicer.tcond, &p.slicer.tmx);
  pthread_mutex_unlock(&p.slicer.tmx);
}

template <class generation>
std::string file_of(play_of<generation>& p, int chan) {
  return p.slicer.read_chans[chan] == nullptr ? "none"
                                              : p.slicer.read_chans[chan]->get_cfg()->get_file_name();
}

std::string number_of(const void* object) {
  return std::to_string(static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object)));
}

template <class generation>
struct started_play : play_of<generation> {
  explicit started_play(const std::vector<std::string>& channels,
                        const std::vector<std::string>& files = {"a", "b", "c"})
      : play_of<generation>(channels, files) {
    if (this->start() != 0) throw std::runtime_error("not started");
    wait_until_all_loaded(*this);
  }
};

template <class generation>
class SlicerFileSwitch : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerFileSwitch, generations, generation_name);

TYPED_TEST(SlicerFileSwitch, RefusesBadArguments) {
  started_play<TypeParam> p({"X"});
  for (const int bad : {-1, 1}) {
    EXPECT_EQ(p.slicer.change_config(bad, 1, 0), RAVO_DAQ_SLICER_INV_PARAM);
    EXPECT_EQ(p.slicer.start_channel(bad, 1), RAVO_DAQ_SLICER_INV_PARAM);
    p.slicer.remove_channel(bad);
  }
  for (const int bad : {-3, 3}) {
    EXPECT_EQ(p.slicer.change_config(0, bad, 0), RAVO_DAQ_SLICER_INV_PARAM);
    EXPECT_EQ(p.slicer.start_channel(0, bad), RAVO_DAQ_SLICER_INV_PARAM);
  }
  EXPECT_EQ(file_of(p, 0), "a");
  p.slicer.remove_channel(0);
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(p.slicer.start_channel(0, 1), RAVO_DAQ_SLICER_NO_DATA);
  p.slicer.remove_channel(0);
}

TYPED_TEST(SlicerFileSwitch, BeforeTheStartIsNotInitialised) {
  play_of<TypeParam> p({"X"});
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_INV_PARAM);
  ASSERT_EQ(p.init(), 0);
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_NOT_INIT);
  EXPECT_EQ(p.slicer.start_channel(0, 1), RAVO_DAQ_SLICER_NOT_INIT);
  p.slicer.remove_channel(0);
}

TYPED_TEST(SlicerFileSwitch, GoesToTheFileThatTheDirectionNames) {
  // Y keeps the tables of the middle file alive.
  for (const auto& [direction, file] : {std::pair{-2, "a"}, {-1, "a"}, {0, "b"}, {1, "c"}, {2, "c"}}) {
    started_play<TypeParam> p({"X", "Y"});
    ASSERT_EQ(p.slicer.change_config(0, 1, 0), 0);
    ASSERT_EQ(p.slicer.change_config(1, 1, 0), 0);
    if (direction < 0) {
      // Both have left a: it is gone, and the channel stays where it is.
      EXPECT_EQ(p.slicer.change_config(0, direction, 0), RAVO_DAQ_SLICER_NO_DATA);
      EXPECT_EQ(file_of(p, 0), "b");
    } else {
      EXPECT_EQ(p.slicer.change_config(0, direction, 0), 0);
      EXPECT_EQ(file_of(p, 0), file);
    }
  }
}

TYPED_TEST(SlicerFileSwitch, GoesBackToAFileThatSomebodyStillMayWant) {
  started_play<TypeParam> p({"X", "Y"});
  ASSERT_EQ(p.slicer.change_config(0, 1, 0), 0);
  EXPECT_EQ(p.slicer.change_config(0, -1, 0), 0);
  EXPECT_EQ(file_of(p, 0), "a");
  ASSERT_EQ(p.slicer.change_config(0, 1, 0), 0);
  EXPECT_EQ(p.slicer.change_config(0, -2, 0), 0);
  EXPECT_EQ(file_of(p, 0), "a");
}

TYPED_TEST(SlicerFileSwitch, ReportsEveryStepAboveZero) {
  started_play<TypeParam> p({"X", "Y"});
  const std::string old = number_of(p.slicer.read_chans[0]);
  EXPECT_EQ(p.output(1, [&] { p.slicer.change_config(0, 1, 0); }),
            "Channel X switching to the next file a\n" + leaving<TypeParam>(0) +
                "Channel[0] switching to the next file fentry after: 1\n" +
                either<TypeParam>("ravo_daq_slicer_2010::create_channel()CREATING CHANNEL: X:5 file:b\n",
                                  "ravo_daq_slicer::create_channel()CREATING CHANNEL: X:5 WITH FILE b\n") +
                "DELETING read_chans[0] " + old +
                "\n"
                "change_config is OK fentry:1  b\n");
  EXPECT_EQ(p.output(0, [&] { p.slicer.change_config(0, 1, 0); }), "");
}

TYPED_TEST(SlicerFileSwitch, AfterTheLastFileLosesTheChannel) {
  started_play<TypeParam> p({"X", "Y"}, {"a"});
  const std::string old = number_of(p.slicer.read_chans[0]);
  int status = 0;
  EXPECT_EQ(p.output(1, [&] { status = p.slicer.change_config(0, 1, 0); }),
            "Channel X switching to the next file a\n" + leaving<TypeParam>(0) +
                "Channel[0] switching to the next file fentry after: 1\n"
                "NO FILES can be found [1] we'll lose the channel[0] X\n"
                "DELETING read_chans[0] " +
                old + "\n");
  EXPECT_EQ(status, RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(file_of(p, 0), "none");
  EXPECT_EQ(p.output(0, [&] { status = p.slicer.change_config(1, -1, 0); }), "");
  EXPECT_EQ(status, RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(file_of(p, 1), "none");
}

TYPED_TEST(SlicerFileSwitch, BeforeTheFirstFileLosesTheChannel) {
  started_play<TypeParam> p({"X"});
  EXPECT_THAT(p.output(1, [&] { EXPECT_EQ(p.slicer.change_config(0, -1, 0), RAVO_DAQ_SLICER_NO_DATA); }),
              HasSubstr("NO FILES can be found [-1] we'll lose the channel[0] X\n"));
  EXPECT_EQ(file_of(p, 0), "none");
}

TYPED_TEST(SlicerFileSwitch, SharesTablesThatAnotherChannelHas) {
  started_play<TypeParam> p({"X", "Y"});
  scripted_tables* a = p.slicer.get_tables[0];
  ASSERT_EQ(p.slicer.change_config(0, 1, 0), 0);
  EXPECT_EQ(p.slicer.get_tables[0], a);  // Y still reads it
  EXPECT_EQ(a->get_client_counter(), 1);
  const int ready = p.slicer.task.ready;
  ASSERT_EQ(p.slicer.change_config(1, 1, 0), 0);
  EXPECT_EQ(p.slicer.read_chans[0]->get_cfg(), p.slicer.read_chans[1]->get_cfg());
  EXPECT_EQ(p.slicer.task.ready, ready);       // shared, not claimed again
  EXPECT_EQ(p.slicer.get_tables[0], nullptr);  // the last one to leave
  EXPECT_EQ(p.all().tables_alive, 2);
}

TYPED_TEST(SlicerFileSwitch, FreesTablesOnlyAfterAsManyDeparturesAsChannels) {
  started_play<TypeParam> p({"X", "Y", "Z"});
  p.slicer.remove_channel(1);
  p.slicer.remove_channel(2);
  // X alone uses the file now, and leaves it three times.
  for (int departure = 1; departure <= 2; ++departure) {
    ASSERT_EQ(p.slicer.change_config(0, 1, 0), 0);
    ASSERT_NE(p.slicer.get_tables[0], nullptr) << departure;
    ASSERT_EQ(p.slicer.change_config(0, -1, 0), 0);
    EXPECT_EQ(p.slicer.get_tables[0]->get_client_counter(), departure);
  }
  const int credits = p.slicer.task.go;
  ASSERT_EQ(p.slicer.change_config(0, 1, 0), 0);
  EXPECT_EQ(p.slicer.get_tables[0], nullptr);
  EXPECT_EQ(p.slicer.task.go, credits + 1);
}

TYPED_TEST(SlicerFileSwitch, WithoutTheNextFilesTablesKeepsTheOldReader) {
  play_of<TypeParam> p({"X", "Y"}, {"a", "b"});
  p.all().bad_files = {"b"};
  ASSERT_EQ(p.start(), 0);
  wait_until_all_loaded(p);
  scripted_reader* reader = p.slicer.read_chans[0];
  EXPECT_THAT(p.output(1, [&] { EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_NO_DATA); }),
              ::testing::EndsWith("fentry after: 1\nX failed to find get_tbl for  b\n"));
  EXPECT_EQ(p.slicer.read_chans[0], reader);
  EXPECT_EQ(file_of(p, 0), "a");
  EXPECT_EQ(p.output(0, [&] { p.slicer.change_config(0, 1, 0); }), "");
}

TYPED_TEST(SlicerFileSwitch, WithoutAnyTablesLeftRemovesTheChannel) {
  play_of<TypeParam> p({"X"}, {"a", "b"});
  p.all().bad_files = {"b"};
  ASSERT_EQ(p.start(), 0);
  wait_until_all_loaded(p);
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(p.slicer.read_chans[0], nullptr);
  EXPECT_EQ(p.all().tables_alive, 0);
  EXPECT_EQ(p.all().readers_alive, 0);
}

TYPED_TEST(SlicerFileSwitch, WithinALoneFileRemovesTheChannel) {
  // The only channel frees its tables by leaving, also when it only wants to come back.
  started_play<TypeParam> p({"X"}, {"a"});
  EXPECT_EQ(p.slicer.change_config(0, 0, 0), RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(p.slicer.read_chans[0], nullptr);
}

TYPED_TEST(SlicerFileSwitch, PassesAFailedCreationOn) {
  started_play<TypeParam> p({"X", "Y"});
  p.channel("X").step_status = RAVO_DAQ_READ_CHAN_INV_PARAM;
  EXPECT_EQ(p.output(0, [&] { EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_INTERN_ERROR); }),
            "Failed to set event step read_chans[0] for X:5\n");
  EXPECT_EQ(p.slicer.read_chans[0], nullptr);
}

TYPED_TEST(SlicerFileSwitch, FromTablesInNoSlotRemovesTablesAndChannel) {
  for (const int debug : {0, 1}) {
    started_play<TypeParam> p({"X", "Y"});
    auto* foreign = new scripted_tables(0);
    ASSERT_EQ(foreign->get_all_tables("foreign", 0, nullptr), 0);
    ASSERT_EQ(p.slicer.create_channel(0, foreign), 0);
    const std::string reader = number_of(p.slicer.read_chans[0]);
    const int tables = p.all().tables_alive;
    int status = 0;
    const std::string text = p.output(debug, [&] { status = p.slicer.change_config(0, 1, 0); });
    EXPECT_EQ(status, RAVO_DAQ_SLICER_NO_DATA);
    const std::string strange =
        "STRANGE ravo_file_get_tables not found in the table... removing it anyway\n";
    const std::string lost = "STRANGE no files found we'll lose the channel[0] X\n";
    EXPECT_EQ(text, debug == 0
                        ? strange + lost
                        : "Channel X switching to the next file foreign\n" + strange +
                              leaving<TypeParam>(-1) + lost + "DELETING read_chans[0] " + reader + "\n");
    EXPECT_EQ(p.all().tables_alive, tables - 1);
    EXPECT_EQ(p.slicer.read_chans[0], nullptr);
  }
}

TYPED_TEST(SlicerFileSwitch, FromSharedTablesInNoSlotLeavesThemToTheLastUser) {
  const captured_output quiet;
  started_play<TypeParam> p({"X", "Y"});
  auto* foreign = new scripted_tables(0);
  ASSERT_EQ(foreign->get_all_tables("foreign", 0, nullptr), 0);
  ASSERT_EQ(p.slicer.create_channel(0, foreign), 0);
  ASSERT_EQ(p.slicer.create_channel(1, foreign), 0);
  const int tables = p.all().tables_alive;
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(p.all().tables_alive, tables);
  EXPECT_EQ(file_of(p, 1), "foreign");
  EXPECT_EQ(p.slicer.change_config(1, 1, 0), RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(p.all().tables_alive, tables - 1);
}

TYPED_TEST(SlicerFileSwitch, FromAFileThatTheListDoesNotNameLosesTheChannel) {
  started_play<TypeParam> p({"X", "Y"});
  p.slicer.files[0][0] = 'q';  // the loader's name is this text
  std::swap(p.slicer.files[0], p.slicer.files[1]);
  char* kept = p.slicer.files[1];
  p.slicer.files.erase(p.slicer.files.begin() + 1);
  EXPECT_THAT(p.output(1, [&] { EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_NO_DATA); }),
              HasSubstr(leaving<TypeParam>(-1) + "STRANGE no files found we'll lose the channel[0] X\n"));
  EXPECT_EQ(p.slicer.read_chans[0], nullptr);
  p.slicer.files.push_back(kept);
}

// ---- the start, over several files

template <class generation>
class SlicerStart : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerStart, generations, generation_name);

TYPED_TEST(SlicerStart, MovesAChannelOnUntilAFileHasEventsOfIt) {
  play_of<TypeParam> p({"X", "Y"}, {"a", "b", "c"});
  p.channel("X").out_total = 0;
  ASSERT_EQ(p.init(), 0);
  const std::string text = p.output(1, [&] { EXPECT_EQ(p.slicer.start(), 0); });
  EXPECT_THAT(text, HasSubstr("change_config is OK fentry:1  b\n"));
  EXPECT_THAT(text, HasSubstr("change_config is OK fentry:2  c\n"));
  EXPECT_THAT(text, HasSubstr("NO FILES can be found [3] we'll lose the channel[0] X\n"));
  EXPECT_THAT(text, HasSubstr("ERROR with channel (no cfgs) X:5\n" +
                              std::string(either<TypeParam>("Calling clean_descr()\n", ""))));
  EXPECT_EQ(p.channel("X").created, 3);
  EXPECT_STREQ(p.slicer.get_not_found_channels(), "X");
  EXPECT_EQ(file_of(p, 1), "a");
}

TYPED_TEST(SlicerStart, LeavesOutChannelsThatDoNotStart) {
  for (const int debug : {0, 1, -1}) {
    play_of<TypeParam> p({"X", "Y", "Z"});
    p.channel("X").start_status = RAVO_DAQ_READ_CHAN_NOT_FOUND;
    p.channel("Z").start_status = RAVO_DAQ_READ_CHAN_INTERN_ERROR;
    ASSERT_EQ(p.init(), 0);
    const std::string text = p.output(debug, [&] { EXPECT_EQ(p.slicer.start(), 0); });
    EXPECT_THAT(text, HasSubstr("Start failed for read_chans[2] for Z:7  erro: -6\n"));
    const std::string explained =
        "Start failed for read_chans[0] for X:5  erro: -5\n"
        "ERROR with channel (start) X:5 error: -5\n" +
        std::string(either<TypeParam>("Calling clean_descr()\n", ""));
    // The older generation explains at every debug level.
    EXPECT_EQ(text.find(explained) != std::string::npos, either<TypeParam>(debug != 0, true)) << text;
    EXPECT_THAT(text, Not(HasSubstr("DELETING")));
    EXPECT_STREQ(p.slicer.get_not_found_channels(), "X;Z");
    EXPECT_EQ(p.all().readers_alive, 1);
    p.slicer.clean_up();
    EXPECT_STREQ(p.slicer.get_not_found_channels(), "");
  }
}

TYPED_TEST(SlicerStart, EndsAlsoWhenAFileIsNamedTwice) {
  play_of<TypeParam> p({"X", "Y", "Z"}, {"a", "a"});
  for (const char* name : {"X", "Y", "Z"}) p.channel(name).out_total = 0;
  ASSERT_EQ(p.start(), 0);
  EXPECT_STREQ(p.slicer.get_not_found_channels(), "X;Y;Z");
  EXPECT_EQ(p.all().readers_alive, 0);
  EXPECT_EQ(p.get(1), RAVO_DAQ_SLICER_OUT_OF_WINDOW);
}

// Y holds on to the tables, so that no departure of X ends its way from the file to itself.
TYPED_TEST(SlicerStart, EndsWhenOnlyOneChannelOfAFileNamedTwiceIsEmpty) {
  play_of<TypeParam> p({"Y", "X"}, {"a", "a"});
  p.channel("X").out_total = 0;
  ASSERT_EQ(p.start(), 0);
  EXPECT_STREQ(p.slicer.get_not_found_channels(), "X");
  EXPECT_EQ(p.all().readers_alive, 1);
}

TYPED_TEST(SlicerStart, MovesOnWhenTheFirstPositionIsOutOfWindow) {
  play_of<TypeParam> p({"X"}, {"a", "b"});
  p.channel("X").position_status = RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW;
  ASSERT_EQ(p.start(), 0);
  EXPECT_EQ(p.channel("X").created, 2);
  EXPECT_STREQ(p.slicer.get_not_found_channels(), "X");
}

TYPED_TEST(SlicerStart, ReportsTheTimeOfAChannelBelowZero) {
  started_play<TypeParam> p({"X"});
  EXPECT_THAT(p.output(-1, [&] { p.slicer.start_channel(0, 1); }),
              ::testing::MatchesRegex(either<TypeParam>(
                  "slicer_2010->start\\(\\) for channel took: [0-9]+\\.[0-9]+ msec\n", "")));
  EXPECT_EQ(p.output(0, [&] { p.slicer.start_channel(0, 1); }), "");
  p.channel("X").out_total = 0;
  ASSERT_EQ(p.slicer.create_channel(0, p.slicer.read_chans[0]->get_cfg()), 0);
  EXPECT_EQ(p.output(-1, [&] { EXPECT_EQ(p.slicer.start_channel(0, 1), RAVO_DAQ_SLICER_NO_DATA); }), "");
}

// ---- channels without events

template <class generation>
class SlicerEmptyChannel : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerEmptyChannel, generations, generation_name);

TYPED_TEST(SlicerEmptyChannel, IsNamedWhenItIsTheOnlyOne) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.init(), 0);
  ASSERT_EQ(p.slicer.start(), 0);
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "No channels known without events");
  p.slicer.read_chans[0]->out_total = 0;
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "X");
  p.slicer.remove_channel(0);
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "X");
}

TYPED_TEST(SlicerEmptyChannel, IsNamed) {
  play_of<TypeParam> p({"X", "Y", "Z"});
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "No channels created");
  ASSERT_EQ(p.init(), 0);
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "No channels created");
  ASSERT_EQ(p.slicer.start(), 0);
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "No channels known without events");
  p.slicer.read_chans[2]->out_total = 0;
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "Z");
  p.slicer.remove_channel(1);
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "Y");
  p.slicer.read_chans[0]->out_total = 0;
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "X");
  p.slicer.remove_channel(0);
  EXPECT_STREQ(p.slicer.get_name_of_empty_channel(), "X");
}

// ---- the end

template <class generation>
class SlicerCleanUp : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerCleanUp, generations, generation_name);

TYPED_TEST(SlicerCleanUp, OfANeverStartedSlicerOnlyResets) {
  typename TypeParam::slicer slicer;
  slicer.clean_up();
  slicer.clean_up();
  EXPECT_EQ(slicer.cur_file, -1);
  EXPECT_EQ(slicer.nchans, 0);
}

TYPED_TEST(SlicerCleanUp, KeepsSettingsAndThatTheFirstEventHasPassed) {
  play_of<TypeParam> p({"X"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  const time_stamp diff{1, 0};
  p.slicer.set_time_diff(&diff);
  p.slicer.set_synch_mode(1);
  ASSERT_EQ(p.start(), 0);
  EXPECT_EQ(p.get(1), 0);
  p.slicer.set_debug(0);
  p.slicer.clean_up();
  EXPECT_EQ(p.slicer.first_event, 0);
  EXPECT_EQ(p.slicer.get_num_of_get_tables(), 1);
  EXPECT_EQ(p.slicer.get_synch_mode(), 1);
  EXPECT_EQ(p.slicer.time_diff, 1e6);
  EXPECT_EQ(p.slicer.nchans, 0);
  EXPECT_EQ(text_of(p.slicer.current_event_id), "0+none");
  EXPECT_EQ(p.slicer.files.size() + p.slicer.chans.size() + p.slicer.chansp.size(), 0u);
  // Started again, the first call steps at once.
  std::vector<int> directions;
  p.channel("X").answer = [&](const ravo_time_id&, int d) {
    directions.push_back(d);
    return 0;
  };
  ASSERT_EQ(p.start(), 0);
  EXPECT_EQ(p.get(1), 0);
  EXPECT_EQ(directions, std::vector<int>{1});
}

TYPED_TEST(SlicerCleanUp, ReportsEverythingAboveZeroAndNothingAtZero) {
  started_play<TypeParam> p({"X", "Y", "Z"});
  p.slicer.remove_channel(1);
  EXPECT_EQ(p.output(1, [&] { p.slicer.clean_up(); }),
            "slicer clean_up chans[0]\nslicer clean_up chans[1]\nslicer clean_up chans[2]\n" +
                std::string(either<TypeParam>("THREAD joined table_thread: \n", "")) +
                "slicer clean_up read_chans[0]\nslicer clean_up read_chans[2]\n");
  EXPECT_EQ(p.output(1, [&] { p.slicer.clean_up(); }), "");
  ASSERT_EQ(p.start(), 0);
  EXPECT_EQ(p.output(0, [&] { p.slicer.clean_up(); }), "");
}

TYPED_TEST(SlicerCleanUp, ReportsAThreadThatCannotBeJoined) {
  started_play<TypeParam> p({"X"});
  // Joined already: the slicer's own join then finds a thread that it may not wait for.
  const pthread_t thread = p.slicer.tid;
  p.slicer.tid = pthread_self();
  EXPECT_THAT(p.output(1,
                       [&] {
                         p.slicer.task.stop = 1;
                         pthread_mutex_lock(&p.slicer.tmx);
                         pthread_cond_broadcast(&p.slicer.tcond);
                         pthread_mutex_unlock(&p.slicer.tmx);
                         pthread_join(thread, nullptr);
                         p.slicer.clean_up();
                       }),
              HasSubstr("Failed to join table_thread: " + std::to_string(pthread_self()) + "\n"));
  EXPECT_EQ(p.slicer.tid, pthread_self());
  p.slicer.tid = pthread_t{};
}

}  // namespace
}  // namespace ravo::test
