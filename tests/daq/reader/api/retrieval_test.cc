// get_data() step by step: which of the slicer's answers are handed out, counted, printed and stored.
#include "scripted_reader.h"

namespace ravo::test {
namespace {

template <class generation>
class Retrieval : public scripted_reader<generation> {
 protected:
  static constexpr int plain = generation::single;
  static constexpr int update = generation::update;
  static constexpr int begin_of_run = generation::begin_of_run;
  static constexpr int end_of_run = generation::end_of_run;
  /// Starts a reader of these channels, without any window.
  void start(std::initializer_list<const char*> channels) {
    for (const char* channel : channels) this->add(channel);
    ASSERT_EQ(this->reader.start(), 0);
    this->reader.time_stop = 0;
    this->reader.request.stop_time = {};
  }
  /// A started reader with the window [first, last] in event numbers.
  void start_with_numbers(unsigned first, unsigned last) {
    const ravo_time_id from = this->at(first, 0), to = this->at(last, 0);
    this->reader.set_start_point(&from);
    this->reader.set_stop_point(&to);
    this->add("A");
    ASSERT_EQ(this->reader.start(), 0);
  }
  /// Answers one event of channel A.
  void answer_a(unsigned number, unsigned seconds, unsigned microseconds = 0) {
    const ravo_time_id id = this->at(number, seconds, microseconds);
    this->answer(id, {this->block("A", plain, id)});
  }
  std::string output_of_get(int level, int expected) {
    this->reader.set_debug(level);
    captured_output output;
    EXPECT_EQ(this->get(), expected);
    return output.stop();
  }
};
TYPED_TEST_SUITE(Retrieval, generations, generation_name);

TYPED_TEST(Retrieval, BeforeStartIsNotInitAndLeavesTheLastErrorAlone) {
  this->reader.set_error(RAVO_DAQ_READER_BAD_FILE_FORMAT);
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_NOT_INIT);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
  EXPECT_EQ(this->reader.get_data(nullptr, nullptr, 1), RAVO_DAQ_READER_NOT_INIT);
}

TYPED_TEST(Retrieval, NeedsSomewhereToPutTheEntries) {
  this->start({"A"});
  EXPECT_EQ(this->reader.get_data(nullptr, nullptr, 1), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(the_slicer.questions, 0);
}

TYPED_TEST(Retrieval, PassesIdAndModeToTheSlicerUnchanged) {
  this->start({"A"});
  const ravo_time_id id = this->at(5, 5);
  this->answer_a(5, 5);
  EXPECT_EQ(this->reader.get_data(&id, &this->entries, -2), 0);
  EXPECT_EQ(the_slicer.asked_id, &id);
  EXPECT_EQ(the_slicer.asked_mode, -2);
  this->answer_a(6, 6);
  EXPECT_EQ(this->reader.get_data(nullptr, &this->entries, 1), 0);
  EXPECT_EQ(the_slicer.asked_id, nullptr);
  EXPECT_EQ(the_slicer.asked_mode, 1);
}

TYPED_TEST(Retrieval, HandsOutCopiesThatOutliveTheSlicersEntry) {
  this->start({"A"});
  const ravo_time_id id = this->at(10, 20, 30);
  auto* given = this->block("A", this->plain, id, "12345678");
  given->sbchdata[3].data = 77;  // only the first slot is the reader's
  this->answer(id, {given});
  ASSERT_EQ(this->get(), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  ASSERT_EQ(this->entries.size(), 1u);
  const auto* got = this->entries[0];
  this->blocks.clear();  // what the slicer handed over is gone
  EXPECT_EQ(got, &this->reader.results[0]->res);
  EXPECT_EQ(got->event_id.event_number, 10u);
  EXPECT_EQ(got->event_id.time.timelow, 30u);
  EXPECT_EQ(got->sbchdata[3].data, 77u);
  EXPECT_EQ(got->sbchdata[0].evhd, reinterpret_cast<std::uint64_t>(&this->reader.results[0]->evhd));
  EXPECT_EQ(got->sbchdata[0].sbhd, reinterpret_cast<std::uint64_t>(&this->reader.results[0]->sbhd));
  EXPECT_EQ(got->sbchdata[0].chhd, reinterpret_cast<std::uint64_t>(this->reader.results[0]->data));
  EXPECT_EQ(got->sbchdata[0].data, got->sbchdata[0].chhd + TypeParam::subhead);
  EXPECT_EQ(this->reader.results[0]->evhd.event_number, 10u);
  EXPECT_STREQ(this->reader.results[0]->sbhd.server, "SERVER");
  EXPECT_STREQ(this->head(got)->chname, "A");
  EXPECT_EQ(this->head(got)->ldata, static_cast<int>(TypeParam::subhead + 8));
  EXPECT_EQ(this->payload(got), "12345678");
  EXPECT_EQ(this->reader.current_event_id.event_number, 10u);
}

TYPED_TEST(Retrieval, EntriesComeInTheOrderOfTheChannels) {
  this->start({"A", "B", "C"});
  const ravo_time_id id = this->at(1, 1);
  this->answer(id, {this->block("C", this->plain, id), this->block("A", this->plain, id)});
  ASSERT_EQ(this->get(), 0);
  ASSERT_EQ(this->entries.size(), 2u);
  EXPECT_STREQ(this->head(this->entries[0])->chname, "A");
  EXPECT_STREQ(this->head(this->entries[1])->chname, "C");
}

TYPED_TEST(Retrieval, ForgetsTheEntriesOfTheLastCall) {
  this->start({"A", "B"});
  this->answer(this->at(1, 1), {this->block("A", this->plain, this->at(1, 1)),
                                this->block("B", this->plain, this->at(1, 1))});
  this->answer(this->at(2, 2), {this->block("B", this->plain, this->at(2, 2))});
  ASSERT_EQ(this->get(), 0);
  EXPECT_EQ(this->entries.size(), 2u);
  ASSERT_EQ(this->get(), 0);
  ASSERT_EQ(this->entries.size(), 1u);
  EXPECT_STREQ(this->head(this->entries[0])->chname, "B");
  EXPECT_EQ(this->reader.results[0]->updated, 0);
  EXPECT_EQ(this->reader.results[1]->updated, 1);
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW);
  EXPECT_TRUE(this->entries.empty());
}

TYPED_TEST(Retrieval, CountsDeliveredAndEmptyEvents) {
  this->start({"A"});
  this->answer_a(1, 1);
  this->answer(this->at(2, 2), {});
  this->answer(this->at(3, 3), {});
  this->answer_a(4, 4);
  ASSERT_EQ(this->get(), 0);
  ASSERT_EQ(this->get(), 0);
  EXPECT_EQ(this->reader.current_event_id.event_number, 4u);
  EXPECT_EQ(this->reader.get_number_of_events(), 2);
  EXPECT_EQ(this->reader.get_number_of_empty_events(), 2);
}

TYPED_TEST(Retrieval, SaysThatAnEventIsEmptyFromDebugLevelOneOn) {
  this->start({"A"});
  this->answer(this->at(2, 2), {});
  EXPECT_EQ(this->output_of_get(0, RAVO_DAQ_READER_OUT_OF_WINDOW), "");
  this->answer(this->at(2, 2), {});
  EXPECT_EQ(this->output_of_get(1, RAVO_DAQ_READER_OUT_OF_WINDOW), "BREAKING HERE 1 mode: 0 \n");
}

TYPED_TEST(Retrieval, ReturnsSomeStatusesOfTheSlicerSilentlyAndStoresNone) {
  for (const int status : {-7, -6, -3, -2}) {
    this->reader.clean_up();
    this->start({"A"});
    this->reader.set_error(RAVO_DAQ_READER_BAD_FILE_FORMAT);
    this->answer_status(status);
    EXPECT_EQ(this->output_of_get(1, status), "");
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
    EXPECT_EQ(this->reader.get_number_of_events(), 0);
  }
}

TYPED_TEST(Retrieval, SaysStoresAndReturnsAnyOtherStatusOfTheSlicer) {
  for (const int status : {-5, -4, -1, 1, 42, -8, -9, -10, -11}) {
    this->reader.clean_up();
    this->start({"A"});
    this->answer_status(status);
    EXPECT_EQ(this->output_of_get(0, status), "Unexpected return code " + std::to_string(status) + "\n");
    EXPECT_STREQ(this->reader.get_last_error(), this->reader.error_i2a(status));
  }
}

TYPED_TEST(Retrieval, TracesSlicerAndWindowFromDebugLevelTwoOn) {
  this->start_with_numbers(2, 0);
  this->answer_a(1, 1);
  this->answer_a(2, 2);
  EXPECT_EQ(this->output_of_get(2, 0),
            "reader.get_data() CUR_RES.SIZE(): 1  STATUS: 0\n"
            "reader.get_data() BELONG: 0\n"
            "reader.get_data() CUR_RES.SIZE(): 1  STATUS: 0\n"
            "reader.get_data() BELONG: 1\n"
            "reader.get_data() FOUND: 1\n"
            "UPDATED A\n");
  this->answer_a(3, 3);
  EXPECT_EQ(this->output_of_get(1, 0), "");
}

TYPED_TEST(Retrieval, TracesEveryComparisonUpToTheMatch) {
  this->start({"A", "B:1", "C"});
  const ravo_time_id id = this->at(1, 1);
  this->answer(id, {this->block("B:1", this->plain, id), this->block("X", this->plain, id)});
  EXPECT_EQ(this->output_of_get(2, 0),
            "reader.get_data() CUR_RES.SIZE(): 2  STATUS: 0\n"
            "reader.get_data() BELONG: 1\n"
            "reader.get_data() FOUND: 0\n"
            "reader.get_data() FOUND: 1\n"
            "UPDATED B:1\n"
            "reader.get_data() FOUND: 0\n"
            "reader.get_data() FOUND: 0\n"
            "reader.get_data() FOUND: 0\n");
}

TYPED_TEST(Retrieval, ReportsTheTimeOfASlowSlicerAtNegativeDebugLevels) {
  this->start({"A"});
  this->answer_a(1, 1);
  the_slicer.answers.back().delay_microseconds = 1500;
  const std::string output = this->output_of_get(-1, 0);
  double milliseconds = 0;
  ASSERT_EQ(std::sscanf(output.c_str(), "slicer_2010->get_data() %lf msec\n", &milliseconds), 1) << output;
  EXPECT_GE(milliseconds, 1.5);
  EXPECT_EQ(output, "slicer_2010->get_data() " + std::to_string(milliseconds) + " msec\n");
  this->answer_a(2, 2);
  the_slicer.answers.back().delay_microseconds = 1500;
  EXPECT_EQ(this->output_of_get(0, 0), "");
}

// ---- the window ----

TYPED_TEST(Retrieval, SkipsEventsBeforeTheStartTimeSilently) {
  const ravo_time_id from = this->at(0, 100, 500);
  this->reader.set_start_point(&from);
  this->start({"A"});
  this->answer_a(1, 100, 499);
  this->answer_a(2, 100, 500);
  EXPECT_EQ(this->output_of_get(0, 0), "");
  EXPECT_EQ(this->reader.current_event_id.event_number, 2u);
  EXPECT_EQ(this->reader.get_number_of_events(), 1);
  EXPECT_EQ(this->reader.get_number_of_empty_events(), 0);
}

TYPED_TEST(Retrieval, SkipsEventsAfterTheStopTime) {
  const ravo_time_id to = this->at(0, 100, 500);
  this->reader.set_stop_point(&to);
  this->add("A");
  ASSERT_EQ(this->reader.start(), 0);
  this->answer_a(1, 100, 500);
  this->answer_a(2, 100, 501);
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW);
}

TYPED_TEST(Retrieval, AnEventNumberAsStartSkipsLowerNumbersInsideTheTimeWindow) {
  const ravo_time_id from = this->at(100, 10);
  this->reader.set_start_point(&from);
  this->start({"A"});
  for (unsigned number = 95; number < 102; ++number) this->answer_a(number, number);
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(this->reader.current_event_id.event_number, 100u);
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(this->reader.current_event_id.event_number, 101u);
}

TYPED_TEST(Retrieval, EventNumbersCountEvenAgainstTheTimes) {
  const ravo_time_id from = this->at(10, 1000), to = this->at(12, 2000);
  this->reader.set_start_point(&from);
  this->reader.set_stop_point(&to);
  this->add("A");
  ASSERT_EQ(this->reader.start(), 0);
  this->answer_a(9, 1500);
  this->answer_a(10, 5);
  this->answer_a(12, 9000);
  this->answer_a(13, 1500);
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(this->reader.current_event_id.event_number, 10u);
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(this->reader.current_event_id.event_number, 12u);
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW);
}

