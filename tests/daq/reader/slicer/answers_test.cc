// What the slicer makes of every answer that a channel reader may give, and what it says about it at which
// debug level.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scripted_play.h"
#include "streams.h"

namespace ravo::test {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

std::string number_of(const void* object) {
  return std::to_string(static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object)));
}

// ---- creation

struct creation_failure {
  void (*cause)(channel_script&);
  const char* text;
};

template <class generation>
class SlicerCreation : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerCreation, generations, generation_name);

TYPED_TEST(SlicerCreation, FailureEndsTheStartAtEveryDebugLevel) {
  const creation_failure failures[] = {
      {[](channel_script& c) { c.no_memory = true; }, "Failed to create read_chans[0] for X:5\n"},
      {[](channel_script& c) { c.time_diff_status = RAVO_DAQ_READ_CHAN_INV_PARAM; },
       "Failed to set time difference read_chans[0] for X:5\n"},
      {[](channel_script& c) { c.step_status = RAVO_DAQ_READ_CHAN_INV_PARAM; },
       "Failed to set event step read_chans[0] for X:5\n"}};
  for (const creation_failure& failure : failures)
    for (const int debug : {0, 1, -1}) {
      SCOPED_TRACE(std::string(failure.text) + std::to_string(debug));
      play_of<TypeParam> p({"X"});
      failure.cause(p.channel("X"));
      ASSERT_EQ(p.init(), 0);
      int status = 0;
      const std::string text = p.output(debug, [&] { status = p.slicer.start(); });
      EXPECT_EQ(status, RAVO_DAQ_SLICER_INTERN_ERROR);
      EXPECT_THAT(text, HasSubstr(failure.text));
      EXPECT_EQ(text.find("CREATE_CHANNEL[0] failed\n") != std::string::npos,
                either<TypeParam>(debug != 0, false));
      EXPECT_EQ(p.slicer.read_chans[0], nullptr);
      EXPECT_EQ(p.all().readers_alive, 0);
    }
}

TYPED_TEST(SlicerCreation, IsTimedOnlyBelowZeroAndOnlyWhenItTookAMillisecond) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.start(), 0);
  scripted_tables* tables = p.slicer.read_chans[0]->get_cfg();
  const auto create = [&] { EXPECT_EQ(p.slicer.create_channel(0, tables), 0); };
  p.channel("X").busy_milliseconds = 1.5;
  EXPECT_THAT(p.output(-1, create),
              MatchesRegex(either<TypeParam>("CREATE CHANNEl [0-9]+\\.[0-9]+ msec\n", "")));
  EXPECT_EQ(p.output(0, create), "");
  EXPECT_THAT(p.output(1, create), Not(HasSubstr("CREATE CHANNEl")));
}

TYPED_TEST(SlicerCreation, ReportsTheChannelAndTheFileAndReplacesTheOldReader) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.start(), 0);
  scripted_reader* old = p.slicer.read_chans[0];
  const std::string identity = number_of(old);
  scripted_tables* tables = old->get_cfg();
  EXPECT_EQ(p.output(1, [&] { p.slicer.create_channel(0, tables); }),
            either<TypeParam>("ravo_daq_slicer_2010::create_channel()CREATING CHANNEL: X:5 file:a\n",
                              "ravo_daq_slicer::create_channel()CREATING CHANNEL: X:5 WITH FILE a\n") +
                ("DELETING read_chans[0] " + identity + "\n"));
  EXPECT_EQ(p.all().readers_alive, 1);
}

TYPED_TEST(SlicerCreation, RefusesChannelsThatAreNotThere) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.start(), 0);
  scripted_tables* tables = p.slicer.read_chans[0]->get_cfg();
  EXPECT_EQ(p.slicer.create_channel(-1, tables), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(p.slicer.create_channel(1, tables), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(p.slicer.create_channel(0, nullptr), RAVO_DAQ_SLICER_INV_PARAM);
}

TYPED_TEST(SlicerCreation, BeforeTheStartIsNotInitialised) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.init(), 0);
  scripted_tables tables(0);
  EXPECT_EQ(p.slicer.create_channel(0, &tables), RAVO_DAQ_SLICER_NOT_INIT);
}

