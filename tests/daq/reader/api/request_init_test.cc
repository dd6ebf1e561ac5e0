// init() with a request: what it is checked for, what the catalogue is asked and what becomes of its
// answer, how files enter the list, and how the first of them is tried.
#include "ravo_evutl_status.h"
#include "requested_reader.h"

#include <climits>

namespace ravo::test {
namespace {

template <class generation>
class RequestInit : public requested_reader<generation> {
 protected:
  /// The paths of files that the catalogue has somewhere in its archive; they lie in the data directory.
  names archived(names files) {
    this->make(files);
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
  const std::string no_catalogue_for_runs =
      this->class_name + "::init() Failed to get list of files for runs .. trying local directory scan\n";
  const std::string no_catalogue_for_period =
      this->class_name + "::init() Failed to get list of files for period ... trying local scan\n";
};
TYPED_TEST_SUITE(RequestInit, generations, generation_name);

TYPED_TEST(RequestInit, ANullRequestIsRefused) {
  EXPECT_EQ(this->reader.init(static_cast<const ravo_daq_request*>(nullptr), nullptr),
            RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
}

TYPED_TEST(RequestInit, TheWholeRequestIsTaken) {
  this->ask_for_runs(3, 4);
  this->ask_for_period(100, 200);
  this->request.start_time.event_number = 5;
  this->request.stop_time.time.timelow = 7;
  this->request.synch_mode = 1;
  this->request.time_diff = {1, 2};
  this->request.period = {3, {4, 5}};
  std::strcpy(this->request.exp_name, "laser");
  std::strcpy(this->request.stream_name, "fast");
  this->answer_runs({raw_name(3, 1, 100, "laser")});
  the_catalogue.times_of_runs[3] = {{clock_zero + 50, 0}, {clock_zero + 300, 0}};
  the_catalogue.times_of_runs[4] = the_catalogue.times_of_runs[3];
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.request.run_first, 3);
  EXPECT_EQ(this->reader.request.run_last, 4);
  EXPECT_EQ(this->reader.get_start_point()->event_number, 5u);
  EXPECT_EQ(this->reader.get_start_point()->time.timeup, clock_zero + 100);
  EXPECT_EQ(this->reader.get_stop_point()->time.timelow, 7u);
  EXPECT_EQ(this->reader.request.synch_mode, 1);
  EXPECT_EQ(this->reader.get_time_diff()->timeup, 1u);
  EXPECT_EQ(this->reader.get_period()->time.timelow, 5u);
  EXPECT_STREQ(this->reader.get_experiment(), "laser");
  EXPECT_STREQ(this->reader.get_stream(), "fast");
  EXPECT_STREQ(this->reader.get_catalog_dir(), "/catalogue/");
}

TYPED_TEST(RequestInit, TheDataDirectoryGetsItsSlash) {
  this->answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_data_dir(), this->folder.path().string() + "/");
  EXPECT_EQ(names(1, this->reader.get_file_name(0)), names(1, this->folder.file(raw_name(3, 1, 100))));
  const std::string first = this->existing("a/" + raw_name(3, 1, 100));
  const std::string list = this->folder.file("a") + ":" + this->folder.path().string() + ":";
  std::strcpy(this->request.ddir, list.c_str());
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_data_dir(), list);
  EXPECT_EQ(names(1, this->reader.get_file_name(0)), names(1, first));
}

TYPED_TEST(RequestInit, TextsWithoutTheirClosingZeroAreCut) {
  std::memset(this->request.exp_name, 'e', sizeof this->request.exp_name);
  std::memset(this->request.stream_name, 's', sizeof this->request.stream_name);
  std::memset(this->request.cdir, 'c', sizeof this->request.cdir);
  std::memset(this->request.ddir, 'd', sizeof this->request.ddir);
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_EQ(std::strlen(this->reader.get_experiment()), 31u);
  EXPECT_EQ(std::strlen(this->reader.get_stream()), 31u);
  EXPECT_EQ(std::strlen(this->reader.get_catalog_dir()), 1023u);
  EXPECT_EQ(std::strlen(this->reader.get_data_dir()), 1023u);
}

TYPED_TEST(RequestInit, TheReadersOwnRequestMayBeGivenBack) {
  this->ask_for_period(100, 200);
  this->answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  ASSERT_EQ(this->reader.start(), 0);
  ASSERT_EQ(this->reader.init(&this->reader.request, nullptr), 0);
  EXPECT_EQ(this->reader.get_start_point()->time.timeup, clock_zero + 100);
  EXPECT_EQ(this->files(), names{raw_name(3, 1, 100)});
}

TYPED_TEST(RequestInit, ChannelsAreAdded) {
  char first[] = "BPM:1;x", second[] = "TOR";
  daq_channel_entry one{first, {}}, two{second, {}};
  const std::vector<daq_channel_entry*> channels{&one, &two};
  this->answer_period({raw_name(3, 1, 100)});
  EXPECT_EQ(this->reader.init(&this->request, &channels), 0);
  EXPECT_EQ(this->reader.get_number_of_channels(), 2);
  EXPECT_EQ(the_loader.names, (names{"BPM", "TOR"})) << "the first file is tried with the channels";
}

TYPED_TEST(RequestInit, ARefusedChannelEndsIt) {
  char empty[] = "";
  daq_channel_entry one{empty, {}};
  const std::vector<daq_channel_entry*> channels{&one};
  EXPECT_EQ(this->reader.init(&this->request, &channels), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_TRUE(the_catalogue.questions.empty());
}

TYPED_TEST(RequestInit, AnEmptyChannelListCountsAsNoList) {
  this->answer_period({raw_name(3, 1, 100)});
  const std::vector<daq_channel_entry*> channels;
  EXPECT_EQ(this->reader.init(&this->request, &channels), 0);
}

TYPED_TEST(RequestInit, ASecondOneOnAStartedReaderStartsOver) {
  this->add("BPM");
  this->answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  ASSERT_EQ(this->reader.start(), 0);
  the_catalogue.files_of_period = this->archived({raw_name(4, 1, 500)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(the_slicer.alive, 0);
  EXPECT_EQ(this->reader.get_number_of_channels(), 0);
  EXPECT_EQ(this->files(), names{raw_name(4, 1, 500)});
}

TYPED_TEST(RequestInit, ASecondOneReplacesTheFilesAlsoBeforeStart) {
  this->answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  the_catalogue.files_of_period = this->archived({raw_name(4, 1, 500)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), names{raw_name(4, 1, 500)});
}

TYPED_TEST(RequestInit, AFailedOneLeavesNoFilesOfTheOneBefore) {
  this->answer_period({raw_name(3, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  the_catalogue.period_status = 1;
  std::strcpy(this->request.ddir, "/nowhere/");
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  EXPECT_FALSE(is_marked_by_catalogue(this->reader));
}

// ---- runs -----------------------------------------------------------------------------------------

TYPED_TEST(RequestInit, TheCatalogueIsAskedForEveryRun) {
  this->ask_for_runs(7, 10);
  this->answer_runs({raw_name(7, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(the_catalogue.runs_asked_for, (std::vector<int>{7, 8, 9, 10}));
  EXPECT_EQ(the_catalogue.questions.front(), "runs of linac main in /catalogue/ closed 1");
  EXPECT_EQ(the_catalogue.records_alive, 0);
}

TYPED_TEST(RequestInit, ALastRunBeforeTheFirstMeansOneRun) {
  for (const int last : {0, -5, 3, 7, INT_MIN}) {
    the_catalogue = {};
    this->ask_for_runs(7, last);
    this->answer_runs({raw_name(7, 1, 100)});
    ASSERT_EQ(this->init(), 0);
    EXPECT_EQ(the_catalogue.runs_asked_for, std::vector<int>{7}) << last;
  }
}

TYPED_TEST(RequestInit, TheHighestRunMayBeAskedFor) {
  this->ask_for_runs(INT_MAX, INT_MAX);
  this->answer_runs({raw_name(7, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(the_catalogue.runs_asked_for, std::vector<int>{INT_MAX});
}

TYPED_TEST(RequestInit, MoreRunsThanThereCanBeAreRefused) {
  this->ask_for_runs(1, INT_MAX);
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(this->output, this->class_name + "::init() Failed to malloc run number\n");
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
  EXPECT_TRUE(the_catalogue.questions.empty());
}

TYPED_TEST(RequestInit, ARunBelowOneMakesAPeriodRequest) {
  for (const int run : {0, -1, INT_MIN}) {
    the_catalogue = {};
    this->ask_for_runs(run, 9);
    this->answer_period({raw_name(7, 1, 100)});
    ASSERT_EQ(this->init(), 0);
    EXPECT_EQ(the_catalogue.questions, names{"period of linac main in /catalogue/ closed 1"});
  }
}

TYPED_TEST(RequestInit, FilesOfRunsFromTheCatalogueAreTakenWithoutAWord) {
  this->ask_for_runs(7, 8);
  this->answer_runs({raw_name(8, 1, 300), raw_name(7, 2, 200), raw_name(7, 1, 100)});
  the_catalogue.times_of_runs[7] = the_catalogue.times_of_runs[8] = {{5, 0}, {6, 0}};
  this->make({raw_name(7, 3, 250), raw_name(8, 2, 400)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), (names{raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(8, 1, 300)}));
  EXPECT_EQ(is_marked_by_catalogue(this->reader), either<TypeParam>(true, false));
  EXPECT_EQ(this->output, "");
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(RequestInit, OnlyInTheCurrentGenerationRunsAreCutWithThePeriod) {
  this->ask_for_runs(7, 7);
  this->ask_for_period(150, 250);
  this->answer_runs({raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 3, 300)});
  this->answer_period({raw_name(6, 9, 90), raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(9, 1, 210)});
  this->reader.set_debug(1);
  ASSERT_EQ(this->init(), 0);
  names expected{raw_name(7, 1, 100), raw_name(7, 2, 200)};
  if (either<TypeParam>(false, true)) expected.push_back(raw_name(7, 3, 300));
  EXPECT_EQ(this->files(), expected);
  EXPECT_EQ(the_catalogue.period_start, either<TypeParam>(clock_zero + 150, 0u)) << "0: nobody asks";
  EXPECT_EQ(the_catalogue.period_stop, either<TypeParam>(clock_zero + 250, 0u));
  EXPECT_EQ(this->says("removing those that are not in our list sz: 4  from sz: 3\n"),
            either<TypeParam>(true, false));
  EXPECT_EQ(is_marked_by_catalogue(this->reader), either<TypeParam>(true, false));
  EXPECT_EQ(the_catalogue.records_alive, 0);
}

TYPED_TEST(RequestInit, TheCutIsReportedAtAPositiveDebugLevelOnly) {
  for (const int level : {0, -1}) {
    this->ask_for_runs(7, 7);
    this->ask_for_period(150, 250);
    this->answer_runs({raw_name(7, 1, 100)});
    this->answer_period({raw_name(7, 1, 100)});
    this->reader.set_debug(level);
    ASSERT_EQ(this->init(), 0);
    EXPECT_FALSE(this->says("removing"));
  }
}

using CurrentRequestInit = RequestInit<current_generation>;

TEST_F(CurrentRequestInit, NamesAreComparedWithTheirDirectories) {
  ask_for_runs(7, 7);
  ask_for_period(150, 250);
  answer_runs({raw_name(7, 1, 100)});
  the_catalogue.period_status = 0;
  the_catalogue.files_of_period = {"/elsewhere/" + raw_name(7, 1, 100)};
  EXPECT_EQ(init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_STREQ(reader.get_last_error(), "Files not found");
}

TYPED_TEST(RequestInit, WithoutAnAnswerForThePeriodTheRunsStayWhole) {
  this->ask_for_runs(7, 7);
  this->ask_for_period(150, 250);
  this->answer_runs({raw_name(7, 1, 100), raw_name(7, 2, 200)});
  this->reader.set_debug(1);
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 2);
  EXPECT_FALSE(this->says("removing"));
  the_catalogue.period_status = 0;
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 2);
}

TYPED_TEST(RequestInit, AHalfPeriodDoesNotCutTheRuns) {
  this->ask_for_runs(7, 7);
  this->answer_runs({raw_name(7, 1, 100), raw_name(7, 2, 200)});
  this->answer_period({raw_name(7, 1, 100)});
  this->ask_for_period(150, 0);
  this->request.stop_time = {};
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 2);
  this->request.start_time = {};
  this->request.stop_time.time.timeup = clock_zero + 250;
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 2);
}

TYPED_TEST(RequestInit, AnAnswerWithoutFilesCountsAsNoAnswer) {
  this->ask_for_runs(7, 7);
  this->answer_runs({});
  this->make({raw_name(7, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->output.rfind(this->no_catalogue_for_runs, 0), 0u) << this->output;
  EXPECT_FALSE(is_marked_by_catalogue(this->reader));
  EXPECT_EQ(this->files(), names{raw_name(7, 1, 100)});
}

TYPED_TEST(RequestInit, AFailedLookUpCountsForNothingWhateverItLeft) {
  this->ask_for_runs(7, 7);
  the_catalogue.files_of_runs = {"/archive/" + raw_name(9, 9, 900)};
  this->make({raw_name(7, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), names{raw_name(7, 1, 100)});
  EXPECT_EQ(the_catalogue.records_alive, 0);
}

// ---- periods --------------------------------------------------------------------------------------

TYPED_TEST(RequestInit, TheCatalogueIsAskedForThePeriod) {
  this->ask_for_period(100, 200);
  this->answer_period({raw_name(7, 2, 150), raw_name(7, 1, 90)});
  this->make({raw_name(7, 0, 50), raw_name(7, 3, 250)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(the_catalogue.period_start, clock_zero + 100);
  EXPECT_EQ(the_catalogue.period_stop, clock_zero + 200);
  EXPECT_EQ(this->files(), (names{raw_name(7, 1, 90), raw_name(7, 2, 150)})) << "no edge files";
  EXPECT_EQ(is_marked_by_catalogue(this->reader), either<TypeParam>(true, false));
  EXPECT_EQ(this->output, "");
}

TYPED_TEST(RequestInit, APeriodWithoutItsEndIsAskedForAsItIs) {
  this->ask_for_period(100, 0);
  this->request.stop_time = {};
  this->answer_period({raw_name(7, 2, 150)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(the_catalogue.period_start, clock_zero + 100);
  EXPECT_EQ(the_catalogue.period_stop, 0u);
  EXPECT_EQ(this->reader.get_stop_point()->time.timeup, 0u)
      << "the request itself is completed at the start";
}

TYPED_TEST(RequestInit, ThePeriodsWindowIsLeftAlone) {
  this->ask_for_period(100, 200);
  this->answer_period({raw_name(7, 2, 5000)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(the_catalogue.questions.size(), 1u) << "nobody asks for the time of runs";
  EXPECT_EQ(this->reader.get_start_point()->time.timeup, clock_zero + 100);
  EXPECT_EQ(this->reader.get_stop_point()->time.timeup, clock_zero + 200);
}

TYPED_TEST(RequestInit, TheScanForAPeriodIsReportedAtANonZeroDebugLevel) {
  this->make({raw_name(7, 1, 150)});
  this->ask_for_period(100, 200);
  ASSERT_EQ(this->init(), 0);
  EXPECT_FALSE(this->says(this->no_catalogue_for_period));
  for (const int level : {1, -1}) {
    this->reader.set_debug(level);
    ASSERT_EQ(this->init(), 0);
    EXPECT_EQ(this->output.rfind(this->no_catalogue_for_period, 0), 0u);
  }
  EXPECT_FALSE(is_marked_by_catalogue(this->reader));
}

TYPED_TEST(RequestInit, OnlyTheOlderGenerationTrimsFilesFromTheCatalogueByName) {
  this->ask_for_period(10000, 20000);
  this->answer_period({raw_name(7, 1, 1), raw_name(7, 2, 2), raw_name(7, 3, 3)});
  ASSERT_EQ(this->init(), 0);
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_EQ(the_slicer.files.size(), either<TypeParam>(3u, 1u));
}

TYPED_TEST(RequestInit, AMarkOfAnEarlierCatalogueAnswerDoesNotServeAScan) {
  this->answer_period({raw_name(7, 1, 1)});
  ASSERT_EQ(this->init(), 0);
  ASSERT_EQ(is_marked_by_catalogue(this->reader), either<TypeParam>(true, false));
  the_catalogue = {};
  this->make({raw_name(7, 1, 150)});
  this->ask_for_period(100, 200);
  ASSERT_EQ(this->init(), 0);
  EXPECT_FALSE(is_marked_by_catalogue(this->reader));
}

// ---- entering the files ---------------------------------------------------------------------------

TYPED_TEST(RequestInit, OnlyTheNamesCountAndAreLookedUpInTheDataDirectory) {
  this->answer_period({raw_name(7, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_file_name(0), this->folder.file(raw_name(7, 1, 100)));
}

TYPED_TEST(RequestInit, WithoutADataDirectoryThePathListIsSearched) {
  this->request.ddir[0] = '\0';
  const std::string first = this->existing("p/" + raw_name(7, 1, 100));
  this->existing("q/" + raw_name(7, 1, 100));
  this->reader.set_data_path_list((this->folder.file("p") + ":" + this->folder.file("q")).c_str());
  this->answer_period({raw_name(7, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_file_name(0), first);
}

TYPED_TEST(RequestInit, PathsWithoutTheExperimentAreLeftOut) {
  the_catalogue.period_status = 0;
  the_catalogue.files_of_period = {"/archive/" + raw_name(7, 1, 100, "laser"),
                                   "/archive/" + raw_name(7, 2, 200),
                                   "/linac/" + raw_name(7, 3, 300, "laser")};
  this->make({raw_name(7, 1, 100, "laser"), raw_name(7, 2, 200), raw_name(7, 3, 300, "laser")});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), (names{raw_name(7, 2, 200), raw_name(7, 3, 300, "laser")}))
      << "the experiment may be named anywhere in the path";
}

TYPED_TEST(RequestInit, WithoutAnExperimentAllPathsAreTaken) {
  this->request.exp_name[0] = '\0';
  this->answer_period({raw_name(7, 1, 100, "laser"), raw_name(7, 2, 200)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 2);
}

TYPED_TEST(RequestInit, OnlyTheCurrentGenerationLeavesOutFilesBeingWritten) {
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  this->answer_period({raw_name(7, 1, 100)});
  EXPECT_EQ(this->init(), either<TypeParam>(-10, 0));
  EXPECT_EQ(this->output,
            either<TypeParam>("ravo_daq_reader_2010::add_file() file " +
                                  this->folder.file(raw_name(7, 1, 100)) + " skipped (not closed)\n",
                              std::string()));
  EXPECT_STREQ(this->reader.get_last_error(), either<TypeParam>("Files not found", "OK"));
}

TYPED_TEST(RequestInit, FilesThatAreGoneAreLeftOut) {
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  the_catalogue.period_status = 0;
  the_catalogue.files_of_period = {"/archive/" + raw_name(7, 1, 100)};
  this->reader.set_debug(1);
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_EQ(this->output, this->class_name + "::add_file() file " + this->folder.file(raw_name(7, 1, 100)) +
                              either<TypeParam>(" not found \n", " not found\n"));
}

TYPED_TEST(RequestInit, FilesNamedTwiceAreTakenOnce) {
  this->answer_period({raw_name(7, 1, 100), raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), (names{raw_name(7, 1, 100), raw_name(7, 2, 200)}));
}

// No such file can exist, so that the older generation never takes one.
TEST_F(CurrentRequestInit, AVeryLongNameIsOnlyAName) {
  const std::string longest(5000, 'x');
  the_catalogue.period_status = 0;
  the_catalogue.files_of_period = {"linac" + longest + ".raw", raw_name(7, 2, 200)};
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), (names{"linac" + longest + ".raw", raw_name(7, 2, 200)}));
}

// ---- the first file -------------------------------------------------------------------------------

TYPED_TEST(RequestInit, TheFirstFileIsTriedAndReleased) {
  this->answer_period({raw_name(7, 2, 200), raw_name(7, 1, 100)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(the_loader.loaded, names{this->folder.file(raw_name(7, 1, 100))});
  EXPECT_EQ(the_loader.descr_mode, 0);
  EXPECT_EQ(the_loader.clean_ups, 1);
}

TYPED_TEST(RequestInit, AFirstFileWithoutTheChannelsIsNotFound) {
  the_loader.status = RAVO_TABLE_NO_CHANNEL;
  this->answer_period({raw_name(7, 1, 100)});
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_NOT_FOUND);
  EXPECT_STREQ(this->reader.get_last_error(), "Channel not found");
  EXPECT_EQ(this->output, "");
}

TYPED_TEST(RequestInit, AnUnreadableFirstFileIsABadFormat) {
  for (const int failure : {1, -2, -3, 2, 3, 5, 6, 7, -4, -6, -7, 101}) {
    the_loader.status = failure;
    this->answer_period({raw_name(7, 1, 100)});
    EXPECT_EQ(this->init(), RAVO_DAQ_READER_BAD_FILE_FORMAT) << failure;
    EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
  }
}

}  // namespace
}  // namespace ravo::test
