// The neighbours of the files that a scan found: when they are searched for, which they are, what is
// printed.
#include "requested_reader.h"

#include <dirent.h>
#include <dlfcn.h>

namespace {
/// How often a directory may still be opened; negative: as often as anybody likes.
int openings_left = -1;
}  // namespace

// In place of the system's, for directories that vanish between two scans.
extern "C" DIR* opendir(const char* path) {
  using function = DIR* (*)(const char*);
  static const auto real = reinterpret_cast<function>(dlsym(RTLD_NEXT, "opendir"));
  if (openings_left == 0) return nullptr;
  if (openings_left > 0) --openings_left;
  return real(path);
}

namespace ravo::test {
namespace {

template <class generation>
class EdgeFiles : public requested_reader<generation> {
 protected:
  EdgeFiles() { this->ask_for_period(500, 700); }
  /// Files 5, 6 and 7 lie in the period.
  static names inside() { return {raw_name(3, 5, 500), raw_name(3, 6, 600), raw_name(3, 7, 700)}; }
  void init_with(const names& others) {
    this->make(inside());
    this->make(others);
    ASSERT_EQ(this->init(), 0) << this->output;
  }
  static names with(const names& before, const names& after) {
    names all = before;
    for (const std::string& name : inside()) all.push_back(name);
    for (const std::string& name : after) all.push_back(name);
    return all;
  }
  const std::string no_first = this->class_name + "(): unable to get the name of the very first file\n";
  // Said of the very last file.
  const std::string no_last = this->class_name + "(): unable to get the name if the very first file\n";
};
TYPED_TEST_SUITE(EdgeFiles, generations, generation_name);

TYPED_TEST(EdgeFiles, BothNeighboursAreTaken) {
  this->init_with({raw_name(3, 3, 300), raw_name(3, 4, 400), raw_name(3, 8, 800), raw_name(3, 9, 900)});
  EXPECT_EQ(this->files(), this->with({raw_name(3, 4, 400)}, {raw_name(3, 8, 800)}));
  EXPECT_EQ(this->output,
            "LAST FILE NUMBER: '5'\nPARTIAL FILE NAME: 'linac_main_run3_file4_'\n"
            "FOUND the very first file: '" +
                raw_name(3, 4, 400) +
                "'\n"
                "LAST FILE NUMBER: '7'\nPARTIAL FILE NAME: 'linac_main_run3_file8_'\n"
                "FOUND the very last file: '" +
                raw_name(3, 8, 800) + "'\n");
}

TYPED_TEST(EdgeFiles, TheSearchedNamesAreReportedAtANonZeroDebugLevel) {
  for (const int level : {1, -1}) {
    this->reader.set_debug(level);
    this->init_with({raw_name(3, 4, 400), raw_name(3, 8, 800)});
    EXPECT_TRUE(this->says("The very first file: " + raw_name(3, 5, 500) + "\nLAST FILE NUMBER: '5'\n"));
    EXPECT_TRUE(this->says("The very last file: " + raw_name(3, 7, 700) + "\nLAST FILE NUMBER: '7'\n"));
  }
}

TYPED_TEST(EdgeFiles, MissingNeighboursAreReported) {
  this->init_with({});
  EXPECT_EQ(this->files(), this->inside());
  EXPECT_EQ(this->output,
            "LAST FILE NUMBER: '5'\nPARTIAL FILE NAME: 'linac_main_run3_file4_'\n" + this->no_first +
                "LAST FILE NUMBER: '7'\nPARTIAL FILE NAME: 'linac_main_run3_file8_'\n" + this->no_last);
}

using CurrentEdgeFiles = EdgeFiles<current_generation>;

TEST_F(CurrentEdgeFiles, NeighboursThatAreNotClosedAreLeftOut) {
  make(inside());
  make({raw_name(3, 4, 400)});
  ASSERT_EQ(init(), 0);
  ASSERT_EQ(reader.get_number_of_files(), 4);
  // Now every file counts as growing; the ones found are refused one after the other.
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
}

TYPED_TEST(EdgeFiles, NoNeighbourIsBeforeTheFirstFile) {
  this->make({raw_name(3, 1, 500), raw_name(3, 0, 400)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), names{raw_name(3, 1, 500)});
  EXPECT_EQ(this->output,
            "LAST FILE NUMBER: '1'\nLAST FILE NUMBER: '1'\nPARTIAL FILE NAME: 'linac_main_run3_file2_'\n" +
                this->no_last);
}

TYPED_TEST(EdgeFiles, TheFirstFileHasANeighbourAfterIt) {
  this->make({raw_name(3, 1, 500), raw_name(3, 2, 800)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), (names{raw_name(3, 1, 500), raw_name(3, 2, 800)}));
}

TYPED_TEST(EdgeFiles, OnlyWithoutAStopAFirstFileFromBeforeThePeriodHasItsNeighbour) {
  // Nothing begins in the period; the later of two files is the candidate in either order of the directory.
  this->make({raw_name(3, 4, 300), raw_name(3, 5, 400)});
  for (const bool has_stop : {false, true}) {
    this->ask_for_period(500, 600);
    if (!has_stop) this->request.stop_time = {};
    ASSERT_EQ(this->init(), 0);
    const names expected =
        has_stop ? names{raw_name(3, 5, 400)} : names{raw_name(3, 4, 300), raw_name(3, 5, 400)};
    EXPECT_EQ(this->files(), expected);
  }
}

TYPED_TEST(EdgeFiles, AFirstFileFromBeforeThePeriodNeedsNoNeighbour) {
  this->make({raw_name(3, 5, 400), raw_name(3, 4, 300), raw_name(3, 6, 900)});
  ASSERT_EQ(this->init(), 0);
  // The directory's order decides which candidate stood in for the period; all are taken on by their
  // numbers.
  EXPECT_FALSE(this->says("'linac_main_run3_file3_'") && this->says("The very first"));
  EXPECT_TRUE(this->says("PARTIAL FILE NAME: 'linac_main_run3_file"));
}

TYPED_TEST(EdgeFiles, ARunsFileFromBeforeThePeriodNeedsNoNeighbour) {
  this->ask_for_runs(3, 3);
  this->make({raw_name(3, 4, 400), raw_name(3, 3, 300), raw_name(3, 5, 500), raw_name(3, 6, 800)});
  the_loader.index_of_file[raw_name(3, 4, 400)] = this->index_of(400, 500);
  the_loader.index_of_file[raw_name(3, 3, 300)] = this->index_of(300, 399);
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), (names{raw_name(3, 4, 400), raw_name(3, 5, 500), raw_name(3, 6, 800)}));
  // The older generation, which does not take file 4 for its events, finds it as the neighbour of file 5.
  EXPECT_EQ(this->says("file4_'"), either<TypeParam>(false, true));
  EXPECT_FALSE(this->says("file3_'"));
}

