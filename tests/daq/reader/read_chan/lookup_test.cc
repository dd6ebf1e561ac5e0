// What a channel reader answers: every request type, by event number and by time, at the limits, with
// gaps, with entries that are awaited or will never come, and against a plain model.
#include <cmath>
#include <cstdlib>
#include <optional>
#include <random>

#include "reading.h"

namespace {

using namespace ravo::test;

constexpr int ok = RAVO_DAQ_READ_CHAN_OK;
constexpr int no_data = RAVO_DAQ_READ_CHAN_NO_DATA;
constexpr int out_of_window = RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW;
constexpr int not_init = RAVO_DAQ_READ_CHAN_NOT_INIT;
constexpr int inv_param = RAVO_DAQ_READ_CHAN_INV_PARAM;

/// Ten events, 100 to 109, at 10 Hz.
template <class generation>
class ChannelReaderLookup : public channel_reader_test<generation> {
 protected:
  using file_type = handmade_file_of<typename generation::layout>;
  using reading = reading_of<generation>;

  void SetUp() override {
    file_type content = this->one_channel_file(10);
    change(content);
    file = std::make_unique<reading>(content);
    reader = file->reader();
    captured_output quiet;
    start_and_wait(*reader);
    wait_until_workers_left(*reader);  // tests change what they read
  }
  virtual void change(file_type&) {}

  ravo_time_id by_number(unsigned number) const { return {number, {0, 0}}; }
  ravo_time_id by_time(unsigned tenths, unsigned microseconds = 0) const {
    return {0, {1700000000 + tenths / 10, tenths % 10 * 100000 + microseconds}};
  }
  void expect(const answer& got, int status, unsigned number) {
    EXPECT_EQ(got.status, status);
    EXPECT_EQ(got.number(), number);
  }

