// The slicer before its start: defaults, settings, what init() takes and refuses, and the comparison of
// two events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "captured_output.h"
#include "scripted_play.h"
#include "streams.h"

namespace ravo::test {
namespace {

TEST(SlicerSetUp, BeginsWithTheStatedDefaults) {
  ravo_daq_slicer_2010 slicer;
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
  EXPECT_EQ(slicer.get_time_diff()->timelow, 50000u);
  EXPECT_EQ(slicer.time_diff, 0.0);
  EXPECT_EQ(slicer.get_event_step()->event_number, 1u);
  EXPECT_EQ(slicer.get_event_step()->time.timeup, 0u);
  EXPECT_EQ(slicer.get_event_step()->time.timelow, 100000u);
  EXPECT_STREQ(slicer.get_not_found_channels(), "");
  EXPECT_TRUE(slicer.is_by_time_fix());
  EXPECT_EQ(slicer.current_event_id.event_number, 0u);
  EXPECT_EQ(slicer.current_event_id.time.timeup, 0u);
}

TEST(SlicerSetUp, TakesSettings) {
  ravo_daq_slicer_2010 slicer;
  slicer.set_debug(-2);
  EXPECT_EQ(slicer.get_debug(), -2);
  slicer.set_by_time_fix(false);
  EXPECT_FALSE(slicer.is_by_time_fix());
  EXPECT_EQ(slicer.set_num_of_get_tables(0), -7);
  EXPECT_EQ(slicer.set_num_of_get_tables(4), 0);
  EXPECT_EQ(slicer.get_num_of_get_tables(), 4);
  const time_stamp diff{1, 500};
  EXPECT_EQ(slicer.set_time_diff(nullptr), -7);
  EXPECT_EQ(slicer.set_time_diff(&diff), 0);
  EXPECT_EQ(slicer.time_diff, 1000500.0);
  EXPECT_EQ(slicer.get_time_diff()->timelow, 500u);
  const ravo_time_id step{3, {4, 5}};
  EXPECT_EQ(slicer.set_event_step(nullptr), -7);
  EXPECT_EQ(slicer.set_event_step(&step), 0);
  EXPECT_EQ(slicer.get_event_step()->event_number, 3u);
  EXPECT_EQ(slicer.get_event_step()->time.timeup, 4u);
  EXPECT_EQ(slicer.get_event_step()->time.timelow, 5u);
}

TEST(SlicerSetUp, IgnoresASynchModeThatIsNone) {
  ravo_daq_slicer_2010 slicer;
  EXPECT_EQ(slicer.set_synch_mode(1), 0);
  EXPECT_EQ(slicer.set_synch_mode(5), 0);
  EXPECT_EQ(slicer.get_synch_mode(), 1);
  EXPECT_EQ(slicer.set_synch_mode(-1), 0);
  EXPECT_EQ(slicer.get_synch_mode(), 1);
  EXPECT_EQ(slicer.set_synch_mode(0), 0);
  EXPECT_EQ(slicer.get_synch_mode(), 0);
}

TEST(SlicerSetUp, FreezesSettingsFromTheStartOn) {
  play p({"X"});
  ASSERT_EQ(p.start(), 0);
  const time_stamp diff{1, 0};
  const ravo_time_id step{3, {4, 5}};
  EXPECT_EQ(p.slicer.set_time_diff(&diff), -8);
  EXPECT_EQ(p.slicer.set_time_diff(nullptr), -8);
  EXPECT_EQ(p.slicer.get_time_diff()->timeup, 0u);
  EXPECT_EQ(p.slicer.time_diff, 0.0);
  EXPECT_EQ(p.slicer.set_event_step(&step), -8);
  EXPECT_EQ(p.slicer.get_event_step()->event_number, 1u);
  EXPECT_EQ(p.slicer.set_synch_mode(1), -8);
  EXPECT_EQ(p.slicer.set_synch_mode(5), -8);
  EXPECT_EQ(p.slicer.get_synch_mode(), 0);
  p.slicer.clean_up();
  EXPECT_EQ(p.slicer.set_time_diff(&diff), 0);
}

// ---- init

std::string output_of_init(const std::vector<std::string>& files, const std::vector<std::string>& channels,
                           int* status) {
  ravo_daq_slicer_2010 slicer;
  captured_output captured;
  *status = init(slicer, files, channels);
  return captured.stop();
}

TEST(SlicerInit, SaysWhatIsMissing) {
  int status = 0;
  EXPECT_EQ(output_of_init({}, {"X"}, &status), "SLICER:  no files found\n");
  EXPECT_EQ(status, -1);
  EXPECT_EQ(output_of_init({}, {}, &status),
            "SLICER:  no files found\nSLICER:  no channels in request, Pleas, add some\n");
  EXPECT_EQ(status, -1);
  EXPECT_EQ(output_of_init({"f"}, {}, &status), "SLICER:  no channels in request, Pleas, add some\n");
  EXPECT_EQ(status, -1);
  EXPECT_EQ(output_of_init({"f"}, {"X"}, &status), "");
  EXPECT_EQ(status, 0);
}

TEST(SlicerInit, RefusesMissingLists) {
  ravo_daq_slicer_2010 slicer;
  const std::vector<char*> files;
  const std::vector<ravo_daq_chan_param_2010*> channels;
  EXPECT_EQ(slicer.init(nullptr, &channels, 0), -7);
  EXPECT_EQ(slicer.init(&files, nullptr, 0), -7);
}

TEST(SlicerInit, CopiesWhatItIsGivenAndPassesOverNothings) {
  ravo_daq_slicer_2010 slicer;
  {
    std::string file = "f", empty;
    ravo_daq_chan_param_2010 channel{"X", "nick", 3, {1, 2, 3, 4, 5, 6, 7}};
    const std::vector<char*> files{nullptr, empty.data(), file.data()};
    const std::vector<ravo_daq_chan_param_2010*> channels{nullptr, &channel, nullptr};
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

TEST(SlicerInit, MayBeRepeated) {
  ravo_daq_slicer_2010 slicer;
  ASSERT_EQ(init(slicer, {"a", "b"}, {"X", "Y"}), 0);
  ASSERT_EQ(init(slicer, {"c"}, {"Z"}), 0);
  ASSERT_EQ(slicer.files.size(), 1u);
  EXPECT_STREQ(slicer.files[0], "c");
  EXPECT_STREQ(slicer.chans.at(0)->name, "Z");
  EXPECT_EQ(slicer.nchans, 1);
}

TEST(SlicerInit, IsForgottenWhenTheNextOneHasNothing) {
  const captured_output quiet;
  ravo_daq_slicer_2010 slicer;
  ASSERT_EQ(init(slicer, {"a"}, {"X"}), 0);
  ASSERT_EQ(init(slicer, {}, {"X"}), -1);
  EXPECT_TRUE(slicer.files.empty());
  EXPECT_EQ(slicer.nchans, 0);
  EXPECT_EQ(slicer.start(), -1);
}

TEST(SlicerStart, HasNothingToDoWithoutAnInit) {
  ravo_daq_slicer_2010 slicer;
  EXPECT_EQ(slicer.start(), -1);
  EXPECT_EQ(slicer.get_tables, nullptr);
}

// ---- comparison

struct comparison {
  ravo_time_id a;
  ravo_time_id b;
  int order;
};

class SlicerComparison : public ::testing::TestWithParam<comparison> {};

TEST_P(SlicerComparison, IsByNumberWhenBothHaveOneAndElseByTime) {
  ravo_daq_slicer_2010 slicer;
  const time_stamp diff{0, 50000};
  ASSERT_EQ(slicer.set_time_diff(&diff), 0);
  int order = 17;
  EXPECT_EQ(slicer.is_event_id_eq(&GetParam().a, &GetParam().b, &order), GetParam().order == 0);
  EXPECT_EQ(order, GetParam().order);
  EXPECT_EQ(slicer.is_event_id_eq(&GetParam().a, &GetParam().b, nullptr), GetParam().order == 0);
}

INSTANTIATE_TEST_SUITE_P(Pairs, SlicerComparison,
                         ::testing::Values(comparison{event_id(1, 0), event_id(2, 0), -1},
                                           comparison{event_id(2, 0), event_id(1, 9), 1},
                                           comparison{event_id(2, 0), event_id(2, 5000000), 0},
                                           comparison{event_id(0xffffffff, 0), event_id(1, 0), 1},
                                           comparison{event_id(1, 0), event_id(0xffffffff, 0), -1},
                                           comparison{event_id(0, 0), event_id(7, 50000), 0},
                                           comparison{event_id(0, 0), event_id(7, 50001), -1},
                                           comparison{event_id(7, 50001), event_id(0, 0), 1},
                                           comparison{event_id(0, 50001), event_id(0, 0), 1},
                                           comparison{event_id(0, 3), event_id(0, 3), 0}));

}  // namespace
}  // namespace ravo::test
