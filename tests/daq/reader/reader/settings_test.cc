// The reader as an object: what it starts with, what its settings take and refuse, what they store, and
// what cleaning up brings back.
#include "scripted_reader.h"

#include <algorithm>
#include <sstream>

namespace ravo::test {
namespace {

using test_reader = daq_reader<scripted_generation>;

class Settings : public scripted_reader {};

TEST_F(Settings, AFreshReaderHasTheDefaults) {
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_EQ(reader.get_number_of_channels(), 0);
  EXPECT_EQ(reader.get_number_of_events(), 0);
  EXPECT_EQ(reader.get_number_of_empty_events(), 0);
  EXPECT_EQ(reader.get_debug(), 0);
  EXPECT_TRUE(reader.is_by_time_fix());
  EXPECT_FALSE(reader.found_from_run_catalogue);
  EXPECT_EQ(reader.slicer, nullptr);
  EXPECT_STREQ(reader.get_experiment(), "linac");
  EXPECT_STREQ(reader.get_stream(), "main");
  EXPECT_STREQ(reader.get_catalog_dir(), "/daq/ravo/admtemp/");
  EXPECT_STREQ(reader.get_data_dir(), "/daq/ravo_ext/LINAC/");
  EXPECT_EQ(reader.get_time_diff()->timeup, 0u);
  EXPECT_EQ(reader.get_time_diff()->timelow, 50000u);
  EXPECT_EQ(reader.get_period()->event_number, 1u);
  EXPECT_EQ(reader.get_period()->time.timeup, 0u);
  EXPECT_EQ(reader.get_period()->time.timelow, 100000u);
  EXPECT_EQ(reader.get_start_point()->event_number, 0u);
  EXPECT_EQ(reader.get_start_point()->time.timeup, 0u);
  EXPECT_EQ(reader.get_stop_point()->time.timeup, 0u);
  EXPECT_EQ(reader.request.run_first, 0);
  EXPECT_EQ(reader.request.run_last, 0);
  EXPECT_EQ(reader.request.synch_mode, 0);
  EXPECT_STREQ(reader.get_last_error(), "");
}

TEST_F(Settings, TheRealReaderIsTheSameClassOfSettings) {
  ravo_daq_reader_2010 real;
  EXPECT_STREQ(real.get_data_dir(), "/daq/ravo_ext/LINAC/");
  EXPECT_EQ(real.get_time_diff()->timelow, 50000u);
  EXPECT_EQ(real.get_period()->time.timelow, 100000u);
  EXPECT_EQ(real.set_experiment("exp"), 0);
  EXPECT_STREQ(real.get_last_error(), "OK");
}

TEST_F(Settings, TheEnvironmentSetsTheFirstTimeDifferenceOnly) {
  environment_variable seconds("DAQ_MAX_TIME_STEP_SEC", "3");
  environment_variable microseconds("DAQ_MAX_TIME_STEP_USEC", "70x");
  test_reader other;
  EXPECT_EQ(other.get_time_diff()->timeup, 3u);
  EXPECT_EQ(other.get_time_diff()->timelow, 70u);
  other.clean_up();
  EXPECT_EQ(other.get_time_diff()->timeup, 0u);
  EXPECT_EQ(other.get_time_diff()->timelow, 50000u);
}

TEST_F(Settings, EachPartOfTheTimeDifferenceIsReadByItself) {
  environment_variable microseconds("DAQ_MAX_TIME_STEP_USEC", "rubbish");
  test_reader other;
  EXPECT_EQ(other.get_time_diff()->timeup, 0u);
  EXPECT_EQ(other.get_time_diff()->timelow, 0u);
  environment_variable none("DAQ_MAX_TIME_STEP_USEC", nullptr);
  environment_variable seconds("DAQ_MAX_TIME_STEP_SEC", "2");
  test_reader third;
  EXPECT_EQ(third.get_time_diff()->timeup, 2u);
  EXPECT_EQ(third.get_time_diff()->timelow, 50000u);
}

TEST_F(Settings, TheDataPathListComesFromTheEnvironmentOrIsBuiltIn) {
  std::istringstream built_in(reader.get_data_path_list());
  std::vector<std::string> directories;
  for (std::string one; std::getline(built_in, one, ':');) directories.push_back(one);
  ASSERT_EQ(directories.size(), 15u);
  EXPECT_EQ(directories[0], "/space/POOL");
  for (std::size_t i = 1; i < 15; ++i) {
    EXPECT_EQ(directories[i].rfind("/daq_data/", 0), 0u) << directories[i];
    EXPECT_EQ(std::count(directories[i].begin(), directories[i].end(), '/'), 3) << directories[i];
  }
  EXPECT_NE(std::string(reader.get_data_path_list()).back(), ':');
  environment_variable paths("RAVO_DAQ_DATA_PATH_LIST", "/p:/q");
  test_reader other;
  EXPECT_STREQ(other.get_data_path_list(), "/p:/q");
  other.set_data_path_list("/r");
  other.clean_up();
  EXPECT_STREQ(other.get_data_path_list(), "/r");
}

TEST_F(Settings, PointsAndPeriodAreCopied) {
  const ravo_time_id one = at(1, 2, 3), two = at(4, 5, 6), three = at(7, 8, 9);
  reader.set_error(-1);
  EXPECT_EQ(reader.set_period(&one), 0);
  EXPECT_STREQ(reader.get_last_error(), "OK");
  EXPECT_EQ(reader.set_start_point(&two), 0);
  EXPECT_EQ(reader.set_stop_point(&three), 0);
  EXPECT_EQ(reader.get_period()->event_number, 1u);
  EXPECT_EQ(reader.get_period()->time.timeup, 2u);
  EXPECT_EQ(reader.get_period()->time.timelow, 3u);
  EXPECT_EQ(reader.get_start_point()->event_number, 4u);
  EXPECT_EQ(reader.get_start_point()->time.timelow, 6u);
  EXPECT_EQ(reader.get_stop_point()->event_number, 7u);
  EXPECT_EQ(reader.get_stop_point(), &reader.request.stop_time);
  EXPECT_EQ(reader.set_period(nullptr), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(reader.set_start_point(nullptr), -7);
  EXPECT_EQ(reader.set_stop_point(nullptr), -7);
  EXPECT_EQ(reader.get_start_point()->event_number, 4u);
}

TEST_F(Settings, TextsAreCutToTheirFields) {
  const std::string digits = "0123456789012345678901234567890123456789";
  EXPECT_EQ(reader.set_experiment(digits.c_str()), 0);
  EXPECT_EQ(reader.get_experiment(), digits.substr(0, 31));
  EXPECT_EQ(reader.set_stream(digits.c_str()), 0);
  EXPECT_EQ(reader.get_stream(), digits.substr(0, 31));
  EXPECT_EQ(reader.set_catalog_dir(std::string(2000, 'c').c_str()), 0);
  EXPECT_EQ(reader.get_catalog_dir(), std::string(1023, 'c'));
  EXPECT_EQ(reader.set_catalog_dir("/c"), 0);
  EXPECT_STREQ(reader.get_catalog_dir(), "/c");
  EXPECT_EQ(reader.request.cdir[1022], '\0') << "nothing of the longer text is left";
}

TEST_F(Settings, NullAndEmptyTextsAreRefused) {
  EXPECT_EQ(reader.set_experiment(nullptr), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(reader.set_experiment(""), -7);
  EXPECT_EQ(reader.set_stream(nullptr), -7);
  EXPECT_EQ(reader.set_stream(""), -7);
  EXPECT_EQ(reader.set_catalog_dir(nullptr), -7);
  EXPECT_EQ(reader.set_catalog_dir(""), -7);
  EXPECT_STREQ(reader.get_experiment(), "linac");
  EXPECT_STREQ(reader.get_stream(), "main");
}

TEST_F(Settings, TheDataDirectoryEndsInASlashOrIsAList) {
  EXPECT_EQ(reader.set_data_dir("/a/b"), 0);
  EXPECT_STREQ(reader.get_data_dir(), "/a/b/");
  EXPECT_EQ(reader.set_data_dir("/a/b/"), 0);
  EXPECT_STREQ(reader.get_data_dir(), "/a/b/");
  EXPECT_EQ(reader.set_data_dir("/a:/b:"), 0);
  EXPECT_STREQ(reader.get_data_dir(), "/a:/b:");
  EXPECT_EQ(reader.set_data_dir("/a:/b"), 0);
  EXPECT_STREQ(reader.get_data_dir(), "/a:/b/");
}

TEST_F(Settings, AnEmptyDataDirectoryIsCleared) {
  reader.set_data_dir("/a/b");
  reader.set_error(-1);
  EXPECT_EQ(reader.set_data_dir(""), 0);
  EXPECT_STREQ(reader.get_last_error(), "OK");
  EXPECT_TRUE(std::all_of(std::begin(reader.request.ddir), std::end(reader.request.ddir),
                          [](char c) { return c == '\0'; }));
  reader.set_data_dir("/a/b");
  EXPECT_EQ(reader.set_data_dir(nullptr), 0);
  EXPECT_STREQ(reader.get_data_dir(), "");
}

TEST_F(Settings, ALongDataDirectoryKeepsItsSlash) {
  reader.set_data_dir(std::string(3000, 'd').c_str());
  EXPECT_EQ(reader.get_data_dir(), std::string(1022, 'd') + "/");
  reader.set_data_dir(std::string(1022, 'e').c_str());
  EXPECT_EQ(reader.get_data_dir(), std::string(1022, 'e') + "/");
}

TEST_F(Settings, TheDataDirectoryMayBeSetFromItself) {
  reader.set_data_dir("/a/b");
  EXPECT_EQ(reader.set_data_dir(reader.get_data_dir()), 0);
  EXPECT_STREQ(reader.get_data_dir(), "/a/b/");
}

TEST_F(Settings, AnUnknownSynchModeIsIgnoredWithoutComplaint) {
  captured_output output;
  EXPECT_EQ(reader.set_synch_mode(5), 0);
  EXPECT_EQ(reader.request.synch_mode, 0);
  EXPECT_EQ(reader.set_synch_mode(1), 0);
  EXPECT_EQ(reader.set_synch_mode(-1), 0);
  EXPECT_EQ(reader.set_synch_mode(2), 0);
  EXPECT_EQ(reader.request.synch_mode, 1);
  EXPECT_STREQ(reader.get_last_error(), "OK");
  EXPECT_EQ(output.text(), "");
}

TEST_F(Settings, AskingForTheSynchModePrintsItEveryTime) {
  captured_output output;
  EXPECT_EQ(reader.get_synch_mode(), 0);
  reader.set_synch_mode(1);
  EXPECT_EQ(reader.get_synch_mode(), 1);
  EXPECT_EQ(output.stop(), "SYNCH_MODE get: 0x0\nSYNCH_MODE get: 0x1\n");
}

TEST_F(Settings, ANullTimeDifferenceIsNoReaderStatus) {
  reader.set_error(-9);
  EXPECT_EQ(reader.set_time_diff(nullptr), 1);
  EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
  const time_stamp diff{1, 2};
  EXPECT_EQ(reader.set_time_diff(&diff), 0);
  EXPECT_STREQ(reader.get_last_error(), "OK");
  EXPECT_EQ(reader.get_time_diff()->timeup, 1u);
  EXPECT_EQ(reader.get_time_diff()->timelow, 2u);
}

TEST_F(Settings, EveryStatusHasItsText) {
  const std::pair<int, const char*> texts[] = {
      {0, "OK"},
      {-1, "No required data"},
      {-2, "Some entries are not ready"},
      {-3, "Time is out of file"},
      {-4, "Not Initialized"},
      {-5, "Channel not found"},
      {-6, "Intern error"},
      {-7, "Invalid Parameter"},
      {-8, "Not allowed"},
      {-9, "Invalid file format"},
      {-10, "Files not found"},
      {-11, "Unknown error"},
      {1, "Unknown error"},
  };
  for (const auto& [status, text] : texts) {
    EXPECT_STREQ(test_reader::error_i2a(status), text);
    reader.set_error(status);
    EXPECT_STREQ(reader.get_last_error(), text);
  }
}

TEST_F(Settings, FilesAreNamedByTheirPosition) {
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", ""};
  ASSERT_EQ(reader.add_file("/x/a", true), 0);
  EXPECT_STREQ(reader.get_file_name(0), "/x/a");
  EXPECT_EQ(reader.get_file_name(1), nullptr);
  EXPECT_EQ(reader.get_file_name(-1), nullptr);
}

TEST_F(Settings, TheDescriptionListIsTheLoaders) {
  EXPECT_EQ(reader.get_descr_list(), reader.get_tables.get_descr_list());
}

TEST_F(Settings, ChannelsAreNamedByTheirPosition) {
  add("A");
  add("B:3;nick");
  int subchan = 77;
  EXPECT_STREQ(reader.get_channel_name(0, &subchan), "A");
  EXPECT_EQ(subchan, -1);
  EXPECT_STREQ(reader.get_channel_name(1, &subchan), "B");
  EXPECT_EQ(subchan, 3);
  EXPECT_STREQ(reader.get_channel_name(1, nullptr), "B");
}

TEST_F(Settings, APositionAtOrBehindTheEndHasNoChannel) {
  add("A");
  int subchan = 77;
  EXPECT_EQ(reader.get_channel_name(1, &subchan), nullptr);
  EXPECT_EQ(reader.get_channel_name(2, &subchan), nullptr);
  EXPECT_EQ(reader.get_channel_name(-1, &subchan), nullptr);
  EXPECT_EQ(subchan, 77);
}

class DictionaryNames : public scripted_reader {
 protected:
  /// A dictionary of `channels` channels named C0, C1, ... in memory of exactly that size.
  void load(int channels, unsigned pattern = 0xdcadcaf3) {
    memory.assign(2 + 68 * static_cast<std::size_t>(channels), 0);
    memory.shrink_to_fit();
    memory[0] = pattern;
    memory[1] = static_cast<std::uint32_t>(8 + 272 * channels);
    for (int i = 0; i < channels; ++i) {
      char* entry = reinterpret_cast<char*>(memory.data()) + 8 + 272 * i;
      std::snprintf(entry + 4, 256, "C%d", i);
      const std::uint32_t numbers[] = {static_cast<std::uint32_t>(100 + i),
                                       static_cast<std::uint32_t>(200 + i),
                                       static_cast<std::uint32_t>(300 + i)};
      std::memcpy(entry + 260, numbers, sizeof numbers);
    }
    the_loader.cdt_tab = reinterpret_cast<ravo_chan_dictionary_table_2010*>(memory.data());
  }
  const char* name(int position) { return reader.get_channel_name(position, nullptr, nullptr, nullptr); }
  std::vector<std::uint32_t> memory;
};

TEST_F(DictionaryNames, ComeWithCountAndMasks) {
  load(3);
  int count = 0, ev_mask = 0, dtype_mask = 0;
  EXPECT_STREQ(reader.get_channel_name(2, &count, &ev_mask, &dtype_mask), "C2");
  EXPECT_EQ(ev_mask, 102);
  EXPECT_EQ(dtype_mask, 202);
  EXPECT_EQ(count, 302);
  EXPECT_STREQ(name(0), "C0");
}

// The stated bound for three entries is (8 + 3 * 272 - 8) / 96 = 8, but only three are there.
TEST_F(DictionaryNames, EndWithTheTable) {
  load(3);
  for (int position = 3; position < 10; ++position) EXPECT_EQ(name(position), nullptr) << position;
  EXPECT_EQ(name(-1), nullptr);
}

TEST_F(DictionaryNames, NeedALoadedTableWithEntries) {
  EXPECT_EQ(name(0), nullptr);
  load(1, 0xdcadcaf4);
  EXPECT_EQ(name(0), nullptr);
  load(0);
  EXPECT_EQ(name(0), nullptr);
  load(1);
  memory[1] = static_cast<std::uint32_t>(-5);
  EXPECT_EQ(name(0), nullptr);
  memory[1] = 8 + 271;
  EXPECT_EQ(name(0), nullptr);
}

class CleanUp : public scripted_reader {};

TEST_F(CleanUp, ReturnsToTheConstructedState) {
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
  const ravo_time_id point = at(1, 2, 3);
  reader.set_period(&point);
  reader.set_start_point(&point);
  reader.set_stop_point(&point);
  reader.set_experiment("other");
  reader.set_stream("other");
  reader.set_catalog_dir("/other");
  reader.set_data_dir("/other");
  reader.set_synch_mode(1);
  const time_stamp diff{5, 5};
  reader.set_time_diff(&diff);
  reader.request.run_first = reader.request.run_last = 9;
  add("A");
  ASSERT_EQ(reader.add_file("/x/linac_main_run7_file1_19700101T000001Z.raw", true), 0);
  ASSERT_EQ(reader.start(), 0);
  answer(point, {block("A", RAVO_BLOCK_1CHAN_2010, point)});
  ASSERT_EQ(get(), 0);
  answer({}, {});
  ASSERT_EQ(get(), -3);
  ASSERT_EQ(reader.get_number_of_events(), 1);
  ASSERT_EQ(reader.get_number_of_empty_events(), 1);
  const int loader_clean_ups = the_loader.clean_ups;

  reader.clean_up();
  EXPECT_EQ(the_slicer.calls.back(), "clean_up");
  EXPECT_EQ(the_slicer.alive, 0);
  EXPECT_EQ(reader.slicer, nullptr);
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_EQ(reader.get_number_of_channels(), 0);
  EXPECT_TRUE(reader.results.empty());
  EXPECT_TRUE(reader.chans.empty());
  EXPECT_TRUE(reader.cur_res.empty());
  EXPECT_EQ(reader.current_event_id.event_number, 0u);
  EXPECT_EQ(reader.time_start, 0.0);
  EXPECT_EQ(reader.time_stop, 0.0);
  EXPECT_EQ(reader.get_number_of_events(), 0);
  EXPECT_EQ(reader.get_number_of_empty_events(), 0);
  EXPECT_EQ(the_loader.clean_ups, loader_clean_ups + 1);
  const test_reader fresh;
  EXPECT_EQ(std::memcmp(&reader.request, &fresh.request, sizeof reader.request), 0);
  EXPECT_STREQ(reader.get_experiment(), "linac");
}

TEST_F(CleanUp, KeepsDebugFixErrorPathsAndTheCatalogueMark) {
  reader.set_debug(-3);
  reader.set_by_time_fix(false);
  reader.set_error(-9);
  reader.set_data_path_list("/p");
  reader.found_from_run_catalogue = true;
  reader.clean_up();
  EXPECT_EQ(reader.get_debug(), -3);
  EXPECT_FALSE(reader.is_by_time_fix());
  EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
  EXPECT_STREQ(reader.get_data_path_list(), "/p");
  EXPECT_TRUE(reader.found_from_run_catalogue);
}

TEST_F(CleanUp, TwiceIsHarmless) {
  add("A");
  reader.clean_up();
  reader.clean_up();
  EXPECT_EQ(reader.get_number_of_channels(), 0);
}

}  // namespace
}  // namespace ravo::test
