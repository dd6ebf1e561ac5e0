// The neighbours of the files that a scan found: when they are looked for, which they are, what is said.
#include "requested_reader.h"

#include <filesystem>

namespace ravo::test {
namespace {

class EdgeFiles : public requested_reader {
 protected:
  EdgeFiles() { ask_for_period(500, 700); }
  /// Files 5, 6 and 7 lie in the period.
  static names inside() { return {raw_name(3, 5, 500), raw_name(3, 6, 600), raw_name(3, 7, 700)}; }
  void init_with(const names& others) {
    make(inside());
    make(others);
    ASSERT_EQ(init(), 0) << output;
  }
  static names with(const names& before, const names& after) {
    names all = before;
    for (const std::string& name : inside()) all.push_back(name);
    for (const std::string& name : after) all.push_back(name);
    return all;
  }
  static inline const std::string no_first = "ravo_daq_reader_2010(): unable to get the name of the very first file\n";
  static inline const std::string no_last = "ravo_daq_reader_2010(): unable to get the name if the very first file\n";
};

TEST_F(EdgeFiles, BothNeighboursAreTaken) {
  init_with({raw_name(3, 3, 300), raw_name(3, 4, 400), raw_name(3, 8, 800), raw_name(3, 9, 900)});
  EXPECT_EQ(files(), with({raw_name(3, 4, 400)}, {raw_name(3, 8, 800)}));
  EXPECT_EQ(output, "LAST FILE NUMBER: '5'\nPARTIAL FILE NAME: 'linac_main_run3_file4_'\n"
                    "FOUND the very first file: '" + raw_name(3, 4, 400) + "'\n"
                    "LAST FILE NUMBER: '7'\nPARTIAL FILE NAME: 'linac_main_run3_file8_'\n"
                    "FOUND the very last file: '" + raw_name(3, 8, 800) + "'\n");
}

TEST_F(EdgeFiles, WhatIsLookedForIsToldAtANonZeroDebugLevel) {
  for (const int level : {1, -1}) {
    reader.set_debug(level);
    init_with({raw_name(3, 4, 400), raw_name(3, 8, 800)});
    EXPECT_TRUE(says("The very first file: " + raw_name(3, 5, 500) + "\nLAST FILE NUMBER: '5'\n"));
    EXPECT_TRUE(says("The very last file: " + raw_name(3, 7, 700) + "\nLAST FILE NUMBER: '7'\n"));
  }
}

TEST_F(EdgeFiles, MissingNeighboursAreTold) {
  init_with({});
  EXPECT_EQ(files(), inside());
  EXPECT_EQ(output, "LAST FILE NUMBER: '5'\nPARTIAL FILE NAME: 'linac_main_run3_file4_'\n" + no_first +
                        "LAST FILE NUMBER: '7'\nPARTIAL FILE NAME: 'linac_main_run3_file8_'\n" + no_last);
}

TEST_F(EdgeFiles, NeighboursThatAreNotClosedAreLeftOut) {
  make(inside());
  make({raw_name(3, 4, 400)});
  the_loader.at_loading = nullptr;
  ASSERT_EQ(init(), 0);
  ASSERT_EQ(reader.get_number_of_files(), 4);
  // Now every file counts as growing; the ones found are refused one after the other.
  environment_variable look{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(init(), -10);
}

TEST_F(EdgeFiles, NoNeighbourIsBeforeTheFirstFile) {
  make({raw_name(3, 1, 500), raw_name(3, 0, 400)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), names{raw_name(3, 1, 500)});
  EXPECT_EQ(output, "LAST FILE NUMBER: '1'\nLAST FILE NUMBER: '1'\nPARTIAL FILE NAME: 'linac_main_run3_file2_'\n" +
                        no_last);
}

TEST_F(EdgeFiles, TheFirstFileHasANeighbourBehindIt) {
  make({raw_name(3, 1, 500), raw_name(3, 2, 800)});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), (names{raw_name(3, 1, 500), raw_name(3, 2, 800)}));
}

TEST_F(EdgeFiles, AFirstFileFromBeforeThePeriodNeedsNoNeighbour) {
  make({raw_name(3, 5, 400), raw_name(3, 4, 300), raw_name(3, 6, 900)});
  ASSERT_EQ(init(), 0);
  // The directory's order decides which candidate stood in for the period; all are taken on by their numbers.
  EXPECT_FALSE(says("'linac_main_run3_file3_'") && says("The very first"));
  EXPECT_TRUE(says("PARTIAL FILE NAME: 'linac_main_run3_file"));
}

TEST_F(EdgeFiles, ARunsFileFromBeforeThePeriodNeedsNoNeighbour) {
  ask_for_runs(3, 3);
  make({raw_name(3, 4, 400), raw_name(3, 3, 300), raw_name(3, 5, 500), raw_name(3, 6, 800)});
  the_loader.index_of_file[raw_name(3, 4, 400)] = index_of(400, 500);
  the_loader.index_of_file[raw_name(3, 3, 300)] = index_of(300, 399);
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), (names{raw_name(3, 4, 400), raw_name(3, 5, 500), raw_name(3, 6, 800)}));
  EXPECT_FALSE(says("file3_'"));
}

