// init() from explicit files, and start(): the order in which the slicer is set up, and what each failure
// says and leaves behind.
#include "scripted_reader.h"

namespace ravo::test {
namespace {

class Start : public scripted_reader {
 protected:
  Start() {
    reader.set_data_dir("");
    reader.files.push_back(strdup("/x/linac_main_run7_file1_20250101T000000Z.raw"));
    reader.found_from_run_catalogue = true;  // the check leaves this one file alone
    add("A");
    add("B:3;nick");
  }
  /// Standard output of start() at a debug level.
  std::string output_of_start(int level, int* status) {
    reader.set_debug(level);
    captured_output output;
    *status = reader.start();
    return output.stop();
  }
};

TEST_F(Start, SetsUpTheSlicerInItsOrder) {
  EXPECT_EQ(reader.start(), 0);
  EXPECT_EQ(the_slicer.calls,
            (std::vector<std::string>{"fix on", "init 0", "synch_mode 0", "time_diff 0_50000",
                                      "event_step 1 0_100000", "start"}));
  EXPECT_EQ(the_slicer.files, (std::vector<std::string>{"/x/linac_main_run7_file1_20250101T000000Z.raw"}));
  EXPECT_EQ(the_slicer.channels, (std::vector<std::string>{"A/-1", "B/3"}));
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(Start, PassesOnWhatTheRequestSays) {
  const time_stamp diff{2, 3};
  const ravo_time_id step{4, {5, 6}};
  reader.set_time_diff(&diff);
  reader.set_period(&step);
  reader.set_synch_mode(1);
  reader.set_by_time_fix(false);
  reader.set_debug(7);
  captured_output output;
  EXPECT_EQ(reader.start(), 0);
  EXPECT_EQ(the_slicer.calls, (std::vector<std::string>{"set_debug 7", "fix off", "init 0", "synch_mode 1",
                                                        "time_diff 2_3", "event_step 4 5_6", "start"}));
}

TEST_F(Start, IsRefusedWhileASlicerExists) {
  ASSERT_EQ(reader.start(), 0);
  int status = 0;
  EXPECT_EQ(output_of_start(0, &status), "");
  EXPECT_EQ(status, -8);
  EXPECT_STREQ(reader.get_last_error(), "Not allowed");
  EXPECT_EQ(output_of_start(1, &status), "We have already slicer\n");
  EXPECT_EQ(output_of_start(-1, &status), "We have already slicer\n");
  EXPECT_EQ(status, -8);
  EXPECT_EQ(the_slicer.alive, 1);
}

TEST_F(Start, ReturnsTheStatusOfARefusedRequest) {
  const ravo_time_id start = at(200, 0), stop = at(100, 0);
  reader.set_start_point(&start);
  reader.set_stop_point(&stop);
  int status = 0;
  EXPECT_EQ(output_of_start(0, &status), "Wrong Event IDs start:200 > stop:100\n");
  EXPECT_EQ(status, -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(output_of_start(-2, &status),
            "Wrong Event IDs start:200 > stop:100\nRequest is not OK ret:-7\n");
  EXPECT_EQ(reader.slicer, nullptr);
}

TEST_F(Start, KeepsTheSlicerWhoseInitFailed) {
  the_slicer.init_status = -1;
  int status = 0;
  EXPECT_EQ(output_of_start(0, &status), "Failed to init slicer error:-1\n");
  EXPECT_EQ(status, -1);
  EXPECT_STREQ(reader.get_last_error(), "No required data");
  EXPECT_NE(reader.slicer, nullptr);
  EXPECT_EQ(reader.start(), -8);
  EXPECT_EQ(the_slicer.calls.back(), "init 0");
  reader.clean_up();
  EXPECT_EQ(reader.slicer, nullptr);
  EXPECT_EQ(the_slicer.alive, 0);
}

TEST_F(Start, GoesOnWhenASettingIsRefusedAndSaysSoWhenDebugging) {
  the_slicer.synch_mode_status = -8;
  the_slicer.time_diff_status = -7;
  the_slicer.event_step_status = -6;
  int status = 1;
  EXPECT_EQ(output_of_start(1, &status),
            "Failed to set synch mode:0 at the slicer error:-8\n"
            "Failed to set time diff erro:-7\n"
            "Failed to set event step error:-6\n");
  EXPECT_EQ(status, 0);
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(Start, GoesOnSilentlyWhenASettingIsRefused) {
  the_slicer.synch_mode_status = the_slicer.time_diff_status = the_slicer.event_step_status = -8;
  int status = 1;
  EXPECT_EQ(output_of_start(0, &status), "");
  EXPECT_EQ(status, 0);
}

TEST_F(Start, NamesTheMissingChannelsBehindTheErrorText) {
  the_slicer.start_status = -6;
  the_slicer.not_found_channels = "A;B";
  int status = 0;
  EXPECT_EQ(output_of_start(0, &status), "");
  EXPECT_EQ(status, -6);
  EXPECT_STREQ(reader.get_last_error(), "Intern error:A;B");
  EXPECT_NE(reader.slicer, nullptr);
}

TEST_F(Start, SaysThatTheSlicerDidNotStartWhenDebugging) {
  the_slicer.start_status = -1;
  int status = 0;
  EXPECT_EQ(output_of_start(-1, &status), "Failed to start slicer error:-1\n");
  EXPECT_STREQ(reader.get_last_error(), "No required data:");
}

TEST_F(Start, FreezesTheRequest) {
  ASSERT_EQ(reader.start(), 0);
  const ravo_time_id point = at(1, 1);
  std::vector<daq_channel_entry*> channels;
  char name[] = "C";
  daq_channel_entry channel{name, {}};
  channels.push_back(&channel);
  EXPECT_EQ(reader.set_period(&point), -8);
  EXPECT_STREQ(reader.get_last_error(), "Not allowed");
  EXPECT_EQ(reader.set_start_point(&point), -8);
  EXPECT_EQ(reader.set_stop_point(&point), -8);
  EXPECT_EQ(reader.set_experiment("x"), -8);
  EXPECT_EQ(reader.set_stream("x"), -8);
  EXPECT_EQ(reader.set_catalog_dir("x"), -8);
  EXPECT_EQ(reader.set_data_dir("x"), -8);
  EXPECT_EQ(reader.set_data_dir(nullptr), -8);
  EXPECT_EQ(reader.set_synch_mode(1), -8);
  EXPECT_EQ(reader.set_synch_mode(5), -8);
  EXPECT_EQ(reader.add_file("x", true), -8);
  EXPECT_EQ(reader.remove_file("run7"), -8);
  EXPECT_EQ(reader.add_channel(&channel), -8);
  EXPECT_EQ(reader.set_channels(&channels), -8);
  EXPECT_EQ(reader.rem_channel("A"), -8);
  EXPECT_STREQ(reader.get_experiment(), "linac");
  EXPECT_EQ(reader.get_number_of_files(), 1);
  EXPECT_EQ(reader.get_number_of_channels(), 2);
  EXPECT_EQ(reader.get_start_point()->event_number, 0u);
}

TEST_F(Start, NullArgumentsAreToldBeforeTheFreeze) {
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(reader.set_period(nullptr), -7);
  EXPECT_EQ(reader.set_start_point(nullptr), -7);
  EXPECT_EQ(reader.set_experiment(""), -7);
  EXPECT_EQ(reader.add_file("", true), -7);
  EXPECT_EQ(reader.remove_file(nullptr), -7);
  EXPECT_EQ(reader.add_channel(nullptr), -7);
  EXPECT_EQ(reader.rem_channel(""), -7);
}

TEST_F(Start, LeavesThreeSettingsOpenAndPassesTwoOfThemOn) {
  ASSERT_EQ(reader.start(), 0);
  the_slicer.calls.clear();
  const time_stamp diff{9, 8};
  EXPECT_EQ(reader.set_time_diff(&diff), 0);
  EXPECT_EQ(reader.get_time_diff()->timeup, 9u);
  reader.set_debug(3);
  reader.set_by_time_fix(false);
  EXPECT_EQ(the_slicer.calls, (std::vector<std::string>{"set_debug 3", "fix off"}));
}

TEST_F(Start, MayFollowACleanUp) {
  ASSERT_EQ(reader.start(), 0);
  reader.clean_up();
  EXPECT_EQ(reader.get_number_of_channels(), 0);
  add("C");
  EXPECT_EQ(reader.start(), 0);
  EXPECT_EQ(the_slicer.channels.back(), "C/-1");
  EXPECT_EQ(the_slicer.alive, 1);
}

class InitFromFiles : public scripted_reader {
 protected:
  InitFromFiles() { reader.set_data_dir(""); }
  /// Runs init() with these files and channels.
  int init(std::vector<std::string> files, std::vector<std::string> channels = {}) {
    std::vector<char*> names;
    for (std::string& file : files) names.push_back(file.data());
    std::vector<daq_channel_entry> kept;
    for (std::string& channel : channels) kept.push_back({channel.data(), {}});
    std::vector<daq_channel_entry*> wanted;
    for (daq_channel_entry& channel : kept) wanted.push_back(&channel);
    return reader.init(&names, channels.empty() ? nullptr : &wanted);
  }
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
  const std::string first = "/x/linac_main_run7_file1_20250101T000000Z.raw";
  const std::string second = "/x/linac_main_run7_file2_20250101T001000Z.raw";
};

TEST_F(InitFromFiles, RefusesNoFiles) {
  std::vector<char*> none;
  EXPECT_EQ(reader.init(static_cast<const std::vector<char*>*>(nullptr), nullptr), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(reader.init(&none, nullptr), -7);
}

TEST_F(InitFromFiles, SortsTheFilesAndDropsDuplicates) {
  EXPECT_EQ(init({second, first, second, first}), 0);
  ASSERT_EQ(reader.get_number_of_files(), 2);
  EXPECT_EQ(reader.get_file_name(0), first);
  EXPECT_EQ(reader.get_file_name(1), second);
}

TEST_F(InitFromFiles, SkipsNullAndEmptyNames) {
  std::string name = first, empty;
  std::vector<char*> names{nullptr, empty.data(), name.data()};
  EXPECT_EQ(reader.init(&names, nullptr), 0);
  EXPECT_EQ(reader.get_number_of_files(), 1);
}

TEST_F(InitFromFiles, OpensTheFirstFileAndReleasesIt) {
  const int clean_ups = the_loader.clean_ups;
  EXPECT_EQ(init({second, first}), 0);
  EXPECT_EQ(the_loader.loaded, (std::vector<std::string>{first}));
  EXPECT_EQ(the_loader.clean_ups, clean_ups + 1);
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(InitFromFiles, TellsOfAFirstFileThatCannotBeRead) {
  the_loader.status = 2;
  EXPECT_EQ(init({first}), -9);
  EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
  EXPECT_EQ(reader.get_number_of_files(), 1);
}

TEST_F(InitFromFiles, OpensTheFirstFileForTheChannelsAddedBefore) {
  add("A");
  EXPECT_EQ(init({first}), 0);
  EXPECT_TRUE(the_loader.was_given_channels);
}

TEST_F(InitFromFiles, OpensNothingWhenGivenChannels) {
  EXPECT_EQ(init({first}, {"A", "B:1"}), 0);
  EXPECT_TRUE(the_loader.loaded.empty());
  EXPECT_EQ(reader.get_number_of_channels(), 2);
}

TEST_F(InitFromFiles, ReturnsTheStatusOfTheChannels) {
  EXPECT_EQ(init({first}, {"A", ""}), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(reader.get_number_of_channels(), 1);
}

TEST_F(InitFromFiles, IgnoresFilesThatAreRefused) {
  environment_variable look{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(init({"/nowhere/a.raw"}), 0);
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(InitFromFiles, StartsOverWhenRunning) {
  ASSERT_EQ(init({first}, {"A"}), 0);
  ASSERT_EQ(reader.start(), 0);
  reader.set_debug(0);
  // Cleaning up restores the built-in data directory, which a path with a slash does not need.
  EXPECT_EQ(init({second}, {"B"}), 0);
  EXPECT_EQ(reader.slicer, nullptr);
  EXPECT_EQ(the_slicer.alive, 0);
  ASSERT_EQ(reader.get_number_of_files(), 1);
  EXPECT_EQ(reader.get_file_name(0), second);
  EXPECT_STREQ(reader.get_channel_name(0, nullptr), "B");
}

TEST_F(InitFromFiles, AddsToTheListWhenNotRunning) {
  ASSERT_EQ(init({first}), 0);
  ASSERT_EQ(init({second}), 0);
  EXPECT_EQ(reader.get_number_of_files(), 2);
}

}  // namespace
}  // namespace ravo::test
