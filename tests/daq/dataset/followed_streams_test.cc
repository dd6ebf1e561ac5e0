// Following streams one of which falls silent, files that come late or cannot be read, and how following
// ends. What should come is written out by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "growing_sets.h"
#include "seen_events.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::ElementsAre;
using testing::IsEmpty;

/// Events with these numbers, each 100 ms times its number after noon; one channel of the stream's letter.
std::vector<unsigned char> file_of(const std::string& channel, std::uint32_t first, std::uint32_t last,
                                   int end_type = RAVO_EV_NORMAL) {
  handmade_file made;
  std::vector<std::pair<std::size_t, float>> values;
  for (std::uint32_t number = first; number <= last; ++number) {
    values.emplace_back(made.events.size(), static_cast<float>(number));
    made.events.push_back(event_at(number, number * 100));
  }
  made.channels = {numbers_at(channel, values)};
  if (end_type == RAVO_EV_EOR) {
    made.events.push_back(event_at(last, last * 100, RAVO_EV_EOR));
    handmade_channel end("END_" + channel);
    end.ev_mask = 1u << RAVO_EV_EOR;
    end.blocks.push_back(update_of(layout_2010{}, made.events.size() - 1, 1, noon));
    made.channels.push_back(end);
  }
  return made.build().vector();
}

std::string name_of(const std::string& stream, unsigned file, std::uint32_t first, unsigned run = 1) {
  return stream_file_name("linac_" + stream, run, file, first * 100);
}

/// Two streams of ten events a file; stream b is the same but for what a test changes.
class Following : public testing::Test {
 protected:
  void write(double closed, const std::string& stream, unsigned file, std::uint32_t first,
             std::uint32_t last, int end_type = RAVO_EV_NORMAL, unsigned run = 1) {
    const std::string channel = stream == "main" ? "A" : "B";
    world.write_between(closed, closed, name_of(stream, file, first, run),
                        file_of(channel, first, last, end_type));
  }
  follow_options options() {
    follow_options made;
    made.clock = world.clock();
    made.poll = 1;
    made.silence = 50;
    made.end_after = 1000;
    made.streams = {"linac_main", "linac_aux"};
    return made;
  }
  selection wanted() const { return of_files({world.folder()}); }

  /// "10 A B", and "late", "B?" for a value that is not yet recorded.
  static std::string text_of(const followed_event& one) {
    std::string text = std::to_string(one->number());
    for (std::size_t i = 0; i < one.labels().size(); ++i) {
      if (has_value((*one)[i].status())) text += " " + one.labels()[i];
      if (one.is_not_yet_recorded(i)) text += " " + one.labels()[i] + "?";
    }
    return one.is_late() ? text + " late" : text;
  }
  /// What has come when the clock stands at the beginning of each look.
  std::vector<std::string> all_of(follower& following) {
    std::vector<std::string> texts;
    while (const auto one = following.next()) {
      texts.push_back(text_of(*one));
      came_at.push_back(world.now());
    }
    return texts;
  }

  growing_world world;
  std::vector<double> came_at;
};

TEST_F(Following, ASilentStreamDelaysForItsTimeAndNoLonger) {
  write(1, "main", 1, 10, 12);
  write(1, "aux", 1, 10, 12);
  write(2, "main", 2, 13, 15);
  follower following(wanted(), options());
  EXPECT_THAT(all_of(following),
              ElementsAre("10 A B", "11 A B", "12 A B", "13 A B?", "14 A B?", "15 A B?"));
  // The tolerance holds back the event at the watermark; stream b falls silent 50 s after its file.
  EXPECT_EQ(came_at[1], 1);
  EXPECT_EQ(came_at[2], 51);
  EXPECT_EQ(following.ended(), end_of_following::time_is_up);
  EXPECT_EQ(following.ledger().delivered(), 9u);
}

