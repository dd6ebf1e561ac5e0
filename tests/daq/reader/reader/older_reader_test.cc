// What only the older reader does, over its real layers and real files: its defaults and texts, files that
// are taken as soon as they exist, scans that open no file, starts that fail without a word.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include "captured_output.h"
#include "environment_variable.h"
#include "failing_allocation.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_daq_writer.h"
#include "ravo_payload.h"
#include "temporary_folder.h"

namespace ravo::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::uint32_t noon = 1700000000;

class OlderReader : public ::testing::Test {
 protected:
  /// Writes a run of one file with a channel "X" in five events, a fifth of a second apart.
  std::string write_run(int run, std::uint32_t start) {
    ravo_daq_writer writer;
    ravo_daq_writer_settings settings;
    settings.folder = folder.path().string();
    settings.run = run;
    EXPECT_EQ(writer.open(settings), 0);
    ravo_daq_writer_channel channel;
    channel.name = "X";
    channel.dtype = RAVO_BLOCK_SINGLE;
    EXPECT_EQ(writer.add_channel(channel), 0);
    struct {
      ravo_spect_head head{1, 1, 0, 1};
      float mean = 2, value = 2;
    } block;
    for (std::uint32_t i = 0; i < 5; ++i) {
      ravo_daq_writer_event event;
      event.event_number = start - noon + 1 + i;
      event.time = {start, i * 200000};
      EXPECT_EQ(writer.begin_event(event), 0);
      EXPECT_EQ(writer.begin_server_block({"SERVER", event.time, 0, 0, 0}), 0);
      EXPECT_EQ(writer.add_data(0, &block, sizeof block), 0);
      EXPECT_EQ(writer.end_event(), 0);
    }
    EXPECT_EQ(writer.close(), 0);
    return writer.get_files().at(0);
  }

  int init(std::vector<std::string> names, const char* channel) {
    std::vector<char*> files;
    for (std::string& path : names) files.push_back(path.data());
    std::string name = channel;
    daq_channel_entry entry{};
    entry.name = name.data();
    const std::vector<daq_channel_entry*> channels{&entry};
    return reader.init(&files, &channels);
  }

  temporary_folder folder;
  environment_variable seconds{"DAQ_MAX_TIME_STEP_SEC", "7"};
  environment_variable microseconds{"DAQ_MAX_TIME_STEP_USEC", "8"};
  environment_variable paths{"RAVO_DAQ_DATA_PATH_LIST", nullptr};
  environment_variable no_ignoring{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  ravo_daq_reader reader;
};

// ---- defaults ----

TEST_F(OlderReader, HasItsOwnDefaultsAlsoAfterCleanUp) {
  const ravo_daq_reader_2010 current;
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(reader.request.time_diff.timeup, 0u) << "the environment is not read";
    EXPECT_EQ(reader.request.time_diff.timelow, 95000u);
    EXPECT_EQ(reader.request.period.event_number, 1u);
    EXPECT_EQ(reader.request.period.time.timeup, 0u);
    EXPECT_EQ(reader.request.period.time.timelow, 200000u);
    EXPECT_STREQ(reader.request.ddir, "");
    EXPECT_STREQ(reader.request.exp_name, "linac");
    EXPECT_STREQ(reader.request.stream_name, "main");
    EXPECT_STREQ(reader.request.cdir, "/daq/ravo/admtemp/");
    EXPECT_EQ(reader.request.synch_mode, 0);
    EXPECT_STREQ(reader.get_data_path_list(), current.get_data_path_list());
    reader.request = {};
    reader.clean_up();
  }
}

template <class reader>
concept has_extras = requires(reader& one) {
  one.set_by_time_fix(true);
}
|| requires(reader& one) { one.is_by_time_fix(); }
|| requires(reader& one) { one.print_channel_channel("", ""); };

