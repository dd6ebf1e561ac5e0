// get_data() step by step: what of the slicer's answers is handed out, counted, said and stored.
#include "scripted_reader.h"

namespace ravo::test {
namespace {

constexpr int plain = RAVO_BLOCK_1CHAN_2010;
constexpr int update = RAVO_UPD_BLOCK_2010;
constexpr int begin_of_run = RAVO_BOR_BLOCK_2010;
constexpr int end_of_run = RAVO_EOR_BLOCK_2010;

class Retrieval : public scripted_reader {
 protected:
  /// Starts a reader of these channels, without any window.
  void start(std::initializer_list<const char*> channels) {
    for (const char* channel : channels) add(channel);
    ASSERT_EQ(reader.start(), 0);
    reader.time_stop = 0;
    reader.request.stop_time = {};
  }
  /// A started reader with the window [first, last] in event numbers.
  void start_with_numbers(unsigned first, unsigned last) {
    const ravo_time_id from = at(first, 0), to = at(last, 0);
    reader.set_start_point(&from);
    reader.set_stop_point(&to);
    add("A");
    ASSERT_EQ(reader.start(), 0);
  }
  /// Answers one event of channel A.
  void answer_a(unsigned number, unsigned seconds, unsigned microseconds = 0) {
    const ravo_time_id id = at(number, seconds, microseconds);
    answer(id, {block("A", plain, id)});
  }
  std::string output_of_get(int level, int expected) {
    reader.set_debug(level);
    captured_output output;
    EXPECT_EQ(get(), expected);
    return output.stop();
  }
};

TEST_F(Retrieval, BeforeStartIsNotInitAndLeavesTheLastErrorAlone) {
  reader.set_error(-9);
  EXPECT_EQ(get(), -4);
  EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
  EXPECT_EQ(reader.get_data(nullptr, nullptr, 1), -4);
}

TEST_F(Retrieval, NeedsSomewhereToPutTheEntries) {
  start({"A"});
  EXPECT_EQ(reader.get_data(nullptr, nullptr, 1), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(the_slicer.questions, 0);
}

TEST_F(Retrieval, PassesIdAndModeToTheSlicerUnchanged) {
  start({"A"});
  const ravo_time_id id = at(5, 5);
  answer_a(5, 5);
  EXPECT_EQ(reader.get_data(&id, &entries, -2), 0);
  EXPECT_EQ(the_slicer.asked_id, &id);
  EXPECT_EQ(the_slicer.asked_mode, -2);
  answer_a(6, 6);
  EXPECT_EQ(reader.get_data(nullptr, &entries, 1), 0);
  EXPECT_EQ(the_slicer.asked_id, nullptr);
  EXPECT_EQ(the_slicer.asked_mode, 1);
}

TEST_F(Retrieval, HandsOutCopiesThatOutliveTheSlicersEntry) {
  start({"A"});
  const ravo_time_id id = at(10, 20, 30);
  auto* given = block("A", plain, id, "12345678");
  given->sbchdata[3].data = 77;  // only the first slot is the reader's
  answer(id, {given});
  ASSERT_EQ(get(), 0);
  EXPECT_STREQ(reader.get_last_error(), "OK");
  ASSERT_EQ(entries.size(), 1u);
  const auto* got = entries[0];
  blocks.clear();  // what the slicer handed over is gone
  EXPECT_EQ(got, &reader.results[0]->res);
  EXPECT_EQ(got->event_id.event_number, 10u);
  EXPECT_EQ(got->event_id.time.timelow, 30u);
  EXPECT_EQ(got->sbchdata[3].data, 77u);
  EXPECT_EQ(got->sbchdata[0].evhd, reinterpret_cast<std::uint64_t>(&reader.results[0]->evhd));
  EXPECT_EQ(got->sbchdata[0].sbhd, reinterpret_cast<std::uint64_t>(&reader.results[0]->sbhd));
  EXPECT_EQ(got->sbchdata[0].chhd, reinterpret_cast<std::uint64_t>(reader.results[0]->data));
  EXPECT_EQ(got->sbchdata[0].data, got->sbchdata[0].chhd + 268);
  EXPECT_EQ(reader.results[0]->evhd.event_number, 10u);
  EXPECT_STREQ(reader.results[0]->sbhd.server, "SERVER");
  EXPECT_STREQ(head(got)->chname, "A");
  EXPECT_EQ(head(got)->ldata, 268 + 8);
  EXPECT_EQ(payload(got), "12345678");
  EXPECT_EQ(reader.current_event_id.event_number, 10u);
}

TEST_F(Retrieval, EntriesComeInTheOrderOfTheChannels) {
  start({"A", "B", "C"});
  const ravo_time_id id = at(1, 1);
  answer(id, {block("C", plain, id), block("A", plain, id)});
  ASSERT_EQ(get(), 0);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_STREQ(head(entries[0])->chname, "A");
  EXPECT_STREQ(head(entries[1])->chname, "C");
}

TEST_F(Retrieval, ForgetsTheEntriesOfTheLastCall) {
  start({"A", "B"});
  answer(at(1, 1), {block("A", plain, at(1, 1)), block("B", plain, at(1, 1))});
  answer(at(2, 2), {block("B", plain, at(2, 2))});
  ASSERT_EQ(get(), 0);
  EXPECT_EQ(entries.size(), 2u);
  ASSERT_EQ(get(), 0);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_STREQ(head(entries[0])->chname, "B");
  EXPECT_EQ(reader.results[0]->updated, 0);
  EXPECT_EQ(reader.results[1]->updated, 1);
  EXPECT_EQ(get(), -3);
  EXPECT_TRUE(entries.empty());
}

TEST_F(Retrieval, CountsDeliveredAndEmptyEvents) {
  start({"A"});
  answer_a(1, 1);
  answer(at(2, 2), {});
  answer(at(3, 3), {});
  answer_a(4, 4);
  ASSERT_EQ(get(), 0);
  ASSERT_EQ(get(), 0);
  EXPECT_EQ(reader.current_event_id.event_number, 4u);
  EXPECT_EQ(reader.get_number_of_events(), 2);
  EXPECT_EQ(reader.get_number_of_empty_events(), 2);
}

TEST_F(Retrieval, SaysThatAnEventIsEmptyFromDebugLevelOneOn) {
  start({"A"});
  answer(at(2, 2), {});
  EXPECT_EQ(output_of_get(0, -3), "");
  answer(at(2, 2), {});
  EXPECT_EQ(output_of_get(1, -3), "BREAKING HERE 1 mode: 0 \n");
}

class SlicerStatus : public Retrieval, public testing::WithParamInterface<int> {};

class PassedOn : public SlicerStatus {};
TEST_P(PassedOn, IsReturnedSilentlyAndNotStored) {
  start({"A"});
  reader.set_error(-9);
  answer_status(GetParam());
  EXPECT_EQ(output_of_get(1, GetParam()), "");
  EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
  EXPECT_EQ(reader.get_number_of_events(), 0);
}
INSTANTIATE_TEST_SUITE_P(Statuses, PassedOn, testing::Values(-7, -6, -3, -2));

class Unexpected : public SlicerStatus {};
TEST_P(Unexpected, IsSaidStoredAndReturned) {
  start({"A"});
  answer_status(GetParam());
  EXPECT_EQ(output_of_get(0, GetParam()), "Unexpected return code " + std::to_string(GetParam()) + "\n");
  EXPECT_STREQ(reader.get_last_error(), reader.error_i2a(GetParam()));
}
INSTANTIATE_TEST_SUITE_P(Statuses, Unexpected, testing::Values(-5, -4, -1, 1, 42, -8, -9, -10, -11));

TEST_F(Retrieval, TracesSlicerAndWindowFromDebugLevelTwoOn) {
  start_with_numbers(2, 0);
  answer_a(1, 1);
  answer_a(2, 2);
  EXPECT_EQ(output_of_get(2, 0),
            "reader.get_data() CUR_RES.SIZE(): 1  STATUS: 0\n"
            "reader.get_data() BELONG: 0\n"
            "reader.get_data() CUR_RES.SIZE(): 1  STATUS: 0\n"
            "reader.get_data() BELONG: 1\n"
            "reader.get_data() FOUND: 1\n"
            "UPDATED A\n");
  answer_a(3, 3);
  EXPECT_EQ(output_of_get(1, 0), "");
}

TEST_F(Retrieval, TracesEveryComparisonUpToTheMatch) {
  start({"A", "B:1", "C"});
  const ravo_time_id id = at(1, 1);
  answer(id, {block("B:1", plain, id), block("X", plain, id)});
  EXPECT_EQ(output_of_get(2, 0),
            "reader.get_data() CUR_RES.SIZE(): 2  STATUS: 0\n"
            "reader.get_data() BELONG: 1\n"
            "reader.get_data() FOUND: 0\n"
            "reader.get_data() FOUND: 1\n"
            "UPDATED B:1\n"
            "reader.get_data() FOUND: 0\n"
            "reader.get_data() FOUND: 0\n"
            "reader.get_data() FOUND: 0\n");
}

TEST_F(Retrieval, TellsTheTimeOfASlowSlicerAtNegativeDebugLevels) {
  start({"A"});
  answer_a(1, 1);
  the_slicer.answers.back().delay_microseconds = 1500;
  const std::string output = output_of_get(-1, 0);
  double milliseconds = 0;
  ASSERT_EQ(std::sscanf(output.c_str(), "slicer_2010->get_data() %lf msec\n", &milliseconds), 1) << output;
  EXPECT_GE(milliseconds, 1.5);
  EXPECT_EQ(output, "slicer_2010->get_data() " + std::to_string(milliseconds) + " msec\n");
  answer_a(2, 2);
  the_slicer.answers.back().delay_microseconds = 1500;
  EXPECT_EQ(output_of_get(0, 0), "");
}

// ---- the window ----

TEST_F(Retrieval, SkipsEventsBeforeTheStartTimeSilently) {
  const ravo_time_id from = at(0, 100, 500);
  reader.set_start_point(&from);
  start({"A"});
  answer_a(1, 100, 499);
  answer_a(2, 100, 500);
  EXPECT_EQ(output_of_get(0, 0), "");
  EXPECT_EQ(reader.current_event_id.event_number, 2u);
  EXPECT_EQ(reader.get_number_of_events(), 1);
  EXPECT_EQ(reader.get_number_of_empty_events(), 0);
}

TEST_F(Retrieval, SkipsEventsBehindTheStopTime) {
  const ravo_time_id to = at(0, 100, 500);
  reader.set_stop_point(&to);
  add("A");
  ASSERT_EQ(reader.start(), 0);
  answer_a(1, 100, 500);
  answer_a(2, 100, 501);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(get(), -3);
}

TEST_F(Retrieval, AnEventNumberAsStartSkipsLowerNumbersInsideTheTimeWindow) {
  const ravo_time_id from = at(100, 10);
  reader.set_start_point(&from);
  start({"A"});
  for (unsigned number = 95; number < 102; ++number) answer_a(number, number);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(reader.current_event_id.event_number, 100u);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(reader.current_event_id.event_number, 101u);
}

TEST_F(Retrieval, EventNumbersCountEvenAgainstTheTimes) {
  const ravo_time_id from = at(10, 1000), to = at(12, 2000);
  reader.set_start_point(&from);
  reader.set_stop_point(&to);
  add("A");
  ASSERT_EQ(reader.start(), 0);
  answer_a(9, 1500);
  answer_a(10, 5);
  answer_a(12, 9000);
  answer_a(13, 1500);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(reader.current_event_id.event_number, 10u);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(reader.current_event_id.event_number, 12u);
  EXPECT_EQ(get(), -3);
}

TEST_F(Retrieval, InTimeModeOnlyTheTimesCount) {
  reader.set_synch_mode(1);
  const ravo_time_id from = at(10, 1000), to = at(12, 2000);
  reader.set_start_point(&from);
  reader.set_stop_point(&to);
  add("A");
  ASSERT_EQ(reader.start(), 0);
  answer_a(11, 999);
  answer_a(1, 1000);
  answer_a(99, 2000);
  answer_a(11, 2001);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(reader.current_event_id.event_number, 1u);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(reader.current_event_id.event_number, 99u);
  EXPECT_EQ(get(), -3);
}

TEST_F(Retrieval, AnUnknownSynchModeIsAnInternalError) {
  start({"A"});
  reader.request.synch_mode = 3;
  answer_a(1, 1);
  EXPECT_EQ(output_of_get(0, -6), "Unknown synch mode 3\n");
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
}

TEST_F(Retrieval, TheFirstRegularChannelTellsTheEventsPlace) {
  start_with_numbers(5, 0);
  const ravo_time_id old = at(2, 2), now = at(5, 5);
  answer(now, {block("S", update, old), block("S", begin_of_run, old), block("S", end_of_run, old),
               block("A", plain, now), block("B", plain, old)});
  EXPECT_EQ(get(), 0);
}

TEST_F(Retrieval, OnlyTheLowBitsOfATypeCount) {
  start_with_numbers(5, 0);
  const ravo_time_id old = at(2, 2), now = at(5, 5);
  answer(now, {block("S", (41 << 16) | update, old), block("A", (45 << 16) | plain, now)});
  EXPECT_EQ(get(), 0);
}

TEST_F(Retrieval, WithoutARegularChannelTheFirstOneTellsTheEventsPlace) {
  start_with_numbers(5, 0);
  answer(at(5, 5), {block("A", update, at(2, 2)), block("A", update, at(5, 5))});
  answer(at(6, 6), {block("A", update, at(6, 6)), block("A", update, at(2, 2))});
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(the_slicer.questions, 2);
}

TEST_F(Retrieval, SaysThatAChannelHasNoHeaderAndPassesItOver) {
  start_with_numbers(5, 0);
  auto* bare = block("A", plain, at(1, 1));
  bare->sbchdata[0].chhd = 0;
  answer(at(5, 5), {bare, block("A", plain, at(5, 5))});
  EXPECT_EQ(output_of_get(0, 0), "ravo_daq_reader_2010::get_data() chan_header is NULL\n");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0]->event_id.event_number, 5u);
}

TEST_F(Retrieval, PassesOverNullElements) {
  start({"A"});
  answer(at(5, 5), {nullptr, block("A", plain, at(5, 5)), nullptr});
  EXPECT_EQ(output_of_get(0, 0), "");
  EXPECT_EQ(entries.size(), 1u);
}

// ---- matching ----

TEST_F(Retrieval, ASubchannelIsFoundByNameAndNumber) {
  start({"CH:3;nick", "CH:4", "CH"});
  const ravo_time_id id = at(1, 1);
  answer(id, {block("CH:4", plain, id, "four"), block("CH", plain, id, "all!")});
  ASSERT_EQ(get(), 0);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(payload(entries[0]), "four");
  EXPECT_EQ(payload(entries[1]), "all!");
  EXPECT_EQ(reader.results[0]->updated, 0);
}

// A plain block of a single channel is never cut, so it keeps the bare name; asking for its subchannel 0
// finds nothing.
TEST_F(Retrieval, ABareNameIsNotTheSubchannelZero) {
  start({"CH:0"});
  const ravo_time_id id = at(1, 1);
  answer(id, {block("CH", plain, id)});
  EXPECT_EQ(get(), 0);
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(reader.get_number_of_events(), 1);
  EXPECT_EQ(reader.current_event_id.event_number, 1u);
}

TEST_F(Retrieval, OccasionalBlocksAreFoundByTheBareName) {
  for (const int type : {update, begin_of_run, end_of_run}) {
    scripted_reader::reader.clean_up();
    the_slicer = {};
    start({"OTHER", "CH:2", "CH"});
    const ravo_time_id id = at(1, 1);
    answer(id, {block("CH", type, id)});
    ASSERT_EQ(get(), 0);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0], &reader.results[1]->res) << "the first channel of the name";
    EXPECT_EQ(reader.results[1]->slow, type == update ? 1 : 0);
  }
}