TEST_F(Following, WhatComesAfterItsTimeIsLateAndMergesWithNothing) {
  write(1, "main", 1, 10, 12);
  write(1, "aux", 1, 10, 11);
  write(2, "main", 2, 13, 16);
  write(200, "aux", 2, 12, 18);
  write(200, "main", 3, 17, 18);
  follower following(wanted(), options());
  EXPECT_THAT(all_of(following), ElementsAre("10 A B", "11 A B", "12 A B?", "13 A B?", "14 A B?", "15 A B?",
                                             "16 A B?", "12 B late", "13 B late", "14 B late", "15 B late",
                                             "16 B late", "17 A B", "18 A B"));
  EXPECT_THAT(following.late_files(), ElementsAre(world.path_of(name_of("aux", 2, 12))));
  EXPECT_EQ(following.ledger().delivered(), 18u);
  EXPECT_TRUE(following.ledger().is_balanced());
}

TEST_F(Following, TheSameEventAfterTheToleranceIsLateToo) {
  // By their numbers the values of event 12 are one event; by their times they are 250 ms apart.
  handmade_file other;
  other.events = {event_at(10, 1250), event_at(11, 1350), event_at(12, 1450)};
  other.channels = {numbers_at("B", {{0, 10.0f}, {1, 11.0f}, {2, 12.0f}})};
  write(1, "main", 1, 8, 12);
  world.write_between(1, 1, name_of("aux", 1, 12), [] {
    handmade_file first;
    first.events = {event_at(9, 1150)};
    first.channels = {numbers_at("B", {{0, 9.0f}})};
    return first.build().vector();
  }());
  world.write_between(5, 5, name_of("aux", 2, 12), other.build().vector());
  follower following(wanted(), options());
  EXPECT_THAT(all_of(following),
              ElementsAre("8 A", "9 A B", "10 A", "11 A", "10 B late", "11 B late", "12 A B"));
  EXPECT_EQ(following.ledger().delivered(), 9u);
}

TEST_F(Following, AFileThatIsNotClosedYetHoldsUpThoseAfterIt) {
  write(30, "main", 1, 10, 12);
  write(2, "main", 2, 13, 15);
  follow_options alone = options();
  alone.streams = {};
  world.at(1, [this] { write(0, "main", 9, 1, 2, RAVO_EV_NORMAL, 7); });
  follower following(wanted(), alone);
  EXPECT_THAT(all_of(following), ElementsAre("1 A", "2 A", "10 A", "11 A", "12 A", "13 A", "14 A", "15 A"));
  EXPECT_THAT(following.late_files(), IsEmpty());
}

TEST_F(Following, ABadFileIsNamedAndTheOthersGoOn) {
  write(1, "main", 1, 10, 12);
  world.write_between(2, 2, name_of("main", 2, 13), std::vector<unsigned char>(5000, 7));
  write(3, "main", 3, 16, 18);
  follow_options alone = options();
  alone.streams = {};
  follower following(wanted(), alone);
  EXPECT_THAT(all_of(following), ElementsAre("10 A", "11 A", "12 A", "16 A", "17 A", "18 A"));
  const read_ledger ledger = following.ledger();
  ASSERT_EQ(ledger.files.size(), 1u);
  EXPECT_EQ(ledger.files[0].path, world.path_of(name_of("main", 2, 13)));
  EXPECT_EQ(ledger.files[0].reason, file_refusal::not_a_raw_file);
  const dataset whole = dataset::open(wanted());
  EXPECT_EQ(events_of(whole).size(), 6u);
  expect_equal_ledgers(ledger, whole.ledger());
}

TEST_F(Following, AStrictPolicyThrowsForABadFileAndGoesOn) {
  write(1, "main", 1, 10, 12);
  world.write_between(2, 2, name_of("main", 2, 13), std::vector<unsigned char>(5000, 7));
  write(3, "main", 3, 16, 18);
  follow_options strict = options();
  strict.streams = {};
  strict.reading.damage = damage_policy::strict();
  follower following(wanted(), strict);
  std::vector<std::string> texts;
  std::size_t refusals = 0;
  for (;;) {
    try {
      const auto one = following.next();
      if (!one) break;
      texts.push_back(text_of(*one));
    } catch (const file_left_out& refusal) {
      EXPECT_EQ(refusal.file.path, world.path_of(name_of("main", 2, 13)));
      ++refusals;
    }
  }
  EXPECT_EQ(refusals, 1u);
  EXPECT_THAT(texts, ElementsAre("10 A", "11 A", "12 A", "16 A", "17 A", "18 A"));
}

