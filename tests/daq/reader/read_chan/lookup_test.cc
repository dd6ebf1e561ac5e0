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
class ChannelReaderLookup : public testing::Test {
 protected:
  void SetUp() override {
    handmade_file content = one_channel_file(10);
    change(content);
    file = std::make_unique<reading>(content);
    reader = file->reader();
    captured_output quiet;
    start_and_wait(*reader);
  }
  virtual void change(handmade_file&) {}

  ravo_time_id by_number(unsigned number) const { return {number, {0, 0}}; }
  ravo_time_id by_time(unsigned tenths, unsigned microseconds = 0) const {
    return {0, {1700000000 + tenths / 10, tenths % 10 * 100000 + microseconds}};
  }
  void expect(const answer& got, int status, unsigned number) {
    EXPECT_EQ(got.status, status);
    EXPECT_EQ(got.number(), number);
  }

  std::unique_ptr<reading> file;
  std::unique_ptr<ravo_daq_read_chan_2010> reader;
};

TEST_F(ChannelReaderLookup, FirstAndLastAreTheLimits) {
  expect(ask(*reader, first), ok, 100);
  expect(ask(*reader, last), ok, 109);
}

TEST_F(ChannelReaderLookup, FirstWithAnIdLooksThatUp) { expect(ask(*reader, by_number(105), first), ok, 105); }

TEST_F(ChannelReaderLookup, StepsFromTheCurrentEntry) {
  ask(*reader, first);
  expect(ask(*reader, next), ok, 101);
  expect(ask(*reader, next), ok, 102);
  expect(ask(*reader, current), ok, 102);
  expect(ask(*reader, previous), ok, 101);
  expect(ask(*reader, current), ok, 101);
  EXPECT_EQ(reader->event_cur.event_number, 101u);
}

TEST_F(ChannelReaderLookup, StepsFromTheLimitsWithoutACurrentEntry) {
  reader->set_by_time_fix(false);
  expect(ask(*reader, next), ok, 101);
  reader->out_cur = nullptr;
  reader->event_cur = {};
  expect(ask(*reader, previous), ok, 108);
}

// Held against the numbers, a reader that has returned nothing yet has returned number 0: the number after
// that is looked for, and the nearest later one is the first event.
TEST_F(ChannelReaderLookup, TheFirstStepForwardIsHeldAgainstNumberZero) {
  expect(ask(*reader, next), ok, 100);
  expect(ask(*reader, next), ok, 101);
}

TEST_F(ChannelReaderLookup, CurrentWithoutAnIdAndWithoutAnEntryIsRefused) {
  captured_output output;
  expect(ask(*reader, current), inv_param, 0);
  EXPECT_EQ(output.stop(), "Start channel is we are here   0@0\n");
}

TEST_F(ChannelReaderLookup, AnEmptyIdIsRefused) {
  captured_output output;
  expect(ask(*reader, {0, {0, 5}}, next), inv_param, 0);
  EXPECT_EQ(output.stop(), "Start channel is we are here   0@0\n");
}

TEST_F(ChannelReaderLookup, NextFromTheLastEventIsOutOfWindow) {
  expect(ask(*reader, by_number(109), next), out_of_window, 0);
  ask(*reader, last);
  expect(ask(*reader, next), out_of_window, 0);
  expect(ask(*reader, by_time(9), next), out_of_window, 0);
}

TEST_F(ChannelReaderLookup, PreviousFromTheFirstEventIsOutOfWindow) {
  expect(ask(*reader, by_number(100), previous), out_of_window, 0);
  ask(*reader, first);
  expect(ask(*reader, previous), out_of_window, 0);
  expect(ask(*reader, by_time(0), previous), out_of_window, 0);
}

TEST_F(ChannelReaderLookup, CurrentOutsideTheLimitsIsOutOfWindow) {
  expect(ask(*reader, by_number(99), current), out_of_window, 0);
  expect(ask(*reader, by_number(110), current), out_of_window, 0);
  expect(ask(*reader, {0, {1699999999, 0}}, current), out_of_window, 0);
  expect(ask(*reader, by_time(10), current), out_of_window, 0);
}

TEST_F(ChannelReaderLookup, AStepIntoTheLimitsFromOutsideIsTaken) {
  expect(ask(*reader, by_number(98), next), ok, 100);       // 99 is not there: the nearest later one
  expect(ask(*reader, by_number(111), previous), ok, 109);
  expect(ask(*reader, by_number(1), previous), out_of_window, 0);
  expect(ask(*reader, by_number(0xfffffffe), next), out_of_window, 0);
}

