// The table-loading thread and the hand-over of what it loads: read-ahead, failure, credits, and that no
// wait lasts for ever. The files are invented; loading them takes no time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include "scripted_play.h"
#include "streams.h"

namespace ravo::test {
namespace {

/// Waits until the condition holds, under the slicer's lock.
template <class Slicer, class Condition>
void wait_until(Slicer& slicer, Condition holds) {
  pthread_mutex_lock(&slicer.tmx);
  while (!holds()) pthread_cond_wait(&slicer.tcond, &slicer.tmx);
  pthread_mutex_unlock(&slicer.tmx);
}

template <class Slicer, class Question>
auto under_lock(Slicer& slicer, Question question) {
  pthread_mutex_lock(&slicer.tmx);
  auto answer = question();
  pthread_mutex_unlock(&slicer.tmx);
  return answer;
}

/// Waits until the thread has been turned away by its read-ahead limit: it gives its credit back then.
template <class generation>
void wait_until_paused(play_of<generation>& p) {
  auto& task = p.slicer.task;
  const int most = p.slicer.get_tables_num;
  wait_until(p.slicer, [&] { return task.ready >= 3 && task.go + task.next_file == most; });
}

TEST(SlicerTableThread, StopsAfterThreeUnclaimedFilesAndGoesOnWhenOneIsClaimed) {
  play_of<current_generation> p({"X"}, {"a", "b", "c", "d", "e"});
  ASSERT_EQ(p.start(), 0);  // claims a
  auto& task = p.slicer.task;
  wait_until(p.slicer, [&] { return task.next_file == 4; });
  wait_until_paused(p);
  EXPECT_EQ(p.all().files_loaded, 4);
  EXPECT_EQ(under_lock(p.slicer, [&] { return task.ready; }), 3);
  ASSERT_NE(p.slicer.find_ready_table(p.slicer.files[1]), nullptr);
  wait_until(p.slicer, [&] { return task.next_file == 5; });
  EXPECT_EQ(p.all().files_loaded, 5);
  EXPECT_EQ(under_lock(p.slicer, [&] { return task.ready; }), 3);
}

TEST(SlicerTableThread, WithFourFilesAndNoneClaimedLoadsThree) {
  play_of<current_generation> p({"X"}, {"a", "b", "c", "d"});
  ASSERT_EQ(p.init(), 0);
  // The thread alone, as start() sets it up, without a claim.
  p.slicer.get_tables = static_cast<scripted_tables**>(std::calloc(4, sizeof(scripted_tables*)));
  auto& task = p.slicer.task;
  task.slicer = &p.slicer;
  task.files = &p.slicer.files;
  task.chans = &p.slicer.chansp;
  task.get_tables = p.slicer.get_tables;
  task.get_tables_num = 4;
  task.tmx = &p.slicer.tmx;
  task.tcond = &p.slicer.tcond;
  task.go = 4;
  ASSERT_EQ(pthread_create(&p.slicer.tid, nullptr, scripted_table_thread<generation_2010>, &task), 0);
  wait_until_paused(p);
  EXPECT_EQ(p.all().files_loaded, 3);
  EXPECT_NE(p.slicer.find_ready_table("a"), nullptr);
  wait_until(p.slicer, [&] { return task.next_file == 4; });
  EXPECT_EQ(p.all().files_loaded, 4);
}

TEST(SlicerTableThread, LoadsInOrderAndStaysUntilItIsStopped) {
  play_of<current_generation> p({"X"}, {"a", "b", "c"});
  ASSERT_EQ(p.start(), 0);
  wait_until(p.slicer, [&] { return p.slicer.task.next_file == 3; });
  EXPECT_STREQ(p.slicer.get_tables[0]->get_file_name(), "a");
  EXPECT_STREQ(p.slicer.get_tables[1]->get_file_name(), "b");
  EXPECT_STREQ(p.slicer.get_tables[2]->get_file_name(), "c");
  EXPECT_EQ(under_lock(p.slicer, [&] { return p.slicer.task.status; }), 0);
  EXPECT_EQ(pthread_tryjoin_np(p.slicer.tid, nullptr), EBUSY);
  EXPECT_EQ(p.output(1, [&] { p.slicer.clean_up(); }),
            "slicer clean_up chans[0]\nTHREAD joined table_thread: \nslicer clean_up read_chans[0]\n");
  EXPECT_EQ(p.slicer.tid, pthread_t{});
  EXPECT_EQ(p.all().tables_alive, 0);
  EXPECT_EQ(p.all().readers_alive, 0);
}

template <class generation>
class SlicerTableThread : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerTableThread, generations, generation_name);

TYPED_TEST(SlicerTableThread, GivesTheLoadersItsDebugLevel) {
  play_of<TypeParam> p({"X"}, {"a"});
  ASSERT_EQ(p.init(), 0);
  p.output(-7, [&] { p.slicer.start(); });
  EXPECT_EQ(p.slicer.get_tables[0]->debug, -7);
}

TYPED_TEST(SlicerTableThread, EndsAtAFileThatFails) {
  play_of<TypeParam> p({"X"}, {"a", "b", "c"});
  p.all().bad_files = {"b"};
  ASSERT_EQ(p.start(), 0);
  wait_until(p.slicer, [&] { return p.slicer.task.status == 1; });
  EXPECT_EQ(p.all().files_loaded, 1);
  EXPECT_EQ(p.all().tables_alive, 1);  // nothing of the failed file is left
  EXPECT_EQ(p.slicer.find_ready_table("b"), nullptr);
  EXPECT_EQ(p.slicer.find_ready_table("c"), nullptr);
  EXPECT_EQ(p.slicer.find_ready_table("a"), p.slicer.get_tables[0]);
  EXPECT_EQ(p.slicer.get_tables[1], nullptr);
}

TYPED_TEST(SlicerTableThread, FailingAtTheFirstFileFailsTheStart) {
  play_of<TypeParam> p({"X"}, {"a", "b"});
  p.all().bad_files = {"a"};
  EXPECT_EQ(p.start(), RAVO_DAQ_SLICER_INTERN_ERROR);
  EXPECT_EQ(p.slicer.read_chans, nullptr);
  EXPECT_EQ(p.slicer.start(), RAVO_DAQ_SLICER_NOT_ALLOWED);  // init() is needed before
  std::vector<ravo_channel_entry_long*> entries;
  EXPECT_EQ(p.slicer.get_data(nullptr, &entries, 1), RAVO_DAQ_SLICER_OUT_OF_WINDOW);
  p.slicer.clean_up();
  p.slicer.clean_up();
  EXPECT_EQ(p.all().tables_alive, 0);
}

TYPED_TEST(SlicerTableThread, ClaimsAreCountedAlsoOfTablesClaimedBefore) {
  play_of<TypeParam> p({"X"}, {"a", "b", "c"});
  ASSERT_EQ(p.start(), 0);
  wait_until(p.slicer, [&] { return p.slicer.task.next_file == 3; });
  const auto ready = [&] { return under_lock(p.slicer, [&] { return p.slicer.task.ready; }); };
  EXPECT_EQ(ready(), 2);
  for (const int left : {1, 0, 0}) {
    EXPECT_NE(p.slicer.find_ready_table("a"), nullptr);
    EXPECT_EQ(ready(), left);
  }
  EXPECT_NE(p.slicer.find_ready_table("c"), nullptr);
}

TYPED_TEST(SlicerTableThread, NeverMakesACallerWaitForWhatCannotCome) {
  play_of<TypeParam> p({"X"}, {"a", "b"});
  EXPECT_EQ(p.slicer.find_ready_table("a"), nullptr);  // not started
  ASSERT_EQ(p.start(), 0);
  wait_until(p.slicer, [&] { return p.slicer.task.next_file == 2; });
  EXPECT_EQ(p.slicer.find_ready_table(nullptr), nullptr);
  EXPECT_EQ(p.slicer.find_ready_table("never heard of"), nullptr);
  EXPECT_NE(p.slicer.find_ready_table("b"), nullptr);  // nothing is ready from here on
  EXPECT_EQ(p.slicer.find_ready_table("never heard of"), nullptr);
  // A file that was loaded, left and freed: the only channel leaves it.
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), 0);
  EXPECT_EQ(p.slicer.find_ready_table("a"), nullptr);
}