TEST_F(Following, AFileThatVanishesIsNamed) {
  write(1, "main", 1, 10, 12);
  write(5, "main", 2, 13, 14);
  world.at(4, [this] { std::filesystem::remove(world.path_of(name_of("main", 1, 10))); });
  follow_options alone = options();
  alone.streams = {};
  follower following(wanted(), alone);
  // Event 12 was held back when its file vanished.
  EXPECT_THAT(all_of(following), ElementsAre("10 A", "11 A", "13 A", "14 A"));
  ASSERT_EQ(following.ledger().files.size(), 1u);
  EXPECT_EQ(following.ledger().files[0].path, world.path_of(name_of("main", 1, 10)));
}

TEST_F(Following, EndsWithTheRun) {
  write(1, "main", 1, 10, 12);
  write(2, "aux", 1, 10, 13, RAVO_EV_EOR);
  write(9, "main", 2, 13, 13, RAVO_EV_EOR);
  follow_options run = options();
  run.until_end_of_run = true;
  selection what = wanted();
  what.channels = {"A", "B"};
  follower following(what, run);
  EXPECT_THAT(all_of(following), ElementsAre("10 A B", "11 A B", "12 A B", "13 A B"));
  EXPECT_EQ(world.now(), 9);
  EXPECT_EQ(following.ended(), end_of_following::end_of_run);
  EXPECT_EQ(following.next(), std::nullopt);
}

TEST_F(Following, EndsWhenALaterRunIsThere) {
  ASSERT_EQ(setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1), 0);
  write(1, "main", 1, 10, 12);
  write(20, "main", 1, 20, 22, RAVO_EV_NORMAL, 2);
  selection what;
  what.data = world.folder();
  what.runs = run_numbers{1, 1};
  follower following(what, options());
  EXPECT_THAT(all_of(following), ElementsAre("10 A", "11 A", "12 A"));
  EXPECT_EQ(world.now(), 20);
  EXPECT_EQ(following.ended(), end_of_following::end_of_run);
  EXPECT_THAT(following.ledger().problems, IsEmpty());
  ASSERT_EQ(unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME"), 0);
}

TEST_F(Following, EndsWithThePeriod) {
  write(1, "main", 1, 10, 12);
  write(4, "main", 2, 13, 16);
  selection what = wanted();
  what.to = time_stamp{noon + 1, 400000};
  follow_options alone = options();
  alone.streams = {};
  follower following(what, alone);
  EXPECT_THAT(all_of(following), ElementsAre("10 A", "11 A", "12 A", "13 A", "14 A"));
  EXPECT_EQ(world.now(), 4);
  EXPECT_EQ(following.ended(), end_of_following::end_of_period);
}

TEST_F(Following, EndsAtItsLimitAndKeepsItsStep) {
  write(1, "main", 1, 10, 12);
  write(4, "main", 2, 13, 16);
  write(9, "main", 3, 17, 18);
  selection what = wanted();
  what.step = 2;
  what.limit = 4;
  follow_options alone = options();
  alone.streams = {};
  follower following(what, alone);
  EXPECT_THAT(all_of(following), ElementsAre("10 A", "12 A", "14 A", "16 A"));
  EXPECT_EQ(following.ended(), end_of_following::limit);
  EXPECT_EQ(world.now(), 9);
}

TEST_F(Following, EndsAfterATimeWithoutAnyFile) {
  follow_options soon = options();
  soon.end_after = 7.5;
  follower following(wanted(), soon);
  EXPECT_THAT(all_of(following), IsEmpty());
  EXPECT_EQ(world.now(), 7.5);
  EXPECT_EQ(following.ended(), end_of_following::time_is_up);
  EXPECT_EQ(following.watermark(), std::nullopt);
}

TEST_F(Following, AStopEndsTheWaitAtOnce) {
  world.pass(0);
  std::stop_source stop;
  follow_options stoppable;
  stoppable.poll = 1e6;  // the system's own wait: a test that is not stopped does not end
  stoppable.stop = stop.get_token();
  follower following(wanted(), stoppable);
  std::jthread stopper([&] { stop.request_stop(); });
  EXPECT_EQ(following.next(), std::nullopt);
  EXPECT_EQ(following.ended(), end_of_following::stopped);
}