  std::unique_ptr<reading> file;
  std::unique_ptr<typename generation::read_chan> reader;
};
TYPED_TEST_SUITE(ChannelReaderLookup, generations, generation_name);
using CurrentChannelReaderLookup = ChannelReaderLookup<current_generation>;
using OlderChannelReaderLookup = ChannelReaderLookup<older_generation>;

TYPED_TEST(ChannelReaderLookup, FirstAndLastAreTheLimits) {
  this->expect(ask(*this->reader, first), ok, 100);
  this->expect(ask(*this->reader, last), ok, 109);
}

TYPED_TEST(ChannelReaderLookup, FirstWithAnIdLooksThatUp) {
  this->expect(ask(*this->reader, this->by_number(105), first), ok, 105);
}

TYPED_TEST(ChannelReaderLookup, StepsFromTheCurrentEntry) {
  ask(*this->reader, first);
  this->expect(ask(*this->reader, next), ok, 101);
  this->expect(ask(*this->reader, next), ok, 102);
  this->expect(ask(*this->reader, current), ok, 102);
  this->expect(ask(*this->reader, previous), ok, 101);
  this->expect(ask(*this->reader, current), ok, 101);
  if constexpr (requires { this->reader->event_cur; }) {
    EXPECT_EQ(this->reader->event_cur.event_number, 101u);
  }
}

TEST_F(CurrentChannelReaderLookup, StepsFromTheLimitsWithoutACurrentEntry) {
  reader->set_by_time_fix(false);
  expect(ask(*reader, next), ok, 101);
  reader->out_cur = nullptr;
  reader->event_cur = {};
  expect(ask(*reader, previous), ok, 108);
}

// For the check against the numbers a reader that has returned nothing yet has returned number 0: the
// number after that is searched for, and the nearest later one is the first event.
TEST_F(CurrentChannelReaderLookup, TheFirstStepForwardIsComparedWithNumberZero) {
  expect(ask(*reader, next), ok, 100);
  expect(ask(*reader, next), ok, 101);
}

TYPED_TEST(ChannelReaderLookup, CurrentWithoutAnIdAndWithoutAnEntryIsRefused) {
  captured_output output;
  this->expect(ask(*this->reader, current), inv_param, 0);
  EXPECT_EQ(output.stop(), "Start channel is we are here   0@0\n");
}

TYPED_TEST(ChannelReaderLookup, AnEmptyIdIsRefused) {
  captured_output output;
  this->expect(ask(*this->reader, {0, {0, 5}}, next), inv_param, 0);
  EXPECT_EQ(output.stop(), "Start channel is we are here   0@0\n");
}

TYPED_TEST(ChannelReaderLookup, NextFromTheLastEventIsOutOfWindow) {
  this->expect(ask(*this->reader, this->by_number(109), next), out_of_window, 0);
  ask(*this->reader, last);
  this->expect(ask(*this->reader, next), out_of_window, 0);
  this->expect(ask(*this->reader, this->by_time(9), next), out_of_window, 0);
}

TYPED_TEST(ChannelReaderLookup, PreviousFromTheFirstEventIsOutOfWindow) {
  this->expect(ask(*this->reader, this->by_number(100), previous), out_of_window, 0);
  ask(*this->reader, first);
  this->expect(ask(*this->reader, previous), out_of_window, 0);
  this->expect(ask(*this->reader, this->by_time(0), previous), out_of_window, 0);
}

TYPED_TEST(ChannelReaderLookup, CurrentOutsideTheLimitsIsOutOfWindow) {
  this->expect(ask(*this->reader, this->by_number(99), current), out_of_window, 0);
  this->expect(ask(*this->reader, this->by_number(110), current), out_of_window, 0);
  this->expect(ask(*this->reader, {0, {1699999999, 0}}, current), out_of_window, 0);
  this->expect(ask(*this->reader, this->by_time(10), current), out_of_window, 0);
}

TYPED_TEST(ChannelReaderLookup, AStepIntoTheLimitsFromOutsideIsTaken) {
  this->expect(ask(*this->reader, this->by_number(98), next), ok,
               100);  // 99 is not there: the nearest later one
  this->expect(ask(*this->reader, this->by_number(111), previous), ok, 109);
  this->expect(ask(*this->reader, this->by_number(1), previous), out_of_window, 0);
  this->expect(ask(*this->reader, this->by_number(0xfffffffe), next), out_of_window, 0);
}

TYPED_TEST(ChannelReaderLookup, CurrentByTimeIsWithinTheTolerance) {
  this->expect(ask(*this->reader, this->by_time(4, 50000), current), ok, 104);
  this->expect(ask(*this->reader, this->by_time(4, 20000), current), ok, 104);
  this->expect(ask(*this->reader, this->by_time(3, 60000), current), ok, 104);
}

TYPED_TEST(ChannelReaderLookup, BetweenTwoTolerancesThereIsNoData) {
  const time_stamp narrow{0, 10};
  this->reader->set_time_diff(&narrow);
  this->expect(ask(*this->reader, this->by_time(4, 50000), current), no_data, 0);
}

TYPED_TEST(ChannelReaderLookup, RefusesWrongArguments) {
  EXPECT_EQ(this->reader->get_chan_data(nullptr, nullptr, first), inv_param);
  ravo_channel_entry_long* entry = nullptr;
  EXPECT_EQ(this->reader->get_chan_data(nullptr, &entry, 3), inv_param);
  EXPECT_EQ(this->reader->get_chan_data(nullptr, &entry, -3), inv_param);
  EXPECT_EQ(entry, nullptr);
}

TYPED_TEST(ChannelReaderLookup, BeforeStartIsNotInitialised) {
  const auto unstarted = this->file->reader();
  captured_output output;
  this->expect(ask(*unstarted, first), not_init, 0);
  EXPECT_EQ(output.stop(),
            either<TypeParam>("ravo_daq_read_chan_2010:get_chan_data() CHAN  not initialized\n",
                              "ravo_daq_read_chan:get_chan_data() CHAN not initialized\n"));
}

TYPED_TEST(ChannelReaderLookup, ByNumberAnswersWithItsStatuses) {
  int status = 77;
  EXPECT_EQ(this->reader->find_entry_by_event_id(0, current, &status), nullptr);
  EXPECT_EQ(status, inv_param);
  EXPECT_EQ(this->reader->find_entry_by_event_id(105, current, &status), this->reader->out + 5);
  EXPECT_EQ(status, ok);
  if constexpr (requires { this->reader->index_to_start_search; }) {
    EXPECT_EQ(this->reader->index_to_start_search, 5);
  }
  EXPECT_EQ(this->reader->out_cur, this->reader->out + 5);
  EXPECT_EQ(this->reader->find_entry_by_event_id(200, current, &status), nullptr);
  EXPECT_EQ(status, no_data);
  if constexpr (requires { this->reader->index_to_start_search; }) {
    EXPECT_EQ(this->reader->index_to_start_search, -1);
  }
  EXPECT_EQ(this->reader->find_entry_by_event_id(200, next, &status), nullptr);
  EXPECT_EQ(status, no_data);
  EXPECT_EQ(this->reader->find_entry_by_event_id(200, previous, &status), this->reader->out + 9);
  EXPECT_EQ(status, ok);
  EXPECT_EQ(this->reader->find_entry_by_event_id(105, current, nullptr), this->reader->out + 5);
  typename TestFixture::read_chan none(nullptr, nullptr, -1, nullptr);
  EXPECT_EQ(none.find_entry_by_event_id(5, current, &status), nullptr);
  EXPECT_EQ(status, not_init);
}

TYPED_TEST(ChannelReaderLookup, ByTimeAnswersWithItsStatuses) {
  int status = 77;
  const time_stamp fifth = this->by_time(5).time;
  EXPECT_EQ(this->reader->find_entry_by_time(nullptr, current, &status), nullptr);
  EXPECT_EQ(status, inv_param);
  EXPECT_EQ(this->reader->find_entry_by_time(&fifth, current, &status), this->reader->out + 5);
  EXPECT_EQ(status, ok);
  EXPECT_EQ(this->reader->out_cur, this->reader->out + 5);
  if constexpr (requires { this->reader->index_to_start_search; }) {
    EXPECT_EQ(this->reader->index_to_start_search, -1);  // not touched
  }
  const time_stamp later{1800000000, 0};
  EXPECT_EQ(this->reader->find_entry_by_time(&later, next, &status), nullptr);
  EXPECT_EQ(status, no_data);
  EXPECT_EQ(this->reader->find_entry_by_time(&later, previous, &status), this->reader->out + 9);
  EXPECT_EQ(status, ok);
  typename TestFixture::read_chan none(nullptr, nullptr, -1, nullptr);
  EXPECT_EQ(none.find_entry_by_time(&fifth, current, &status), nullptr);
  EXPECT_EQ(status, not_init);
}

TEST_F(CurrentChannelReaderLookup, PrintsAllEntriesOnceWhenAskedTo) {
  ravo_daq_read_chan_2010::once = true;
  captured_output output;
  reader->find_entry_by_event_id(105, current, nullptr);
  reader->find_entry_by_event_id(105, current, nullptr);
  const std::string text = output.stop();
  EXPECT_THAT(text, testing::StartsWith("[0] 100\t1700000000:0\n[1] 101\t1700000000:100000\n"));
  EXPECT_THAT(text, testing::EndsWith("[9] 109\t1700000000:900000\n"));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 10);
}