// ---- the first event

template <class generation>
class SlicerFirstEvent : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerFirstEvent, generations, generation_name);

TYPED_TEST(SlicerFirstEvent, IsReportedAtLevelMinusOneAlone) {
  play_of<TypeParam> p({"X", "Y"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  p.channel("Y").current_status = RAVO_DAQ_READ_CHAN_NO_DATA;
  const std::string expected_text = "FIRST OK\nlimits of X\nFIRST -> -1\n";
  for (const int debug : {-1, 0, 1, -2}) {
    ASSERT_EQ(p.init(), 0);
    const std::string text = p.output(debug, [&] { EXPECT_EQ(p.slicer.start(), 0); });
    EXPECT_EQ(text.find(expected_text) != std::string::npos, debug == -1) << text;
    EXPECT_EQ(text.find("FIRST") != std::string::npos, debug == -1) << text;
  }
  EXPECT_EQ(text_of(p.slicer.current_event_id), "7+0");
}

TYPED_TEST(SlicerFirstEvent, IsTracedAboveOne) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.init(), 0);
  EXPECT_THAT(p.output(2, [&] { p.slicer.start(); }),
              HasSubstr(std::string(either<TypeParam>("Calling get_chan_data() start channel (up) ret:0 \n",
                                                      "Calling get_chan_data() start channel (up)\n")) +
                        "Calling get_chan_data() start\n"));
  ASSERT_EQ(p.init(), 0);
  EXPECT_THAT(p.output(1, [&] { p.slicer.start(); }), Not(HasSubstr("Calling get_chan_data()")));
}