TEST_F(EdgeFiles, NamesWithoutANumberHaveNoNeighbours) {
  make({"linac_main_20250101T000900Z.raw"});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), names{"linac_main_20250101T000900Z.raw"});
  EXPECT_EQ(output, "");
}

TEST_F(EdgeFiles, NumbersThatNoFileHasAreNotCountedOn) {
  const std::string name = "linac_main_run3_file" + std::string(200, '9') + "_20250101T000900Z.raw";
  make({name});
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(files(), names{name});
  EXPECT_EQ(output, "");
}

TEST_F(EdgeFiles, TheHighestNumberIsCountedOnWithoutWrapping) {
  make({raw_name(3, 2147483647, 600)});
  ASSERT_EQ(init(), 0);
  EXPECT_TRUE(says("PARTIAL FILE NAME: 'linac_main_run3_file2147483646_'\n"));
  EXPECT_TRUE(says("PARTIAL FILE NAME: 'linac_main_run3_file2147483648_'\n"));
}

TEST_F(EdgeFiles, OfSeveralTheOneThatBeginsSoAndLiesNearestIsTaken) {
  init_with({raw_name(3, 4, 400), raw_name(3, 4, 300), raw_name(3, 4, 499, "prelinac"), raw_name(3, 8, 900),
             raw_name(3, 8, 800), raw_name(3, 8, 701, "prelinac")});
  EXPECT_EQ(files(), with({raw_name(3, 4, 400)}, {raw_name(3, 8, 800)}));
}

TEST_F(EdgeFiles, ANameThatContainsThePartWillDo) {
  init_with({raw_name(3, 4, 400, "prelinac"), raw_name(3, 8, 800, "prelinac")});
  EXPECT_EQ(files(), with({raw_name(3, 4, 400, "prelinac")}, {raw_name(3, 8, 800, "prelinac")}));
}

TEST_F(EdgeFiles, WhatIsNoRawFileIsNoNeighbour) {
  init_with({raw_name(3, 4, 400) + ".part", "linac_main_run3_file8_notes.txt"});
  EXPECT_EQ(files(), inside());
}

TEST_F(EdgeFiles, NumbersAreComparedWhole) {
  init_with({raw_name(3, 44, 400), raw_name(3, 81, 800), raw_name(33, 4, 400), raw_name(3, 4, 400, "linac", "fast")});
  EXPECT_EQ(files(), inside());
}

TEST_F(EdgeFiles, ADirectoryThatIsGoneIsTold) {
  const std::string directory = folder.file("data");
  std::filesystem::create_directory(directory);
  folder.write("data/" + raw_name(3, 2, 150), {});
  std::strcpy(request.ddir, directory.c_str());
  ask_for_runs(3, 3);
  the_loader.index_of_file[raw_name(3, 2, 150)] = index_of(150, 600);
  the_loader.at_loading = [&] { std::filesystem::rename(directory, folder.file("moved")); the_loader.at_loading = nullptr; };
  ASSERT_EQ(init(), 0);
  EXPECT_TRUE(says("PARTIAL FILE NAME: 'linac_main_run3_file3_'\nravo_daq_reader_2010(): unable read the files in the "
                   "directory to get the name if the very first file\n"))
      << output;
  EXPECT_FALSE(says(no_last));
}

TEST_F(EdgeFiles, ARunWithoutAPeriodIsWidenedToo) {
  ask_for_runs(3, 3);
  request.start_time = request.stop_time = {};
  make({raw_name(3, 5, 500), raw_name(3, 6, 600)});
  ASSERT_EQ(init(), 0);
  EXPECT_TRUE(says("'linac_main_run3_file4_'"));
  EXPECT_TRUE(says("'linac_main_run3_file7_'"));
}

}  // namespace
}  // namespace ravo::test
