// What only the older slicer does: a thread that loads all files at once and returns, a call that begins
// with the current event, no second try. Where it only prints or chooses differently from the current one,
// the tests of both cover it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scripted_play.h"
#include "streams.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;
using testing::Not;

using older_play = play_of<older_generation>;

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

// No channel claims any of the ten files.
TEST(OlderTableThread, LoadsAllFilesWhateverHasBeenClaimedAndReturns) {
  std::vector<std::string> files;
  for (int i = 0; i < 10; ++i) files.push_back("f" + std::to_string(i));
  older_play p({"X"}, files);
  ASSERT_EQ(p.init(), 0);
  auto& task = prepare_thread(p);
  task.status = 5;
  scripted_table_thread<older_generation::records>(&task);  // returns without being stopped
  EXPECT_EQ(p.all().files_loaded, 10);
  EXPECT_EQ(task.ready, 10);
  EXPECT_EQ(task.status, 0);
}

TEST(OlderTableThread, LooksForItsEndOnlyWhenItHasTakenACredit) {
  older_play p({"X"});
  ASSERT_EQ(p.init(), 0);
  auto& task = prepare_thread(p);
  task.stop = 1;
  scripted_table_thread<older_generation::records>(&task);
  EXPECT_EQ(task.go, 0);
  EXPECT_EQ(p.all().files_loaded, 0);
}

// ---- get_data ----

TEST(OlderSlicerAnswers, BeginWithTheCurrentEvent) {
  older_play p({"X"});
  ASSERT_EQ(p.start(), 0);
  p.slicer.current_event_id = {7, {8, 9}};
  EXPECT_THAT(p.output(1, [&] { p.get(1); }),
              testing::StartsWith("current_event_id.event_number (input): 7:8_9  synch_mode:0\n"));
  p.slicer.current_event_id = {7, {8, 9}};
  EXPECT_EQ(p.output(1, [&] { EXPECT_EQ(p.get(5), RAVO_DAQ_SLICER_INV_PARAM); }),
            "current_event_id.event_number (input): 7:8_9  synch_mode:0\n");
  EXPECT_THAT(p.output(0, [&] { p.get(1); }), Not(HasSubstr("(input)")));
}

TEST(OlderSlicerAnswers, ForgetTheEventWithoutChannels) {
  ravo_daq_slicer slicer;
  slicer.current_event_id = {7, {8, 9}};
  std::vector<ravo_channel_entry_long*> entries;
  EXPECT_EQ(slicer.get_data(nullptr, &entries, 1), RAVO_DAQ_SLICER_OUT_OF_WINDOW);
  EXPECT_EQ(slicer.current_event_id.event_number, 0u);
  EXPECT_EQ(slicer.current_event_id.time.timeup, 0u);
  EXPECT_EQ(slicer.current_event_id.time.timelow, 0u);
}

TEST(OlderSlicerAnswers, TryNoSecondTimeWhenALoneChannelCannotMove) {
  older_play p({"X"});
  p.channel("X").answer = [](const ravo_time_id&, int) { return -3; };
  ASSERT_EQ(p.start(), 0);
  p.pass_first_call();
  const std::string text = p.output(1, [&] { EXPECT_EQ(p.get(1), RAVO_DAQ_SLICER_OUT_OF_WINDOW); });
  EXPECT_THAT(text, HasSubstr("NO CONGIGS ANY MORE for X:5 \n"));
  EXPECT_THAT(text, Not(HasSubstr("out of winndow")));
}

}  // namespace