TYPED_TEST(Retrieval, InTimeModeOnlyTheTimesCount) {
  this->reader.set_synch_mode(1);
  const ravo_time_id from = this->at(10, 1000), to = this->at(12, 2000);
  this->reader.set_start_point(&from);
  this->reader.set_stop_point(&to);
  this->add("A");
  ASSERT_EQ(this->reader.start(), 0);
  this->answer_a(11, 999);
  this->answer_a(1, 1000);
  this->answer_a(99, 2000);
  this->answer_a(11, 2001);
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(this->reader.current_event_id.event_number, 1u);
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(this->reader.current_event_id.event_number, 99u);
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW);
}

TYPED_TEST(Retrieval, AnUnknownSynchModeIsAnInternalError) {
  this->start({"A"});
  this->reader.request.synch_mode = 3;
  this->answer_a(1, 1);
  EXPECT_EQ(this->output_of_get(0, RAVO_DAQ_READER_INTERN_ERROR), "Unknown synch mode 3\n");
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
}

TYPED_TEST(Retrieval, TheFirstRegularChannelDecidesTheEventsPlace) {
  this->start_with_numbers(5, 0);
  const ravo_time_id old = this->at(2, 2), now = this->at(5, 5);
  this->answer(now, {this->block("S", this->update, old), this->block("S", this->begin_of_run, old),
                     this->block("S", this->end_of_run, old), this->block("A", this->plain, now),
                     this->block("B", this->plain, old)});
  EXPECT_EQ(this->get(), 0);
}