TEST_F(ChannelReaderLookup, CurrentByTimeIsWithinTheTolerance) {
  expect(ask(*reader, by_time(4, 50000), current), ok, 104);
  expect(ask(*reader, by_time(4, 20000), current), ok, 104);
  expect(ask(*reader, by_time(3, 60000), current), ok, 104);
}

TEST_F(ChannelReaderLookup, BetweenTwoTolerancesThereIsNoData) {
  const time_stamp narrow{0, 10};
  reader->set_time_diff(&narrow);
  expect(ask(*reader, by_time(4, 50000), current), no_data, 0);
}

TEST_F(ChannelReaderLookup, RefusesWrongArguments) {
  EXPECT_EQ(reader->get_chan_data(nullptr, nullptr, first), inv_param);
  ravo_channel_entry_long* entry = nullptr;
  EXPECT_EQ(reader->get_chan_data(nullptr, &entry, 3), inv_param);
  EXPECT_EQ(reader->get_chan_data(nullptr, &entry, -3), inv_param);
  EXPECT_EQ(entry, nullptr);
}

TEST_F(ChannelReaderLookup, BeforeStartIsNotInitialised) {
  const auto unstarted = file->reader();
  captured_output output;
  expect(ask(*unstarted, first), not_init, 0);
  EXPECT_EQ(output.stop(), "ravo_daq_read_chan_2010:get_chan_data() CHAN  not initialized\n");
}

TEST_F(ChannelReaderLookup, ByNumberAnswersWithItsStatuses) {
  int status = 77;
  EXPECT_EQ(reader->find_entry_by_event_id(0, current, &status), nullptr);
  EXPECT_EQ(status, inv_param);
  EXPECT_EQ(reader->find_entry_by_event_id(105, current, &status), reader->out + 5);
  EXPECT_EQ(status, ok);
  EXPECT_EQ(reader->index_to_start_search, 5);
  EXPECT_EQ(reader->out_cur, reader->out + 5);
  EXPECT_EQ(reader->find_entry_by_event_id(200, current, &status), nullptr);
  EXPECT_EQ(status, no_data);
  EXPECT_EQ(reader->index_to_start_search, -1);
  EXPECT_EQ(reader->find_entry_by_event_id(200, next, &status), nullptr);
  EXPECT_EQ(status, no_data);
  EXPECT_EQ(reader->find_entry_by_event_id(200, previous, &status), reader->out + 9);
  EXPECT_EQ(status, ok);
  EXPECT_EQ(reader->find_entry_by_event_id(105, current, nullptr), reader->out + 5);
  ravo_daq_read_chan_2010 none(nullptr, nullptr, -1, nullptr);
  EXPECT_EQ(none.find_entry_by_event_id(5, current, &status), nullptr);
  EXPECT_EQ(status, not_init);
}

TEST_F(ChannelReaderLookup, ByTimeAnswersWithItsStatuses) {
  int status = 77;
  const time_stamp fifth = by_time(5).time;
  EXPECT_EQ(reader->find_entry_by_time(nullptr, current, &status), nullptr);
  EXPECT_EQ(status, inv_param);
  EXPECT_EQ(reader->find_entry_by_time(&fifth, current, &status), reader->out + 5);
  EXPECT_EQ(status, ok);
  EXPECT_EQ(reader->out_cur, reader->out + 5);
  EXPECT_EQ(reader->index_to_start_search, -1);  // not touched
  const time_stamp later{1800000000, 0};
  EXPECT_EQ(reader->find_entry_by_time(&later, next, &status), nullptr);
  EXPECT_EQ(status, no_data);
  EXPECT_EQ(reader->find_entry_by_time(&later, previous, &status), reader->out + 9);
  EXPECT_EQ(status, ok);
  ravo_daq_read_chan_2010 none(nullptr, nullptr, -1, nullptr);
  EXPECT_EQ(none.find_entry_by_time(&fifth, current, &status), nullptr);
  EXPECT_EQ(status, not_init);
}

TEST_F(ChannelReaderLookup, PrintsAllEntriesOnceWhenToldTo) {
  ravo_daq_read_chan_2010::once = true;
  captured_output output;
  reader->find_entry_by_event_id(105, current, nullptr);
  reader->find_entry_by_event_id(105, current, nullptr);
  const std::string text = output.stop();
  EXPECT_THAT(text, testing::StartsWith("[0] 100\t1700000000:0\n[1] 101\t1700000000:100000\n"));
  EXPECT_THAT(text, testing::EndsWith("[9] 109\t1700000000:900000\n"));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 10);
}

