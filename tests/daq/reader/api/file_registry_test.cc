// Files enter and leave the list: how names become paths, which files are refused, and what is said.
#include "scripted_reader.h"

#include <ctime>
#include <filesystem>

#include "files/closed_file.h"
#include "files/data_path_list.h"

namespace ravo::test {
namespace {

TEST(ClosedFile, ChangedTwentyNineSecondsAgoIsNotClosed) {
  EXPECT_FALSE(is_settled(1000, 1000));
  EXPECT_FALSE(is_settled(1000, 1028));
  EXPECT_FALSE(is_settled(1000, 1029));
}

TEST(ClosedFile, ChangedThirtySecondsAgoIsClosed) {
  EXPECT_TRUE(is_settled(1000, 1030));
  EXPECT_TRUE(is_settled(0, 1'000'000'000'000));
}

TEST(ClosedFile, AFreshFileIsGrowingAndAnAbsentOneMissing) {
  temporary_folder folder;
  EXPECT_EQ(state_of_raw_file(folder.write("new.raw", {}).c_str()), raw_file_state::growing);
  EXPECT_EQ(state_of_raw_file(folder.file("none.raw").c_str()), raw_file_state::missing);
  // Made when the system was set up, and not touched since.
  EXPECT_EQ(state_of_raw_file("/etc/debian_version"), raw_file_state::closed);
}

using pieces = std::vector<std::string_view>;

TEST(DataPathList, IsSplitAtItsColons) {
  EXPECT_EQ(split_data_path_list("/a:/b:/c"), (pieces{"/a", "/b", "/c"}));
  EXPECT_EQ(split_data_path_list("/a"), (pieces{"/a"}));
  EXPECT_EQ(split_data_path_list("a:b"), (pieces{"a", "b"}));
  EXPECT_EQ(split_data_path_list(""), pieces{});
}

TEST(DataPathList, EndsAtAClosingColon) {
  EXPECT_EQ(split_data_path_list("/a:/b:"), (pieces{"/a", "/b"}));
  EXPECT_EQ(split_data_path_list(":"), pieces{});
}

// An entry is at least one character long, so that a second colon in a row begins one.
TEST(DataPathList, AColonAfterAColonBeginsAnEntry) {
  EXPECT_EQ(split_data_path_list(":/a"), (pieces{":/a"}));
  EXPECT_EQ(split_data_path_list("/a::/b"), (pieces{"/a", ":/b"}));
  EXPECT_EQ(split_data_path_list("::/a"), (pieces{"/a"}));
  EXPECT_EQ(split_data_path_list("/a:::/b"), (pieces{"/a", "/b"}));
}

template <class generation>
class FileRegistry : public scripted_reader<generation> {
 protected:
  FileRegistry() { this->reader.set_data_dir(""); }
  std::string output_of_add(const std::string& name, int expected) {
    captured_output output;
    EXPECT_EQ(this->reader.add_file(name.c_str(), true), expected);
    return output.stop();
  }
  std::vector<std::string> listed() const { return {this->reader.files.begin(), this->reader.files.end()}; }
  /// From here on no file is checked.
  void take_all() { taking_all.emplace("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", ""); }
  /// The end of what is said of a missing file.
  const std::string not_found = either<generation>(" not found \n", " not found\n");
  std::optional<environment_variable> taking_all;
};
TYPED_TEST_SUITE(FileRegistry, generations, generation_name);

TYPED_TEST(FileRegistry, RefusesNullAndEmptyNames) {
  EXPECT_EQ(this->reader.add_file(nullptr, true), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->reader.add_file("", true), RAVO_DAQ_READER_INV_PARAM);
}

TYPED_TEST(FileRegistry, OnlyTheCurrentGenerationSkipsAFreshFileAsNotClosed) {
  const std::string path = this->existing("a.raw");
  const std::string not_closed =
      "ravo_daq_reader_2010::add_file() file " + path + " skipped (not closed)\n";
  const int status = either<TypeParam>(-10, 0);
  EXPECT_EQ(this->output_of_add(path, status), either<TypeParam>(not_closed, std::string()));
  EXPECT_STREQ(this->reader.get_last_error(), either<TypeParam>("Files not found", "OK"));
  this->reader.set_debug(1);
  EXPECT_EQ(this->output_of_add(path, status), either<TypeParam>("ravo_daq_reader_2010::add_file() file " +
                                                                     path + " not found \n" + not_closed,
                                                                 std::string()));
  EXPECT_EQ(this->reader.get_number_of_files(), either<TypeParam>(0, 2));
}

TYPED_TEST(FileRegistry, AMissingFileIsReportedOnlyWhenDebugging) {
  const std::string path = this->folder.file("a.raw");
  EXPECT_EQ(this->output_of_add(path, RAVO_DAQ_READER_FILES_NOT_FOUND), "");
  this->reader.set_debug(-1);
  EXPECT_EQ(this->output_of_add(path, RAVO_DAQ_READER_FILES_NOT_FOUND), "");
  for (const int debug : {1, 2}) {
    this->reader.set_debug(debug);
    EXPECT_EQ(this->output_of_add(path, RAVO_DAQ_READER_FILES_NOT_FOUND),
              this->class_name + "::add_file() file " + path + this->not_found);
  }
}

TYPED_TEST(FileRegistry, AClosedFileIsTaken) {
  EXPECT_EQ(this->output_of_add("/etc/debian_version", 0), "");
  EXPECT_EQ(this->listed(), (std::vector<std::string>{"/etc/debian_version"}));
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(FileRegistry, OnlyTheCurrentGenerationCanSkipTheCheckOfFiles) {
  this->take_all();
  EXPECT_EQ(this->output_of_add("/nowhere/a.raw",
                                either<TypeParam>(RAVO_DAQ_READER_OK, RAVO_DAQ_READER_FILES_NOT_FOUND)),
            "");
  EXPECT_EQ(this->reader.get_number_of_files(), either<TypeParam>(1, 0));
}

TYPED_TEST(FileRegistry, FilesEnterAtTheEndOrAtTheFront) {
  this->take_all();
  const std::string a = this->existing("a"), b = this->existing("b"), c = this->existing("c");
  this->reader.add_file(a.c_str(), true);
  this->reader.add_file(b.c_str(), true);
  EXPECT_EQ(this->reader.add_file(c.c_str(), false), 0);
  EXPECT_EQ(this->listed(), (std::vector<std::string>{c, a, b}));
  EXPECT_EQ(this->reader.add_file(a.c_str(), true), 0) << "the list is not searched for it";
  EXPECT_EQ(this->reader.get_number_of_files(), 4);
}

TYPED_TEST(FileRegistry, ABareNameLiesInTheDataDirectory) {
  this->take_all();
  const std::string inside = this->existing("data/dir/a.raw"), elsewhere = this->existing("x/a.raw");
  this->reader.set_data_dir(this->folder.file("data/dir").c_str());
  this->reader.add_file("a.raw", true);
  this->reader.add_file(elsewhere.c_str(), true);
  EXPECT_EQ(this->listed(), (std::vector<std::string>{inside, elsewhere}));
}

// Read from where the program runs, not from the data directory.
TYPED_TEST(FileRegistry, ANameWithADirectoryIsTakenAsItIs) {
  this->take_all();
  this->existing("dir/a.raw");
  this->reader.set_data_dir(this->folder.path().c_str());
  const std::string path = std::filesystem::relative(this->folder.file("dir/a.raw")).string();
  this->reader.add_file(path.c_str(), true);
  EXPECT_EQ(this->listed(), std::vector<std::string>{path});
}

TYPED_TEST(FileRegistry, ABareNameInTheDataDirectoryIsLookedAt) {
  this->reader.set_data_dir("/etc");
  EXPECT_EQ(this->output_of_add("debian_version", 0), "");
  EXPECT_EQ(this->listed(), (std::vector<std::string>{"/etc/debian_version"}));
  this->reader.set_debug(1);
  EXPECT_EQ(this->output_of_add("no_such_file", RAVO_DAQ_READER_FILES_NOT_FOUND),
            this->class_name + "::add_file() file /etc/no_such_file" + this->not_found);
}

TYPED_TEST(FileRegistry, ABareNameIsSearchedAlongTheDataPaths) {
  const std::string young = this->existing("one/debian_version");
  this->reader.set_data_path_list(
      ("/no_such_place:" + this->folder.file("one") + ":/etc:/nowhere").c_str());
  EXPECT_EQ(this->output_of_add("debian_version", 0),
            either<TypeParam>("ravo_daq_reader_2010::add_file() file " + young + " skipped (not closed)\n",
                              std::string()));
  EXPECT_EQ(this->listed(),
            std::vector<std::string>{either<TypeParam>(std::string("/etc/debian_version"), young)});
}

TYPED_TEST(FileRegistry, TheSearchReportsEachStepWhenDebugging) {
  const std::string nowhere =
      this->class_name +
      "::add_file() file a.raw not found in any default data path /no_such_place:/nowhere\n";
  this->reader.set_data_path_list("/no_such_place:/nowhere");
  this->reader.set_debug(1);
  EXPECT_EQ(this->output_of_add("a.raw", RAVO_DAQ_READER_FILES_NOT_FOUND),
            this->class_name + "::add_file() file /no_such_place/a.raw" + this->not_found +
                this->class_name + "::add_file() file /nowhere/a.raw" + this->not_found + nowhere);
  EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
  this->reader.set_debug(-1);
  EXPECT_EQ(this->output_of_add("a.raw", RAVO_DAQ_READER_FILES_NOT_FOUND), nowhere);
  this->reader.set_debug(0);
  EXPECT_EQ(this->output_of_add("a.raw", RAVO_DAQ_READER_FILES_NOT_FOUND), "");
}

TYPED_TEST(FileRegistry, TheFirstDirectoryThatHasTheFileIsTaken) {
  this->take_all();
  const std::string first = this->existing("p/a.raw");
  this->existing("q/a.raw");
  this->reader.set_data_path_list((this->folder.file("p") + ":" + this->folder.file("q")).c_str());
  this->reader.add_file("a.raw", true);
  EXPECT_EQ(this->listed(), std::vector<std::string>{first});
}

TYPED_TEST(FileRegistry, ADataDirectoryThatIsAListTakesThePlaceOfTheDataPaths) {
  this->take_all();
  this->existing("p/a.raw");
  const std::string first = this->existing("r/a.raw");
  this->existing("s/a.raw");
  this->reader.set_data_path_list(this->folder.file("p").c_str());
  this->reader.set_data_dir((this->folder.file("r") + ":" + this->folder.file("s") + ":").c_str());
  this->reader.add_file("a.raw", true);
  EXPECT_EQ(this->listed(), std::vector<std::string>{first});
}

TYPED_TEST(FileRegistry, AListAsDataDirectoryIsNamedWhenNothingIsFound) {
  this->reader.set_data_dir("/r:/s:");
  this->reader.set_debug(-1);
  EXPECT_EQ(this->output_of_add("a.raw", RAVO_DAQ_READER_FILES_NOT_FOUND),
            this->class_name + "::add_file() file a.raw not found in any default data path /r:/s:\n");
}

TYPED_TEST(FileRegistry, ANameWithADirectoryIsNotSearched) {
  this->reader.set_data_path_list("/etc");
  EXPECT_EQ(this->output_of_add("./debian_version", RAVO_DAQ_READER_FILES_NOT_FOUND), "");
}

TYPED_TEST(FileRegistry, AnEmptyListFindsNothing) {
  this->reader.set_data_path_list("");
  EXPECT_EQ(this->output_of_add("debian_version", RAVO_DAQ_READER_FILES_NOT_FOUND), "");
}

TYPED_TEST(FileRegistry, RemovesTheLastFileThatMatches) {
  this->take_all();
  std::vector<std::string> paths;
  for (const char* name : {"run1_a.raw", "run2_a.raw", "run3_b.raw"}) {
    paths.push_back(this->existing(name));
    this->reader.add_file(paths.back().c_str(), true);
  }
  // With the dot, which the folder's random name cannot have: the whole path is searched.
  EXPECT_EQ(this->reader.remove_file("_a.raw"), 0);
  EXPECT_EQ(this->listed(), (std::vector<std::string>{paths[0], paths[2]}));
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(FileRegistry, RemovingAMissingFileIsReported) {
  EXPECT_EQ(this->reader.remove_file("x"), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
  this->take_all();
  this->reader.add_file(this->existing("a.raw").c_str(), true);
  EXPECT_EQ(this->reader.remove_file("b.raw"), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_EQ(this->reader.remove_file(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.remove_file(""), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->reader.get_number_of_files(), 1);
}

TYPED_TEST(FileRegistry, SortingOrdersByTimeAndLeavesEachFileOnce) {
  this->take_all();
  const std::string a = this->existing("linac_main_run7_file1_20250101T000000Z.raw");
  const std::string b = this->existing("linac_main_run7_file2_20250101T001000Z.raw");
  for (const std::string& path : {b, a, b, a, a}) this->reader.add_file(path.c_str(), true);
  this->reader.sort_my_files();
  EXPECT_EQ(this->listed(), (std::vector<std::string>{a, b}));
  this->reader.clean_up();
  this->reader.sort_my_files();
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

}  // namespace
}  // namespace ravo::test