TEST_F(Following, AStopLeavesWhatWasNotHandedOver) {
  write(1, "main", 1, 10, 14);
  std::stop_source stop;
  follow_options stoppable = options();
  stoppable.streams = {};
  stoppable.stop = stop.get_token();
  follower following(wanted(), stoppable);
  EXPECT_EQ(text_of(*following.next()), "10 A");
  EXPECT_EQ(text_of(*following.next()), "11 A");
  stop.request_stop();
  EXPECT_EQ(following.next(), std::nullopt);
  EXPECT_EQ(following.ended(), end_of_following::stopped);
  EXPECT_EQ(following.ledger().delivered(), 2u);
}

TEST_F(Following, PatternsFindChannelsThatComeLater) {
  write(1, "main", 1, 10, 12);
  write(20, "aux", 1, 10, 12);
  selection what = wanted();
  what.channels = {"B", "A", "C*"};
  follow_options alone = options();
  alone.streams = {};
  follower following(what, alone);
  EXPECT_EQ(text_of(*following.next()), "10 A");
  EXPECT_THAT(following.unmatched_patterns(), ElementsAre("B", "C*"));
  EXPECT_THAT(all_of(following), ElementsAre("11 A", "10 B late", "11 B late", "12 B A"));
  EXPECT_THAT(following.unmatched_patterns(), ElementsAre("C*"));
}

TEST_F(Following, ASlowValueIsHeldAcrossHandOvers) {
  handmade_file first;
  first.events = {event_at(10, 1000, RAVO_EV_UPD), event_at(10, 1000)};
  handmade_channel slow("SLOW");
  slow.ev_mask = 1u << RAVO_EV_UPD;
  slow.blocks.push_back(update_of(layout_2010{}, 0, 7.5, noon));
  first.channels = {numbers_at("A", {{1, 10.0f}}), slow};
  world.write_between(1, 1, name_of("main", 1, 10), first.build().vector());
  for (unsigned file = 2; file < 6; ++file) write(file, "main", file, 10 * file, 10 * file);
  selection what = wanted();
  what.slow = slow_policy::hold;
  follow_options alone = options();
  alone.streams = {};
  follower following(what, alone);
  std::vector<std::int64_t> ages;
  while (const auto one = following.next()) {
    EXPECT_EQ((**one)["SLOW"].update().value, 7.5);
    ages.push_back((**one)["SLOW"].age());
  }
  EXPECT_THAT(ages, ElementsAre(0, 1000000, 2000000, 3000000, 4000000));
}

TEST_F(Following, RefusesToAskForLaterValues) {
  selection what = wanted();
  what.slow = slow_policy::nearest;
  EXPECT_THROW(follower(what, options()), selection_error);
  EXPECT_THROW(follower("file=x step=0"), selection_error);
}

TEST_F(Following, ItsMemoryDoesNotGrowWithTheFiles) {
  for (unsigned file = 1; file <= 40; ++file) write(file, "main", file, 10 * file, 10 * file + 9);
  follow_options small = options();
  small.streams = {};
  small.reading.memory_limit = 400'000;  // forty files at once take more than twice as much
  follower following(wanted(), small);
  EXPECT_EQ(all_of(following).size(), 400u);
}

TEST_F(Following, AMemberGoesByItsName) {
  const auto with_members = [](std::uint32_t number) {
    handmade_file made;
    made.events = {event_at(number, number * 100)};
    handmade_block block;
    block.dtype = RAVO_BLOCK_BPM_2010;
    block.payload = spectrum<layout_2010>({{1.0f}, {2.0f}, {3.0f}});
    made.channels.emplace_back("BPM").blocks.push_back(block);
    return made.build().vector();
  };
  world.write_between(1, 1, name_of("main", 1, 10), with_members(10));
  world.write_between(2, 2, name_of("main", 2, 11), with_members(11));
  selection what = wanted();
  what.channels = {"BPM:CHARGE"};
  follow_options alone = options();
  alone.streams = {};
  follower following(what, alone);
  const auto first = following.next();
  EXPECT_EQ((**first)["BPM:CHARGE"].scalar(), 3.0f);
  EXPECT_FALSE(first->is_not_yet_recorded("BPM:CHARGE"));
  EXPECT_THAT(first->labels(), ElementsAre("BPM:2"));
  EXPECT_EQ(all_of(following).size(), 1u);
}

}  // namespace