// ---- events at 50.000000 s sharp: the borrow of a step back ----

TEST_F(ChannelReaderLookup, ABackwardStepBorrowsASecond) {
  // From x.100000 minus 0.100000: one second less and 1000000 microseconds, which is the same as x.000000.
  expect(ask(*reader, by_time(1), previous), ok, 100);
  // From x.000000 minus 0.100000: (x-1).900000.
  expect(ask(*reader, by_time(10), previous), ok, 109);
}

// ---- a channel with a gap: 100 to 104, 108, 109 ----

class ChannelReaderWithGap : public ChannelReaderLookup {
 protected:
  void change(handmade_file& content) override {
    auto& blocks = content.channels[0].blocks;
    blocks.erase(blocks.begin() + 5, blocks.begin() + 8);
  }
};

TEST_F(ChannelReaderWithGap, AStepByNumberFallsBackToTheNearest) {
  expect(ask(*reader, by_number(104), next), ok, 108);
  expect(ask(*reader, by_number(108), previous), ok, 104);
  expect(ask(*reader, by_number(106), current), no_data, 0);
}

TEST_F(ChannelReaderWithGap, AStepByTimeFallsBackToTheNearest) {
  ask(*reader, by_number(104), current);
  expect(ask(*reader, by_time(4), next), ok, 108);
  expect(ask(*reader, by_time(8), previous), ok, 104);
  expect(ask(*reader, by_time(6), current), no_data, 0);
}

TEST_F(ChannelReaderWithGap, AMissLeavesTheCurrentEntry) {
  ask(*reader, first);
  ask(*reader, by_number(106), current);
  expect(ask(*reader, current), ok, 100);
}

// ---- the check of steps by time against event numbers ----

/// Events 100, 101, 102, 103 of which 101 has a time far too late: after 102 and 103.
class ChannelReaderWithAWrongTime : public ChannelReaderLookup {
 protected:
  void change(handmade_file& content) override {
    content.events[1].microseconds = 950000;
  }
};

TEST_F(ChannelReaderWithAWrongTime, AStepByTimeIsHeldAgainstTheNumbers) {
  ask(*reader, first);
  // By time the next event is 102; by number it is 101.
  file->loader.debug = 1;
  captured_output output;
  expect(ask(*reader, next), ok, 101);
  EXPECT_EQ(output.stop(), "Double check instead of time -> by EvID\n");
}

TEST_F(ChannelReaderWithAWrongTime, WithoutTheFixAStepByTimeIsTakenAsItIs) {
  reader->set_by_time_fix(false);
  ask(*reader, first);
  expect(ask(*reader, next), ok, 102);
}

TEST_F(ChannelReaderWithAWrongTime, TheCheckIsSilentWithoutDebugging) {
  ask(*reader, first);
  captured_output output;
  expect(ask(*reader, next), ok, 101);
  EXPECT_EQ(output.stop(), "");
}

TEST_F(ChannelReaderWithAWrongTime, OtherTypesAreNotHeldAgainstTheNumbers) {
  ask(*reader, first);
  expect(ask(*reader, by_time(9, 50000), current), ok, 109);
}

