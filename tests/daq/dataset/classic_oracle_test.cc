// The dataset layer compared with the classic slicer over the same simulated files: the same events in the
// same order, the same channels in each, the same bytes; and columns compared with the answer key.
#include <gtest/gtest.h>

#include <cstring>

#include "classic_reading.h"
#include "small_runs.h"

namespace {

using namespace ravo;
using namespace ravo::test;

struct oracle_case {
  const char* name;
  ravo_file_generation generation;
  synch_mode synch;
  std::vector<std::string> channels;  // empty: all with data
};

class ClassicOracle : public testing::TestWithParam<oracle_case> {
 protected:
  ClassicOracle() : files(small_runs(GetParam().generation)) {
    channels = GetParam().channels;
    if (channels.empty())
      for (const std::string& channel : files.channels())
        if (!files.blocks(channel).empty()) channels.push_back(channel);
    wanted = select(files.files(), channels);
    wanted.synch = GetParam().synch;
  }

  const simulated_files& files;
  std::vector<std::string> channels;
  selection wanted;
};

TEST_P(ClassicOracle, EventsAreThoseOfTheSlicer) {
  const int mode = GetParam().synch == synch_mode::by_time ? RAVO_DAQ_SLICER_SYNCH_MODE_TIME
                                                           : RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
  const std::vector<classic_event> expected =
      read_classic(GetParam().generation, files.files(), channels, mode);
  ASSERT_GT(expected.size(), 20u);
  const dataset data = dataset::open(wanted);
  EXPECT_EQ(data.size(), expected.size());
  std::size_t n = 0;
  event_range events = data.events();
  for (const event& one : events) {
    ASSERT_LT(n, expected.size());
    SCOPED_TRACE("event " + std::to_string(n));
    for (std::size_t channel = 0; channel < channels.size(); ++channel) {
      const value seen = one[channel];
      const auto there = expected[n].find(channel);
      ASSERT_EQ(seen.status(), there == expected[n].end() ? value_status::not_recorded : value_status::ok)
          << channels[channel];
      if (there == expected[n].end()) continue;
      EXPECT_EQ(seen.recorded_with().event_number, there->second.id.event_number);
      EXPECT_EQ(seen.type(), there->second.type) << channels[channel];
      ASSERT_EQ(seen.bytes().size(), there->second.bytes.size()) << channels[channel];
      ASSERT_EQ(std::memcmp(seen.bytes().data(), there->second.bytes.data(), seen.bytes().size()), 0);
    }
    ++n;
  }
  EXPECT_EQ(n, expected.size());
  EXPECT_EQ(events.ledger().missing(), 0u);
  EXPECT_TRUE(events.ledger().is_balanced());
}

TEST_P(ClassicOracle, DigestsOfAllWaysOfReadingAreEqual) {
  const int mode = GetParam().synch == synch_mode::by_time ? RAVO_DAQ_SLICER_SYNCH_MODE_TIME
                                                           : RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
  std::vector<channel_digest> classic(channels.size()), by_event(channels.size());
  for (const classic_event& one : read_classic(GetParam().generation, files.files(), channels, mode))
    for (const auto& [channel, value] : one) classic[channel].add(value.id, value_status::ok, value.bytes);
  dataset_options one_thread, four_threads;
  one_thread.threads = 1;
  four_threads.threads = 4;
  const dataset data = dataset::open(wanted, one_thread);
  event_range events = data.events();
  for (const event& one : events)
    for (std::size_t channel = 0; channel < channels.size(); ++channel) by_event[channel].add(one[channel]);
  const std::vector<named_digest> alone = data.digest();
  const std::vector<named_digest> together = dataset::open(wanted, four_threads).digest();
  column_options with_digest;
  with_digest.with_digest = true;
  for (std::size_t channel = 0; channel < channels.size(); ++channel) {
    SCOPED_TRACE(channels[channel]);
    EXPECT_GT(classic[channel].values(), 0u);
    EXPECT_EQ(by_event[channel].to_text(), classic[channel].to_text());
    EXPECT_EQ(alone[channel].digest.to_text(), classic[channel].to_text());
    EXPECT_EQ(together[channel].digest.to_text(), classic[channel].to_text());
    EXPECT_EQ(data.column(channels[channel], with_digest).digest->to_text(), classic[channel].to_text());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Both, ClassicOracle,
    testing::Values(
        oracle_case{"CurrentByNumber", ravo_file_generation::current, synch_mode::by_number, {}},
        oracle_case{"CurrentByTime",
                    ravo_file_generation::current,
                    synch_mode::by_time,
                    {"LINAC/BPM/001", "LINAC/BPM/HALF_RATE", "LINAC/TOROID/GAPS", "LINAC/RF/LATE"}},
        oracle_case{"OlderByNumber", ravo_file_generation::older, synch_mode::by_number, {}},
        oracle_case{"OlderByTime",
                    ravo_file_generation::older,
                    synch_mode::by_time,
                    {"LINAC/BPM/001", "LINAC/BPM/HALF_RATE", "LINAC/TOROID/GAPS", "LINAC/RF/LATE"}}),
    [](const testing::TestParamInfo<oracle_case>& tested) { return tested.param.name; });

// The numbers of a payload in host order, found by the layouts of ravo_payload.h.
std::vector<float> floats_at(const std::vector<unsigned char>& payload, std::size_t offset) {
  std::vector<float> numbers((payload.size() - offset) / 4);
  std::memcpy(numbers.data(), payload.data() + offset, numbers.size() * 4);
  return numbers;
}

TEST(Columns, HoldTheValuesOfASpectrumAsTheyWerePutIn) {
  const simulated_files& files = small_runs(ravo_file_generation::current);
  const dataset data = dataset::open(select(files.files(), {"LINAC/BPM/*"}));
  for (const dataset_channel& channel : data.channels()) {
    SCOPED_TRACE(channel.label);
    const auto& blocks = files.blocks(channel.name);
    const column_data column = data.column(channel.label);
    ASSERT_EQ(column.size(), blocks.size());
    EXPECT_EQ(column.layout.kind, value_kind::spectrum);
    ASSERT_FALSE(column.is_ragged());
    for (std::size_t row = 0; row < column.size(); ++row) {
      EXPECT_EQ(column.numbers[row], blocks[row].id.event_number);
      EXPECT_EQ(column.status[row], value_status::ok);
      ravo_spect_head_2010 head;
      std::memcpy(&head, blocks[row].payload.data(), sizeof head);
      const std::size_t values = static_cast<std::size_t>(head.members) *
                                 static_cast<std::size_t>(head.groups) *
                                 static_cast<std::size_t>(head.samples);
      const std::vector<float> expected =
          floats_at(blocks[row].payload, blocks[row].payload.size() - 4 * values);
      const auto seen = column.row<float>(row);
      ASSERT_EQ(std::vector<float>(seen.begin(), seen.end()), expected);
    }
    EXPECT_EQ(column.ledger.expected(), blocks.size());
    EXPECT_EQ(column.ledger.delivered(), blocks.size());
  }
}

TEST(Columns, HoldOneMemberWhereThatIsAskedFor) {
  const simulated_files& files = small_runs(ravo_file_generation::current);
  const dataset data = dataset::open(select(files.files(), {"LINAC/BPM/001", "LINAC/BPM/001:1"}));
  const column_data whole = data.column("LINAC/BPM/001");
  const column_data member = data.column("LINAC/BPM/001:1");
  ASSERT_EQ(whole.size(), member.size());
  EXPECT_EQ(whole.layout.dimensions[0], (dimension_size{column_dimension::member, 3}));
  ASSERT_EQ(whole.layout.dimensions.size(), member.layout.dimensions.size() + 1);
  const std::size_t each = member.layout.item_elements;
  for (std::size_t row = 0; row < whole.size(); ++row) {
    const auto expected = whole.row<float>(row).subspan(each, each);
    const auto seen = member.row<float>(row);
    ASSERT_TRUE(std::equal(seen.begin(), seen.end(), expected.begin(), expected.end()));
  }
}

TEST(Columns, AndEventsHaveTheSameMember) {
  const simulated_files& files = small_runs(ravo_file_generation::current);
  const dataset data = dataset::open(select(files.files(), {"LINAC/RF/002:1"}));
  const column_data column = data.column("LINAC/RF/002:1");
  std::size_t row = 0;
  for (event_range events = data.events(); const event& one : events) {
    const value member = one["LINAC/RF/002:1"];
    EXPECT_EQ(member.type(), RAVO_BLOCK_1CHAN_2010);
    EXPECT_EQ(member.spectrum().members, 1u);
    const auto seen = member.spectrum().values;
    const auto expected = column.row<float>(row++);
    ASSERT_TRUE(std::equal(seen.begin(), seen.end(), expected.begin(), expected.end()));
  }
  EXPECT_EQ(row, column.size());
}

TEST(Columns, HoldThePixelsOfTwoBytesAsNumbers) {
  const simulated_files& files = small_runs(ravo_file_generation::current);
  const std::string camera = "LINAC/CAMERA_EXT/001";
  const dataset data = dataset::open(select(files.files(), {camera}));
  const column_data column = data.column(camera);
  ASSERT_EQ(column.layout.element, element_type::uint16);
  ASSERT_EQ(column.layout.dimensions.size(), 2u);
  const auto& blocks = files.blocks(camera);
  ASSERT_EQ(column.size(), blocks.size());
  for (std::size_t row = 0; row < column.size(); ++row) {
    const unsigned char* pixels = blocks[row].payload.data() + sizeof(ravo_image_ext_frame_head);
    const auto seen = column.row<std::uint16_t>(row);
    for (std::size_t i = 0; i < seen.size(); ++i)
      ASSERT_EQ(seen[i], pixels[2 * i] << 8 | pixels[2 * i + 1]);
  }
}

TEST(Columns, HoldTextsAsRowsOfTheirOwnLength) {
  const simulated_files& files = small_runs(ravo_file_generation::current);
  for (const std::string& channel : files.channels()) {
    const auto& blocks = files.blocks(channel);
    if (blocks.empty() || blocks[0].dtype != RAVO_BLOCK_NAME_VALUE_STRING) continue;
    const column_data column = dataset::open(select(files.files(), {channel})).column(channel);
    ASSERT_EQ(column.size(), blocks.size());
    for (std::size_t row = 0; row < column.size(); ++row)
      EXPECT_EQ(column.text(row), reinterpret_cast<const char*>(blocks[row].payload.data()));
    return;
  }
  FAIL() << "no texts in the files";
}

TEST(Columns, HoldUpdatesWithTheirOwnTimes) {
  const simulated_files& files = small_runs(ravo_file_generation::current);
  for (const char* channel : {"LINAC/MAGNET/001", "LINAC/TEMPERATURE/001"}) {
    SCOPED_TRACE(channel);
    const auto& blocks = files.blocks(channel);
    const column_data column = dataset::open(select(files.files(), {channel})).column(channel);
    ASSERT_EQ(column.size(), blocks.size());
    EXPECT_TRUE(column.layout.dimensions.empty());
    for (std::size_t row = 0; row < column.size(); ++row) {
      ravo_upd_data_block_2010 update;
      std::memcpy(&update, blocks[row].payload.data(), sizeof update);
      EXPECT_EQ(column.values<float>()[row], update.upd_ch_data);
      EXPECT_EQ(column.update_times[row].timeup, update.upd_ch_time.timeup);
      EXPECT_EQ(column.update_times[row].timelow, update.upd_ch_time.timelow);
      EXPECT_EQ(column.update_status[row], update.upd_ch_status);
    }
  }
}

}  // namespace