TEST_F(OlderChannelReaderLookup, PrintsNothing) {
  wait_until_workers_left(*reader);  // each reports its time at this debug level
  file->loader.debug = -1;
  captured_output output;
  EXPECT_EQ(reader->find_entry_by_event_id(105, current, nullptr), reader->out + 5);
  EXPECT_EQ(output.stop(), "");
}

TEST_F(OlderChannelReaderLookup, StepsFromTheLimitsWithoutACurrentEntry) {
  expect(ask(*reader, next), ok, 101);  // not checked against any number
  reader->out_cur = nullptr;
  expect(ask(*reader, previous), ok, 108);
}

// ---- events at 50.000000 s sharp: the borrow of a step back ----

TYPED_TEST(ChannelReaderLookup, ABackwardStepBorrowsASecond) {
  // From x.100000 minus 0.100000: one second less and 1000000 microseconds, which is the same as x.000000.
  this->expect(ask(*this->reader, this->by_time(1), previous), ok, 100);
  // From x.000000 minus 0.100000: (x-1).900000.
  this->expect(ask(*this->reader, this->by_time(10), previous), ok, 109);
}

// ---- a last event whose microseconds are as many as a word can hold ----

template <class generation>
class ChannelReaderWithEndlessMicroseconds : public ChannelReaderLookup<generation> {
 protected:
  void change(handmade_file_of<typename generation::layout>& content) override {
    content.events[9].microseconds = 0xffffffff;
  }
};
TYPED_TEST_SUITE(ChannelReaderWithEndlessMicroseconds, generations, generation_name);

