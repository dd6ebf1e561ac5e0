// Files enter and leave the list: how names become paths, which files are refused, and what is said.
#include "scripted_reader.h"

#include <ctime>
#include <filesystem>

#include "reader/closed_file.h"
#include "reader/data_path_list.h"

namespace ravo::test {
namespace {

TEST(ClosedFile, ChangedTwentyNineSecondsAgoIsNotClosed) {
  EXPECT_FALSE(is_closed(1000, 1000));
  EXPECT_FALSE(is_closed(1000, 1028));
  EXPECT_FALSE(is_closed(1000, 1029));
}

TEST(ClosedFile, ChangedThirtySecondsAgoIsClosed) {
  EXPECT_TRUE(is_closed(1000, 1030));
  EXPECT_TRUE(is_closed(0, 1'000'000'000'000));
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
TEST(DataPathList, AColonBehindAColonBeginsAnEntry) {
  EXPECT_EQ(split_data_path_list(":/a"), (pieces{":/a"}));
  EXPECT_EQ(split_data_path_list("/a::/b"), (pieces{"/a", ":/b"}));
  EXPECT_EQ(split_data_path_list("::/a"), (pieces{"/a"}));
  EXPECT_EQ(split_data_path_list("/a:::/b"), (pieces{"/a", "/b"}));
}

class FileRegistry : public scripted_reader {
 protected:
  FileRegistry() { reader.set_data_dir(""); }
  std::string output_of_add(const std::string& name, int expected) {
    captured_output output;
    EXPECT_EQ(reader.add_file(name.c_str(), true), expected);
    return output.stop();
  }
  std::vector<std::string> listed() const { return {reader.files.begin(), reader.files.end()}; }
  /// From here on no file is looked at.
  void take_all() { taking_all.emplace("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", ""); }
  std::optional<environment_variable> taking_all;
  temporary_folder folder;
};

TEST_F(FileRegistry, RefusesNullAndEmptyNames) {
  EXPECT_EQ(reader.add_file(nullptr, true), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(reader.add_file("", true), -7);
}

TEST_F(FileRegistry, AFreshFileIsSkippedAsNotClosed) {
  const std::string path = folder.write("a.raw", {});
  EXPECT_EQ(output_of_add(path, -10),
            "ravo_daq_reader_2010::add_file() file " + path + " skipped (not closed)\n");
  EXPECT_STREQ(reader.get_last_error(), "Files not found");
  reader.set_debug(1);
  EXPECT_EQ(output_of_add(path, -10), "ravo_daq_reader_2010::add_file() file " + path +
                                          " not found \nravo_daq_reader_2010::add_file() file " + path +
                                          " skipped (not closed)\n");
  EXPECT_EQ(reader.get_number_of_files(), 0);
}

TEST_F(FileRegistry, AMissingFileIsToldOnlyWhenDebugging) {
  const std::string path = folder.file("a.raw");
  EXPECT_EQ(output_of_add(path, -10), "");
  reader.set_debug(-1);
  EXPECT_EQ(output_of_add(path, -10), "");
  reader.set_debug(1);
  EXPECT_EQ(output_of_add(path, -10), "ravo_daq_reader_2010::add_file() file " + path + " not found \n");
}

TEST_F(FileRegistry, AClosedFileIsTaken) {
  EXPECT_EQ(output_of_add("/etc/debian_version", 0), "");
  EXPECT_EQ(listed(), (std::vector<std::string>{"/etc/debian_version"}));
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(FileRegistry, AMissingFileIsTakenWhenNoneIsLookedAt) {
  take_all();
  EXPECT_EQ(output_of_add("/nowhere/a.raw", 0), "");
  EXPECT_EQ(listed(), (std::vector<std::string>{"/nowhere/a.raw"}));
}

TEST_F(FileRegistry, FilesEnterAtTheEndOrAtTheFront) {
  take_all();
  reader.add_file("/x/a", true);
  reader.add_file("/x/b", true);
  EXPECT_EQ(reader.add_file("/x/c", false), 0);
  EXPECT_EQ(listed(), (std::vector<std::string>{"/x/c", "/x/a", "/x/b"}));
  EXPECT_EQ(reader.add_file("/x/a", true), 0) << "the list is not searched for it";
  EXPECT_EQ(reader.get_number_of_files(), 4);
}

TEST_F(FileRegistry, ABareNameLiesInTheDataDirectory) {
  take_all();
  reader.set_data_dir("/data/dir");
  reader.add_file("a.raw", true);
  reader.add_file("sub/a.raw", true);
  reader.add_file("/x/a.raw", true);
  EXPECT_EQ(listed(), (std::vector<std::string>{"/data/dir/a.raw", "sub/a.raw", "/x/a.raw"}));
}

TEST_F(FileRegistry, ABareNameInTheDataDirectoryIsLookedAt) {
  reader.set_data_dir("/etc");
  EXPECT_EQ(output_of_add("debian_version", 0), "");
  EXPECT_EQ(listed(), (std::vector<std::string>{"/etc/debian_version"}));
  reader.set_debug(1);
  EXPECT_EQ(output_of_add("no_such_file", -10),
            "ravo_daq_reader_2010::add_file() file /etc/no_such_file not found \n");
}

TEST_F(FileRegistry, ABareNameIsSearchedAlongTheDataPaths) {
  std::filesystem::create_directories(folder.file("one"));
  folder.write("one/debian_version", {});  // too young to be taken
  reader.set_data_path_list(("/no_such_place:" + folder.file("one") + ":/etc:/nowhere").c_str());
  EXPECT_EQ(output_of_add("debian_version", 0), "ravo_daq_reader_2010::add_file() file " +
                                                    folder.file("one/debian_version") +
                                                    " skipped (not closed)\n");
  EXPECT_EQ(listed(), (std::vector<std::string>{"/etc/debian_version"}));
}

TEST_F(FileRegistry, TheSearchTellsEachStepWhenDebugging) {
  reader.set_data_path_list("/no_such_place:/nowhere");
  reader.set_debug(1);
  EXPECT_EQ(output_of_add("a.raw", -10),
            "ravo_daq_reader_2010::add_file() file /no_such_place/a.raw not found \n"
            "ravo_daq_reader_2010::add_file() file /nowhere/a.raw not found \n"
            "ravo_daq_reader_2010::add_file() file a.raw not found in any default data path "
            "/no_such_place:/nowhere\n");
  EXPECT_STREQ(reader.get_last_error(), "Files not found");
  reader.set_debug(-1);
  EXPECT_EQ(output_of_add("a.raw", -10),
            "ravo_daq_reader_2010::add_file() file a.raw not found in any default data path "
            "/no_such_place:/nowhere\n");
  reader.set_debug(0);
  EXPECT_EQ(output_of_add("a.raw", -10), "");
}

TEST_F(FileRegistry, WithoutLookingTheFirstDirectoryIsTaken) {
  take_all();
  reader.set_data_path_list("/p:/q");
  reader.add_file("a.raw", true);
  EXPECT_EQ(listed(), (std::vector<std::string>{"/p/a.raw"}));
}

TEST_F(FileRegistry, ADataDirectoryThatIsAListTakesThePlaceOfTheDataPaths) {
  take_all();
  reader.set_data_path_list("/p:/q");
  reader.set_data_dir("/r:/s:");
  reader.add_file("a.raw", true);
  EXPECT_EQ(listed(), (std::vector<std::string>{"/r/a.raw"}));
}

TEST_F(FileRegistry, AListAsDataDirectoryIsNamedWhenNothingIsFound) {
  reader.set_data_dir("/r:/s:");
  reader.set_debug(-1);
  EXPECT_EQ(output_of_add("a.raw", -10),
            "ravo_daq_reader_2010::add_file() file a.raw not found in any default data path /r:/s:\n");
}

TEST_F(FileRegistry, ANameWithADirectoryIsNotSearched) {
  reader.set_data_path_list("/etc");
  EXPECT_EQ(output_of_add("./debian_version", -10), "");
}

TEST_F(FileRegistry, AnEmptyListFindsNothing) {
  reader.set_data_path_list("");
  EXPECT_EQ(output_of_add("debian_version", -10), "");
}

TEST_F(FileRegistry, RemovesTheLastFileThatMatches) {
  take_all();
  for (const char* path : {"/x/run1_a", "/x/run2_a", "/x/run3_b"}) reader.add_file(path, true);
  EXPECT_EQ(reader.remove_file("_a"), 0);
  EXPECT_EQ(listed(), (std::vector<std::string>{"/x/run1_a", "/x/run3_b"}));
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(FileRegistry, RemovingWhatIsNotThereIsTold) {
  EXPECT_EQ(reader.remove_file("x"), -10);
  EXPECT_STREQ(reader.get_last_error(), "Files not found");
  take_all();
  reader.add_file("/x/a", true);
  EXPECT_EQ(reader.remove_file("b"), -10);
  EXPECT_EQ(reader.remove_file(nullptr), -7);
  EXPECT_EQ(reader.remove_file(""), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(reader.get_number_of_files(), 1);
}

TEST_F(FileRegistry, SortingOrdersByTimeAndLeavesEachFileOnce) {
  take_all();
  const std::string a = "/x/linac_main_run7_file1_20250101T000000Z.raw";
  const std::string b = "/x/linac_main_run7_file2_20250101T001000Z.raw";
  for (const std::string& path : {b, a, b, a, a}) reader.add_file(path.c_str(), true);
  reader.sort_my_files();
  EXPECT_EQ(listed(), (std::vector<std::string>{a, b}));
  reader.clean_up();
  reader.sort_my_files();
  EXPECT_EQ(reader.get_number_of_files(), 0);
}

}  // namespace
}  // namespace ravo::test