TYPED_TEST(Retrieval, OnlyTheLowBitsOfATypeCount) {
  this->start_with_numbers(5, 0);
  const ravo_time_id old = this->at(2, 2), now = this->at(5, 5);
  this->answer(now, {this->block("S", (41 << 16) | this->update, old),
                     this->block("A", (45 << 16) | this->plain, now)});
  EXPECT_EQ(this->get(), 0);
}

TYPED_TEST(Retrieval, WithoutARegularChannelTheFirstOneDecidesTheEventsPlace) {
  this->start_with_numbers(5, 0);
  this->answer(this->at(5, 5), {this->block("A", this->update, this->at(2, 2)),
                                this->block("A", this->update, this->at(5, 5))});
  this->answer(this->at(6, 6), {this->block("A", this->update, this->at(6, 6)),
                                this->block("A", this->update, this->at(2, 2))});
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(the_slicer.questions, 2);
}

TYPED_TEST(Retrieval, SaysThatAChannelHasNoHeaderAndPassesItOver) {
  this->start_with_numbers(5, 0);
  auto* bare = this->block("A", this->plain, this->at(1, 1));
  bare->sbchdata[0].chhd = 0;
  this->answer(this->at(5, 5), {bare, this->block("A", this->plain, this->at(5, 5))});
  EXPECT_EQ(this->output_of_get(0, 0), this->class_name + "::get_data() chan_header is NULL\n");
  ASSERT_EQ(this->entries.size(), 1u);
  EXPECT_EQ(this->entries[0]->event_id.event_number, 5u);
}