// The sum of time and step used to wrap, and the step led back to the event that it came from, for ever.
TYPED_TEST(ChannelReaderWithEndlessMicroseconds, AStepForwardFromItLeavesTheFile) {
  this->expect(ask(*this->reader, last), ok, 109);
  this->expect(ask(*this->reader, next), out_of_window, 0);
  this->expect(ask(*this->reader, ravo_time_id{0, {1700000000, 0xffffffff}}, next), out_of_window, 0);
}

// ---- a channel with a gap: 100 to 104, 108, 109 ----

template <class generation>
class ChannelReaderWithGap : public ChannelReaderLookup<generation> {
 protected:
  void change(handmade_file_of<typename generation::layout>& content) override {
    auto& blocks = content.channels[0].blocks;
    blocks.erase(blocks.begin() + 5, blocks.begin() + 8);
  }
};
TYPED_TEST_SUITE(ChannelReaderWithGap, generations, generation_name);

TYPED_TEST(ChannelReaderWithGap, AStepByNumberFallsBackToTheNearest) {
  this->expect(ask(*this->reader, this->by_number(104), next), ok, 108);
  this->expect(ask(*this->reader, this->by_number(108), previous), ok, 104);
  this->expect(ask(*this->reader, this->by_number(106), current), no_data, 0);
}

TYPED_TEST(ChannelReaderWithGap, AStepByTimeFallsBackToTheNearest) {
  ask(*this->reader, this->by_number(104), current);
  this->expect(ask(*this->reader, this->by_time(4), next), ok, 108);
  this->expect(ask(*this->reader, this->by_time(8), previous), ok, 104);
  this->expect(ask(*this->reader, this->by_time(6), current), no_data, 0);
}

TYPED_TEST(ChannelReaderWithGap, AMissLeavesTheCurrentEntry) {
  ask(*this->reader, first);
  ask(*this->reader, this->by_number(106), current);
  this->expect(ask(*this->reader, current), ok, 100);
}

// ---- the check of steps by time against event numbers ----

/// Events 100, 101, 102, 103 of which 101 has a time far too late: after 102 and 103.
template <class generation>
class ChannelReaderWithAWrongTime : public ChannelReaderLookup<generation> {
 protected:
  void change(handmade_file_of<typename generation::layout>& content) override {
    content.events[1].microseconds = 950000;
  }
};
TYPED_TEST_SUITE(ChannelReaderWithAWrongTime, generations, generation_name);
using CurrentChannelReaderWithAWrongTime = ChannelReaderWithAWrongTime<current_generation>;
using OlderChannelReaderWithAWrongTime = ChannelReaderWithAWrongTime<older_generation>;

TEST_F(CurrentChannelReaderWithAWrongTime, AStepByTimeIsCheckedAgainstTheNumbers) {
  ask(*reader, first);
  // By time the next event is 102; by number it is 101.
  file->loader.debug = 1;
  captured_output output;
  expect(ask(*reader, next), ok, 101);
  EXPECT_EQ(output.stop(), "Double check instead of time -> by EvID\n");
}

TEST_F(CurrentChannelReaderWithAWrongTime, WithoutTheFixAStepByTimeIsTakenAsItIs) {
  reader->set_by_time_fix(false);
  ask(*reader, first);
  expect(ask(*reader, next), ok, 102);
}

TEST_F(CurrentChannelReaderWithAWrongTime, TheCheckIsSilentWithoutDebugging) {
  ask(*reader, first);
  captured_output output;
  expect(ask(*reader, next), ok, 101);
  EXPECT_EQ(output.stop(), "");
}

TEST_F(OlderChannelReaderWithAWrongTime, AStepByTimeIsTakenAsItIs) {
  ask(*reader, first);
  file->loader.debug = 1;
  captured_output output;
  expect(ask(*reader, next), ok, 102);
  EXPECT_EQ(output.stop(), "");
}

TYPED_TEST(ChannelReaderWithAWrongTime, OtherTypesAreNotCheckedAgainstTheNumbers) {
  ask(*this->reader, first);
  this->expect(ask(*this->reader, this->by_time(9, 50000), current), ok, 109);
}