TEST_F(Retrieval, AnUnterminatedNameOfABlockEndsWithItsField) {
  const std::string name(255, 'n');
  start({name.c_str()});
  const ravo_time_id id = at(1, 1);
  auto* entry = block("x", plain, id);
  std::memset(const_cast<char*>(head(entry)->chname), 'n', 256);
  answer(id, {entry});
  EXPECT_EQ(get(), 0);
  EXPECT_TRUE(entries.empty());
}

TEST_F(Retrieval, ALengthThatHoldsNoSubheaderIsNoBlock) {
  start({"A"});
  const ravo_time_id id = at(1, 1);
  for (const int length : {267, 0, -1}) {
    auto* entry = block("A", plain, id);
    blocks.back().block()->ldata = length;
    the_slicer.answers.clear();
    answer(id, {entry});
    EXPECT_EQ(get(), 0);
    EXPECT_TRUE(entries.empty());
    EXPECT_EQ(reader.results[0]->data, nullptr);
  }
}

TEST_F(Retrieval, ABlockWithoutPayloadIsHandedOut) {
  start({"A"});
  answer(at(1, 1), {block("A", plain, at(1, 1), "")});
  ASSERT_EQ(get(), 0);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(head(entries[0])->ldata, 268);
}

// ---- slow channels ----

