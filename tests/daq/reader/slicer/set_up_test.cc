// The slicer before its start: defaults, settings, what init() takes and refuses, and the comparison of
// two events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "captured_output.h"
#include "scripted_play.h"
#include "streams.h"

namespace ravo::test {
namespace {

template <class slicer>
concept has_by_time_fix = requires(slicer& one) {
  one.by_time_fix;
  one.set_by_time_fix(true);
  one.is_by_time_fix();
};

template <class generation>
class SlicerSetUp : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerSetUp, generations, generation_name);

TYPED_TEST(SlicerSetUp, BeginsWithTheStatedDefaults) {
  typename TypeParam::slicer slicer;
  EXPECT_EQ(slicer.cur_file, -1);
  EXPECT_EQ(slicer.prev_file, -1);
  EXPECT_EQ(slicer.get_num_of_get_tables(), 0);
  EXPECT_EQ(slicer.get_tables, nullptr);
  EXPECT_EQ(slicer.read_chans, nullptr);
  EXPECT_EQ(slicer.nchans, 0);
  EXPECT_EQ(slicer.mode, 0);
  EXPECT_EQ(slicer.first_event, 1);
  EXPECT_EQ(slicer.get_debug(), 0);
  EXPECT_EQ(slicer.get_synch_mode(), RAVO_DAQ_SLICER_SYNCH_MODE_EVID);
  EXPECT_EQ(slicer.get_time_diff()->timeup, 0u);
  EXPECT_EQ(slicer.get_time_diff()->timelow, either<TypeParam>(50000u, 95000u));
  EXPECT_EQ(slicer.time_diff, 0.0);
  EXPECT_EQ(slicer.get_event_step()->event_number, 1u);
  EXPECT_EQ(slicer.get_event_step()->time.timeup, 0u);
  EXPECT_EQ(slicer.get_event_step()->time.timelow, either<TypeParam>(100000u, 200000u));
  EXPECT_STREQ(slicer.get_not_found_channels(), "");
  if constexpr (has_by_time_fix<typename TypeParam::slicer>) {
    EXPECT_TRUE(slicer.is_by_time_fix());
  }
  EXPECT_EQ(slicer.current_event_id.event_number, 0u);
  EXPECT_EQ(slicer.current_event_id.time.timeup, 0u);
}

TYPED_TEST(SlicerSetUp, TakesSettings) {
  typename TypeParam::slicer slicer;
  slicer.set_debug(-2);
  EXPECT_EQ(slicer.get_debug(), -2);
  EXPECT_EQ(has_by_time_fix<typename TypeParam::slicer>, either<TypeParam>(true, false));
  if constexpr (has_by_time_fix<typename TypeParam::slicer>) {
    slicer.set_by_time_fix(false);
    EXPECT_FALSE(slicer.is_by_time_fix());
  }
  EXPECT_EQ(slicer.set_num_of_get_tables(0), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(slicer.set_num_of_get_tables(4), 0);
  EXPECT_EQ(slicer.get_num_of_get_tables(), 4);
  const time_stamp diff{1, 500};
  EXPECT_EQ(slicer.set_time_diff(nullptr), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(slicer.set_time_diff(&diff), 0);
  EXPECT_EQ(slicer.time_diff, 1000500.0);
  EXPECT_EQ(slicer.get_time_diff()->timelow, 500u);
  const ravo_time_id step{3, {4, 5}};
  EXPECT_EQ(slicer.set_event_step(nullptr), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(slicer.set_event_step(&step), 0);
  EXPECT_EQ(slicer.get_event_step()->event_number, 3u);
  EXPECT_EQ(slicer.get_event_step()->time.timeup, 4u);
  EXPECT_EQ(slicer.get_event_step()->time.timelow, 5u);
}

TYPED_TEST(SlicerSetUp, IgnoresAnInvalidSynchMode) {
  typename TypeParam::slicer slicer;
  EXPECT_EQ(slicer.set_synch_mode(1), 0);
  EXPECT_EQ(slicer.set_synch_mode(5), 0);
  EXPECT_EQ(slicer.get_synch_mode(), 1);
  EXPECT_EQ(slicer.set_synch_mode(-1), 0);
  EXPECT_EQ(slicer.get_synch_mode(), 1);
  EXPECT_EQ(slicer.set_synch_mode(0), 0);
  EXPECT_EQ(slicer.get_synch_mode(), 0);
}

TYPED_TEST(SlicerSetUp, FreezesSettingsFromTheStartOn) {
  play_of<TypeParam> p({"X"});
  ASSERT_EQ(p.start(), 0);
  const time_stamp diff{1, 0};
  const ravo_time_id step{3, {4, 5}};
  EXPECT_EQ(p.slicer.set_time_diff(&diff), RAVO_DAQ_SLICER_NOT_ALLOWED);
  EXPECT_EQ(p.slicer.set_time_diff(nullptr), RAVO_DAQ_SLICER_NOT_ALLOWED);
  EXPECT_EQ(p.slicer.get_time_diff()->timeup, 0u);
  EXPECT_EQ(p.slicer.time_diff, 0.0);
  EXPECT_EQ(p.slicer.set_event_step(&step), RAVO_DAQ_SLICER_NOT_ALLOWED);
  EXPECT_EQ(p.slicer.get_event_step()->event_number, 1u);
  EXPECT_EQ(p.slicer.set_synch_mode(1), RAVO_DAQ_SLICER_NOT_ALLOWED);
  EXPECT_EQ(p.slicer.set_synch_mode(5), RAVO_DAQ_SLICER_NOT_ALLOWED);
  EXPECT_EQ(p.slicer.get_synch_mode(), 0);
  p.slicer.clean_up();
  EXPECT_EQ(p.slicer.set_time_diff(&diff), 0);
}

// ---- init

template <class generation>
class SlicerInit : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerInit, generations, generation_name);

template <class Slicer>
std::string output_of_init(const std::vector<std::string>& files, const std::vector<std::string>& channels,
                           int* status) {
  Slicer slicer;
  captured_output captured;
  *status = init(slicer, files, channels);
  return captured.stop();
}

TYPED_TEST(SlicerInit, SaysWhatIsMissing) {
  using slicer = typename TypeParam::slicer;
  int status = 0;
  EXPECT_EQ(
      output_of_init<slicer>({}, {"X", "Y"}, &status),
      either<TypeParam>("SLICER:  no files found\n", "SLICER: either no files (0) or channels: (2)\n"));
  EXPECT_EQ(status, RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(output_of_init<slicer>({}, {}, &status),
            either<TypeParam>("SLICER:  no files found\nSLICER:  no channels in request, Pleas, add some\n",
                              "SLICER: either no files (0) or channels: (0)\n"));
  EXPECT_EQ(status, RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(output_of_init<slicer>({"f", "g", "h"}, {}, &status),
            either<TypeParam>("SLICER:  no channels in request, Pleas, add some\n",
                              "SLICER: either no files (3) or channels: (0)\n"));
  EXPECT_EQ(status, RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(output_of_init<slicer>({"f"}, {"X"}, &status), "");
  EXPECT_EQ(status, 0);
}

TYPED_TEST(SlicerInit, RefusesMissingLists) {
  typename TypeParam::slicer slicer;
  const std::vector<char*> files;
  const std::vector<typename TypeParam::records::chan_param*> channels;
  EXPECT_EQ(slicer.init(nullptr, &channels, 0), RAVO_DAQ_SLICER_INV_PARAM);
  EXPECT_EQ(slicer.init(&files, nullptr, 0), RAVO_DAQ_SLICER_INV_PARAM);
}

TYPED_TEST(SlicerInit, CopiesWhatItIsGivenAndPassesOverNothings) {
  typename TypeParam::slicer slicer;
  {
    std::string file = "f", empty;
    typename TypeParam::records::chan_param channel{"X", "nick", 3, {1, 2, 3, 4, 5, 6, 7}};
    const std::vector<char*> files{nullptr, empty.data(), file.data()};
    const std::vector<typename TypeParam::records::chan_param*> channels{nullptr, &channel, nullptr};
    ASSERT_EQ(slicer.init(&files, &channels, 17), 0);
    file = "g";
    channel = {};
  }
  ASSERT_EQ(slicer.files.size(), 1u);
  EXPECT_STREQ(slicer.files[0], "f");
  ASSERT_EQ(slicer.chans.size(), 1u);
  EXPECT_STREQ(slicer.chans[0]->name, "X");
  EXPECT_STREQ(slicer.chans[0]->nname, "nick");
  EXPECT_EQ(slicer.chans[0]->subchan, 3);
  EXPECT_EQ(slicer.chans[0]->prms.func, 4);
  EXPECT_EQ(slicer.chans[0]->prms.tlength, 7.0f);
  ASSERT_EQ(slicer.chansp.size(), 1u);
  EXPECT_EQ(slicer.chansp[0], slicer.chans[0]->name);
  EXPECT_EQ(slicer.mode, 17);
  EXPECT_EQ(slicer.nchans, 1);
  EXPECT_EQ(slicer.get_num_of_get_tables(), 1);
}

TYPED_TEST(SlicerInit, TakesNamesThatFitTheGeneration) {
  using param = typename TypeParam::records::chan_param;
  EXPECT_EQ(sizeof(param::name), either<TypeParam>(256u, 80u));
  EXPECT_EQ(sizeof(param::nname), either<TypeParam>(256u, 80u));
}

TYPED_TEST(SlicerInit, MayBeRepeated) {
  typename TypeParam::slicer slicer;
  ASSERT_EQ(init(slicer, {"a", "b"}, {"X", "Y"}), 0);
  ASSERT_EQ(init(slicer, {"c"}, {"Z"}), 0);
  ASSERT_EQ(slicer.files.size(), 1u);
  EXPECT_STREQ(slicer.files[0], "c");
  EXPECT_STREQ(slicer.chans.at(0)->name, "Z");
  EXPECT_EQ(slicer.nchans, 1);
}

TYPED_TEST(SlicerInit, IsForgottenWhenTheNextOneHasNothing) {
  const captured_output quiet;
  typename TypeParam::slicer slicer;
  ASSERT_EQ(init(slicer, {"a"}, {"X"}), 0);
  ASSERT_EQ(init(slicer, {}, {"X"}), RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_TRUE(slicer.files.empty());
  EXPECT_EQ(slicer.nchans, 0);
  EXPECT_EQ(slicer.start(), RAVO_DAQ_SLICER_NO_DATA);
}

TYPED_TEST(SlicerSetUp, HasNothingToDoWithoutAnInit) {
  typename TypeParam::slicer slicer;
  EXPECT_EQ(slicer.start(), RAVO_DAQ_SLICER_NO_DATA);
  EXPECT_EQ(slicer.get_tables, nullptr);
}

// ---- comparison

struct comparison {
  ravo_time_id a;
  ravo_time_id b;
  int order;
};

template <class generation>
class SlicerComparison : public ::testing::Test {};
TYPED_TEST_SUITE(SlicerComparison, generations, generation_name);

TYPED_TEST(SlicerComparison, IsByNumberWhenBothHaveOneAndElseByTime) {
  typename TypeParam::slicer slicer;
  const time_stamp diff{0, 50000};
  ASSERT_EQ(slicer.set_time_diff(&diff), 0);
  for (const comparison& c : {comparison{event_id(1, 0), event_id(2, 0), -1},
                              {event_id(2, 0), event_id(1, 9), 1},
                              {event_id(2, 0), event_id(2, 5000000), 0},
                              {event_id(0xffffffff, 0), event_id(1, 0), 1},
                              {event_id(1, 0), event_id(0xffffffff, 0), -1},
                              {event_id(0, 0), event_id(7, 50000), 0},
                              {event_id(0, 0), event_id(7, 50001), -1},
                              {event_id(7, 50001), event_id(0, 0), 1},
                              {event_id(0, 50001), event_id(0, 0), 1},
                              {event_id(0, 3), event_id(0, 3), 0}}) {
    SCOPED_TRACE(text_of(c.a) + " and " + text_of(c.b));
    int order = 17;
    EXPECT_EQ(slicer.is_event_id_eq(&c.a, &c.b, &order), c.order == 0);
    EXPECT_EQ(order, c.order);
    EXPECT_EQ(slicer.is_event_id_eq(&c.a, &c.b, nullptr), c.order == 0);
  }
}

}  // namespace
}  // namespace ravo::test