TEST_F(CurrentChannelReaderLookup, WhenTheNumberFindsNothingTheTimeStaysWithTheOthersStatus) {
  ask(*reader, last);                   // event 109 is the current one
  reader->event_cur.event_number = 90;  // but the one returned last was far away: 90 + 1 is not there
  expect(ask(*reader, by_time(3), next), ok, 100);  // the nearest later number wins
  reader->event_cur.event_number = 300;
  expect(ask(*reader, by_time(3), previous), ok, 109);
  reader->event_cur.event_number = 100;
  // 100 - 1 lies before the first event: the entry found by time is returned with that status.
  reader->event_cur.event_number = 0;
  reader->event_step.event_number = 500;
  const answer got = ask(*reader, by_time(3), next);
  EXPECT_EQ(got.status, out_of_window);
  EXPECT_EQ(got.number(), 104u);
}

// ---- awaited entries, and entries that never come ----

constexpr unsigned undecoded = 0xFFFFFFFF;

/// An output array filled by hand: number 0xFFFFFFFF marks an entry that is not decoded.
template <class generation>
class array_reader_of {
 public:
  explicit array_reader_of(std::initializer_list<unsigned> numbers)
      : reader_(nullptr, nullptr, -1, nullptr) {
    reader_.out = static_cast<ravo_channel_entry_long*>(std::calloc(numbers.size(), sizeof *reader_.out));
    for (const unsigned number : numbers) {
      ravo_time_id& id = reader_.out[reader_.out_total++].event_id;
      id.event_number = number;
      if (number != undecoded) id.time = {1000 + number, 0};
    }
    const time_stamp tolerance{0, 50000};
    reader_.set_time_diff(&tolerance);
  }
  ~array_reader_of() { reader_.running = 0; }

  typename generation::read_chan* operator->() { return &reader_; }

 private:
  typename generation::read_chan reader_;
};

template <class generation>
class ChannelReaderEntries : public channel_reader_test<generation> {
 protected:
  using array_reader = array_reader_of<generation>;
};
TYPED_TEST_SUITE(ChannelReaderEntries, generations, generation_name);
using CurrentChannelReaderEntries = ChannelReaderEntries<current_generation>;

TYPED_TEST(ChannelReaderEntries, AnAwaitedEntryEndsTheScan) {
  typename TestFixture::array_reader reader{9, 8, undecoded, 3};
  reader->running = 1;
  int status = 0;
  reader->out_cur = reader->out;
  const time_stamp third{1003, 0};
  for (const int type : {first, previous, current, next, last}) {
    // Even a step, which would find 8 and 9: nothing is known about entries that are still awaited.
    EXPECT_EQ(reader->find_entry_by_event_id(3, type, &status), nullptr);
    EXPECT_EQ(status, no_data);
    EXPECT_EQ(reader->find_entry_by_event_id(5, type, &status), nullptr);
    EXPECT_EQ(status, no_data);
    EXPECT_EQ(reader->find_entry_by_time(&third, type, &status), nullptr);
    EXPECT_EQ(status, no_data);
  }
  EXPECT_EQ(reader->out_cur, reader->out);  // a miss leaves it
}

TYPED_TEST(ChannelReaderEntries, NothingDecodedYetIsNoDataForEveryType) {
  typename TestFixture::array_reader reader{undecoded, undecoded};
  reader->running = 1;
  const time_stamp time{1003, 0};
  for (const int type : {first, previous, current, next, last}) {
    int status = 0;
    EXPECT_EQ(reader->find_entry_by_event_id(3, type, &status), nullptr);
    EXPECT_EQ(status, no_data);
    EXPECT_EQ(reader->find_entry_by_time(&time, type, &status), nullptr);
    EXPECT_EQ(status, no_data);
  }
}

TYPED_TEST(ChannelReaderEntries, TheMarkIsNotAMatchForAnyEvent) {
  typename TestFixture::array_reader reader{1, undecoded};
  int status = 0;
  EXPECT_EQ(reader->find_entry_by_event_id(undecoded, current, &status), nullptr);
  EXPECT_EQ(status, no_data);
}

