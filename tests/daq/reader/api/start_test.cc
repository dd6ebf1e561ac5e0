// init() from explicit files, and start(): the order in which the slicer is set up, and what each failure
// says and leaves behind.
#include "scripted_reader.h"

namespace ravo::test {
namespace {

template <class generation>
class Start : public scripted_reader<generation> {
 protected:
  Start() {
    this->reader.set_data_dir("");
    this->reader.files.push_back(strdup("/x/linac_main_run7_file1_20250101T000000Z.raw"));
    this->add("A");
    this->add("B:3;nick");
  }
  /// Standard output of start() at a debug level.
  std::string output_of_start(int level, int* status) {
    this->reader.set_debug(level);
    captured_output output;
    *status = this->reader.start();
    return output.stop();
  }
};
TYPED_TEST_SUITE(Start, generations, generation_name);

TYPED_TEST(Start, SetsUpTheSlicerInItsOrder) {
  EXPECT_EQ(this->reader.start(), 0);
  EXPECT_EQ(
      the_slicer.calls,
      either<TypeParam>(std::vector<std::string>{"fix on", "init 0", "synch_mode 0", "time_diff 0_50000",
                                                 "event_step 1 0_100000", "start"},
                        std::vector<std::string>{"init 0", "synch_mode 0", "time_diff 0_95000",
                                                 "event_step 1 0_200000", "start"}));
  EXPECT_EQ(the_slicer.files, (std::vector<std::string>{"/x/linac_main_run7_file1_20250101T000000Z.raw"}));
  EXPECT_EQ(the_slicer.channels, (std::vector<std::string>{"A/-1", "B/3"}));
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(Start, PassesOnWhatTheRequestSays) {
  const time_stamp diff{2, 3};
  const ravo_time_id step{4, {5, 6}};
  this->reader.set_time_diff(&diff);
  this->reader.set_period(&step);
  this->reader.set_synch_mode(1);
  if constexpr (requires { this->reader.set_by_time_fix(false); }) this->reader.set_by_time_fix(false);
  this->reader.set_debug(7);
  captured_output output;
  EXPECT_EQ(this->reader.start(), 0);
  std::vector<std::string> calls{"set_debug 7",   "fix off",          "init 0", "synch_mode 1",
                                 "time_diff 2_3", "event_step 4 5_6", "start"};
  if (either<TypeParam>(false, true)) calls.erase(calls.begin() + 1);
  EXPECT_EQ(the_slicer.calls, calls);
}

TYPED_TEST(Start, IsRefusedWhileASlicerExists) {
  ASSERT_EQ(this->reader.start(), 0);
  int status = 0;
  EXPECT_EQ(this->output_of_start(0, &status), "");
  EXPECT_EQ(status, RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_STREQ(this->reader.get_last_error(), "Not allowed");
  const char* expected = either<TypeParam>("We have already slicer\n", "");
  EXPECT_EQ(this->output_of_start(1, &status), expected);
  EXPECT_EQ(this->output_of_start(-1, &status), expected);
  EXPECT_EQ(status, RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(the_slicer.alive, 1);
}

TYPED_TEST(Start, ReturnsTheStatusOfARefusedRequest) {
  const ravo_time_id start = this->at(200, 0), stop = this->at(100, 0);
  this->reader.set_start_point(&start);
  this->reader.set_stop_point(&stop);
  int status = 0;
  EXPECT_EQ(this->output_of_start(0, &status), "Wrong Event IDs start:200 > stop:100\n");
  EXPECT_EQ(status, RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->output_of_start(-2, &status),
            either<TypeParam>("Wrong Event IDs start:200 > stop:100\nRequest is not OK ret:-7\n",
                              "Wrong Event IDs start:200 > stop:100\n"));
  EXPECT_EQ(this->reader.slicer, nullptr);
}

TYPED_TEST(Start, KeepsTheSlicerWhoseInitFailed) {
  the_slicer.init_status = RAVO_DAQ_SLICER_NO_DATA;
  int status = 0;
  EXPECT_EQ(this->output_of_start(0, &status), "Failed to init slicer error:-1\n");
  EXPECT_EQ(status, RAVO_DAQ_READER_NO_DATA);
  EXPECT_STREQ(this->reader.get_last_error(), "No required data");
  EXPECT_NE(this->reader.slicer, nullptr);
  EXPECT_EQ(this->reader.start(), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(the_slicer.calls.back(), "init 0");
  this->reader.clean_up();
  EXPECT_EQ(this->reader.slicer, nullptr);
  EXPECT_EQ(the_slicer.alive, 0);
}

TYPED_TEST(Start, GoesOnWhenASettingIsRefusedAndSaysSoWhenDebugging) {
  the_slicer.synch_mode_status = RAVO_DAQ_SLICER_NOT_ALLOWED;
  the_slicer.time_diff_status = RAVO_DAQ_SLICER_INV_PARAM;
  the_slicer.event_step_status = RAVO_DAQ_SLICER_INTERN_ERROR;
  int status = 1;
  EXPECT_EQ(this->output_of_start(1, &status),
            "Failed to set synch mode:0 at the slicer error:-8\n"
            "Failed to set time diff erro:-7\n"
            "Failed to set event step error:-6\n");
  EXPECT_EQ(status, 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(Start, GoesOnSilentlyWhenASettingIsRefused) {
  the_slicer.synch_mode_status = the_slicer.time_diff_status = the_slicer.event_step_status =
      RAVO_DAQ_SLICER_NOT_ALLOWED;
  int status = 1;
  EXPECT_EQ(this->output_of_start(0, &status), "");
  EXPECT_EQ(status, 0);
}

TYPED_TEST(Start, TheCurrentGenerationNamesMissingChannelsAfterTheErrorText) {
  the_slicer.start_status = RAVO_DAQ_SLICER_INTERN_ERROR;
  the_slicer.not_found_channels = "A;B";
  int status = 0;
  EXPECT_EQ(this->output_of_start(0, &status), "");
  EXPECT_EQ(status, RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_STREQ(this->reader.get_last_error(), either<TypeParam>("Intern error:A;B", "Intern error"));
  EXPECT_NE(this->reader.slicer, nullptr);
}

TYPED_TEST(Start, SaysThatTheSlicerDidNotStartWhenDebugging) {
  the_slicer.start_status = RAVO_DAQ_SLICER_NO_DATA;
  int status = 0;
  EXPECT_EQ(this->output_of_start(-1, &status), "Failed to start slicer error:-1\n");
  EXPECT_STREQ(this->reader.get_last_error(), either<TypeParam>("No required data:", "No required data"));
}

TYPED_TEST(Start, FreezesTheRequest) {
  ASSERT_EQ(this->reader.start(), 0);
  const ravo_time_id point = this->at(1, 1);
  std::vector<daq_channel_entry*> channels;
  char name[] = "C";
  daq_channel_entry channel{name, {}};
  channels.push_back(&channel);
  EXPECT_EQ(this->reader.set_period(&point), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_STREQ(this->reader.get_last_error(), "Not allowed");
  EXPECT_EQ(this->reader.set_start_point(&point), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_stop_point(&point), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_experiment("x"), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_stream("x"), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_catalog_dir("x"), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_data_dir("x"), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_data_dir(nullptr), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_synch_mode(1), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_synch_mode(5), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.add_file("x", true), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.remove_file("run7"), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.add_channel(&channel), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.set_channels(&channels), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->reader.rem_channel("A"), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_STREQ(this->reader.get_experiment(), "linac");
  EXPECT_EQ(this->reader.get_number_of_files(), 1);
  EXPECT_EQ(this->reader.get_number_of_channels(), 2);
  EXPECT_EQ(this->reader.get_start_point()->event_number, 0u);
}

TYPED_TEST(Start, NullArgumentsAreReportedBeforeTheFreeze) {
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_EQ(this->reader.set_period(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.set_start_point(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.set_experiment(""), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.add_file("", true), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.remove_file(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.add_channel(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.rem_channel(""), RAVO_DAQ_READER_INV_PARAM);
}

TYPED_TEST(Start, LeavesSomeSettingsOpenAndPassesThemOnButTheTimeDifference) {
  ASSERT_EQ(this->reader.start(), 0);
  the_slicer.calls.clear();
  const time_stamp diff{9, 8};
  EXPECT_EQ(this->reader.set_time_diff(&diff), 0);
  EXPECT_EQ(this->reader.get_time_diff()->timeup, 9u);
  this->reader.set_debug(3);
  EXPECT_EQ(the_slicer.calls, std::vector<std::string>{"set_debug 3"});
  if constexpr (requires { this->reader.set_by_time_fix(false); }) {
    this->reader.set_by_time_fix(false);
    EXPECT_EQ(the_slicer.calls.back(), "fix off");
  }
}

TYPED_TEST(Start, MayFollowACleanUp) {
  ASSERT_EQ(this->reader.start(), 0);
  this->reader.clean_up();
  EXPECT_EQ(this->reader.get_number_of_channels(), 0);
  this->add("C");
  EXPECT_EQ(this->reader.start(), 0);
  EXPECT_EQ(the_slicer.channels.back(), "C/-1");
  EXPECT_EQ(the_slicer.alive, 1);
}

template <class generation>
class InitFromFiles : public scripted_reader<generation> {
 protected:
  InitFromFiles() { this->reader.set_data_dir(""); }
  /// Runs init() with these files and channels.
  int init(std::vector<std::string> files, std::vector<std::string> channels = {}) {
    std::vector<char*> names;
    for (std::string& file : files) names.push_back(file.data());
    std::vector<daq_channel_entry> kept;
    for (std::string& channel : channels) kept.push_back({channel.data(), {}});
    std::vector<daq_channel_entry*> wanted;
    for (daq_channel_entry& channel : kept) wanted.push_back(&channel);
    return this->reader.init(&names, channels.empty() ? nullptr : &wanted);
  }
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
  const std::string first = this->existing("linac_main_run7_file1_20250101T000000Z.raw");
  const std::string second = this->existing("linac_main_run7_file2_20250101T001000Z.raw");
};
TYPED_TEST_SUITE(InitFromFiles, generations, generation_name);

TYPED_TEST(InitFromFiles, RefusesNoFiles) {
  std::vector<char*> none;
  EXPECT_EQ(this->reader.init(static_cast<const std::vector<char*>*>(nullptr), nullptr),
            RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->reader.init(&none, nullptr), RAVO_DAQ_READER_INV_PARAM);
}

TYPED_TEST(InitFromFiles, SortsTheFilesAndDropsDuplicates) {
  EXPECT_EQ(this->init({this->second, this->first, this->second, this->first}), 0);
  ASSERT_EQ(this->reader.get_number_of_files(), 2);
  EXPECT_EQ(this->reader.get_file_name(0), this->first);
  EXPECT_EQ(this->reader.get_file_name(1), this->second);
}

TYPED_TEST(InitFromFiles, SkipsNullAndEmptyNames) {
  std::string name = this->first, empty;
  std::vector<char*> names{nullptr, empty.data(), name.data()};
  EXPECT_EQ(this->reader.init(&names, nullptr), 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 1);
}

TYPED_TEST(InitFromFiles, OpensTheFirstFileAndReleasesIt) {
  const int clean_ups = the_loader.clean_ups;
  EXPECT_EQ(this->init({this->second, this->first}), 0);
  EXPECT_EQ(the_loader.loaded, (std::vector<std::string>{this->first}));
  EXPECT_EQ(the_loader.clean_ups, clean_ups + 1);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(InitFromFiles, ReportsAFirstFileThatCannotBeRead) {
  the_loader.status = 2;
  EXPECT_EQ(this->init({this->first}), RAVO_DAQ_READER_BAD_FILE_FORMAT);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
  EXPECT_EQ(this->reader.get_number_of_files(), 1);
}

TYPED_TEST(InitFromFiles, OpensTheFirstFileForTheChannelsAddedBefore) {
  this->add("A");
  EXPECT_EQ(this->init({this->first}), 0);
  EXPECT_TRUE(the_loader.was_given_channels);
}

TYPED_TEST(InitFromFiles, OpensNothingWhenGivenChannels) {
  EXPECT_EQ(this->init({this->first}, {"A", "B:1"}), 0);
  EXPECT_TRUE(the_loader.loaded.empty());
  EXPECT_EQ(this->reader.get_number_of_channels(), 2);
}

TYPED_TEST(InitFromFiles, ReturnsTheStatusOfTheChannels) {
  EXPECT_EQ(this->init({this->first}, {"A", ""}), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->reader.get_number_of_channels(), 1);
}

TYPED_TEST(InitFromFiles, IgnoresFilesThatAreRefused) {
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(this->init({"/nowhere/a.raw"}), 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(InitFromFiles, StartsOverWhenRunning) {
  ASSERT_EQ(this->init({this->first}, {"A"}), 0);
  ASSERT_EQ(this->reader.start(), 0);
  this->reader.set_debug(0);
  // Cleaning up restores the built-in data directory, which a path with a slash does not need.
  EXPECT_EQ(this->init({this->second}, {"B"}), 0);
  EXPECT_EQ(this->reader.slicer, nullptr);
  EXPECT_EQ(the_slicer.alive, 0);
  ASSERT_EQ(this->reader.get_number_of_files(), 1);
  EXPECT_EQ(this->reader.get_file_name(0), this->second);
  EXPECT_STREQ(this->reader.get_channel_name(0, nullptr), "B");
}

TYPED_TEST(InitFromFiles, AddsToTheListWhenNotRunning) {
  ASSERT_EQ(this->init({this->first}), 0);
  ASSERT_EQ(this->init({this->second}), 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 2);
}

}  // namespace
}  // namespace ravo::test