TYPED_TEST(EdgeFiles, NamesWithoutANumberHaveNoNeighbours) {
  this->make({"linac_main_20250101T000900Z.raw"});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), names{"linac_main_20250101T000900Z.raw"});
  EXPECT_EQ(this->output, "");
}

TYPED_TEST(EdgeFiles, NumbersThatNoFileHasAreNotCountedOn) {
  const std::string name = "linac_main_run3_file" + std::string(200, '9') + "_20250101T000900Z.raw";
  this->make({name});
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->files(), names{name});
  EXPECT_EQ(this->output, "");
}

TYPED_TEST(EdgeFiles, TheHighestNumberIsCountedOnWithoutWrapping) {
  this->make({raw_name(3, 2147483647, 600)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_TRUE(this->says("PARTIAL FILE NAME: 'linac_main_run3_file2147483646_'\n"));
  EXPECT_TRUE(this->says("PARTIAL FILE NAME: 'linac_main_run3_file2147483648_'\n"));
}

TYPED_TEST(EdgeFiles, OfSeveralTheOneThatBeginsSoAndLiesNearestIsTaken) {
  this->init_with({raw_name(3, 4, 400), raw_name(3, 4, 300), raw_name(3, 4, 499, "prelinac"),
                   raw_name(3, 8, 900), raw_name(3, 8, 800), raw_name(3, 8, 701, "prelinac")});
  EXPECT_EQ(this->files(), this->with({raw_name(3, 4, 400)}, {raw_name(3, 8, 800)}));
}

TYPED_TEST(EdgeFiles, ANameThatContainsThePartWillDo) {
  this->init_with({raw_name(3, 4, 400, "prelinac"), raw_name(3, 8, 800, "prelinac")});
  EXPECT_EQ(this->files(),
            this->with({raw_name(3, 4, 400, "prelinac")}, {raw_name(3, 8, 800, "prelinac")}));
}

TYPED_TEST(EdgeFiles, WhatIsNoRawFileIsNoNeighbour) {
  this->init_with({raw_name(3, 4, 400) + ".part", "linac_main_run3_file8_notes.txt"});
  EXPECT_EQ(this->files(), this->inside());
}

TYPED_TEST(EdgeFiles, NumbersAreComparedWhole) {
  this->init_with({raw_name(3, 44, 400), raw_name(3, 81, 800), raw_name(33, 4, 400),
                   raw_name(3, 4, 400, "linac", "fast")});
  EXPECT_EQ(this->files(), this->inside());
}

TYPED_TEST(EdgeFiles, ADirectoryThatCannotBeReadAgainIsReported) {
  this->make({raw_name(3, 2, 550)});
  openings_left = 1;  // for the scan
  ASSERT_EQ(this->init(), 0);
  openings_left = -1;
  const std::string unreadable =
      this->class_name +
      "(): unable read the files in the directory to get the name if the very first file\n";
  EXPECT_EQ(this->output,
            "LAST FILE NUMBER: '2'\nPARTIAL FILE NAME: 'linac_main_run3_file1_'\n" + unreadable +
                "LAST FILE NUMBER: '2'\nPARTIAL FILE NAME: 'linac_main_run3_file3_'\n" + unreadable);
  EXPECT_EQ(this->files(), names{raw_name(3, 2, 550)});
}

TYPED_TEST(EdgeFiles, ARunWithoutAPeriodIsWidenedToo) {
  this->ask_for_runs(3, 3);
  this->request.start_time = this->request.stop_time = {};
  this->make({raw_name(3, 5, 500), raw_name(3, 6, 600)});
  ASSERT_EQ(this->init(), 0);
  EXPECT_TRUE(this->says("'linac_main_run3_file4_'"));
  EXPECT_TRUE(this->says("'linac_main_run3_file7_'"));
}

}  // namespace
}  // namespace ravo::test