TYPED_TEST(ChannelReaderEntries, OnesThatNeverComeArePassedOver) {
  typename TestFixture::array_reader reader{1, 2, undecoded, 4, undecoded, undecoded, 7, undecoded};
  int status = 0;
  for (const int index : {0, 1, 3, 6}) {
    const unsigned number = static_cast<unsigned>(index) + 1;
    EXPECT_EQ(reader->find_entry_by_event_id(number, current, &status), reader->out + index);
    EXPECT_EQ(status, ok);
    const time_stamp time{1000 + number, 0};
    EXPECT_EQ(reader->find_entry_by_time(&time, current, &status), reader->out + index);
  }
  EXPECT_EQ(reader->find_entry_by_event_id(5, current, &status), nullptr);
  EXPECT_EQ(status, no_data);
  EXPECT_EQ(reader->find_entry_by_event_id(5, next, &status), reader->out + 6);
  EXPECT_EQ(status, ok);
  EXPECT_EQ(reader->find_entry_by_event_id(6, previous, &status), reader->out + 3);
  const time_stamp fifth{1005, 0};
  EXPECT_EQ(reader->find_entry_by_time(&fifth, next, &status), reader->out + 6);
  EXPECT_EQ(reader->find_entry_by_time(&fifth, previous, &status), reader->out + 3);
  // Their time of 0 is not before everything else.
  const time_stamp early{500, 0};
  EXPECT_EQ(reader->find_entry_by_time(&early, previous, &status), nullptr);
  EXPECT_EQ(status, no_data);
}

TYPED_TEST(ChannelReaderEntries, AreFoundAlsoOutOfOrder) {
  typename TestFixture::array_reader reader{5, 4, 3, 2, 1};
  for (unsigned number = 1; number <= 5; ++number) {
    EXPECT_EQ(reader->find_entry_by_event_id(number, current, nullptr), reader->out + (5 - number));
    const time_stamp time{1000 + number, 0};
    EXPECT_EQ(reader->find_entry_by_time(&time, current, nullptr), reader->out + (5 - number));
  }
}

TYPED_TEST(ChannelReaderEntries, WithoutATimeEndALookupByTime) {
  typename TestFixture::array_reader reader{1, 2, 3};
  reader->out[0].event_id.time = {0, 0};
  const time_stamp third{1009, 0};
  int status = 0;
  EXPECT_EQ(reader->find_entry_by_time(&third, previous, &status), nullptr);
  EXPECT_EQ(status, no_data);
  reader->out[0].event_id.time = {1001, 0};
  reader->out[1].event_id.time = {0, 0};  // in the middle of the binary search
  EXPECT_EQ(reader->find_entry_by_time(&third, previous, &status), nullptr);
  EXPECT_EQ(status, no_data);
}

TYPED_TEST(ChannelReaderEntries, WithNumberZeroAreNotTheNearest) {
  typename TestFixture::array_reader reader{7, 0, 5};
  EXPECT_EQ(reader->find_entry_by_event_id(3, previous, nullptr), nullptr);
  EXPECT_EQ(reader->find_entry_by_event_id(3, next, nullptr), reader->out + 2);
}

TEST_F(CurrentChannelReaderEntries, ALongLookupReportsItsTimeAtNegativeDebugLevels) {
  loader_type loader(0);
  loader.debug = -1;
  read_chan reader(nullptr, nullptr, -1, nullptr);
  reader.cfg = &loader;
  // So many entries that checking each takes more than a millisecond on any machine: their pages have
  // to come first.
  constexpr std::size_t count = 400000;
  reader.out = static_cast<ravo_channel_entry_long*>(std::calloc(count, sizeof *reader.out));
  reader.out_total = static_cast<int>(count);
  captured_output output;
  EXPECT_EQ(reader.find_entry_by_event_id(5, current, nullptr), nullptr);
  EXPECT_THAT(output.stop(), testing::ContainsRegex("^get_by_event_id\\(\\)  [0-9.]+ msec event_id:5\n$"));
}

// ---- against a plain model ----

struct model {
  std::vector<ravo_time_id> events;  ///< in file order
  double tolerance;

  static double microseconds(const time_stamp& time) { return time.timeup * 1e6 + time.timelow; }
  std::optional<unsigned> number_after(unsigned n) const {
    std::optional<unsigned> best;
    for (const auto& event : events)
      if (event.event_number >= n && (!best || event.event_number < *best)) best = event.event_number;
    return best;
  }
  std::optional<unsigned> number_before(unsigned n) const {
    std::optional<unsigned> best;
    for (const auto& event : events)
      if (event.event_number <= n && (!best || event.event_number > *best)) best = event.event_number;
    return best;
  }
  bool has_number(unsigned n) const { return number_after(n) == n; }
};

template <class generation>
class ChannelReaderModel : public channel_reader_test<generation> {};
TYPED_TEST_SUITE(ChannelReaderModel, generations, generation_name);