TEST_F(ChannelReaderLookup, WhenTheNumberFindsNothingTheTimeStaysWithTheOthersStatus) {
  ask(*reader, last);             // event 109 is the current one
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

/// An output array filled by hand: number 0xFFFFFFFF marks an entry that is not decoded.
class array_reader {
 public:
  explicit array_reader(std::initializer_list<unsigned> numbers) : reader_(nullptr, nullptr, -1, nullptr) {
    reader_.out = static_cast<ravo_channel_entry_long*>(std::calloc(numbers.size(), sizeof *reader_.out));
    for (const unsigned number : numbers) {
      ravo_time_id& id = reader_.out[reader_.out_total++].event_id;
      id.event_number = number;
      if (number != undecoded) id.time = {1000 + number, 0};
    }
    const time_stamp tolerance{0, 50000};
    reader_.set_time_diff(&tolerance);
  }
  ~array_reader() { reader_.running = 0; }

  static constexpr unsigned undecoded = 0xFFFFFFFF;
  ravo_daq_read_chan_2010* operator->() { return &reader_; }

 private:
  ravo_daq_read_chan_2010 reader_;
};
constexpr unsigned undecoded = array_reader::undecoded;

TEST(ChannelReaderEntries, AnAwaitedEntryEndsTheScan) {
  array_reader reader{9, 8, undecoded, 3};
  reader->running = 1;
  int status = 0;
  reader->out_cur = reader->out;
  const time_stamp third{1003, 0};
  for (const int type : {first, previous, current, next, last}) {
    // Also a step, which would find 8 and 9: nothing is known of what is still awaited.
    EXPECT_EQ(reader->find_entry_by_event_id(3, type, &status), nullptr);
    EXPECT_EQ(status, no_data);
    EXPECT_EQ(reader->find_entry_by_event_id(5, type, &status), nullptr);
    EXPECT_EQ(status, no_data);
    EXPECT_EQ(reader->find_entry_by_time(&third, type, &status), nullptr);
    EXPECT_EQ(status, no_data);
  }
  EXPECT_EQ(reader->out_cur, reader->out);  // a miss leaves it
}

TEST(ChannelReaderEntries, NothingDecodedYetIsNoDataForEveryType) {
  array_reader reader{undecoded, undecoded};
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

TEST(ChannelReaderEntries, TheMarkIsNotAMatchForAnyEvent) {
  array_reader reader{1, undecoded};
  int status = 0;
  EXPECT_EQ(reader->find_entry_by_event_id(undecoded, current, &status), nullptr);
  EXPECT_EQ(status, no_data);
}

TEST(ChannelReaderEntries, OnesThatNeverComeArePassedOver) {
  array_reader reader{1, 2, undecoded, 4, undecoded, undecoded, 7, undecoded};
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
}

TEST(ChannelReaderEntries, AreFoundAlsoOutOfOrder) {
  array_reader reader{5, 4, 3, 2, 1};
  for (unsigned number = 1; number <= 5; ++number) {
    EXPECT_EQ(reader->find_entry_by_event_id(number, current, nullptr), reader->out + (5 - number));
    const time_stamp time{1000 + number, 0};
    EXPECT_EQ(reader->find_entry_by_time(&time, current, nullptr), reader->out + (5 - number));
  }
}

TEST(ChannelReaderEntries, WithoutATimeEndALookupByTime) {
  array_reader reader{1, 2, 3};
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

TEST(ChannelReaderEntries, WithNumberZeroAreNotTheNearest) {
  array_reader reader{7, 0, 5};
  EXPECT_EQ(reader->find_entry_by_event_id(3, previous, nullptr), nullptr);
  EXPECT_EQ(reader->find_entry_by_event_id(3, next, nullptr), reader->out + 2);
}

TEST(ChannelReaderEntries, ALongLookupTellsItsTimeAtNegativeDebugLevels) {
  ravo_file_get_tables_2010 loader(0);
  loader.debug = -1;
  ravo_daq_read_chan_2010 reader(nullptr, nullptr, -1, nullptr);
  reader.cfg = &loader;
  // So many entries that looking at each takes more than a millisecond on any machine: their pages have
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

TEST(ChannelReaderModel, EveryStepByNumberAgrees) {
  std::mt19937 random(5);
  for (int round = 0; round < 30; ++round) {
    handmade_file content;
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
      channel.blocks.push_back(scalar(i, 1));
    }
    content.channels.push_back(channel);
    reading file(content);
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

TEST(ChannelReaderModel, EveryLookupByTimeAgrees) {
  std::mt19937 random(9);
  for (int round = 0; round < 30; ++round) {
    handmade_file content;
    handmade_channel channel("CHAN");
    std::vector<double> times;
    double time = 1.7e15;
    const unsigned count = 1 + static_cast<unsigned>(random() % 30);
    for (unsigned i = 0; i < count; ++i) {
      time += 100000.0 * (1 + static_cast<double>(random() % 3)) + static_cast<double>(random() % 2000);
      times.push_back(time);
      content.events.push_back({i + 1, static_cast<std::uint32_t>(time / 1e6),
                                static_cast<std::uint32_t>(std::fmod(time, 1e6))});
      channel.blocks.push_back(scalar(i, 1));
    }
    content.channels.push_back(channel);
    reading file(content);
    const auto reader = file.reader();
    ASSERT_EQ(start_and_wait(*reader), 0);
    const double tolerance = 20000;  // less than half the smallest distance: at most one event is within
    const time_stamp difference{0, 20000};
    reader->set_time_diff(&difference);
    for (double t = times.front() - 150000; t < times.back() + 150000; t += 7001) {
      const time_stamp asked{static_cast<std::uint32_t>(t / 1e6), static_cast<std::uint32_t>(std::fmod(t, 1e6))};
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
