// init() with a request: what it is checked for, what the catalogue is asked and what becomes of its answer,
// how files enter the list, and how the first of them is tried.
#include "requested_reader.h"

#include <climits>

namespace ravo::test {
namespace {

const std::string no_catalogue_for_runs =
    "ravo_daq_reader_2010::init() Failed to get list of files for runs .. trying local directory scan\n";
const std::string no_catalogue_for_period =
    "ravo_daq_reader_2010::init() Failed to get list of files for period ... trying local scan\n";

class RequestInit : public requested_reader {
 protected:
  /// Lets the catalogue answer, as if the files lay somewhere in its archive.
  static names archived(names files) {
    for (std::string& file : files) file = "/archive/2025/" + file;
    return files;
  }
  void answer_runs(const names& files) {
    the_catalogue.runs_status = 0;
    the_catalogue.files_of_runs = archived(files);
  }
  void answer_period(const names& files) {
    the_catalogue.period_status = 0;
    the_catalogue.files_of_period = archived(files);
  }
};

TEST_F(RequestInit, ANullRequestIsRefused) {
  EXPECT_EQ(reader.init(static_cast<const ravo_daq_request*>(nullptr), nullptr), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
}

TEST_F(RequestInit, TheWholeRequestIsTaken) {
  ask_for_runs(3, 4);
  ask_for_period(100, 200);
  request.start_time.event_number = 5;
  request.stop_time.time.timelow = 7;
  request.synch_mode = 1;
  request.time_diff = {1, 2};
  request.period = {3, {4, 5}};
  std::strcpy(request.exp_name, "laser");
  std::strcpy(request.stream_name, "fast");
  answer_runs({raw_name(3, 1, 100, "laser")});
  the_catalogue.times_of_runs[3] = {{clock_zero + 50, 0}, {clock_zero + 300, 0}};
  the_catalogue.times_of_runs[4] = the_catalogue.times_of_runs[3];
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.request.run_first, 3);
  EXPECT_EQ(reader.request.run_last, 4);
  EXPECT_EQ(reader.get_start_point()->event_number, 5u);
  EXPECT_EQ(reader.get_start_point()->time.timeup, clock_zero + 100);
  EXPECT_EQ(reader.get_stop_point()->time.timelow, 7u);
  EXPECT_EQ(reader.request.synch_mode, 1);
  EXPECT_EQ(reader.get_time_diff()->timeup, 1u);
  EXPECT_EQ(reader.get_period()->time.timelow, 5u);
  EXPECT_STREQ(reader.get_experiment(), "laser");
  EXPECT_STREQ(reader.get_stream(), "fast");
  EXPECT_STREQ(reader.get_catalog_dir(), "/catalogue/");
}

TEST_F(RequestInit, TheDataDirectoryGetsItsSlash) {
  answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_data_dir(), folder.path().string() + "/");
  EXPECT_EQ(names(1, reader.get_file_name(0)), names(1, folder.file(raw_name(3, 1, 100))));
  std::strcpy(request.ddir, "/a:/b:");
  ASSERT_EQ(init(), 0);
  EXPECT_STREQ(reader.get_data_dir(), "/a:/b:");
  EXPECT_EQ(names(1, reader.get_file_name(0)), names(1, "/a/" + raw_name(3, 1, 100)));
}

TEST_F(RequestInit, TextsWithoutTheirClosingZeroAreCut) {
  std::memset(request.exp_name, 'e', sizeof request.exp_name);
  std::memset(request.stream_name, 's', sizeof request.stream_name);
  std::memset(request.cdir, 'c', sizeof request.cdir);
  std::memset(request.ddir, 'd', sizeof request.ddir);
  EXPECT_EQ(init(), -10);
  EXPECT_EQ(std::strlen(reader.get_experiment()), 31u);
  EXPECT_EQ(std::strlen(reader.get_stream()), 31u);
  EXPECT_EQ(std::strlen(reader.get_catalog_dir()), 1023u);
  EXPECT_EQ(std::strlen(reader.get_data_dir()), 1023u);
}

TEST_F(RequestInit, TheReadersOwnRequestMayBeGivenBack) {
  ask_for_period(100, 200);
  answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(init(), 0);
  ASSERT_EQ(reader.start(), 0);
  ASSERT_EQ(reader.init(&reader.request, nullptr), 0);
  EXPECT_EQ(reader.get_start_point()->time.timeup, clock_zero + 100);
  EXPECT_EQ(files(), names{raw_name(3, 1, 100)});
}

TEST_F(RequestInit, ChannelsAreAdded) {
  char first[] = "BPM:1;x", second[] = "TOR";
  daq_channel_entry one{first, {}}, two{second, {}};
  const std::vector<daq_channel_entry*> channels{&one, &two};
  answer_period({raw_name(3, 1, 100)});
  EXPECT_EQ(reader.init(&request, &channels), 0);
  EXPECT_EQ(reader.get_number_of_channels(), 2);
  EXPECT_EQ(the_loader.names, (names{"BPM", "TOR"})) << "the first file is tried with the channels";
}

TEST_F(RequestInit, ARefusedChannelEndsIt) {
  char empty[] = "";
  daq_channel_entry one{empty, {}};
  const std::vector<daq_channel_entry*> channels{&one};
  EXPECT_EQ(reader.init(&request, &channels), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_TRUE(the_catalogue.questions.empty());
}

TEST_F(RequestInit, AnEmptyChannelListIsNone) {
  answer_period({raw_name(3, 1, 100)});
  const std::vector<daq_channel_entry*> channels;
  EXPECT_EQ(reader.init(&request, &channels), 0);
}

TEST_F(RequestInit, ASecondOneOnAStartedReaderStartsOver) {
  add("BPM");
  answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(init(), 0);
  ASSERT_EQ(reader.start(), 0);
  the_catalogue.files_of_period = archived({raw_name(4, 1, 500)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(the_slicer.alive, 0);
  EXPECT_EQ(reader.get_number_of_channels(), 0);
  EXPECT_EQ(files(), names{raw_name(4, 1, 500)});
}

TEST_F(RequestInit, ASecondOneReplacesTheFilesAlsoBeforeStart) {
  answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(init(), 0);
  the_catalogue.files_of_period = archived({raw_name(4, 1, 500)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), names{raw_name(4, 1, 500)});
}

TEST_F(RequestInit, AFailedOneLeavesNoFilesOfTheOneBefore) {
  answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(init(), 0);
  the_catalogue.period_status = 1;
  std::strcpy(request.ddir, "/nowhere/");
  EXPECT_EQ(init(), -10);
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_FALSE(reader.found_from_run_catalogue);
}

// ---- runs -----------------------------------------------------------------------------------------

TEST_F(RequestInit, TheCatalogueIsAskedForEveryRun) {
  ask_for_runs(7, 10);
  answer_runs({raw_name(7, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(the_catalogue.runs_asked_for, (std::vector<int>{7, 8, 9, 10}));
  EXPECT_EQ(the_catalogue.questions.front(), "runs of linac main in /catalogue/ closed 1");
  EXPECT_EQ(the_catalogue.records_alive, 0);
}

TEST_F(RequestInit, ALastRunBeforeTheFirstMeansOneRun) {
  for (const int last : {0, -5, 3, 7, INT_MIN}) {
    the_catalogue = {};
    ask_for_runs(7, last);
    answer_runs({raw_name(7, 1, 100)});
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(the_catalogue.runs_asked_for, std::vector<int>{7}) << last;
  }
}

TEST_F(RequestInit, TheHighestRunMayBeAskedFor) {
  ask_for_runs(INT_MAX, INT_MAX);
  answer_runs({raw_name(7, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(the_catalogue.runs_asked_for, std::vector<int>{INT_MAX});
}

TEST_F(RequestInit, MoreRunsThanThereCanBeAreRefused) {
  ask_for_runs(1, INT_MAX);
  EXPECT_EQ(init(), -6);
  EXPECT_EQ(output, "ravo_daq_reader_2010::init() Failed to malloc run number\n");
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
  EXPECT_TRUE(the_catalogue.questions.empty());
}

TEST_F(RequestInit, ARunBelowOneMakesAPeriodRequest) {
  for (const int run : {0, -1, INT_MIN}) {
    the_catalogue = {};
    ask_for_runs(run, 9);
    answer_period({raw_name(7, 1, 100)});
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(the_catalogue.questions, names{"period of linac main in /catalogue/ closed 1"});
  }
}

TEST_F(RequestInit, FilesOfRunsFromTheCatalogueAreTakenWithoutAWord) {
  ask_for_runs(7, 8);
  answer_runs({raw_name(8, 1, 300), raw_name(7, 2, 200), raw_name(7, 1, 100)});
  the_catalogue.times_of_runs[7] = the_catalogue.times_of_runs[8] = {{5, 0}, {6, 0}};
  make({raw_name(7, 3, 250), raw_name(8, 2, 400)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), (names{raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(8, 1, 300)}));
  EXPECT_TRUE(reader.found_from_run_catalogue);
  EXPECT_EQ(output, "");
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(RequestInit, RunsAreCutWithThePeriod) {
  ask_for_runs(7, 7);
  ask_for_period(150, 250);
  answer_runs({raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 3, 300)});
  answer_period({raw_name(6, 9, 90), raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(9, 1, 210)});
  reader.set_debug(1);
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), (names{raw_name(7, 1, 100), raw_name(7, 2, 200)}));
  EXPECT_EQ(the_catalogue.period_start, clock_zero + 150);
  EXPECT_EQ(the_catalogue.period_stop, clock_zero + 250);
  EXPECT_TRUE(says("removing those that are not in our list sz: 4  from sz: 3\n"));
  EXPECT_TRUE(reader.found_from_run_catalogue);
  EXPECT_EQ(the_catalogue.records_alive, 0);
}

TEST_F(RequestInit, TheCutIsToldAtAPositiveDebugLevelOnly) {
  for (const int level : {0, -1}) {
    ask_for_runs(7, 7);
    ask_for_period(150, 250);
    answer_runs({raw_name(7, 1, 100)});
    answer_period({raw_name(7, 1, 100)});
    reader.set_debug(level);
    ASSERT_EQ(init(), 0);
    EXPECT_FALSE(says("removing"));
  }
}

TEST_F(RequestInit, NamesAreComparedWithTheirDirectories) {
  ask_for_runs(7, 7);
  ask_for_period(150, 250);
  answer_runs({raw_name(7, 1, 100)});
  the_catalogue.period_status = 0;
  the_catalogue.files_of_period = {"/elsewhere/" + raw_name(7, 1, 100)};
  EXPECT_EQ(init(), -10);
  EXPECT_STREQ(reader.get_last_error(), "Files not found");
}

TEST_F(RequestInit, WithoutAnAnswerForThePeriodTheRunsStayWhole) {
  ask_for_runs(7, 7);
  ask_for_period(150, 250);
  answer_runs({raw_name(7, 1, 100), raw_name(7, 2, 200)});
  reader.set_debug(1);
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_number_of_files(), 2);
  EXPECT_FALSE(says("removing"));
  the_catalogue.period_status = 0;
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_number_of_files(), 2);
}

TEST_F(RequestInit, AHalfPeriodDoesNotCutTheRuns) {
  ask_for_runs(7, 7);
  answer_runs({raw_name(7, 1, 100), raw_name(7, 2, 200)});
  answer_period({raw_name(7, 1, 100)});
  ask_for_period(150, 0);
  request.stop_time = {};
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_number_of_files(), 2);
  request.start_time = {};
  request.stop_time.time.timeup = clock_zero + 250;
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_number_of_files(), 2);
}

TEST_F(RequestInit, AnAnswerWithoutFilesIsNone) {
  ask_for_runs(7, 7);
  answer_runs({});
  make({raw_name(7, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(output.rfind(no_catalogue_for_runs, 0), 0u) << output;
  EXPECT_FALSE(reader.found_from_run_catalogue);
  EXPECT_EQ(files(), names{raw_name(7, 1, 100)});
}

TEST_F(RequestInit, AFailedLookUpCountsForNothingWhateverItLeft) {
  ask_for_runs(7, 7);
  the_catalogue.files_of_runs = {"/archive/" + raw_name(9, 9, 900)};
  make({raw_name(7, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), names{raw_name(7, 1, 100)});
  EXPECT_EQ(the_catalogue.records_alive, 0);
}

// ---- periods --------------------------------------------------------------------------------------

TEST_F(RequestInit, TheCatalogueIsAskedForThePeriod) {
  ask_for_period(100, 200);
  answer_period({raw_name(7, 2, 150), raw_name(7, 1, 90)});
  make({raw_name(7, 0, 50), raw_name(7, 3, 250)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(the_catalogue.period_start, clock_zero + 100);
  EXPECT_EQ(the_catalogue.period_stop, clock_zero + 200);
  EXPECT_EQ(files(), (names{raw_name(7, 1, 90), raw_name(7, 2, 150)})) << "no edge files";
  EXPECT_TRUE(reader.found_from_run_catalogue);
  EXPECT_EQ(output, "");
}

TEST_F(RequestInit, APeriodWithoutItsEndIsAskedForAsItIs) {
  ask_for_period(100, 0);
  request.stop_time = {};
  answer_period({raw_name(7, 2, 150)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(the_catalogue.period_start, clock_zero + 100);
  EXPECT_EQ(the_catalogue.period_stop, 0u);
  EXPECT_EQ(reader.get_stop_point()->time.timeup, 0u) << "the request itself is completed at the start";
}

TEST_F(RequestInit, ThePeriodsWindowIsLeftAlone) {
  ask_for_period(100, 200);
  answer_period({raw_name(7, 2, 5000)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(the_catalogue.questions.size(), 1u) << "nobody asks for the time of runs";
  EXPECT_EQ(reader.get_start_point()->time.timeup, clock_zero + 100);
  EXPECT_EQ(reader.get_stop_point()->time.timeup, clock_zero + 200);
}

TEST_F(RequestInit, TheScanForAPeriodIsToldAtANonZeroDebugLevel) {
  make({raw_name(7, 1, 150)});
  ask_for_period(100, 200);
  ASSERT_EQ(init(), 0);
  EXPECT_FALSE(says(no_catalogue_for_period));
  for (const int level : {1, -1}) {
    reader.set_debug(level);
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(output.rfind(no_catalogue_for_period, 0), 0u);
  }
  EXPECT_FALSE(reader.found_from_run_catalogue);
}

TEST_F(RequestInit, FilesFromTheCatalogueAreNotTrimmedOnce) {
  ask_for_period(10000, 20000);
  answer_period({raw_name(7, 1, 1), raw_name(7, 2, 2), raw_name(7, 3, 3)});
  ASSERT_EQ(init(), 0);
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(the_slicer.files.size(), 3u);
}

TEST_F(RequestInit, AMarkOfAnEarlierCatalogueAnswerDoesNotServeAScan) {
  answer_period({raw_name(7, 1, 1)});
  ASSERT_EQ(init(), 0);
  ASSERT_TRUE(reader.found_from_run_catalogue);
  the_catalogue = {};
  make({raw_name(7, 1, 150)});
  ask_for_period(100, 200);
  ASSERT_EQ(init(), 0);
  EXPECT_FALSE(reader.found_from_run_catalogue);
}

// ---- entering the files ---------------------------------------------------------------------------

TEST_F(RequestInit, OnlyTheNamesCountAndAreLookedUpInTheDataDirectory) {
  answer_period({raw_name(7, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_file_name(0), folder.file(raw_name(7, 1, 100)));
}

TEST_F(RequestInit, WithoutADataDirectoryThePathListIsSearched) {
  request.ddir[0] = '\0';
  reader.set_data_path_list("/p:/q");
  answer_period({raw_name(7, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_file_name(0), "/p/" + raw_name(7, 1, 100));
}

TEST_F(RequestInit, PathsWithoutTheExperimentAreLeftOut) {
  the_catalogue.period_status = 0;
  the_catalogue.files_of_period = {"/archive/" + raw_name(7, 1, 100, "laser"), "/archive/" + raw_name(7, 2, 200),
                                   "/linac/" + raw_name(7, 3, 300, "laser")};
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), (names{raw_name(7, 2, 200), raw_name(7, 3, 300, "laser")}))
      << "the experiment may be named anywhere in the path";
}

TEST_F(RequestInit, WithoutAnExperimentAllPathsAreTaken) {
  request.exp_name[0] = '\0';
  answer_period({raw_name(7, 1, 100, "laser"), raw_name(7, 2, 200)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_number_of_files(), 2);
}

TEST_F(RequestInit, FilesThatAreStillBeingWrittenAreLeftOut) {
  environment_variable look{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  make({raw_name(7, 1, 100)});
  answer_period({raw_name(7, 1, 100)});
  EXPECT_EQ(init(), -10);
  EXPECT_EQ(output, "ravo_daq_reader_2010::add_file() file " + folder.file(raw_name(7, 1, 100)) +
                        " skipped (not closed)\n");
  EXPECT_STREQ(reader.get_last_error(), "Files not found");
}

TEST_F(RequestInit, FilesThatAreGoneAreLeftOut) {
  environment_variable look{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  answer_period({raw_name(7, 1, 100)});
  reader.set_debug(1);
  EXPECT_EQ(init(), -10);
  EXPECT_EQ(output, "ravo_daq_reader_2010::add_file() file " + folder.file(raw_name(7, 1, 100)) +
                        " not found \n");
}

TEST_F(RequestInit, FilesNamedTwiceAreTakenOnce) {
  answer_period({raw_name(7, 1, 100), raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), (names{raw_name(7, 1, 100), raw_name(7, 2, 200)}));
}

TEST_F(RequestInit, AVeryLongNameIsOnlyAName) {
  const std::string longest(5000, 'x');
  answer_period({"linac" + longest + ".raw", raw_name(7, 2, 200)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), (names{"linac" + longest + ".raw", raw_name(7, 2, 200)}));
}

// ---- the first file -------------------------------------------------------------------------------

TEST_F(RequestInit, TheFirstFileIsTriedAndReleased) {
  answer_period({raw_name(7, 2, 200), raw_name(7, 1, 100)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(the_loader.loaded, names{folder.file(raw_name(7, 1, 100))});
  EXPECT_EQ(the_loader.descr_mode, 0);
  EXPECT_EQ(the_loader.clean_ups, 1);
}

TEST_F(RequestInit, AFirstFileWithoutTheChannelsIsNotFound) {
  the_loader.status = -5;
  answer_period({raw_name(7, 1, 100)});
  EXPECT_EQ(init(), -5);
  EXPECT_STREQ(reader.get_last_error(), "Channel not found");
  EXPECT_EQ(output, "");
}

TEST_F(RequestInit, AnUnreadableFirstFileIsABadFormat) {
  for (const int failure : {1, -2, -3, 2, 3, 5, 6, 7, -4, -6, -7, 101}) {
    the_loader.status = failure;
    answer_period({raw_name(7, 1, 100)});
    EXPECT_EQ(init(), -9) << failure;
    EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
  }
}

}  // namespace
}  // namespace ravo::test
