// The slicer over real files: alignment across file boundaries, files without a channel, damaged files in
// the middle, and that every call ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "captured_output.h"
#include "streams.h"

namespace ravo::test {
namespace {

using ::testing::HasSubstr;

/// A started slicer over the files of a stream.
template <class generation>
class reading {
 public:
  reading(const stream<generation>& files, const std::vector<std::string>& channels, int synch_mode = 0) {
    const time_stamp tolerance{0, 50000};
    const ravo_time_id step{1, {0, 100000}};
    if (init(slicer, files.paths(), channels) != 0) throw std::runtime_error("not set up");
    slicer.set_synch_mode(synch_mode);
    slicer.set_time_diff(&tolerance);
    slicer.set_event_step(&step);
    status = slicer.start();
  }
  typename generation::slicer slicer;
  int status;
};

/// Without what the slicer and the readers print at every debug level.
template <class Slicer>
std::vector<std::string> read(Slicer& slicer, const std::vector<int>& directions) {
  const captured_output quiet;
  std::vector<std::string> got;
  for (const int direction : directions) got.push_back(get(slicer, direction));
  return got;
}

template <class generation>
class SlicerFiles : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerFiles, generations, generation_name);

TYPED_TEST(SlicerFiles, AreReadThroughToTheEnd) {
  stream<TypeParam> files;
  files.plain_file({"A", "B"}, 1, 2).plain_file({"A", "B"}, 3, 4);
  reading<TypeParam> r(files, {"A", "B"});
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(
      read(r.slicer, {1, 1, 1, 1, 1, 1}),
      (std::vector<std::string>{"0 1+100000: A@1+100000 B@1+100000", "0 2+200000: A@2+200000 B@2+200000",
                                "0 3+300000: A@3+300000 B@3+300000", "0 4+400000: A@4+400000 B@4+400000",
                                "-3 0+none:", "-3 0+none:"}));
}

TYPED_TEST(SlicerFiles, AreReadByTimeWithoutEventNumbers) {
  stream<TypeParam> files;
  files.plain_file({"A"}, 1, 2).plain_file({"A"}, 3, 3);
  reading<TypeParam> r(files, {"A"}, 1);
  EXPECT_EQ(text_of(r.slicer.current_event_id), "0+100000");
  EXPECT_EQ(read(r.slicer, {1, 1, 1, 1}),
            (std::vector<std::string>{"0 0+100000: A@1+100000", "0 0+200000: A@2+200000",
                                      "0 0+300000: A@3+300000", "-3 0+none:"}));
}

TYPED_TEST(SlicerFiles, GiveTheEarliestFirstEventByNumberAndByTime) {
  stream<TypeParam> files;
  files.file({{"A", "B"}, {{5, 0, {"B"}}, {6, 100000, {"A"}}, {7, 200000, {"A", "B"}}}});
  reading<TypeParam> by_number(files, {"A", "B"});
  EXPECT_EQ(text_of(by_number.slicer.current_event_id), "5+0");
  reading<TypeParam> by_time(files, {"A", "B"}, 1);
  EXPECT_EQ(text_of(by_time.slicer.current_event_id), "0+0");
}

TYPED_TEST(SlicerFiles, NextReturnsTheChannelsThatHaveTheEarliestEvent) {
  stream<TypeParam> files;
  files.file({{"A", "B", "C"},
              {{9, 900000, {"A", "B", "C"}}, {10, 1000000, {"A", "C"}}, {12, 1200000, {"A", "B", "C"}}}});
  reading<TypeParam> r(files, {"A", "B", "C"});
  EXPECT_EQ(read(r.slicer, {1, 1, 1}),
            (std::vector<std::string>{"0 9+900000: A@9+900000 B@9+900000 C@9+900000",
                                      "0 10+1000000: A@10+1000000 C@10+1000000",
                                      "0 12+1200000: A@12+1200000 B@12+1200000 C@12+1200000"}));
}

TYPED_TEST(SlicerFiles, ByTimeReturnsEventsWithinTheToleranceTogether) {
  stream<TypeParam> files;
  files.file({{"A", "B"}, {{1, 0, {"A", "B"}}, {2, 100000, {"B"}}, {3, 100004, {"A"}}}});
  reading<TypeParam> r(files, {"A", "B"}, 1);
  EXPECT_EQ(read(r.slicer, {1, 1}),
            (std::vector<std::string>{"0 0+0: A@1+0 B@1+0", "0 0+100000: A@3+100004 B@2+100000"}));
}

TYPED_TEST(SlicerFiles, AChannelThatEndsEarlyIsAbsentWhileTheOthersGoOn) {
  stream<TypeParam> files;
  files.file({{"A", "B"}, {{1, 100000, {"A", "B"}}, {2, 200000, {"B"}}, {3, 300000, {"B"}}}});
  reading<TypeParam> r(files, {"A", "B"});
  EXPECT_EQ(read(r.slicer, {1, 1, 1, 1}),
            (std::vector<std::string>{"0 1+100000: A@1+100000 B@1+100000", "0 2+200000: B@2+200000",
                                      "0 3+300000: B@3+300000", "-3 0+none:"}));
}

TYPED_TEST(SlicerFiles, AreReadBackwardsWhileTheirTablesAreKept) {
  // A channel that no file knows never leaves a file: the tables of the first one stay.
  stream<TypeParam> files;
  files.plain_file({"A", "B"}, 1, 2).plain_file({"A", "B"}, 3, 4);
  const captured_output quiet;
  reading<TypeParam> r(files, {"A", "B", "UNKNOWN"});
  read(r.slicer, {1, 1, 1, 1});
  EXPECT_EQ(
      read(r.slicer, {-1, -1, -1, -1}),
      (std::vector<std::string>{"0 3+300000: A@3+300000 B@3+300000", "0 2+200000: A@2+200000 B@2+200000",
                                "0 1+100000: A@1+100000 B@1+100000", "-3 0+none:"}));
}

TYPED_TEST(SlicerFiles, AreNotReadBackwardsOnceAllChannelsHaveLeftThem) {
  stream<TypeParam> files;
  files.plain_file({"A", "B"}, 1, 2).plain_file({"A", "B"}, 3, 4);
  reading<TypeParam> r(files, {"A", "B"});
  read(r.slicer, {1, 1, 1, 1});
  EXPECT_EQ(read(r.slicer, {-1, -1, -1}),
            (std::vector<std::string>{"0 3+300000: A@3+300000 B@3+300000", "0 0+none:", "0 0+none:"}));
}

TYPED_TEST(SlicerFiles, BeginForAChannelWhereItsEventsBegin) {
  stream<TypeParam> files;
  files.file({{"A", "B"}, {{1, 100000, {"A"}}}}).file({{"A", "B"}, {{2, 200000, {"A", "B"}}}});
  reading<TypeParam> r(files, {"B", "A"});
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(text_of(r.slicer.current_event_id), "1+100000");
  EXPECT_EQ(read(r.slicer, {1, 1}),
            (std::vector<std::string>{"0 1+100000: A@1+100000", "0 2+200000: B@2+200000 A@2+200000"}));
}

TYPED_TEST(SlicerFiles, LeaveOutAChannelThatTheFirstOneDoesNotKnow) {
  stream<TypeParam> files;
  files.plain_file({"A"}, 1, 2);
  const captured_output quiet;
  reading<TypeParam> r(files, {"A", "B", "C"});
  ASSERT_EQ(r.status, 0);
  EXPECT_STREQ(r.slicer.get_not_found_channels(), "B;C");
  EXPECT_STREQ(r.slicer.get_name_of_empty_channel(), "B");
}

TYPED_TEST(SlicerFiles, LoseAChannelAtAFileThatDoesNotKnowIt) {
  stream<TypeParam> files;
  files.plain_file({"A", "B"}, 1, 1).plain_file({"A"}, 2, 2).plain_file({"A", "B"}, 3, 3);
  reading<TypeParam> r(files, {"A", "B"});
  EXPECT_EQ(read(r.slicer, {1, 1, 1, 1}),
            (std::vector<std::string>{"0 1+100000: A@1+100000 B@1+100000", "0 2+200000: A@2+200000",
                                      "0 3+300000: A@3+300000", "-3 0+none:"}));
}

// A, which has nothing there, keeps its reader, and nothing reports any more that its data have ended.
TYPED_TEST(SlicerFiles, AfterAJumpPastAChannelsEndTheEndIsAnEmptyEventAndThenAnError) {
  stream<TypeParam> files;
  files.file({{"A", "B"}, {{1, 100000, {"A", "B"}}, {2, 200000, {"B"}}, {3, 300000, {"B"}}}});
  reading<TypeParam> r(files, {"A", "B"});
  read(r.slicer, {1});
  const ravo_time_id there = event_id(3, 300000);
  EXPECT_EQ(get(r.slicer, 0, &there), "0 3+300000: B@3+300000");
  EXPECT_EQ(read(r.slicer, {1, 1}), (std::vector<std::string>{"0 0+none:", "-6 0+none:"}));
}

// ---- events without a number, and of equal time: what these readers do not do

/// The events of a channel of one file, until the end of the data.
template <class generation>
std::vector<std::string> read_alone(const stream_file& content, int synch_mode) {
  stream<generation> files;
  files.file(content);
  reading<generation> r(files, {"UPD"}, synch_mode);
  std::vector<std::string> got;
  const captured_output quiet;
  for (int calls = 0; calls < 10; ++calls) {
    got.push_back(get(r.slicer, 1));
    if (got.back().rfind("0 ", 0) != 0) break;
  }
  return got;
}

/// A slow channel that reports a value every two seconds, at every 20th event; 0: without a number.
inline stream_file slow_channel(const std::vector<std::uint32_t>& numbers) {
  stream_file content{{"UPD"}, {}};
  for (const std::uint32_t number : numbers)
    content.events.push_back({number, static_cast<std::int64_t>(content.events.size()) * 2000000, {"UPD"}});
  return content;
}

TYPED_TEST(SlicerFiles, ByNumberDeliverWhatComesBeforeALastEventWithoutOne) {
  EXPECT_EQ(read_alone<TypeParam>(slow_channel({20, 40, 60, 0}), 0),
            (std::vector<std::string>{"0 20+0: UPD@20+0", "0 40+2000000: UPD@40+2000000",
                                      "0 60+4000000: UPD@60+4000000", "-3 0+none:"}));
}

TYPED_TEST(SlicerFiles, ByTimeDeliverALastEventWithoutANumberToo) {
  EXPECT_EQ(read_alone<TypeParam>(slow_channel({20, 40, 60, 0}), 1),
            (std::vector<std::string>{"0 0+0: UPD@20+0", "0 0+2000000: UPD@40+2000000",
                                      "0 0+4000000: UPD@60+4000000", "0 0+6000000: UPD@0+6000000",
                                      "-3 0+none:"}));
}

TYPED_TEST(SlicerFiles, ByNumberPassOverEventsWithoutOneAmongOthers) {
  EXPECT_EQ(read_alone<TypeParam>(slow_channel({20, 0, 60}), 0),
            (std::vector<std::string>{"0 20+0: UPD@20+0", "0 60+4000000: UPD@60+4000000", "-3 0+none:"}));
}

TYPED_TEST(SlicerFiles, BeginWithAFirstEventWithoutANumber) {
  EXPECT_EQ(read_alone<TypeParam>(slow_channel({0, 40, 60}), 0),
            (std::vector<std::string>{"0 0+0: UPD@0+0", "0 40+2000000: UPD@40+2000000",
                                      "0 60+4000000: UPD@60+4000000", "-3 0+none:"}));
}

TYPED_TEST(SlicerFiles, AreReadBackPastEventsWithoutANumber) {
  stream<TypeParam> files;
  files.file(slow_channel({0, 40, 60, 0}));
  reading<TypeParam> r(files, {"UPD"});
  EXPECT_EQ(read(r.slicer, {1, 1, 1, -1, -1}).at(3), "0 40+2000000: UPD@40+2000000");
}

// Among the events of the latest time the first one is the channel's last, by number and by time.
TYPED_TEST(SlicerFiles, DeliverOnlyTheFirstOfTheEventsOfTheLatestTime) {
  const stream_file equal{{"UPD"}, {{1, 0, {"UPD"}}, {2, 0, {"UPD"}}, {3, 0, {"UPD"}}}};
  EXPECT_EQ(read_alone<TypeParam>(equal, 0), (std::vector<std::string>{"0 1+0: UPD@1+0", "-3 0+none:"}));
  EXPECT_EQ(read_alone<TypeParam>(equal, 1).size(), 2u);
  const stream_file later{{"UPD"}, {{1, 0, {"UPD"}}, {2, 0, {"UPD"}}, {3, 100000, {"UPD"}}}};
  EXPECT_EQ(read_alone<TypeParam>(later, 0),
            (std::vector<std::string>{"0 1+0: UPD@1+0", "0 2+0: UPD@2+0", "0 3+100000: UPD@3+100000",
                                      "-3 0+none:"}));
}

// ---- damage

template <class generation>
class SlicerDamage : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerDamage, generations, generation_name);

