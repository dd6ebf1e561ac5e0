// The reader as an object: its defaults, what its settings accept and refuse, what they store, and
// what cleaning up restores.
#include "scripted_reader.h"

#include <algorithm>
#include <sstream>

namespace ravo::test {
namespace {

template <class reader>
concept has_by_time_fix = requires(reader& one) {
  one.set_by_time_fix(true);
  one.is_by_time_fix();
};

template <class generation>
class Settings : public scripted_reader<generation> {};
TYPED_TEST_SUITE(Settings, generations, generation_name);

TYPED_TEST(Settings, AFreshReaderHasTheDefaults) {
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  EXPECT_EQ(this->reader.get_number_of_channels(), 0);
  EXPECT_EQ(this->reader.get_number_of_events(), 0);
  EXPECT_EQ(this->reader.get_number_of_empty_events(), 0);
  EXPECT_EQ(this->reader.get_debug(), 0);
  if constexpr (has_by_time_fix<typename TestFixture::reader_type>) {
    EXPECT_TRUE(this->reader.is_by_time_fix());
  }
  EXPECT_FALSE(is_marked_by_catalogue(this->reader));
  EXPECT_EQ(this->reader.slicer, nullptr);
  EXPECT_STREQ(this->reader.get_experiment(), "linac");
  EXPECT_STREQ(this->reader.get_stream(), "main");
  EXPECT_STREQ(this->reader.get_catalog_dir(), "/daq/ravo/admtemp/");
  EXPECT_STREQ(this->reader.get_data_dir(), either<TypeParam>("/daq/ravo_ext/LINAC/", ""));
  EXPECT_EQ(this->reader.get_time_diff()->timeup, 0u);
  EXPECT_EQ(this->reader.get_time_diff()->timelow, either<TypeParam>(50000u, 95000u));
  EXPECT_EQ(this->reader.get_period()->event_number, 1u);
  EXPECT_EQ(this->reader.get_period()->time.timeup, 0u);
  EXPECT_EQ(this->reader.get_period()->time.timelow, either<TypeParam>(100000u, 200000u));
  EXPECT_EQ(this->reader.get_start_point()->event_number, 0u);
  EXPECT_EQ(this->reader.get_start_point()->time.timeup, 0u);
  EXPECT_EQ(this->reader.get_stop_point()->time.timeup, 0u);
  EXPECT_EQ(this->reader.request.run_first, 0);
  EXPECT_EQ(this->reader.request.run_last, 0);
  EXPECT_EQ(this->reader.request.synch_mode, 0);
  EXPECT_STREQ(this->reader.get_last_error(), "");
}

TYPED_TEST(Settings, TheRealReaderIsTheSameClassOfSettings) {
  typename TypeParam::reader real;
  EXPECT_STREQ(real.get_data_dir(), either<TypeParam>("/daq/ravo_ext/LINAC/", ""));
  EXPECT_EQ(real.get_time_diff()->timelow, either<TypeParam>(50000u, 95000u));
  EXPECT_EQ(real.get_period()->time.timelow, either<TypeParam>(100000u, 200000u));
  EXPECT_EQ(real.set_experiment("exp"), 0);
  EXPECT_STREQ(real.get_last_error(), "OK");
}

TYPED_TEST(Settings, TheEnvironmentSetsTheTimeDifferenceInTheCurrentGeneration) {
  environment_variable seconds("DAQ_MAX_TIME_STEP_SEC", "3");
  environment_variable microseconds("DAQ_MAX_TIME_STEP_USEC", "70x");
  typename TestFixture::reader_type other;
  EXPECT_EQ(other.get_time_diff()->timeup, either<TypeParam>(3u, 0u));
  EXPECT_EQ(other.get_time_diff()->timelow, either<TypeParam>(70u, 95000u));
  other.clean_up();
  EXPECT_EQ(other.get_time_diff()->timeup, 0u);
  EXPECT_EQ(other.get_time_diff()->timelow, either<TypeParam>(50000u, 95000u));
}

using CurrentSettings = Settings<current_generation>;

TEST_F(CurrentSettings, EachPartOfTheTimeDifferenceIsReadByItself) {
  environment_variable microseconds("DAQ_MAX_TIME_STEP_USEC", "rubbish");
  reader_type other;
  EXPECT_EQ(other.get_time_diff()->timeup, 0u);
  EXPECT_EQ(other.get_time_diff()->timelow, 0u);
  environment_variable none("DAQ_MAX_TIME_STEP_USEC", nullptr);
  environment_variable seconds("DAQ_MAX_TIME_STEP_SEC", "2");
  reader_type third;
  EXPECT_EQ(third.get_time_diff()->timeup, 2u);
  EXPECT_EQ(third.get_time_diff()->timelow, 50000u);
}

TYPED_TEST(Settings, TheDataPathListComesFromTheEnvironmentOrIsBuiltIn) {
  std::istringstream built_in(this->reader.get_data_path_list());
  std::vector<std::string> directories;
  for (std::string one; std::getline(built_in, one, ':');) directories.push_back(one);
  ASSERT_EQ(directories.size(), 15u);
  EXPECT_EQ(directories[0], "/space/POOL");
  for (std::size_t i = 1; i < 15; ++i) {
    EXPECT_EQ(directories[i].rfind("/daq_data/", 0), 0u) << directories[i];
    EXPECT_EQ(std::count(directories[i].begin(), directories[i].end(), '/'), 3) << directories[i];
  }
  EXPECT_NE(std::string(this->reader.get_data_path_list()).back(), ':');
  environment_variable paths("RAVO_DAQ_DATA_PATH_LIST", "/p:/q");
  typename TestFixture::reader_type other;
  EXPECT_STREQ(other.get_data_path_list(), "/p:/q");
  other.set_data_path_list("/r");
  other.clean_up();
  EXPECT_STREQ(other.get_data_path_list(), "/r");
}

TYPED_TEST(Settings, PointsAndPeriodAreCopied) {
  const ravo_time_id one = this->at(1, 2, 3), two = this->at(4, 5, 6), three = this->at(7, 8, 9);
  this->reader.set_error(RAVO_DAQ_READER_NO_DATA);
  EXPECT_EQ(this->reader.set_period(&one), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  EXPECT_EQ(this->reader.set_start_point(&two), 0);
  EXPECT_EQ(this->reader.set_stop_point(&three), 0);
  EXPECT_EQ(this->reader.get_period()->event_number, 1u);
  EXPECT_EQ(this->reader.get_period()->time.timeup, 2u);
  EXPECT_EQ(this->reader.get_period()->time.timelow, 3u);
  EXPECT_EQ(this->reader.get_start_point()->event_number, 4u);
  EXPECT_EQ(this->reader.get_start_point()->time.timelow, 6u);
  EXPECT_EQ(this->reader.get_stop_point()->event_number, 7u);
  EXPECT_EQ(this->reader.get_stop_point(), &this->reader.request.stop_time);
  EXPECT_EQ(this->reader.set_period(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->reader.set_start_point(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.set_stop_point(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.get_start_point()->event_number, 4u);
}

TYPED_TEST(Settings, TextsAreCutToTheirFields) {
  const std::string digits = "0123456789012345678901234567890123456789";
  EXPECT_EQ(this->reader.set_experiment(digits.c_str()), 0);
  EXPECT_EQ(this->reader.get_experiment(), digits.substr(0, 31));
  EXPECT_EQ(this->reader.set_stream(digits.c_str()), 0);
  EXPECT_EQ(this->reader.get_stream(), digits.substr(0, 31));
  EXPECT_EQ(this->reader.set_catalog_dir(std::string(2000, 'c').c_str()), 0);
  EXPECT_EQ(this->reader.get_catalog_dir(), std::string(1023, 'c'));
  EXPECT_EQ(this->reader.set_catalog_dir("/c"), 0);
  EXPECT_STREQ(this->reader.get_catalog_dir(), "/c");
  EXPECT_EQ(this->reader.request.cdir[1022], '\0') << "nothing of the longer text is left";
}

TYPED_TEST(Settings, NullAndEmptyTextsAreRefused) {
  EXPECT_EQ(this->reader.set_experiment(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->reader.set_experiment(""), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.set_stream(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.set_stream(""), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.set_catalog_dir(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.set_catalog_dir(""), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_experiment(), "linac");
  EXPECT_STREQ(this->reader.get_stream(), "main");
}

TYPED_TEST(Settings, TheDataDirectoryEndsInASlashOrIsAList) {
  EXPECT_EQ(this->reader.set_data_dir("/a/b"), 0);
  EXPECT_STREQ(this->reader.get_data_dir(), "/a/b/");
  EXPECT_EQ(this->reader.set_data_dir("/a/b/"), 0);
  EXPECT_STREQ(this->reader.get_data_dir(), "/a/b/");
  EXPECT_EQ(this->reader.set_data_dir("/a:/b:"), 0);
  EXPECT_STREQ(this->reader.get_data_dir(), "/a:/b:");
  EXPECT_EQ(this->reader.set_data_dir("/a:/b"), 0);
  EXPECT_STREQ(this->reader.get_data_dir(), "/a:/b/");
}

TYPED_TEST(Settings, AnEmptyDataDirectoryIsCleared) {
  this->reader.set_data_dir("/a/b");
  this->reader.set_error(RAVO_DAQ_READER_NO_DATA);
  EXPECT_EQ(this->reader.set_data_dir(""), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  EXPECT_TRUE(std::all_of(std::begin(this->reader.request.ddir), std::end(this->reader.request.ddir),
                          [](char c) { return c == '\0'; }));
  this->reader.set_data_dir("/a/b");
  EXPECT_EQ(this->reader.set_data_dir(nullptr), 0);
  EXPECT_STREQ(this->reader.get_data_dir(), "");
}

TYPED_TEST(Settings, ALongDataDirectoryKeepsItsSlash) {
  this->reader.set_data_dir(std::string(3000, 'd').c_str());
  EXPECT_EQ(this->reader.get_data_dir(), std::string(1022, 'd') + "/");
  this->reader.set_data_dir(std::string(1022, 'e').c_str());
  EXPECT_EQ(this->reader.get_data_dir(), std::string(1022, 'e') + "/");
}

TYPED_TEST(Settings, TheDataDirectoryMayBeSetFromItself) {
  this->reader.set_data_dir("/a/b");
  EXPECT_EQ(this->reader.set_data_dir(this->reader.get_data_dir()), 0);
  EXPECT_STREQ(this->reader.get_data_dir(), "/a/b/");
}

TYPED_TEST(Settings, AnUnknownSynchModeIsIgnoredWithoutComplaint) {
  captured_output output;
  EXPECT_EQ(this->reader.set_synch_mode(5), 0);
  EXPECT_EQ(this->reader.request.synch_mode, 0);
  EXPECT_EQ(this->reader.set_synch_mode(1), 0);
  EXPECT_EQ(this->reader.set_synch_mode(-1), 0);
  EXPECT_EQ(this->reader.set_synch_mode(2), 0);
  EXPECT_EQ(this->reader.request.synch_mode, 1);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  EXPECT_EQ(output.text(), "");
}

TYPED_TEST(Settings, AskingForTheSynchModePrintsItEveryTime) {
  captured_output output;
  EXPECT_EQ(this->reader.get_synch_mode(), 0);
  this->reader.set_synch_mode(1);
  EXPECT_EQ(this->reader.get_synch_mode(), 1);
  EXPECT_EQ(output.stop(), "SYNCH_MODE get: 0x0\nSYNCH_MODE get: 0x1\n");
}

TYPED_TEST(Settings, ANullTimeDifferenceIsNoReaderStatus) {
  this->reader.set_error(RAVO_DAQ_READER_BAD_FILE_FORMAT);
  EXPECT_EQ(this->reader.set_time_diff(nullptr), 1);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
  const time_stamp diff{1, 2};
  EXPECT_EQ(this->reader.set_time_diff(&diff), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  EXPECT_EQ(this->reader.get_time_diff()->timeup, 1u);
  EXPECT_EQ(this->reader.get_time_diff()->timelow, 2u);
}

TYPED_TEST(Settings, EveryStatusHasItsText) {
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
    EXPECT_STREQ(TestFixture::reader_type::error_i2a(status), text);
    this->reader.set_error(status);
    EXPECT_STREQ(this->reader.get_last_error(), text);
  }
}

TYPED_TEST(Settings, FilesAreNamedByTheirPosition) {
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", ""};
  const std::string path = this->existing("a");
  ASSERT_EQ(this->reader.add_file(path.c_str(), true), 0);
  EXPECT_EQ(this->reader.get_file_name(0), path);
  EXPECT_EQ(this->reader.get_file_name(1), nullptr);
  EXPECT_EQ(this->reader.get_file_name(-1), nullptr);
}

TYPED_TEST(Settings, TheDescriptionListIsTheLoaders) {
  EXPECT_EQ(this->reader.get_descr_list(), this->reader.get_tables.get_descr_list());
}

TYPED_TEST(Settings, ChannelsAreNamedByTheirPosition) {
  this->add("A");
  this->add("B:3;nick");
  int subchan = 77;
  EXPECT_STREQ(this->reader.get_channel_name(0, &subchan), "A");
  EXPECT_EQ(subchan, -1);
  EXPECT_STREQ(this->reader.get_channel_name(1, &subchan), "B");
  EXPECT_EQ(subchan, 3);
  EXPECT_STREQ(this->reader.get_channel_name(1, nullptr), "B");
}

TYPED_TEST(Settings, APositionAtOrAfterTheEndHasNoChannel) {
  this->add("A");
  int subchan = 77;
  EXPECT_EQ(this->reader.get_channel_name(1, &subchan), nullptr);
  EXPECT_EQ(this->reader.get_channel_name(2, &subchan), nullptr);
  EXPECT_EQ(this->reader.get_channel_name(-1, &subchan), nullptr);
  EXPECT_EQ(subchan, 77);
}

template <class generation>
class DictionaryNames : public scripted_reader<generation> {
 protected:
  static constexpr std::size_t entry_size = generation::dictionary_entry;
  /// A dictionary of `channels` channels named C0, C1, ... in memory of exactly that size.
  void load(int channels, unsigned pattern = 0xdcadcaf3) {
    memory.assign((8 + entry_size * static_cast<std::size_t>(channels)) / 4, 0);
    memory.shrink_to_fit();
    memory[0] = pattern;
    memory[1] = static_cast<std::uint32_t>(4 * memory.size());
    for (int i = 0; i < channels; ++i) {
      char* entry = reinterpret_cast<char*>(memory.data()) + 8 + entry_size * static_cast<std::size_t>(i);
      std::snprintf(entry + 4, generation::dictionary_name, "C%d", i);
      const std::uint32_t numbers[] = {static_cast<std::uint32_t>(100 + i),
                                       static_cast<std::uint32_t>(200 + i),
                                       static_cast<std::uint32_t>(300 + i)};
      std::memcpy(entry + 4 + generation::dictionary_name, numbers, sizeof numbers);
    }
    the_loader.cdt_tab = memory.data();
  }
  const char* name(int position) {
    return this->reader.get_channel_name(position, nullptr, nullptr, nullptr);
  }
  std::vector<std::uint32_t> memory;
};
TYPED_TEST_SUITE(DictionaryNames, generations, generation_name);

TYPED_TEST(DictionaryNames, ComeWithCountAndMasks) {
  this->load(3);
  int count = 0, ev_mask = 0, dtype_mask = 0;
  EXPECT_STREQ(this->reader.get_channel_name(2, &count, &ev_mask, &dtype_mask), "C2");
  EXPECT_EQ(ev_mask, 102);
  EXPECT_EQ(dtype_mask, 202);
  EXPECT_EQ(count, 302);
  EXPECT_STREQ(this->name(0), "C0");
}

// The stated bound for three entries of the current generation is (8 + 3 * 272 - 8) / 96 = 8, but only
// three are there.
TYPED_TEST(DictionaryNames, EndWithTheTable) {
  this->load(3);
  for (int position = 3; position < 10; ++position) EXPECT_EQ(this->name(position), nullptr) << position;
  EXPECT_EQ(this->name(-1), nullptr);
}

TYPED_TEST(DictionaryNames, NeedALoadedTableWithEntries) {
  EXPECT_EQ(this->name(0), nullptr);
  this->load(1, 0xdcadcaf4);
  EXPECT_EQ(this->name(0), nullptr);
  this->load(0);
  EXPECT_EQ(this->name(0), nullptr);
  this->load(1);
  this->memory[1] = static_cast<std::uint32_t>(-5);
  EXPECT_EQ(this->name(0), nullptr);
  this->memory[1] = 8 + TestFixture::entry_size - 1;
  EXPECT_EQ(this->name(0), nullptr);
}

template <class generation>
class CleanUp : public scripted_reader<generation> {};
TYPED_TEST_SUITE(CleanUp, generations, generation_name);

TYPED_TEST(CleanUp, ReturnsToTheConstructedState) {
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
  const ravo_time_id point = this->at(1, 2, 3);
  this->reader.set_period(&point);
  this->reader.set_start_point(&point);
  this->reader.set_stop_point(&point);
  this->reader.set_experiment("other");
  this->reader.set_stream("other");
  this->reader.set_catalog_dir("/other");
  this->reader.set_data_dir("/other");
  this->reader.set_synch_mode(1);
  const time_stamp diff{5, 5};
  this->reader.set_time_diff(&diff);
  this->reader.request.run_first = this->reader.request.run_last = 9;
  this->add("A");
  ASSERT_EQ(
      this->reader.add_file(this->existing("linac_main_run7_file1_19700101T000001Z.raw").c_str(), true), 0);
  ASSERT_EQ(this->reader.start(), 0);
  this->answer(point, {this->block("A", TypeParam::single, point)});
  ASSERT_EQ(this->get(), 0);
  this->answer({}, {});
  ASSERT_EQ(this->get(), RAVO_DAQ_READER_OUT_OF_WINDOW);
  ASSERT_EQ(this->reader.get_number_of_events(), 1);
  ASSERT_EQ(this->reader.get_number_of_empty_events(), 1);
  const int loader_clean_ups = the_loader.clean_ups;

  this->reader.clean_up();
  EXPECT_EQ(the_slicer.calls.back(), "clean_up");
  EXPECT_EQ(the_slicer.alive, 0);
  EXPECT_EQ(this->reader.slicer, nullptr);
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  EXPECT_EQ(this->reader.get_number_of_channels(), 0);
  EXPECT_TRUE(this->reader.results.empty());
  EXPECT_TRUE(this->reader.chans.empty());
  EXPECT_TRUE(this->reader.cur_res.empty());
  EXPECT_EQ(this->reader.current_event_id.event_number, 0u);
  EXPECT_EQ(this->reader.time_start, 0.0);
  EXPECT_EQ(this->reader.time_stop, 0.0);
  EXPECT_EQ(this->reader.get_number_of_events(), 0);
  EXPECT_EQ(this->reader.get_number_of_empty_events(), 0);
  EXPECT_EQ(the_loader.clean_ups, loader_clean_ups + 1);
  const typename TestFixture::reader_type fresh;
  EXPECT_EQ(std::memcmp(&this->reader.request, &fresh.request, sizeof this->reader.request), 0);
  EXPECT_STREQ(this->reader.get_experiment(), "linac");
}

TYPED_TEST(CleanUp, KeepsDebugFixErrorAndPaths) {
  this->reader.set_debug(-3);
  if constexpr (has_by_time_fix<typename TestFixture::reader_type>) this->reader.set_by_time_fix(false);
  this->reader.set_error(RAVO_DAQ_READER_BAD_FILE_FORMAT);
  this->reader.set_data_path_list("/p");
  if constexpr (requires { this->reader.found_from_run_catalogue; })
    this->reader.found_from_run_catalogue = true;
  this->reader.clean_up();
  EXPECT_EQ(this->reader.get_debug(), -3);
  if constexpr (has_by_time_fix<typename TestFixture::reader_type>) {
    EXPECT_FALSE(this->reader.is_by_time_fix());
  }
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
  EXPECT_STREQ(this->reader.get_data_path_list(), "/p");
  EXPECT_EQ(is_marked_by_catalogue(this->reader), either<TypeParam>(true, false));
}

TYPED_TEST(CleanUp, TwiceIsHarmless) {
  this->add("A");
  this->reader.clean_up();
  this->reader.clean_up();
  EXPECT_EQ(this->reader.get_number_of_channels(), 0);
}

}  // namespace
}  // namespace ravo::test
