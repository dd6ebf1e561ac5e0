// Finding the files of a request by the names in the data directory: which are taken, and what is said.
#include "requested_reader.h"
#include "reader/raw_file_names.h"
#include "reader/start_candidate.h"

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
  EXPECT_FALSE(names_run("linac_main_run7.raw", 7, 7)) << "no underscore behind it";
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

TEST(RawFileNames, ARunTooLargeForANumberIsNone) {
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

TEST(RawFileNames, ANumberThatNoFileHasIsNone) {
  EXPECT_EQ(find_file_number("file2147483647_")->value, INT_MAX);
  EXPECT_EQ(name_up_to_number(*find_file_number("file2147483647_"), std::int64_t{INT_MAX} + 1),
            "file2147483648_");
  EXPECT_FALSE(find_file_number("file2147483648_"));
  EXPECT_FALSE(find_file_number("file" + std::string(250, '9') + "_"));
}

TEST(RawFileNames, TheLastComponentFollowsTheLastSlash) {
  EXPECT_EQ(name_in_path("/a/b/c.raw"), "c.raw");
  EXPECT_EQ(name_in_path("c.raw"), "c.raw");
  EXPECT_EQ(name_in_path("/a/"), "");
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

TEST(StartCandidate, AFirstFileFromBehindTheStartStaysWhateverFollows) {
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
  EXPECT_TRUE(candidate.may_serve(120)) << "its neighbours will be looked at";
  candidate.take("later", 160);
  EXPECT_FALSE(candidate.may_serve(120));
}

// ---- scans for runs -------------------------------------------------------------------------------

class LocalScan : public requested_reader {
 protected:
  void ask_and_expect(const names& expected) {
    ASSERT_EQ(init(), expected.empty() ? -10 : 0) << output;
    EXPECT_EQ(files(), expected);
  }
  std::string stamps(unsigned file) const {
    return std::to_string(clock_zero + file) + "  (star:" + std::to_string(request.start_time.time.timeup) +
           "  stop:" + std::to_string(request.stop_time.time.timeup) + "\n";
  }
  std::string pushing(const std::string& name, unsigned file) const {
    return "Pushing file " + name + " (time_stamp: " + std::to_string(clock_zero + file) +
           "  star:" + std::to_string(request.start_time.time.timeup) +
           "  stop:" + std::to_string(request.stop_time.time.timeup) + ") \n";
  }
  names opened() const { return the_loader.loaded; }
};

TEST_F(LocalScan, GivesExactlyTheFilesOfTheRunsInOrder) {
  make({raw_name(8, 1, 400), raw_name(7, 2, 200), raw_name(7, 1, 100), raw_name(6, 9, 50), raw_name(9, 1, 500),
        raw_name(77, 1, 150), raw_name(7, 1, 100, "laser"), "linac_main_run7_file3.raw", "linac_main_run7_notes.txt",
        "linac.raw"});
  ask_for_runs(7, 8);
  ask_and_expect({raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(8, 1, 400)});
}

TEST_F(LocalScan, ExperimentIsLookedForAnywhereInTheName) {
  make({raw_name(7, 1, 100, "laser", "linac"), raw_name(7, 2, 200, "prelinac")});
  ask_for_runs(7, 7);
  ask_and_expect({raw_name(7, 1, 100, "laser", "linac"), raw_name(7, 2, 200, "prelinac")});
}

TEST_F(LocalScan, ADirectoryThatCannotBeOpenedHoldsNoFiles) {
  for (const char* directory : {"/nowhere/", "", "/tmp:/var:"}) {
    std::strcpy(request.ddir, directory);
    ask_for_runs(7, 7);
    EXPECT_EQ(init(), -10);
    EXPECT_STREQ(reader.get_last_error(), "Files not found");
    EXPECT_EQ(output,
              "ravo_daq_reader_2010::init() Failed to get list of files for runs .. trying local directory scan\n");
    ask_for_runs(0, 0);
    EXPECT_EQ(init(), -10);
    EXPECT_EQ(output, "");
  }
}

TEST_F(LocalScan, AnEmptyDirectoryHoldsNoFiles) {
  ask_for_runs(7, 7);
  ask_and_expect({});
  ask_for_runs(0, 0);
  ask_and_expect({});
}

TEST_F(LocalScan, WithoutAPeriodEveryFileOfTheRunIsTold) {
  make({raw_name(7, 1, 100)});
  ask_for_runs(7, 7);
  ASSERT_EQ(init(), 0);
  EXPECT_TRUE(says(pushing(raw_name(7, 1, 100), 100)));
  EXPECT_FALSE(says("Found file"));
  EXPECT_EQ(opened().size(), 1u) << "only the first file of the list";
}

TEST_F(LocalScan, AStopWithoutAStartIsNoPeriod) {
  make({raw_name(7, 1, 100), raw_name(7, 2, 200)});
  ask_for_runs(7, 7);
  request.stop_time.time.timeup = clock_zero + 150;
  ask_and_expect({raw_name(7, 1, 100), raw_name(7, 2, 200)});
}

TEST_F(LocalScan, WithAPeriodTheFilesInsideItAreTaken) {
  make({raw_name(7, 2, 200), raw_name(7, 4, 300), raw_name(7, 6, 301)});
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({raw_name(7, 2, 200), raw_name(7, 4, 300)});
  EXPECT_FALSE(says("Found file"));
  reader.set_debug(1);
  ASSERT_EQ(init(), 0);
  EXPECT_TRUE(says("------>Found file " + raw_name(7, 2, 200) + " time_stamp: " + stamps(200)));
  EXPECT_TRUE(says("------>Found file " + raw_name(7, 4, 300) + " time_stamp: " + stamps(300)));
  EXPECT_FALSE(says(raw_name(7, 6, 301)));
  reader.set_debug(-1);
  ASSERT_EQ(init(), 0);
  EXPECT_FALSE(says("------>Found file"));
}

TEST_F(LocalScan, APeriodWithoutItsEndTakesAllThatFollows) {
  make({raw_name(7, 2, 200), raw_name(7, 4, 300)});
  ask_for_runs(7, 7);
  request.start_time.time.timeup = clock_zero + 150;
  ask_and_expect({raw_name(7, 2, 200), raw_name(7, 4, 300)});
  ask_for_runs(0, 0);
  ask_and_expect({raw_name(7, 2, 200), raw_name(7, 4, 300)});
}

TEST_F(LocalScan, AnEarlierFileWhoseEventsReachThePeriodIsTaken) {
  make({raw_name(7, 2, 150)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(150, 200);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({raw_name(7, 2, 150)});
  EXPECT_TRUE(says("-**--->Found file " + raw_name(7, 2, 150) + " time_stamp: " + stamps(150)));
  EXPECT_TRUE(says(pushing(raw_name(7, 2, 150), 150)));
  EXPECT_EQ(opened().front(), folder.file(raw_name(7, 2, 150)));
  EXPECT_EQ(the_loader.clean_ups, 2) << "after looking and after the first file";
}

TEST_F(LocalScan, AnEarlierFileThatEndsBeforeThePeriodIsNot) {
  make({raw_name(7, 2, 150)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(150, 199);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({});
  EXPECT_EQ(opened().size(), 1u);
  EXPECT_EQ(the_loader.clean_ups, 1);
  EXPECT_FALSE(says("Pushing"));
}

TEST_F(LocalScan, AnyEventTypeMayReachThePeriod) {
  std::vector<std::uint32_t> words = {RAVO_EVENT_INDEX_PATTERN, 2};
  const auto entry = [&](unsigned first, unsigned last) {
    for (const std::uint32_t word : {1u, clock_zero + first, 0u, clock_zero + last, 0u, 1u, 2u, 1u}) words.push_back(word);
    words.insert(words.end(), 4, 0);  // one event
  };
  entry(150, 160);
  entry(170, 250);
  make({raw_name(7, 2, 150)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = reinterpret_cast<ravo_event_index_table_2010*>(words.data());
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({raw_name(7, 2, 150)});
}

TEST_F(LocalScan, EventsBehindThePeriodDoNotReachIt) {
  make({raw_name(7, 2, 150)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(301, 400);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({});
}

TEST_F(LocalScan, AnEarlierFileThatCannotBeLoadedIsToldAndLeftOut) {
  make({raw_name(7, 2, 150), raw_name(7, 5, 250)});
  the_loader.status_of_file[raw_name(7, 2, 150)] = 2;
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({raw_name(7, 5, 250)});
  EXPECT_TRUE(says("Failed to get tables for: " + folder.file(raw_name(7, 2, 150)) + "\n"));
  EXPECT_FALSE(says("Pushing file " + raw_name(7, 2, 150)));
}

TEST_F(LocalScan, AnEarlierFileWithAStrangeIndexIsToldAndLeftOut) {
  make({raw_name(7, 2, 150)});
  ravo_event_index_table_2010* index = index_of(150, 250);
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

TEST_F(LocalScan, AnEarlierFileWithoutAnIndexIsToldAndLeftOut) {
  make({raw_name(7, 2, 150)});
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({});
  EXPECT_TRUE(says("Something wrong with tables: tab: (nil)\n"));
  EXPECT_FALSE(says("PATTERN"));
}

TEST_F(LocalScan, AFileBehindThePeriodIsNotOpened) {
  make({raw_name(7, 2, 301)});
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  ask_and_expect({});
  EXPECT_TRUE(opened().empty());
}

TEST_F(LocalScan, ADataDirectoryNamedWithAColonGetsASlashToo) {
  const std::string directory = folder.file("x:");
  std::filesystem::create_directory(directory);
  folder.write("x:/" + raw_name(7, 2, 150), {});
  std::strcpy(request.ddir, directory.c_str());
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(150, 199);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  EXPECT_EQ(init(), -10);
  EXPECT_EQ(opened(), names{directory + "/" + raw_name(7, 2, 150)});
}

// ---- scans for a period ---------------------------------------------------------------------------

TEST_F(LocalScan, TheFilesOfAPeriodAreThoseThatBeginInIt) {
  make({raw_name(7, 10, 99), raw_name(7, 20, 100), raw_name(8, 30, 200), raw_name(8, 40, 201), "notes.txt",
        "linac_main.raw"});
  ask_for_period(100, 200);
  ask_and_expect({raw_name(7, 20, 100), raw_name(8, 30, 200)});
  EXPECT_FALSE(says("Pushing"));
}

TEST_F(LocalScan, EachFileMetIsToldAtANonZeroDebugLevel) {
  make({raw_name(7, 10, 99), raw_name(7, 20, 150), raw_name(7, 30, 300, "laser"), "notes.txt"});
  ask_for_period(100, 200);
  for (const int level : {1, -1}) {
    reader.set_debug(level);
    ASSERT_EQ(init(), 0);
    EXPECT_TRUE(says("\nFound file " + raw_name(7, 10, 99) + " time_stamp: " + stamps(99)));
    EXPECT_TRUE(says("\nFound file " + raw_name(7, 20, 150) + " time_stamp: " + stamps(150)));
    EXPECT_TRUE(says("\nFound file " + raw_name(7, 30, 300, "laser") + " time_stamp: " + stamps(300)));
    EXPECT_FALSE(says("notes"));
  }
  reader.set_debug(0);
  ASSERT_EQ(init(), 0);
  EXPECT_FALSE(says("Found file"));
}

TEST_F(LocalScan, ALongFileThatCoversThePeriodIsTakenAsTheCandidate) {
  make({raw_name(7, 1, 10)});
  ask_for_period(100, 200);
  ask_and_expect({raw_name(7, 1, 10)});
  EXPECT_TRUE(says(".Pushing  file " + raw_name(7, 1, 10) + " \n"));
}

TEST_F(LocalScan, AFileBehindThePeriodIsNoCandidate) {
  make({raw_name(7, 1, 201)});
  ask_for_period(100, 200);
  ask_and_expect({});
  EXPECT_FALSE(says("Pushing"));
}

TEST_F(LocalScan, OtherExperimentsAreLeftOutOfAPeriod) {
  make({raw_name(7, 20, 100), raw_name(8, 30, 200, "laser")});
  ask_for_period(100, 200);
  ask_and_expect({raw_name(7, 20, 100)});
}

TEST_F(LocalScan, ACandidateOfAnotherExperimentIsTakenAndThenLeftOut) {
  make({raw_name(7, 1, 10, "laser")});
  ask_for_period(100, 200);
  ask_and_expect({});
  EXPECT_TRUE(says(".Pushing  file " + raw_name(7, 1, 10, "laser") + " \n"));
}

// ---- the generation that looks at names alone -----------------------------------------------------

TEST_F(LocalScan, TheOtherGenerationKeepsFilesByTheirNamesAlone) {
  make({raw_name(7, 2, 150), raw_name(7, 4, 250)});
  the_loader.index_of_file[raw_name(7, 2, 150)] = index_of(150, 250);
  ask_for_runs(7, 7);
  ask_for_period(200, 300);
  daq_reader<contrary_generation> other;
  other.set_debug(1);
  captured_output captured;
  ASSERT_EQ(other.init(&request, nullptr), 0);
  output = captured.stop();
  EXPECT_EQ(bare_names(other), names{raw_name(7, 4, 250)});
  EXPECT_TRUE(says("contrary file " + raw_name(7, 4, 250) + " at " + std::to_string(clock_zero + 250) + " (" +
                   std::to_string(clock_zero + 200) + " to " + std::to_string(clock_zero + 300) + ")\n"));
  EXPECT_EQ(opened().size(), 1u) << "only the first file of the list";
}

TEST_F(LocalScan, TheOtherGenerationTrimsFilesOfTheCatalogueAndDoesNotCutRuns) {
  make({raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 3, 1000)});
  the_catalogue.runs_status = the_catalogue.period_status = 0;
  the_catalogue.files_of_runs = {raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 3, 1000)};
  the_catalogue.files_of_period = {raw_name(7, 1, 100)};
  ask_for_runs(7, 7);
  ask_for_period(100, 300);
  the_catalogue.times_of_runs[7] = {{clock_zero + 100, 0}, {clock_zero + 1100, 0}};
  daq_reader<contrary_generation> other;
  ASSERT_EQ(other.init(&request, nullptr), 0);
  EXPECT_EQ(other.get_number_of_files(), 3);
  EXPECT_FALSE(other.found_from_run_catalogue);
  ASSERT_EQ(other.start(), 0);
  EXPECT_EQ(bare_names(other), (names{raw_name(7, 1, 100), raw_name(7, 2, 200)}));
}

}  // namespace
}  // namespace ravo::test