TEST_F(OlderReader, HasNoByTimeFixAndNoPrintersOfOneChannel) {
  EXPECT_FALSE(has_extras<ravo_daq_reader>);
  EXPECT_TRUE(has_extras<ravo_daq_reader_2010>);
}

TEST_F(OlderReader, KeepsNamesOf79CharactersInItsResults) {
  const std::string name(100, 'n');
  std::string text = name;
  daq_channel_entry entry{};
  entry.name = text.data();
  ASSERT_EQ(reader.add_channel(&entry), 0);
  EXPECT_EQ(reader.results.at(0)->chan.name, name.substr(0, 79));
  EXPECT_TRUE((std::is_same_v<decltype(ravo_daq_reader_result_entry::sbhd), ravo_serv_block_head>));
  EXPECT_TRUE((std::is_same_v<decltype(ravo_daq_reader_result_entry::data), ravo_serv_block_subhead*>));
}

// ---- files ----

TEST_F(OlderReader, TakesAFileAsSoonAsItExists) {
  const std::string path = write_run(1, noon);
  captured_output output;
  EXPECT_EQ(reader.add_file(path.c_str(), true), 0);  // written a moment ago
  EXPECT_EQ(output.stop(), "");
  EXPECT_EQ(reader.get_number_of_files(), 1);
}

TEST_F(OlderReader, TellsOfAMissingFileAtDebugLevelOneAndAbove) {
  for (const char* ignoring : {static_cast<const char*>(nullptr), "1"}) {
    const environment_variable ignore("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", ignoring);
    for (const int debug : {0, 1, 2}) {
      reader.set_debug(debug);
      captured_output output;
      EXPECT_EQ(reader.add_file("/nowhere/a.raw", true), RAVO_DAQ_READER_FILES_NOT_FOUND);
      EXPECT_EQ(output.stop(),
                debug == 0 ? "" : "ravo_daq_reader::add_file() file /nowhere/a.raw not found\n");
    }
  }
}