TYPED_TEST(SlicerFirstEvent, WithoutNumberReplacesANumberedOne) {
  play_of<TypeParam> p({"X", "Y"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  p.channel("Y").entry = entry_of(event_id(0, 5000000));
  ASSERT_EQ(p.start(), 0);
  EXPECT_EQ(text_of(p.slicer.current_event_id), "0+5000000");
}

TYPED_TEST(SlicerFirstEvent, OfEqualTimesWithinTheDifferenceIsThatOfTheFirstChannel) {
  play_of<TypeParam> p({"X", "Y", "Z"});
  p.channel("X").entry = entry_of(event_id(9, 300000));
  p.channel("Y").entry = entry_of(event_id(8, 260000));  // 40 ms before: within
  p.channel("Z").entry = entry_of(event_id(7, 249999));  // 50001 us before: earlier
  ASSERT_EQ(p.init(), 0);
  const time_stamp tolerance{0, 50000};
  p.slicer.set_time_diff(&tolerance);
  p.slicer.set_synch_mode(1);
  ASSERT_EQ(p.slicer.start(), 0);
  EXPECT_EQ(text_of(p.slicer.current_event_id), "0+249999");
  p.channel("Z").entry = entry_of(event_id(7, 250000));
  ASSERT_EQ(p.init(), 0);
  ASSERT_EQ(p.slicer.start(), 0);
  EXPECT_EQ(text_of(p.slicer.current_event_id), "0+300000");
}

// ---- statuses

struct status_case {
  int reader;
  int slicer;
  const char* text;
};

template <class generation>
class SlicerStatus : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerStatus, generations, generation_name);

TYPED_TEST(SlicerStatus, OfAChannelReaderIsReportedAtEveryDebugLevelAndPassedOn) {
  const status_case cases[] = {
      {RAVO_DAQ_READ_CHAN_INV_PARAM, RAVO_DAQ_SLICER_INTERN_ERROR,
       "Channel[1] Y  RAVO_DAQ_READ_CHAN_INV_PARAM\n"},
      {RAVO_DAQ_READ_CHAN_INTERN_ERROR, RAVO_DAQ_SLICER_INTERN_ERROR,
       "Channel[1] Y  RAVO_DAQ_READ_CHAN_INTERN_ERROR\n"},
      {RAVO_DAQ_READ_CHAN_NOT_FOUND, RAVO_DAQ_SLICER_INTERN_ERROR,
       "Channel[1] Y  RAVO_DAQ_READ_CHAN_NOT_FOUND\n"},
      {RAVO_DAQ_READ_CHAN_NOT_INIT, RAVO_DAQ_SLICER_INTERN_ERROR,
       "Channel[1] Y RAVO_DAQ_READ_CHAN_NOT_INIT\n"},
      {RAVO_DAQ_READ_CHAN_NOT_READY, RAVO_DAQ_SLICER_NOT_READY,
       "Channel[1] Y RAVO_DAQ_READ_CHAN_NOT_READY\n"},
      {RAVO_DAQ_READ_CHAN_NO_DATA, RAVO_DAQ_SLICER_OK, "Channel[1] Y  RAVO_DAQ_READ_CHAN_NO_DATA\n"},
      {-8, RAVO_DAQ_SLICER_OK, ""},  // not a status of a channel reader, like the next
      {12, RAVO_DAQ_SLICER_OK, ""}};
  for (const status_case& c : cases)
    for (const int debug : {0, -3}) {
      SCOPED_TRACE(std::to_string(c.reader) + " at " + std::to_string(debug));
      play_of<TypeParam> p({"X", "Y"});
      p.channel("X").entry = entry_of(event_id(7, 0));
      p.channel("Y").entry = entry_of(event_id(7, 0));
      p.channel("Y").answer = [&](const ravo_time_id&, int) { return c.reader; };
      ASSERT_EQ(p.start(), 0);
      int status = 99;
      EXPECT_EQ(p.output(debug, [&] { status = p.get(1); }), c.text);
      EXPECT_EQ(status, c.slicer);
      const bool went_on = c.slicer == 0;
      // A channel that is only passed over still shows its current entry.
      EXPECT_EQ(p.entries.size(), went_on ? 2u : 0u);
      EXPECT_EQ(p.slicer.first_event, went_on ? 0 : 1);
    }
}

TYPED_TEST(SlicerStatus, BadArgumentsAreRefusedAndChangeNothing) {
  play_of<TypeParam> p({"X"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  ASSERT_EQ(p.start(), 0);
  EXPECT_EQ(p.get(3), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(p.get(-3), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(p.slicer.get_data(nullptr, nullptr, 1), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(p.slicer.first_event, 1);
  EXPECT_EQ(p.channel("X").asked, 0);
}

TYPED_TEST(SlicerStatus, IsOutOfWindowWhenNoReaderIsLeft) {
  play_of<TypeParam> p({"X"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  ASSERT_EQ(p.start(), 0);
  p.slicer.remove_channel(0);
  EXPECT_EQ(p.get(1), RAVO_DAQ_SLICER_OUT_OF_WINDOW);
  EXPECT_TRUE(p.entries.empty());
  EXPECT_EQ(p.get(1), RAVO_DAQ_SLICER_OUT_OF_WINDOW);
}

TYPED_TEST(SlicerStatus, IsOutOfWindowBeforeTheStart) {
  play_of<TypeParam> p({"X"});
  EXPECT_EQ(p.get(1), RAVO_DAQ_SLICER_OUT_OF_WINDOW);
  ASSERT_EQ(p.init(), 0);
  EXPECT_EQ(p.get(1), RAVO_DAQ_SLICER_OUT_OF_WINDOW);
}

// ---- asked or not

struct range_case {
  int direction;
  std::int64_t target;
  bool asked;
};

template <class generation>
class SlicerRange : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerRange, generations, generation_name);

TYPED_TEST(SlicerRange, DecidesWhetherAChannelIsAsked) {
  for (const range_case& c : {range_case{0, 9, false},
                              {0, 10, true},
                              {0, 20, true},
                              {0, 21, false},
                              {-2, 9, false},
                              {-2, 21, true},
                              {-1, 9, false},
                              {-1, 21, true},
                              {1, 9, true},
                              {1, 21, false},
                              {2, 9, true},
                              {2, 21, false}}) {
    SCOPED_TRACE(std::to_string(c.direction) + " from " + std::to_string(c.target));
    play_of<TypeParam> p({"X"});
    p.channel("X").first = event_id(10, 1000000);
    p.channel("X").last = event_id(20, 2000000);
    p.channel("X").answer = [](const ravo_time_id&, int) { return -8; };
    ASSERT_EQ(p.start(), 0);
    p.pass_first_call();
    const ravo_time_id target = event_id(static_cast<std::uint32_t>(c.target), c.target * 100000);
    p.get(c.direction, &target);
    EXPECT_EQ(p.channel("X").asked, c.asked ? 1 : 0);
  }
}

TYPED_TEST(SlicerRange, TheFirstCallAsksForTheCurrentEventWhateverTheDirection) {
  for (const int direction : {-2, -1, 0, 1, 2}) {
    play_of<TypeParam> p({"X"});
    p.channel("X").entry = entry_of(event_id(7, 0));
    std::vector<int> directions;
    p.channel("X").answer = [&](const ravo_time_id&, int d) {
      directions.push_back(d);
      return 0;
    };
    ASSERT_EQ(p.start(), 0);
    p.get(direction);
    p.get(direction);
    EXPECT_EQ(directions, (std::vector<int>{0, direction}));
  }
}

// ---- the choice

struct choice_case {
  const char* name;
  int mode;
  int direction;
  ravo_time_id target;
  std::vector<ravo_time_id> answers;  // of channels in order; one of update blocks where named so
  int update_channel;
  const char* chosen;
  std::size_t returned;
  const char* chosen_by_older = nullptr;  // where it is another one
};

class SlicerChoice : public ::testing::TestWithParam<choice_case> {};

template <class generation>
void expect_choice(const choice_case& c, const char* chosen) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < c.answers.size(); ++i) names.push_back("C" + std::to_string(i));
  play_of<generation> p(names);
  typename generation::records::subhead update{};
  update.dtype = generation::update;
  for (std::size_t i = 0; i < c.answers.size(); ++i) {
    p.channel(names[i]).entry = entry_of(c.answers[i]);
    if (static_cast<int>(i) == c.update_channel)
      p.channel(names[i]).entry.sbchdata[0].chhd = reinterpret_cast<std::uint64_t>(&update);
  }
  ASSERT_EQ(p.init(), 0);
  const time_stamp tolerance{0, 50000};
  p.slicer.set_time_diff(&tolerance);
  p.slicer.set_synch_mode(c.mode);
  ASSERT_EQ(p.slicer.start(), 0);
  p.pass_first_call();
  EXPECT_EQ(p.get(c.direction, &c.target), 0);
  EXPECT_EQ(text_of(p.slicer.current_event_id), chosen);
  EXPECT_EQ(p.entries.size(), c.returned);
}

TEST_P(SlicerChoice, IsTheStatedOne) { expect_choice<current_generation>(GetParam(), GetParam().chosen); }

TEST_P(SlicerChoice, IsTheStatedOneInOlderFiles) {
  const choice_case& c = GetParam();
  expect_choice<older_generation>(c, c.chosen_by_older != nullptr ? c.chosen_by_older : c.chosen);
}

const ravo_time_id at = event_id(9, 900000);

INSTANTIATE_TEST_SUITE_P(
    Rules, SlicerChoice,
    ::testing::Values(
        choice_case{"NextByNumberIsTheEarliest",
                    0,
                    1,
                    at,
                    {event_id(12, 1200000), event_id(10, 1000000), event_id(10, 1000000)},
                    -1,
                    "10+1000000",
                    2},
        choice_case{"NextByNumberKeepsTheFirstOfEqualNumbers",
                    0,
                    1,
                    at,
                    {event_id(10, 1000003), event_id(10, 1000001)},
                    -1,
                    "10+1000003",
                    2},
        choice_case{"NextIgnoresWhatIsNotAfterTheTarget",
                    0,
                    1,
                    at,
                    {event_id(12, 1200000), event_id(9, 900000), event_id(8, 800000)},
                    -1,
                    "12+1200000",
                    1},
        choice_case{
            "TheFirstAnswerIsTakenWhereverItLies", 0, 1, at, {event_id(8, 800000)}, -1, "8+800000", 1},
        choice_case{"NextByTimeTakesTheStrictlyEarliestWithinTheDifference",
                    1,
                    1,
                    at,
                    {event_id(11, 1000005), event_id(12, 1000002), event_id(13, 1000002)},
                    -1,
                    "0+1000002",
                    3},
        choice_case{"NextByTimeKeepsAnEarlierOneWithinTheDifference",
                    1,
                    1,
                    at,
                    {event_id(11, 1000002), event_id(12, 1000005)},
                    -1,
                    "0+1000002",
                    2},
        choice_case{"NextByTimeTakesAnUpdateInATie",
                    1,
                    1,
                    at,
                    {event_id(11, 1000005), event_id(12, 1000002)},
                    1,
                    "0+1000002",
                    2},
        choice_case{"LastChoosesAsNextDoes",
                    0,
                    2,
                    at,
                    {event_id(12, 1200000), event_id(10, 1000000)},
                    -1,
                    "10+1000000",
                    1},
        choice_case{"LastByTimeTakesTheStrictlyEarliestWithinTheDifference",
                    1,
                    2,
                    at,
                    {event_id(11, 1000005), event_id(12, 1000002)},
                    -1,
                    "0+1000002",
                    2},
        choice_case{"LastByTimeLetsNoUpdateWinATie",
                    1,
                    2,
                    at,
                    {event_id(11, 1000005), event_id(12, 1000002)},
                    1,
                    "0+1000005",
                    2,
                    "0+1000002"},
        choice_case{"LastByTimeTakesAnUpdateThatIsEarlierThanTheDifference",
                    1,
                    2,
                    at,
                    {event_id(11, 1100000), event_id(12, 1000002)},
                    1,
                    "0+1000002",
                    1},
        choice_case{"LastByTimeLetsAnUpdateInFirstPlaceLoseATie",
                    1,
                    2,
                    at,
                    {event_id(11, 1000005), event_id(12, 1000002)},
                    0,
                    "0+1000002",
                    2},
        choice_case{"PreviousIsTheLatestBefore",
                    0,
                    -1,
                    at,
                    {event_id(6, 600000), event_id(8, 800000), event_id(7, 700000)},
                    -1,
                    "8+800000",
                    1},
        choice_case{"PreviousIgnoresWhatIsNotBefore",
                    0,
                    -1,
                    at,
                    {event_id(6, 600000), event_id(9, 900000)},
                    -1,
                    "6+600000",
                    1},
        choice_case{"PreviousByTimeKeepsTheFirstWithinTheDifference",
                    1,
                    -1,
                    at,
                    {event_id(6, 600000), event_id(7, 610000)},
                    -1,
                    "0+600000",
                    2},
        choice_case{"FirstIsTheEarliestBefore",
                    0,
                    -2,
                    at,
                    {event_id(6, 600000), event_id(8, 800000), event_id(5, 500000)},
                    -1,
                    "5+500000",
                    1},
        choice_case{"FirstIgnoresWhatIsNotBefore",
                    0,
                    -2,
                    event_id(5, 500000),
                    {event_id(6, 600000), event_id(5, 500000)},
                    -1,
                    "6+600000",
                    1},
        choice_case{"CurrentIsTheTargetItself",
                    0,
                    0,
                    at,
                    {event_id(8, 800000), event_id(9, 900000), event_id(10, 1000000)},
                    -1,
                    "9+900000",
                    1},
        choice_case{"CurrentByTimeIsTheLastWithinTheDifference",
                    1,
                    0,
                    at,
                    {event_id(8, 890000), event_id(9, 910000)},
                    -1,
                    "0+910000",
                    2}),
    [](const auto& c) { return std::string(c.param.name); });

// ---- traces

template <class generation>
class SlicerTrace : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerTrace, generations, generation_name);

/// What a call begins with above level zero, of an event that `start()` chose.
template <class generation>
std::string input(const char* event) {
  return either<generation>(false, true)
             ? std::string("current_event_id.event_number (input): ") + event + "  synch_mode:0\n"
             : "";
}

TYPED_TEST(SlicerTrace, ReportsProgressAboveZero) {
  play_of<TypeParam> p({"X", "Y"});
  p.channel("X").entry = entry_of(event_id(12, 1200000));
  p.channel("Y").entry = entry_of(event_id(10, 1000000));
  ASSERT_EQ(p.start(), 0);
  p.pass_first_call();
  const ravo_time_id nine = event_id(9, 900000);
  EXPECT_EQ(p.output(1, [&] { p.get(1, &nine); }),
            input<TypeParam>("10:1700000001_0") +
                "Calling 0 with:1\n"
                "Copying temp evid: 12 (from:0)\n"
                "Calling 1 with:1\n"
                "Diff: -1\n"
                "Copying temp evid: 10 (from:1)\n"
                "current_event_id.event_number (output): 10:1700000001_0 res.size():1\n");
}

TYPED_TEST(SlicerTrace, DoesNotReportTheChoiceBackwards) {
  play_of<TypeParam> p({"X", "Y"});
  p.channel("X").entry = entry_of(event_id(6, 600000));
  p.channel("Y").entry = entry_of(event_id(8, 800000));
  ASSERT_EQ(p.start(), 0);
  p.pass_first_call();
  const ravo_time_id nine = event_id(9, 900000);
  for (const int direction : {-1, -2, 0}) {
    p.channel("Y").entry = entry_of(direction == -1 ? event_id(8, 800000) : event_id(5, 500000));
    const std::string text = p.output(1, [&] { p.get(direction, &nine); });
    EXPECT_THAT(text, HasSubstr("Diff: 1\n"));
    EXPECT_THAT(text, Not(HasSubstr("(from:1)")));
  }
}

TYPED_TEST(SlicerTrace, ReportsEveryCallAboveOne) {
  play_of<TypeParam> p({"X", "Y", "Z"});
  p.channel("X").entry = entry_of(event_id(12, 1200000));
  p.channel("Y").entry = entry_of(event_id(10, 1000000));
  p.channel("Z").answer = [](const ravo_time_id&, int) { return -1; };
  p.channel("Z").current_status = RAVO_DAQ_READ_CHAN_NO_DATA;
  ASSERT_EQ(p.start(), 0);
  p.pass_first_call();
  const ravo_time_id nine = event_id(9, 900000);
  EXPECT_EQ(p.output(2, [&] { p.get(1, &nine); }),
            input<TypeParam>("10:1700000001_0") +
                "Calling 0 with:1\n"
                "Calling get_chan_data() get_data()\n"
                "Got from get_chan_data() get_data() 12:1700000001_200000 (have already 0:0_0)\n"
                "Copying temp evid: 12 (from:0)\n"
                "Calling 1 with:1\n"
                "Calling get_chan_data() get_data()\n"
                "Got from get_chan_data() get_data() 10:1700000001_0 (have already 12:1700000001_200000)\n"
                "Diff: -1\n"
                "Copying temp evid: 10 (from:1)\n"
                "Calling 2 with:1\n"
                "Calling get_chan_data() get_data()\n"
                "rs NULL\n"
                "Channel[2] Z  RAVO_DAQ_READ_CHAN_NO_DATA\n"
                "Calling get_chan_data() gete_data() end\n"
                "EMPTY X 10:1700000001_0  12:1700000001_200000  cfg_status:1\n"
                "Calling get_chan_data() gete_data() end\n"
                "Calling get_chan_data() gete_data() end\n"
                "current_event_id.event_number (output): 10:1700000001_0 res.size():1\n");
}

TYPED_TEST(SlicerTrace, ReportsEveryChannelAboveTwo) {
  play_of<TypeParam> p({"X", "Y", "Z"});
  p.channel("X").entry = entry_of(event_id(12, 1200000));
  p.channel("Y").entry = entry_of(event_id(10, 1000000));
  p.channel("Z").answer = [](const ravo_time_id&, int) { return -8; };
  p.channel("Z").current_status = RAVO_DAQ_READ_CHAN_NO_DATA;
  ASSERT_EQ(p.start(), 0);
  p.pass_first_call();
  const ravo_time_id nine = event_id(9, 900000);
  const auto found = [](const char* match) {
    return std::string("found: ") + either<TypeParam>("", match) + "\n";
  };
  EXPECT_THAT(p.output(3, [&] { p.get(1, &nine); }),
              HasSubstr("Calling get_chan_data() gete_data() end\n"
                        "CURRENT 0\n" +
                        found("0") +
                        "EMPTY X 10:1700000001_0  12:1700000001_200000  cfg_status:1\n"
                        "Calling get_chan_data() gete_data() end\n"
                        "CURRENT 0\n" +
                        found("1") +
                        "Calling get_chan_data() gete_data() end\n"
                        "CURRENT -1\n"
                        "current_event_id"));
}

TYPED_TEST(SlicerTrace, ReportsLimitsAndAnswersAtLevelMinusTwoAlone) {
  play_of<TypeParam> p({"X"});
  p.channel("X").entry = entry_of(event_id(12, 1200000));
  ASSERT_EQ(p.start(), 0);
  p.pass_first_call();
  const ravo_time_id nine = event_id(9, 900000);
  const auto get = [&] { p.get(1, &nine); };
  EXPECT_EQ(p.output(-2, get),
            "Channel 0 " + number_of(p.slicer.read_chans[0]) + "\nlimits of X\nlop: 1\nNEXT 1 0\n");
  EXPECT_EQ(p.output(-1, get), "");
  EXPECT_EQ(p.output(-3, get), "");
  EXPECT_EQ(p.output(0, get), "");
}

TYPED_TEST(SlicerTrace, TimesSlowCallsBelowZeroAlone) {
  play_of<TypeParam> p({"X", "Y"});
  p.channel("X").entry = entry_of(event_id(12, 1200000));
  p.channel("Y").entry = entry_of(event_id(12, 1200000));
  ASSERT_EQ(p.start(), 0);
  p.pass_first_call();
  const ravo_time_id nine = event_id(9, 900000);
  const auto get = [&] { p.get(1, &nine); };
  p.channel("X").busy_milliseconds = 1.5;
  EXPECT_THAT(p.output(-1, get),
              MatchesRegex(either<TypeParam>("get_data\\(\\) start [0-9]+\\.[0-9]+ msec\n"
                                             "get_data\\(\\) middle [0-9]+\\.[0-9]+ msec\n",
                                             "")));
  EXPECT_EQ(p.output(0, get), "");
  EXPECT_THAT(p.output(1, get), Not(HasSubstr("msec")));
}

// ---- moves

template <class generation>
class SlicerMove : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerMove, generations, generation_name);

TYPED_TEST(SlicerMove, WithinAFileIsBounded) {
  // Direction 0 stays in the file. Two channels: the other one keeps the tables alive.
  play_of<TypeParam> p({"X", "Y"}, {"a", "b", "c"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  p.channel("Y").entry = entry_of(event_id(7, 0));
  p.channel("X").answer = [](const ravo_time_id&, int) { return -3; };
  ASSERT_EQ(p.start(), 0);
  const int before = p.channel("X").created;
  EXPECT_EQ(p.get(0), 0);
  EXPECT_EQ(p.channel("X").created - before, 4);  // files + 1
  EXPECT_EQ(p.entries.size(), 2u);
}

TYPED_TEST(SlicerMove, WithinAFileIsBoundedAlsoWhenThePositionIsOutOfWindow) {
  play_of<TypeParam> p({"X", "Y"}, {"a", "b"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  p.channel("Y").entry = entry_of(event_id(7, 0));
  ASSERT_EQ(p.start(), 0);
  p.channel("X").answer = [](const ravo_time_id&, int) { return -3; };
  p.channel("X").position_status = RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW;
  const int before = p.channel("X").created;
  EXPECT_EQ(p.get(0), 0);
  EXPECT_EQ(p.channel("X").created - before, 3);
}

TYPED_TEST(SlicerMove, ToAFileWhereTheReaderDoesNotStartRemovesTheChannel) {
  play_of<TypeParam> p({"X", "Y"}, {"a", "b"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  p.channel("Y").entry = entry_of(event_id(7, 0));
  ASSERT_EQ(p.start(), 0);
  p.channel("X").answer = [](const ravo_time_id&, int) { return -3; };
  p.channel("X").start_status = RAVO_DAQ_READ_CHAN_NOT_FOUND;
  const std::string text = p.output(1, [&] { EXPECT_EQ(p.get(1), 0); });
  EXPECT_THAT(text, HasSubstr("Start failed for read_chans[0] for X:5  erro: -5\n"
                              "NO DATA  ANY MORE for X removing\n"
                              "DELETING read_chans[0] "));
  EXPECT_EQ(p.slicer.read_chans[0], nullptr);
  EXPECT_EQ(p.entries.size(), 1u);
}

TYPED_TEST(SlicerMove, IsQuietAboutItsEndAtLevelZero) {
  play_of<TypeParam> p({"X", "Y"}, {"a", "b"});
  p.channel("X").entry = entry_of(event_id(7, 0));
  p.channel("Y").entry = entry_of(event_id(7, 0));
  ASSERT_EQ(p.start(), 0);
  p.channel("X").answer = [](const ravo_time_id&, int) { return -3; };
  p.channel("X").start_status = RAVO_DAQ_READ_CHAN_NOT_FOUND;
  EXPECT_EQ(p.output(0, [&] { p.get(1); }), "Start failed for read_chans[0] for X:5  erro: -5\n");
}

TYPED_TEST(SlicerMove, PositionsAtTheEndThatLiesNext) {
  for (const auto& [direction, position] : {std::pair{1, -2}, {-1, 2}, {0, -2}, {2, 2}, {-2, -2}}) {
    play_of<TypeParam> p({"X"}, {"a", "b", "c"});
    p.channel("X").entry = entry_of(event_id(7, 0));
    ASSERT_EQ(p.start(), 0);
    p.channel("X").positions.clear();
    const std::string text =
        p.output(2, [&, d = direction] { EXPECT_EQ(p.slicer.start_channel(0, d), 0); });
    EXPECT_EQ(p.channel("X").positions, std::vector<int>{position});
    EXPECT_EQ(text, position == 2 ? "Calling get_chan_data() start channel (low)\n"
                                  : either<TypeParam>("Calling get_chan_data() start channel (up) ret:0 \n",
                                                      "Calling get_chan_data() start channel (up)\n"));
  }
}

TYPED_TEST(SlicerMove, PassesTheStatusOfThePositionOn) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.start(), 0);
  p.channel("X").position_status = RAVO_DAQ_READ_CHAN_INTERN_ERROR;
  EXPECT_EQ(p.slicer.start_channel(0, 1), RAVO_DAQ_SLICER_INTERN_ERROR);
}

}  // namespace
}  // namespace ravo::test