TYPED_TEST(Retrieval, PassesOverNullElements) {
  this->start({"A"});
  this->answer(this->at(5, 5), {nullptr, this->block("A", this->plain, this->at(5, 5)), nullptr});
  EXPECT_EQ(this->output_of_get(0, 0), "");
  EXPECT_EQ(this->entries.size(), 1u);
}

// ---- matching ----

TYPED_TEST(Retrieval, ASubchannelIsFoundByNameAndNumber) {
  this->start({"CH:3;nick", "CH:4", "CH"});
  const ravo_time_id id = this->at(1, 1);
  this->answer(id,
               {this->block("CH:4", this->plain, id, "four"), this->block("CH", this->plain, id, "all!")});
  ASSERT_EQ(this->get(), 0);
  ASSERT_EQ(this->entries.size(), 2u);
  EXPECT_EQ(this->payload(this->entries[0]), "four");
  EXPECT_EQ(this->payload(this->entries[1]), "all!");
  EXPECT_EQ(this->reader.results[0]->updated, 0);
}

// A plain block of a single channel is never cut, so it keeps the bare name; asking for its subchannel 0
// finds nothing.
TYPED_TEST(Retrieval, ABareNameIsNotTheSubchannelZero) {
  this->start({"CH:0"});
  const ravo_time_id id = this->at(1, 1);
  this->answer(id, {this->block("CH", this->plain, id)});
  EXPECT_EQ(this->get(), 0);
  EXPECT_TRUE(this->entries.empty());
  EXPECT_EQ(this->reader.get_number_of_events(), 1);
  EXPECT_EQ(this->reader.current_event_id.event_number, 1u);
}