TYPED_TEST(SlicerDamage, InTheFirstFileFailsTheStart) {
  stream<TypeParam> files;
  files.broken().plain_file({"A"}, 1, 2);
  reading<TypeParam> r(files, {"A"});
  EXPECT_EQ(r.status, RAVO_DAQ_SLICER_INTERN_ERROR);
}

TYPED_TEST(SlicerDamage, OfAMissingFileFailsTheStart) {
  typename TypeParam::slicer slicer;
  ASSERT_EQ(init(slicer, {"/nowhere/at/all.raw"}, {"A"}), 0);
  EXPECT_EQ(slicer.start(), RAVO_DAQ_SLICER_INTERN_ERROR);
}

TYPED_TEST(SlicerDamage, OfOneListIsForgottenWithTheNext) {
  stream<TypeParam> bad, good;
  bad.broken();
  good.plain_file({"A"}, 1, 1);
  typename TypeParam::slicer slicer;
  ASSERT_EQ(init(slicer, bad.paths(), {"A"}), 0);
  EXPECT_EQ(slicer.start(), RAVO_DAQ_SLICER_INTERN_ERROR);
  ASSERT_EQ(init(slicer, good.paths(), {"A"}), 0);
  EXPECT_EQ(slicer.start(), 0);
  EXPECT_EQ(read(slicer, {1}), std::vector<std::string>{"0 1+100000: A@1+100000"});
}