TYPED_TEST(ChannelReaderModel, EveryStepByNumberAgrees) {
  std::mt19937 random(5);
  for (int round = 0; round < 30; ++round) {
    typename TestFixture::file_type content;
    handmade_channel channel("CHAN");
    model truth;
    unsigned number = 1000;
    double time = 1.7e15;
    const unsigned count = 1 + static_cast<unsigned>(random() % 40);
    for (unsigned i = 0; i < count; ++i) {
      number += 1 + static_cast<unsigned>(random() % 4);
      time += 100000.0 * (1 + static_cast<double>(random() % 3));
      const auto seconds = static_cast<std::uint32_t>(time / 1e6);
      const auto rest = static_cast<std::uint32_t>(std::fmod(time, 1e6));
      content.events.push_back({number, seconds, rest});
      truth.events.push_back({number, {seconds, rest}});
      channel.blocks.push_back(this->scalar(i, 1));
    }
    content.channels.push_back(channel);
    typename TestFixture::reading file(content);
    const auto reader = file.reader();
    ASSERT_EQ(start_and_wait(*reader), 0);
    const unsigned low = truth.events.front().event_number;
    const unsigned high = truth.events.back().event_number;
    for (unsigned n = low - 3; n <= high + 3; ++n) {
      const answer at = ask(*reader, {n, {0, 0}}, current);
      if (n < low || n > high)
        EXPECT_EQ(at.status, out_of_window);
      else
        EXPECT_EQ(at.status, truth.has_number(n) ? ok : no_data);
      EXPECT_EQ(at.number(), truth.has_number(n) ? n : 0);

      const answer after = ask(*reader, {n, {0, 0}}, next);
      EXPECT_EQ(after.status, n + 1 > high ? out_of_window : ok);
      EXPECT_EQ(after.number(), n + 1 > high ? 0 : truth.number_after(n + 1).value());

      const answer before = ask(*reader, {n, {0, 0}}, previous);
      EXPECT_EQ(before.status, n - 1 < low ? out_of_window : ok);
      EXPECT_EQ(before.number(), n - 1 < low ? 0 : truth.number_before(n - 1).value());
    }
  }
}

TYPED_TEST(ChannelReaderModel, EveryLookupByTimeAgrees) {
  std::mt19937 random(9);
  for (int round = 0; round < 30; ++round) {
    typename TestFixture::file_type content;
    handmade_channel channel("CHAN");
    std::vector<double> times;
    double time = 1.7e15;
    const unsigned count = 1 + static_cast<unsigned>(random() % 30);
    for (unsigned i = 0; i < count; ++i) {
      time += 100000.0 * (1 + static_cast<double>(random() % 3)) + static_cast<double>(random() % 2000);
      times.push_back(time);
      content.events.push_back({i + 1, static_cast<std::uint32_t>(time / 1e6),
                                static_cast<std::uint32_t>(std::fmod(time, 1e6))});
      channel.blocks.push_back(this->scalar(i, 1));
    }
    content.channels.push_back(channel);
    typename TestFixture::reading file(content);
    const auto reader = file.reader();
    ASSERT_EQ(start_and_wait(*reader), 0);
    const double tolerance = 20000;  // less than half the smallest distance: at most one event is within
    const time_stamp difference{0, 20000};
    reader->set_time_diff(&difference);
    for (double t = times.front() - 150000; t < times.back() + 150000; t += 7001) {
      const time_stamp asked{static_cast<std::uint32_t>(t / 1e6),
                             static_cast<std::uint32_t>(std::fmod(t, 1e6))};
      const double exact = model::microseconds(asked);
      int within = -1;
      int after = -1;
      int before = -1;
      for (int i = 0; i < static_cast<int>(count); ++i) {
        const double distance = times[static_cast<std::size_t>(i)] - exact;
        if (std::abs(std::floor(times[static_cast<std::size_t>(i)]) - exact) <= tolerance) within = i;
        if (distance > tolerance && after < 0) after = i;
        if (distance < -tolerance) before = i;
      }
      for (const auto& [type, other] : {std::pair{current, -1}, {next, after}, {previous, before}}) {
        int status = 0;
        const ravo_channel_entry_long* found = reader->find_entry_by_time(&asked, type, &status);
        const int expected = within >= 0 ? within : other;
        EXPECT_EQ(found == nullptr ? -1 : found - reader->out, expected);
        EXPECT_EQ(status, expected < 0 ? no_data : ok);
      }
    }
  }
}

}  // namespace