TYPED_TEST(Retrieval, OccasionalBlocksAreFoundByTheBareName) {
  for (const int type : {this->update, this->begin_of_run, this->end_of_run}) {
    this->reader.clean_up();
    the_slicer = {};
    this->start({"OTHER", "CH:2", "CH"});
    const ravo_time_id id = this->at(1, 1);
    this->answer(id, {this->block("CH", type, id)});
    ASSERT_EQ(this->get(), 0);
    ASSERT_EQ(this->entries.size(), 1u);
    EXPECT_EQ(this->entries[0], &this->reader.results[1]->res) << "the first channel of the name";
    EXPECT_EQ(this->reader.results[1]->slow, type == this->update ? 1 : 0);
  }
}

TYPED_TEST(Retrieval, AnUnterminatedNameOfABlockEndsWithItsField) {
  const std::string name(TypeParam::block_name - 1, 'n');
  this->start({name.c_str()});
  const ravo_time_id id = this->at(1, 1);
  auto* entry = this->block("x", this->plain, id);
  std::memset(const_cast<char*>(this->head(entry)->chname), 'n', TypeParam::block_name);
  this->answer(id, {entry});
  EXPECT_EQ(this->get(), 0);
  EXPECT_TRUE(this->entries.empty());
}

TYPED_TEST(Retrieval, ALengthThatHoldsNoSubheaderIsNoBlock) {
  this->start({"A"});
  const ravo_time_id id = this->at(1, 1);
  for (const int length : {static_cast<int>(TypeParam::subhead) - 1, 0, -1}) {
    auto* entry = this->block("A", this->plain, id);
    this->blocks.back().block()->ldata = length;
    the_slicer.answers.clear();
    this->answer(id, {entry});
    EXPECT_EQ(this->get(), 0);
    EXPECT_TRUE(this->entries.empty());
    EXPECT_EQ(this->reader.results[0]->data, nullptr);
  }
}

TYPED_TEST(Retrieval, ABlockWithoutPayloadIsHandedOut) {
  this->start({"A"});
  this->answer(this->at(1, 1), {this->block("A", this->plain, this->at(1, 1), "")});
  ASSERT_EQ(this->get(), 0);
  ASSERT_EQ(this->entries.size(), 1u);
  EXPECT_EQ(this->head(this->entries[0])->ldata, static_cast<int>(TypeParam::subhead));
}