TYPED_TEST(SlicerDamage, InTheMiddleEndsALoneChannel) {
  stream<TypeParam> files;
  files.plain_file({"A"}, 1, 2).broken().plain_file({"A"}, 3, 4);
  reading<TypeParam> r(files, {"A"});
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(read(r.slicer, {1, 1, 1, 1}),
            (std::vector<std::string>{"0 1+100000: A@1+100000", "0 2+200000: A@2+200000",
                                      "-3 0+none:", "-3 0+none:"}));
}

/// What reading channels to the end prints on standard output; nothing comes on standard error.
template <class generation>
std::string words_of_reading(const stream<generation>& files, const std::vector<std::string>& channels) {
  testing::internal::CaptureStderr();
  captured_output output;
  {
    reading<generation> r(files, channels);
    for (int calls = 0; calls < 10 && get(r.slicer, 1).rfind("0 ", 0) == 0; ++calls) continue;
  }
  const std::string words = output.stop();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  return words;
}

TYPED_TEST(SlicerDamage, InTheMiddleIsNamedOnStandardOutput) {
  stream<TypeParam> files;
  files.plain_file({"A"}, 1, 2).broken().plain_file({"A"}, 3, 4);
  EXPECT_EQ(
      words_of_reading(files, {"A"}),
      files.paths().at(1) + ": the tables cannot be loaded (status 2), no channel goes on from here\n");
}

