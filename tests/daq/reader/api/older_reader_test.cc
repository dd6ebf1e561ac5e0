// What the older reader has and lacks, and that its own defaults read files whose events come five times
// a second. The tests of both generations cover the other differences to the current one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_daq_writer.h"
#include "ravo_payload.h"
#include "temporary_folder.h"

namespace ravo::test {
namespace {

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
  ravo_daq_reader reader;
};

template <class reader>
concept has_extras =
    requires(reader& one) { one.set_by_time_fix(true); } ||
    requires(reader& one) { one.is_by_time_fix(); } || requires(reader& one) { one.by_time_fix; } ||
    requires(reader& one) { one.found_from_run_catalogue; } ||
    requires(reader& one) { one.print_channel_channel("", ""); };

TEST_F(OlderReader, HasNoByTimeFixNoCatalogueMarkAndNoPrintersOfOneChannel) {
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