TEST_F(Retrieval, ASlowChannelStaysWithItsLastValueUntilItIsUpdated) {
  start({"SLOW", "A"});
  answer(at(1, 1), {block("SLOW", update, at(1, 1), "one!"), block("A", plain, at(1, 1))});
  answer_a(2, 2);
  answer_a(3, 3);
  answer(at(4, 4), {block("SLOW", update, at(4, 4), "four"), block("A", plain, at(4, 4))});
  answer_a(5, 5);
  const char* expected[] = {"one!", "one!", "one!", "four", "four"};
  for (const char* value : expected) {
    ASSERT_EQ(get(), 0);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(payload(entries[0]), value);
  }
  EXPECT_EQ(entries[0]->event_id.event_number, 4u);
  EXPECT_EQ(entries[1]->event_id.event_number, 5u);
}

TEST_F(Retrieval, ASlowChannelIsForgottenByCleanUp) {
  start({"SLOW", "A"});
  answer(at(1, 1), {block("SLOW", update, at(1, 1))});
  ASSERT_EQ(get(), 0);
  reader.clean_up();
  start({"SLOW", "A"});
  answer_a(2, 2);
  ASSERT_EQ(get(), 0);
  EXPECT_EQ(entries.size(), 1u);
}

// ---- the end ----