TYPED_TEST(SlicerDamage, IsNotSaidOfAFileThatOnlyLacksTheChannels) {
  stream<TypeParam> files;
  files.plain_file({"A", "B"}, 1, 2).plain_file({"C"}, 3, 4).plain_file({"A", "B"}, 5, 6);
  EXPECT_EQ(words_of_reading(files, {"A"}), "");
}

TYPED_TEST(SlicerDamage, InTheMiddleLeavesSeveralChannelsInTheirOldFile) {
  // Their readers stay, so this is not the end of the data; but there is no event to step from any more.
  stream<TypeParam> files;
  files.plain_file({"A", "B"}, 1, 2).broken().plain_file({"A", "B"}, 3, 4);
  for (const int mode : {0, 1}) {
    reading<TypeParam> r(files, {"A", "B"}, mode);
    ASSERT_EQ(r.status, 0);
    read(r.slicer, {1, 1});
    EXPECT_EQ(read(r.slicer, {1, 1, 1, -1}),
              (std::vector<std::string>{"0 0+none:", "-6 0+none:", "-6 0+none:", "0 0+none:"}));
    // Earlier files stay usable.
    const ravo_time_id one = event_id(1, 100000);
    const captured_output quiet;
    EXPECT_THAT(get(r.slicer, 0, &one), HasSubstr("A@1+100000 B@1+100000"));
  }
}

