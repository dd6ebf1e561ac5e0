// Finding the files of a request by the names in the data directory: which are taken, and what is said.
#include "api/file_times.h"
#include "files/raw_file_names.h"
#include "format/file_name_parts.h"
#include "requested_reader.h"

#include <algorithm>
#include <climits>
#include <filesystem>

namespace ravo::test {
namespace {

// ---- names ----------------------------------------------------------------------------------------

TEST(RawFileNames, ARunIsNamedBetweenItsWordAndAnUnderscore) {
  EXPECT_TRUE(names_run("linac_main_run7_file1_x.raw", 7, 7));
  EXPECT_TRUE(names_run("_run7_", 1, INT_MAX));
  EXPECT_FALSE(names_run("linac_main_run7_file1_x.raw", 8, 9));
  EXPECT_FALSE(names_run("linac_main_run77_file1_x.raw", 7, 7));
  EXPECT_FALSE(names_run("linac_main_run7.raw", 7, 7)) << "no underscore after it";
  EXPECT_FALSE(names_run("run7_file1_x.raw", 7, 7)) << "no underscore before it";
  EXPECT_FALSE(names_run("linac_main_run07_file1_x.raw", 7, 7)) << "numbers have no leading zeros";
  EXPECT_FALSE(names_run("linac_main_run_file1_x.raw", 1, INT_MAX));
  EXPECT_FALSE(names_run("linac_main_run-7_file1_x.raw", 1, INT_MAX));
  EXPECT_FALSE(names_run("linac_main_run+7_file1_x.raw", 1, INT_MAX));
  EXPECT_FALSE(names_run("", 1, INT_MAX));
}

TEST(RawFileNames, AnyOfSeveralRunsCounts) {
  EXPECT_TRUE(names_run("x_run7_run8_y", 7, 7));
  EXPECT_TRUE(names_run("x_run7_run8_y", 8, 8));
  EXPECT_TRUE(names_run("_run_run8_", 8, 8));
}

TEST(RawFileNames, ARunTooLargeForANumberDoesNotCount) {
  EXPECT_TRUE(names_run("x_run2147483647_y", INT_MAX, INT_MAX));
  EXPECT_FALSE(names_run("x_run2147483648_y", 1, INT_MAX));
  EXPECT_FALSE(names_run("x_run" + std::string(250, '9') + "_y", 1, INT_MAX));
}

TEST(RawFileNames, TheFileNumberFollowsItsWord) {
  const auto number = find_file_number("linac_main_run7_file15_20250101T000000Z.raw");
  ASSERT_TRUE(number);
  EXPECT_EQ(number->before, "linac_main_run7_file");
  EXPECT_EQ(number->digits, "15");
  EXPECT_EQ(number->value, 15);
  EXPECT_EQ(name_up_to_number(*number, 16), "linac_main_run7_file16_");
}

TEST(RawFileNames, TheLastWordWithADigitCounts) {
  EXPECT_EQ(find_file_number("profile2_main_run7_file5_x.raw")->value, 5);
  EXPECT_EQ(find_file_number("file3_x_file.raw")->value, 3);
  EXPECT_EQ(find_file_number("file0")->value, 0);
  EXPECT_FALSE(find_file_number("profile_main.raw"));
  EXPECT_FALSE(find_file_number("file"));
  EXPECT_FALSE(find_file_number("file-1_"));
  EXPECT_FALSE(find_file_number(""));
}

TEST(RawFileNames, ANumberTooLargeForAFileIsNotFound) {
  EXPECT_EQ(find_file_number("file2147483647_")->value, INT_MAX);
  EXPECT_EQ(name_up_to_number(*find_file_number("file2147483647_"), std::int64_t{INT_MAX} + 1),
            "file2147483648_");
  EXPECT_FALSE(find_file_number("file2147483648_"));
  EXPECT_FALSE(find_file_number("file" + std::string(250, '9') + "_"));
}

TEST(RawFileNames, TheLastComponentFollowsTheLastSlash) {
  EXPECT_EQ(last_component("/a/b/c.raw"), "c.raw");
  EXPECT_EQ(last_component("c.raw"), "c.raw");
  EXPECT_EQ(last_component("/a/"), "");
}

// ---- the candidate for the start ------------------------------------------------------------------

TEST(StartCandidate, TheLatestFileBeforeTheStartWins) {
  start_candidate candidate(100);
  candidate.take("a", 10);
  candidate.take("b", 90);
  candidate.take("c", 50);
  candidate.take("d", 99);
  candidate.take("e", 100);
  candidate.take("f", 150);
  EXPECT_EQ(candidate.name(), "d");
}

TEST(StartCandidate, OfFilesAtOneTimeTheFirstStays) {
  start_candidate candidate(100);
  candidate.take("a", 50);
  candidate.take("b", 50);
  EXPECT_EQ(candidate.name(), "a");
}

TEST(StartCandidate, AFirstFileFromAfterTheStartStaysWhateverFollows) {
  start_candidate candidate(100);
  candidate.take("late", 150);
  candidate.take("early", 50);
  candidate.take("nearly", 99);
  EXPECT_EQ(candidate.name(), "late");
}

TEST(StartCandidate, ServesWhenItOrTheLastFileBeginsNotAfterTheStop) {
  start_candidate none(100);
  EXPECT_FALSE(none.may_serve(1000));
  start_candidate candidate(100);
  candidate.take("late", 150);
  EXPECT_FALSE(candidate.may_serve(149));
  EXPECT_TRUE(candidate.may_serve(150));
  candidate.take("early", 50);
  EXPECT_TRUE(candidate.may_serve(120)) << "its neighbours will be checked";
  candidate.take("later", 160);
  EXPECT_FALSE(candidate.may_serve(120));
}

// ---- scans for runs -------------------------------------------------------------------------------

template <class generation>
class LocalScan : public requested_reader<generation> {
 protected:
  void ask_and_expect(const names& expected) {
    ASSERT_EQ(this->init(), expected.empty() ? -10 : 0) << this->output;
    EXPECT_EQ(this->files(), expected);
  }
  std::string stamps(unsigned file) const {
    return std::to_string(clock_zero + file) +
           "  (star:" + std::to_string(this->request.start_time.time.timeup) +
           "  stop:" + std::to_string(this->request.stop_time.time.timeup) + "\n";
  }
  std::string pushing(const std::string& name, unsigned file) const {
    return "Pushing file " + name + " (time_stamp: " + std::to_string(clock_zero + file) +
           "  star:" + std::to_string(this->request.start_time.time.timeup) +
           "  stop:" + std::to_string(this->request.stop_time.time.timeup) + ") \n";
  }
  names opened() const { return the_loader.loaded; }
};
TYPED_TEST_SUITE(LocalScan, generations, generation_name);

TYPED_TEST(LocalScan, GivesExactlyTheFilesOfTheRunsInOrder) {
  this->make({raw_name(8, 1, 400), raw_name(7, 2, 200), raw_name(7, 1, 100), raw_name(6, 9, 50),
              raw_name(9, 1, 500), raw_name(77, 1, 150), raw_name(7, 1, 100, "laser"),
              "linac_main_run7_file3.raw", "linac_main_run7_notes.txt", "linac.raw"});
  this->ask_for_runs(7, 8);
  this->ask_and_expect({raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(8, 1, 400)});
}

TYPED_TEST(LocalScan, ExperimentIsLookedForAnywhereInTheName) {
  this->make({raw_name(7, 1, 100, "laser", "linac"), raw_name(7, 2, 200, "prelinac")});
  this->ask_for_runs(7, 7);
  this->ask_and_expect({raw_name(7, 1, 100, "laser", "linac"), raw_name(7, 2, 200, "prelinac")});
}

TYPED_TEST(LocalScan, ADirectoryThatCannotBeOpenedHoldsNoFiles) {
  for (const char* directory : {"/nowhere/", "", "/tmp:/var:"}) {
    std::strcpy(this->request.ddir, directory);
    this->ask_for_runs(7, 7);
    EXPECT_EQ(this->init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
    EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
    EXPECT_EQ(this->output,
              this->class_name +
                  "::init() Failed to get list of files for runs .. trying local directory scan\n");
    this->ask_for_runs(0, 0);
    EXPECT_EQ(this->init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
    EXPECT_EQ(this->output, "");
  }
}

TYPED_TEST(LocalScan, AnEmptyDirectoryHoldsNoFiles) {
  this->ask_for_runs(7, 7);
  this->ask_and_expect({});
  this->ask_for_runs(0, 0);
  this->ask_and_expect({});
}

TYPED_TEST(LocalScan, WithoutAPeriodEveryFileOfTheRunIsReported) {
  this->make({raw_name(7, 1, 100)});
  this->ask_for_runs(7, 7);
  ASSERT_EQ(this->init(), 0);
  EXPECT_TRUE(this->says(this->pushing(raw_name(7, 1, 100), 100)));
  EXPECT_FALSE(this->says("Found file"));
  EXPECT_EQ(this->opened().size(), 1u) << "only the first file of the list";
}

TYPED_TEST(LocalScan, AStopWithoutAStartIsNoPeriod) {
  this->make({raw_name(7, 1, 100), raw_name(7, 2, 200)});
  this->ask_for_runs(7, 7);
  this->request.stop_time.time.timeup = clock_zero + 150;
  this->ask_and_expect({raw_name(7, 1, 100), raw_name(7, 2, 200)});
}

TYPED_TEST(LocalScan, WithAPeriodTheFilesInsideItAreTaken) {
  this->make({raw_name(7, 2, 200), raw_name(7, 4, 300), raw_name(7, 6, 301)});
  this->ask_for_runs(7, 7);
  this->ask_for_period(200, 300);
  this->ask_and_expect({raw_name(7, 2, 200), raw_name(7, 4, 300)});
  EXPECT_FALSE(this->says("Found file"));
  this->reader.set_debug(1);
  ASSERT_EQ(this->init(), 0);
  EXPECT_TRUE(this->says(either<TypeParam>("------>Found file ", "Found file ") + raw_name(7, 2, 200) +
                         " time_stamp: " + this->stamps(200)));
  EXPECT_TRUE(this->says(either<TypeParam>("------>Found file ", "Found file ") + raw_name(7, 4, 300) +
                         " time_stamp: " + this->stamps(300)));
  EXPECT_FALSE(this->says(raw_name(7, 6, 301)));
  this->reader.set_debug(-1);
  ASSERT_EQ(this->init(), 0);
  EXPECT_FALSE(this->says("Found file"));
}

TYPED_TEST(LocalScan, APeriodWithoutItsEndTakesAllThatFollows) {
  this->make({raw_name(7, 2, 200), raw_name(7, 4, 300)});
  this->ask_for_runs(7, 7);
  this->request.start_time.time.timeup = clock_zero + 150;
  this->ask_and_expect({raw_name(7, 2, 200), raw_name(7, 4, 300)});
  this->ask_for_runs(0, 0);
  this->ask_and_expect({raw_name(7, 2, 200), raw_name(7, 4, 300)});
}

// Only the current generation opens files that begin before the period.
using CurrentLocalScan = LocalScan<current_generation>;

TEST_F(CurrentLocalScan, AnEarlierFileWhoseEventsReachThePeriodIsTaken) {
  make({raw_name(7, 2, 150)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(150, 200);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({raw_name(7, 2, 150)});
  EXPECT_TRUE(says("-**--->Found file " + raw_name(7, 2, 150) + " time_stamp: " + stamps(150)));
  EXPECT_TRUE(says(pushing(raw_name(7, 2, 150), 150)));
  EXPECT_EQ(opened().front(), folder.file(raw_name(7, 2, 150)));
  EXPECT_EQ(the_loader.clean_ups, 2) << "after the inspection and after the first file";
}

TEST_F(CurrentLocalScan, AnEarlierFileThatEndsBeforeThePeriodIsNot) {
  make({raw_name(7, 2, 150)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(150, 199);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({});
  EXPECT_EQ(opened().size(), 1u);
  EXPECT_EQ(the_loader.clean_ups, 1);
  EXPECT_FALSE(says("Pushing"));
}

TEST_F(CurrentLocalScan, AnyEventTypeMayReachThePeriod) {
  std::vector<std::uint32_t> words = {RAVO_EVENT_INDEX_PATTERN, 2};
  const auto entry = [&](unsigned first, unsigned last) {
    for (const std::uint32_t word : {1u, clock_zero + first, 0u, clock_zero + last, 0u, 1u, 2u, 1u})
      words.push_back(word);
    words.insert(words.end(), 4, 0);  // one event
  };
  entry(150, 160);
  entry(170, 250);
  make({raw_name(7, 2, 150)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = words.data();
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({raw_name(7, 2, 150)});
}

TEST_F(CurrentLocalScan, EventsAfterThePeriodDoNotReachIt) {
  make({raw_name(7, 2, 150)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(301, 400);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({});
}

TEST_F(CurrentLocalScan, AnEarlierFileThatCannotBeLoadedIsReportedAndLeftOut) {
  make({raw_name(7, 2, 150), raw_name(7, 5, 250)});
  the_loader.status_of_file[raw_name(7, 2, 150)] = 2;
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({raw_name(7, 5, 250)});
  EXPECT_TRUE(says("Failed to get tables for: " + folder.file(raw_name(7, 2, 150)) + "\n"));
  EXPECT_FALSE(says("Pushing file " + raw_name(7, 2, 150)));
}

TEST_F(CurrentLocalScan, AnEarlierFileWithAStrangeIndexIsReportedAndLeftOut) {
  make({raw_name(7, 2, 150)});
  auto* index = index_of(150, 250);
  index->pattern = 5;
  the_loader.index_of_file[raw_name(7, 2, 150)] = index;
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({});
  char pointer[32];
  std::snprintf(pointer, sizeof pointer, "%p", static_cast<void*>(index));
  EXPECT_TRUE(says("Something wrong with tables: tab: " + std::string(pointer) +
                   "\nPATTERN: 5 (-307307789)  event types:1\n"))
      << output;
}

TEST_F(CurrentLocalScan, AnEarlierFileWithoutAnIndexIsReportedAndLeftOut) {
  make({raw_name(7, 2, 150)});
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({});
  EXPECT_TRUE(says("Something wrong with tables: tab: (nil)\n"));
  EXPECT_FALSE(says("PATTERN"));
}

TYPED_TEST(LocalScan, AFileAfterThePeriodIsNotOpened) {
  this->make({raw_name(7, 2, 301)});
  this->ask_for_runs(7, 7);
  this->ask_for_period(200, 300);
  this->ask_and_expect({});
  EXPECT_TRUE(this->opened().empty());
}

TEST_F(CurrentLocalScan, ADataDirectoryNamedWithAColonGetsASlashToo) {
  const std::string directory = folder.file("x:");
  std::filesystem::create_directory(directory);
  folder.write("x:/" + raw_name(7, 2, 150), {});
  std::strcpy(request.ddir, directory.c_str());
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(150, 199);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  EXPECT_EQ(init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_EQ(opened(), names{directory + "/" + raw_name(7, 2, 150)});
}

// ---- scans for a period ---------------------------------------------------------------------------

TYPED_TEST(LocalScan, TheFilesOfAPeriodAreThoseThatBeginInIt) {
  this->make({raw_name(7, 10, 99), raw_name(7, 20, 100), raw_name(8, 30, 200), raw_name(8, 40, 201),
              "notes.txt", "linac_main.raw"});
  this->ask_for_period(100, 200);
  this->ask_and_expect({raw_name(7, 20, 100), raw_name(8, 30, 200)});
  EXPECT_FALSE(this->says("Pushing"));
}

TYPED_TEST(LocalScan, EachFileMetIsReportedAtANonZeroDebugLevel) {
  this->make({raw_name(7, 10, 99), raw_name(7, 20, 150), raw_name(7, 30, 300, "laser"), "notes.txt"});
  this->ask_for_period(100, 200);
  for (const int level : {1, -1}) {
    this->reader.set_debug(level);
    ASSERT_EQ(this->init(), 0);
    EXPECT_TRUE(this->says("\nFound file " + raw_name(7, 10, 99) + " time_stamp: " + this->stamps(99)));
    EXPECT_TRUE(this->says("\nFound file " + raw_name(7, 20, 150) + " time_stamp: " + this->stamps(150)));
    EXPECT_TRUE(
        this->says("\nFound file " + raw_name(7, 30, 300, "laser") + " time_stamp: " + this->stamps(300)));
    EXPECT_FALSE(this->says("notes"));
  }
  this->reader.set_debug(0);
  ASSERT_EQ(this->init(), 0);
  EXPECT_FALSE(this->says("Found file"));
}

TYPED_TEST(LocalScan, ALongFileThatCoversThePeriodIsTakenAsTheCandidate) {
  this->make({raw_name(7, 1, 10)});
  this->ask_for_period(100, 200);
  this->ask_and_expect({raw_name(7, 1, 10)});
  EXPECT_TRUE(this->says(".Pushing  file " + raw_name(7, 1, 10) + " \n"));
}

TYPED_TEST(LocalScan, AFileAfterThePeriodIsNotACandidate) {
  this->make({raw_name(7, 1, 201)});
  this->ask_for_period(100, 200);
  this->ask_and_expect({});
  EXPECT_FALSE(this->says("Pushing"));
}

TYPED_TEST(LocalScan, OtherExperimentsAreLeftOutOfAPeriod) {
  this->make({raw_name(7, 20, 100), raw_name(8, 30, 200, "laser")});
  this->ask_for_period(100, 200);
  this->ask_and_expect({raw_name(7, 20, 100)});
}

TYPED_TEST(LocalScan, ACandidateOfAnotherExperimentIsTakenAndThenLeftOut) {
  this->make({raw_name(7, 1, 10, "laser")});
  this->ask_for_period(100, 200);
  this->ask_and_expect({});
  EXPECT_TRUE(this->says(".Pushing  file " + raw_name(7, 1, 10, "laser") + " \n"));
}

// ---- the generation that reads names alone -----------------------------------------------------

using OlderLocalScan = LocalScan<older_generation>;

TEST_F(OlderLocalScan, FilesAreKeptByTheirNamesAlone) {
  make({raw_name(7, 2, 150), raw_name(7, 5, 250)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(150, 250);
  the_loader.status_of_file[raw_name(7, 2, 150)] = 2;
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  reader.set_debug(1);
  ask_and_expect({raw_name(7, 5, 250)});
  EXPECT_TRUE(says("\nFound file " + raw_name(7, 5, 250) + " time_stamp: " + stamps(250)));
  for (const char* other : {"--->Found file", "PATTERN", "Something wrong", "Failed to get tables for"})
    EXPECT_FALSE(says(other)) << other;
  EXPECT_EQ(opened().size(), 1u) << "only the first file of the list";
}

TEST_F(OlderLocalScan, FilesOfTheCatalogueAreTrimmedAtTheStartAndRunsAreNotCut) {
  make({raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 3, 1000)});
  the_catalogue.runs_status = the_catalogue.period_status = 0;
  the_catalogue.files_of_runs = {raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 3, 1000)};
  the_catalogue.files_of_period = {raw_name(7, 1, 100)};
  ask_for_runs(7, 7);
  ask_for_period(100, 300);
  the_catalogue.times_of_runs[7] = {{clock_zero + 100, 0}, {clock_zero + 1100, 0}};
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_number_of_files(), 3);
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(files(), (names{raw_name(7, 1, 100), raw_name(7, 2, 200)}));
}

}  // namespace
}  // namespace ravo::test