// ---- slow channels ----

TYPED_TEST(Retrieval, ASlowChannelStaysWithItsLastValueUntilItIsUpdated) {
  this->start({"SLOW", "A"});
  this->answer(this->at(1, 1), {this->block("SLOW", this->update, this->at(1, 1), "one!"),
                                this->block("A", this->plain, this->at(1, 1))});
  this->answer_a(2, 2);
  this->answer_a(3, 3);
  this->answer(this->at(4, 4), {this->block("SLOW", this->update, this->at(4, 4), "four"),
                                this->block("A", this->plain, this->at(4, 4))});
  this->answer_a(5, 5);
  const char* expected[] = {"one!", "one!", "one!", "four", "four"};
  for (const char* value : expected) {
    ASSERT_EQ(this->get(), 0);
    ASSERT_EQ(this->entries.size(), 2u);
    EXPECT_EQ(this->payload(this->entries[0]), value);
  }
  EXPECT_EQ(this->entries[0]->event_id.event_number, 4u);
  EXPECT_EQ(this->entries[1]->event_id.event_number, 5u);
}

TYPED_TEST(Retrieval, ASlowChannelIsForgottenByCleanUp) {
  this->start({"SLOW", "A"});
  this->answer(this->at(1, 1), {this->block("SLOW", this->update, this->at(1, 1))});
  ASSERT_EQ(this->get(), 0);
  this->reader.clean_up();
  this->start({"SLOW", "A"});
  this->answer_a(2, 2);
  ASSERT_EQ(this->get(), 0);
  EXPECT_EQ(this->entries.size(), 1u);
}

// ---- the end ----

TYPED_TEST(Retrieval, EndsWithoutDataWhenTheSameEventIsRefusedTwiceRunning) {
  this->start_with_numbers(5, 0);
  this->answer_a(3, 3);
  the_slicer.repeats_last_answer = true;
  const ravo_time_id id = this->at(3, 3);
  EXPECT_EQ(this->reader.get_data(&id, &this->entries, 0), RAVO_DAQ_READER_NO_DATA);
  EXPECT_STREQ(this->reader.get_last_error(), "No required data");
  EXPECT_EQ(the_slicer.questions, 2);
  EXPECT_TRUE(this->entries.empty());
}

TYPED_TEST(Retrieval, EndsWithoutDataWhenTheSlicerStaysEmpty) {
  this->start({"A"});
  this->answer({}, {});
  the_slicer.repeats_last_answer = true;
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_NO_DATA);
  EXPECT_STREQ(this->reader.get_last_error(), "No required data");
  EXPECT_EQ(this->reader.get_number_of_empty_events(), 2);
}

TYPED_TEST(Retrieval, EndsWithoutDataWhenTheSlicerGoesRoundInACircle) {
  this->start_with_numbers(1000, 0);
  for (unsigned number = 1; number <= 7; ++number) this->answer_a(number, number);
  this->answer({}, {});
  the_slicer.goes_round = true;
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_NO_DATA);
  EXPECT_LT(the_slicer.questions, 40);
}

TYPED_TEST(Retrieval, ALongWayToTheRequestIsNoCircle) {
  this->start_with_numbers(5000, 0);
  for (unsigned number = 1; number <= 5000; ++number) this->answer_a(number, number);
  EXPECT_EQ(this->get(), 0);
  EXPECT_EQ(this->reader.current_event_id.event_number, 5000u);
}

TYPED_TEST(Retrieval, TheSameEventMayBeAskedForAgain) {
  this->start({"A"});
  this->answer_a(3, 3);
  the_slicer.repeats_last_answer = true;
  const ravo_time_id id = this->at(3, 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(this->reader.get_data(&id, &this->entries, 0), 0);
}

}  // namespace
}  // namespace ravo::test