TYPED_TEST(SlicerDamage, InTheMiddleIsMetByNoOneWhoReadsBackwards) {
  stream<TypeParam> files;
  files.plain_file({"A", "B"}, 1, 3).broken();
  reading<TypeParam> r(files, {"A", "B"});
  EXPECT_EQ(read(r.slicer, {1, 1, 1, -1, -1}).back(), "0 1+100000: A@1+100000 B@1+100000");
}

TYPED_TEST(SlicerDamage, LetsNoCallGoRoundForEver) {
  for (const int count : {1, 2, 3}) {
    const std::vector<std::string> all{"A", "B", "C"};
    const std::vector<std::string> channels(all.begin(), all.begin() + count);
    stream<TypeParam> files;
    files.plain_file(channels, 1, 2).broken().plain_file(channels, 3, 4);
    for (const int mode : {0, 1})
      for (int first = -2; first <= 2; ++first)
        for (int then = -2; then <= 2; ++then) {
          reading<TypeParam> r(files, channels, mode);
          ASSERT_EQ(r.status, 0);
          for (const std::string& got : read(r.slicer, {1, 1, first, then, first, then}))
            EXPECT_THAT(got.substr(0, got.find(' ')), ::testing::AnyOf("0", "-3", "-6"));
        }
  }
}

// ---- words

template <class generation>
class SlicerWords : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerWords, generations, generation_name);

TYPED_TEST(SlicerWords, OfAWholeReadingAtLevelZeroAreAbsent) {
  stream<TypeParam> files;
  files.plain_file({"A", "B"}, 1, 2).plain_file({"A", "B"}, 3, 4);
  captured_output captured;
  {
    reading<TypeParam> r(files, {"A", "B"});
    for (int i = 0; i < 6; ++i) get(r.slicer, 1);
  }
  EXPECT_EQ(captured.stop(), "");
}

TYPED_TEST(SlicerWords, OfTheEndOfAChannelComeAboveZero) {
  stream<TypeParam> files;
  files.plain_file({"A"}, 1, 1);
  reading<TypeParam> r(files, {"A"});
  get(r.slicer, 1);
  r.slicer.set_debug(1);
  captured_output captured;
  get(r.slicer, 1);
  r.slicer.set_debug(0);
  const std::string text = captured.stop();
  EXPECT_THAT(text, HasSubstr("NO FILES can be found [1] we'll lose the channel[0] A\n"));
  EXPECT_THAT(text, HasSubstr("NO CONGIGS ANY MORE for A:-1 \n"
                              "current_event_id.event_number (output): 0:0_0 res.size():0\n"));
}

TYPED_TEST(SlicerWords, AboutALoneChannelThatTriesAgainNeverCome) {
  // A file change never answers out of window, so the second try does not happen.
  stream<TypeParam> files;
  files.plain_file({"A"}, 1, 1);
  reading<TypeParam> r(files, {"A"});
  captured_output captured;
  for (int i = 0; i < 3; ++i) get(r.slicer, 1);
  EXPECT_EQ(captured.stop().find("winndow"), std::string::npos);
}

}  // namespace
}  // namespace ravo::test