TEST_F(OlderReader, LooksForABareNameAlongTheListAndTellsWhenItIsNowhere) {
  const std::string path = write_run(1, noon);
  const std::string list = "/nowhere:" + folder.path().string();
  reader.set_data_path_list(list.c_str());
  EXPECT_EQ(reader.add_file(path.substr(path.rfind('/') + 1).c_str(), true), 0);
  reader.set_debug(-1);
  captured_output output;
  EXPECT_EQ(reader.add_file("other.raw", true), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_EQ(output.stop(),
            "ravo_daq_reader::add_file() file other.raw not found in any default data path " + list + "\n");
}

TEST_F(OlderReader, SaysWhichMemoryForAFileWasNotToBeHad) {
  reader.set_data_path_list("/some/where");
  {
    captured_output output;
    const failing_allocation name(0);
    EXPECT_EQ(reader.add_file("a.raw", true), RAVO_DAQ_READER_INTERN_ERROR);
    EXPECT_THAT(output.stop(), ::testing::StartsWith("Failed to malloc for file: a.raw\n"));
  }
  captured_output output;
  const failing_allocation path(1);
  EXPECT_EQ(reader.add_file("a.raw", true), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(output.stop(), "ravo_daq_reader::add_file() faile to allocate file buffer of 17 bytes\n");
}

// ---- requests ----

TEST_F(OlderReader, ScansForRunsByTheTimesInTheNamesAlone) {
  write_run(1, noon);
  const std::string inside = write_run(2, noon + 100);
  reader.set_data_dir(folder.path().c_str());
  reader.set_debug(1);
  ravo_daq_request request = reader.request;
  std::snprintf(request.cdir, sizeof request.cdir, "/nowhere/");
  request.run_first = 1;
  request.run_last = 2;
  // The first run's name lies before the period: it is not opened to see how far its events reach.
  request.start_time.time = {noon + 1, 0};
  request.stop_time.time = {noon + 200, 0};
  captured_output output;
  ASSERT_EQ(reader.init(&request, nullptr), 0);
  const std::string text = output.stop();
  const std::string name = inside.substr(inside.rfind('/') + 1);
  EXPECT_THAT(text, ::testing::StartsWith("ravo_daq_reader::init() Failed to get list of files for runs .. "
                                          "trying local directory scan\n"));
  EXPECT_THAT(text, HasSubstr("Found file " + name + " time_stamp: " + std::to_string(noon + 100) +
                              "  (star:" + std::to_string(noon + 1) +
                              "  stop:" + std::to_string(noon + 200) + "\n"));
  for (const char* other : {"---->Found file", "-**--->", "PATTERN", "Failed to get tables for"})
    EXPECT_THAT(text, Not(HasSubstr(other)));
  EXPECT_THAT(text, Not(HasSubstr("2010")));
  EXPECT_EQ(reader.files.size(), 1u);
}

TEST_F(OlderReader, WithoutACatalogueTellsOfAPeriodInItsOwnWords) {
  write_run(1, noon);
  reader.set_data_dir(folder.path().c_str());
  reader.set_debug(1);
  ravo_daq_request request = reader.request;
  std::snprintf(request.cdir, sizeof request.cdir, "/nowhere/");
  request.start_time.time = {noon - 10, 0};
  request.stop_time.time = {noon + 200, 0};
  captured_output output;
  ASSERT_EQ(reader.init(&request, nullptr), 0);
  const std::string text = output.stop();
  EXPECT_THAT(text,
              HasSubstr("ravo_daq_reader::init() Failed to get list of files for period ... trying local "
                        "scan\n"));
  EXPECT_THAT(text, Not(HasSubstr("2010")));
}

// ---- start ----

TEST_F(OlderReader, IsSilentWhenItIsStartedTwiceOrWithAWrongRequest) {
  ASSERT_EQ(init({write_run(1, noon)}, "X"), 0);
  reader.set_debug(1);
  const ravo_time_id from{2, {}}, to{1, {}};
  reader.set_start_point(&from);
  reader.set_stop_point(&to);
  captured_output refused;
  EXPECT_EQ(reader.start(), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(refused.stop(), "Wrong Event IDs start:2 > stop:1\n");
  reader.set_debug(0);
  const ravo_time_id none{};
  reader.set_start_point(&none);
  reader.set_stop_point(&none);
  ASSERT_EQ(reader.start(), 0);
  reader.debug = 1;
  captured_output again;
  EXPECT_EQ(reader.start(), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(again.stop(), "");
}

TEST_F(OlderReader, AFailedStartLeavesItsErrorTextPlain) {
  const std::string path = write_run(1, noon);
  ASSERT_EQ(init({path}, "X"), 0);
  const unsigned char text[] = "no raw file any more, but long enough to have a tail";
  folder.write(path.substr(path.rfind('/') + 1), text);
  captured_output quiet;
  EXPECT_EQ(reader.start(), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
}

// ---- data ----

TEST_F(OlderReader, ReadsFilesOfTwoRunsWithItsDefaults) {
  const std::vector<std::string> files{write_run(1, noon), write_run(2, noon + 100)};
  for (const int mode : {RAVO_DAQ_SLICER_SYNCH_MODE_EVID, RAVO_DAQ_SLICER_SYNCH_MODE_TIME}) {
    reader.clean_up();
    ASSERT_EQ(init(files, "X"), 0);
    reader.set_synch_mode(mode);
    ASSERT_EQ(reader.start(), 0);
    std::vector<ravo_channel_entry_long*> entries;
    std::vector<std::uint32_t> numbers;
    while (reader.get_data(nullptr, &entries, 1) == 0)
      for (const auto* entry : entries) numbers.push_back(entry->event_id.event_number);
    EXPECT_THAT(numbers, ::testing::ElementsAre(1, 2, 3, 4, 5, 101, 102, 103, 104, 105));
  }
}

}  // namespace
}  // namespace ravo::test