TYPED_TEST(SlicerTableThread, DoesNotWaitForACreditThatOnlyTheCallerCouldGive) {
  play_of<TypeParam> p({"X", "Y"}, {"a", "b"});
  ASSERT_EQ(p.init(), 0);
  ASSERT_EQ(p.slicer.set_num_of_get_tables(1), 0);
  ASSERT_EQ(p.slicer.start(), 0);
  EXPECT_EQ(p.slicer.find_ready_table("b"), nullptr);  // a holds the only slot
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_NE(p.slicer.read_chans[0], nullptr);
  // A larger number from here on changes no slots.
  ASSERT_EQ(p.slicer.set_num_of_get_tables(1000), 0);
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), RAVO_DAQ_SLICER_NO_DATA);
}

TYPED_TEST(SlicerTableThread, LoadsTheNextFileWhenASlotIsFreed) {
  play_of<TypeParam> p({"X"}, {"a", "b", "c"});
  ASSERT_EQ(p.init(), 0);
  ASSERT_EQ(p.slicer.set_num_of_get_tables(1), 0);
  ASSERT_EQ(p.slicer.start(), 0);
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), 0);
  EXPECT_STREQ(p.slicer.read_chans[0]->get_cfg()->get_file_name(), "b");
  EXPECT_EQ(p.slicer.change_config(0, 1, 0), 0);
  EXPECT_STREQ(p.slicer.get_tables[0]->get_file_name(), "c");
  EXPECT_EQ(p.all().tables_alive, 1);
}

TYPED_TEST(SlicerTableThread, WithoutATaskIsOverAtOnce) {
  EXPECT_EQ(TypeParam::records::table_thread(nullptr), nullptr);
}

TYPED_TEST(SlicerTableThread, ThatCannotBeStartedFailsTheStart) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.init(), 0);
  // No machine has room for such a stack.
  pthread_attr_t usual, huge;
  ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
  ASSERT_EQ(pthread_getattr_default_np(&huge), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << 46), 0);
  ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
  int status = 0;
  const std::string text = p.output(0, [&] { status = p.slicer.start(); });
  ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
  EXPECT_EQ(status, RAVO_DAQ_SLICER_INTERN_ERROR);
  EXPECT_EQ(text, "failed to start table_thread thread\n");
  EXPECT_EQ(p.slicer.find_ready_table("a"), nullptr);
  EXPECT_EQ(p.output(1, [&] { p.slicer.clean_up(); }), "slicer clean_up chans[0]\n");
}

TYPED_TEST(SlicerTableThread, MayBeStoppedAtAnyTime) {
  for (int i = 0; i < 200; ++i) {
    play_of<TypeParam> p({"X"}, {"a", "b", "c", "d", "e", "f"});
    ASSERT_EQ(p.start(), 0);
    p.slicer.clean_up();
    EXPECT_EQ(p.all().tables_alive, 0);
  }
}

}  // namespace
}  // namespace ravo::test