TEST_F(Retrieval, EndsWithoutDataWhenTheSameEventIsRefusedTwiceRunning) {
  start_with_numbers(5, 0);
  answer_a(3, 3);
  the_slicer.repeats_last_answer = true;
  const ravo_time_id id = at(3, 3);
  EXPECT_EQ(reader.get_data(&id, &entries, 0), -1);
  EXPECT_STREQ(reader.get_last_error(), "No required data");
  EXPECT_EQ(the_slicer.questions, 2);
  EXPECT_TRUE(entries.empty());
}

TEST_F(Retrieval, EndsWithoutDataWhenTheSlicerStaysEmpty) {
  start({"A"});
  answer({}, {});
  the_slicer.repeats_last_answer = true;
  EXPECT_EQ(get(), -1);
  EXPECT_STREQ(reader.get_last_error(), "No required data");
  EXPECT_EQ(reader.get_number_of_empty_events(), 2);
}

TEST_F(Retrieval, EndsWithoutDataWhenTheSlicerGoesRoundInACircle) {
  start_with_numbers(1000, 0);
  for (unsigned number = 1; number <= 7; ++number) answer_a(number, number);
  answer({}, {});
  the_slicer.goes_round = true;
  EXPECT_EQ(get(), -1);
  EXPECT_LT(the_slicer.questions, 40);
}

TEST_F(Retrieval, ALongWayToTheRequestIsNoCircle) {
  start_with_numbers(5000, 0);
  for (unsigned number = 1; number <= 5000; ++number) answer_a(number, number);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(reader.current_event_id.event_number, 5000u);
}

TEST_F(Retrieval, TheSameEventMayBeAskedForAgain) {
  start({"A"});
  answer_a(3, 3);
  the_slicer.repeats_last_answer = true;
  const ravo_time_id id = at(3, 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(reader.get_data(&id, &entries, 0), 0);
}

}  // namespace
}  // namespace ravo::test
