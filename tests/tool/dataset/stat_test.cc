// ravo stat against the simulator's answer key, which is counted here independently.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "handmade_file.h"
#include "key_lines.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

class Stat : public testing::TestWithParam<const char*> {
 protected:
  const demo_data& data = demo_of(GetParam());
  const std::string folder = data.folder.path().string();

  std::map<std::string, json> stat(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"stat", folder, "--json"});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    std::map<std::string, json> rows;
    for (const json& line : event_lines(result.out)) rows[line.at("channel")] = line;
    return rows;
  }
};
INSTANTIATE_TEST_SUITE_P(Generations, Stat, testing::Values("current", "older"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

// If a channel has two entries of one event, one is delivered: stat and ledger count the other alike.
TEST_P(Stat, SaysTheSameOfWhatIsMissingAsItsLedger) {
  const temporary_folder twice;
  for (const std::string& file : data.files)
    std::filesystem::copy_file(file, twice.file(std::filesystem::path(file).filename().string()));
  std::filesystem::copy_file(data.files[0], twice.file("copy.raw"));
  const process_result result = run_tool({"stat", twice.path().string(), "--json"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  std::map<std::string, json> accounts;
  std::uint64_t missing = 0;
  const json closing = closing_of(result.out);
  for (const json& one : closing.at("ledger").at("channels")) accounts[one.at("channel")] = one;
  for (const json& row : event_lines(result.out)) {
    if (!accounts.contains(row.at("channel"))) {  // it never has data
      EXPECT_EQ(row.at("events"), 0) << row.at("channel");
      EXPECT_EQ(row.at("missing"), 0) << row.at("channel");
      continue;
    }
    const json& account = accounts.at(row.at("channel"));
    const std::uint64_t expected = account.at("expected"), delivered = account.at("delivered");
    EXPECT_EQ(row.at("missing"), expected - delivered) << row.at("channel");
    EXPECT_EQ(row.at("events"), delivered) << row.at("channel");
    missing += expected - delivered;
  }
  EXPECT_GT(missing, 100u);
}

TEST_P(Stat, CountsEventsAndBytesOfEachChannel) {
  const auto rows = stat({});
  EXPECT_EQ(rows.size(), 30u);
  for (const auto& [channel, row] : rows) {
    const auto key = key_of(data, channel);
    EXPECT_EQ(row.at("events"), key.size()) << channel;
    EXPECT_EQ(row.at("missing"), 0);
    std::uint64_t bytes = 0;
    for (const auto& [event, block] : key) bytes += block.at("bytes").get<std::uint64_t>();
    EXPECT_EQ(row.at("decoded_bytes"), bytes) << channel;
    if (key.empty()) {
      EXPECT_FALSE(row.contains("first_event"));
      EXPECT_TRUE(row.at("rate").is_null());
      EXPECT_TRUE(row.at("ratio").is_null());
      continue;
    }
    EXPECT_EQ(row.at("first_event"), key.begin()->first);
    EXPECT_EQ(row.at("last_event"), key.rbegin()->first);
    EXPECT_EQ(row.at("from"), key.begin()->second.at("time"));
    EXPECT_EQ(row.at("to"), key.rbegin()->second.at("time"));
    EXPECT_DOUBLE_EQ(row.at("ratio"), static_cast<double>(bytes) / row.at("stored_bytes").get<double>());
  }
}

TEST_P(Stat, StoredBytesAreThoseOfThePlan) {
  const process_result plan = run_tool({"plan", folder, "--json"});
  const auto rows = stat({});
  for (const json& line : event_lines(plan.out))
    EXPECT_EQ(rows.at(line.at("channel")).at("stored_bytes"), line.at("stored_bytes"));
}

TEST_P(Stat, SummarisesEachMemberOverAllValues) {
  for (const auto& [channel, row] : stat({})) {
    const auto key = key_of(data, channel);
    if (key.empty() || !key.begin()->second.contains("members")) continue;
    for (std::size_t member = 0; member < row.at("values").size(); ++member) {
      double least = INFINITY, greatest = -INFINITY, sum = 0;
      std::uint64_t count = 0;
      for (const auto& [event, block] : key) {
        const json& one = block.at("members").at(member);
        least = std::min(least, one.at("min").get<double>());
        greatest = std::max(greatest, one.at("max").get<double>());
        sum += one.at("mean").get<double>() * one.at("count").get<double>();
        count += one.at("count").get<std::uint64_t>();
      }
      const json& reported = row.at("values")[member];
      EXPECT_EQ(reported.at("count"), count) << channel;
      EXPECT_EQ(reported.at("not_finite"), 0);
      EXPECT_EQ(reported.at("min"), least) << channel;
      EXPECT_EQ(reported.at("max"), greatest) << channel;
      const double mean = sum / static_cast<double>(count);
      EXPECT_NEAR(reported.at("mean").get<double>(), mean, 1e-9 * std::max(1.0, std::abs(mean))) << channel;
    }
  }
}

// The usual distance is the median; a gap is longer than one and a half of it.
TEST_P(Stat, FindsTheGaps) {
  const auto rows = stat({});
  for (const char* channel : {"LINAC/TOROID/GAPS", "LINAC/BPM/HALF_RATE", "LINAC/BPM/001"}) {
    std::vector<unsigned> events, distances;
    for (const auto& [event, block] : key_of(data, channel)) events.push_back(event);
    for (std::size_t i = 1; i < events.size(); ++i) distances.push_back(events[i] - events[i - 1]);
    std::vector<unsigned> sorted = distances;
    std::sort(sorted.begin(), sorted.end());
    const unsigned usual = sorted[(sorted.size() - 1) / 2];
    std::uint64_t gaps = 0, left_out = 0;
    for (const unsigned distance : distances)
      if (distance * 2 > usual * 3) {
        ++gaps;
        left_out += distance / usual - 1;
      }
    const json& reported = rows.at(channel).at("gaps");
    EXPECT_EQ(reported.at("count"), gaps) << channel;
    EXPECT_EQ(reported.at("events"), left_out) << channel;
    EXPECT_EQ(reported.contains("longest"), gaps > 0);
    if (gaps == 0) continue;
    const auto longest = std::max_element(distances.begin(), distances.end());
    EXPECT_EQ(reported.at("longest"), *longest);
    EXPECT_EQ(reported.at("behind_event"), events[static_cast<std::size_t>(longest - distances.begin())]);
  }
  EXPECT_GT(rows.at("LINAC/TOROID/GAPS").at("gaps").at("count"), 0);
  EXPECT_EQ(rows.at("LINAC/BPM/HALF_RATE").at("gaps").at("count"), 0);
}

TEST_P(Stat, ReportsTheRate) {
  const auto rows = stat({"-c", "LINAC/BPM/*"});
  EXPECT_NEAR(rows.at("LINAC/BPM/001").at("rate"), 10.0, 0.05);
  EXPECT_NEAR(rows.at("LINAC/BPM/HALF_RATE").at("rate"), 5.0, 0.05);
  EXPECT_NEAR(stat({"-c", "LINAC/BPM/001", "--step", "5"}).at("LINAC/BPM/001").at("rate"), 2.0, 0.05);
}

TEST_P(Stat, SummarisesPicturesUpdatesAndNamedValues) {
  const auto rows = stat({"-c", "LINAC/CAMERA/001", "-c", "LINAC/MAGNET/001", "-c", "LINAC/STATUS/001",
                          "-c", "LINAC/MESSAGE/001"});
  const json& camera = rows.at("LINAC/CAMERA/001").at("values").at(0);
  EXPECT_EQ(camera.at("name"), "PIXELS");
  EXPECT_EQ(camera.at("count"), 80u * 64u * 48u);
  // The same from the classic reader, event by event.
  double sum = 0, greatest = 0, least = INFINITY, largest = -INFINITY;
  std::size_t frames = 0;
  const process_result read = run_tool({"read", data.files[0], data.files[1], "-c", "LINAC/CAMERA/001",
                                        "-c", "LINAC/MAGNET/001", "--json", "--classic"});
  for (const json& event : event_lines(read.out))
    for (const json& channel : event.at("channels")) {
      if (channel.at("held").get<bool>()) continue;
      if (channel.contains("image")) {
        ++frames;
        sum += channel.at("image").at("mean").get<double>();
        greatest = std::max(greatest, channel.at("image").at("max").get<double>());
      } else {
        least = std::min(least, channel.at("value").get<double>());
        largest = std::max(largest, channel.at("value").get<double>());
      }
    }
  EXPECT_EQ(frames, 80u);
  EXPECT_NEAR(camera.at("mean").get<double>(), sum / 80, 1e-9 * sum);
  EXPECT_EQ(camera.at("max"), greatest);
  EXPECT_GE(camera.at("mean"), camera.at("min"));
  EXPECT_EQ(rows.at("LINAC/MAGNET/001").at("values").at(0).at("min"), least);
  EXPECT_EQ(rows.at("LINAC/MAGNET/001").at("values").at(0).at("max"), largest);
  EXPECT_EQ(rows.at("LINAC/STATUS/001").at("values").at(0).at("count"),
            rows.at("LINAC/STATUS/001").at("events"));
  EXPECT_TRUE(rows.at("LINAC/MESSAGE/001").at("values").empty());
}

TEST_P(Stat, IsATableForPeople) {
  const process_result result =
      run_tool({"stat", folder, "-c", "LINAC/BPM/001", "-c", "LINAC/TOROID/SPARE"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, testing::StartsWith("channel "));
  EXPECT_THAT(result.out, testing::ContainsRegex(
                              "LINAC/BPM/001 +80 +0 +10 Hz +0 +[0-9.]+ KiB +[0-9.]+ KiB +[0-9.]+  X "));
  EXPECT_THAT(result.out, testing::ContainsRegex("\n +CHARGE +[0-9.]+ +[0-9.]+ +[0-9.]+ nC\n"));
  EXPECT_THAT(result.out, testing::ContainsRegex("LINAC/TOROID/SPARE +0 +0 +- +- +0 bytes +0 bytes +-\n"));
  EXPECT_EQ(result.err, "selection: linac/main file=" + folder +
                            " chan=LINAC/BPM/001,LINAC/TOROID/SPARE\n"
                            "ledger: 80 values expected = 80 delivered + 0 missing\n");
}

// Four frames, of which the second is compressed and the fourth truncated.
TEST(StatOfFrames, CountsThoseThatAreNoPictures) {
  const temporary_folder folder;
  handmade_file file;
  handmade_channel camera("CAMERA");
  for (std::uint32_t i = 0; i < 4; ++i) {
    file.events.push_back({i + 1, 1700000000, i * 100000, RAVO_EV_NORMAL});
    handmade_block block;
    block.event = i;
    block.dtype = RAVO_BLOCK_IMAGE;
    for (const int word : {2, 2, 1, i == 1 ? 1 : 0, 0, 0, i == 3 ? 3 : 4}) block.payload.i32(word);
    block.payload.i32(0x05050505);
    camera.blocks.push_back(block);
  }
  file.channels = {camera};
  const std::string path = folder.write("a.raw", file.build().vector());
  const json row = event_lines(run_tool({"stat", path, "--json"}).out).at(0);
  EXPECT_EQ(row.at("events"), 4);
  EXPECT_EQ(row.at("missing"), 0);
  EXPECT_EQ(row.at("without_numbers"), 2);
  EXPECT_EQ(row.at("values").at(0).at("count"), 8);
  EXPECT_EQ(row.at("values").at(0).at("mean"), 5);
  EXPECT_THAT(run_tool({"stat", path}).out,
              testing::HasSubstr("2 values without numbers: no pictures, or unknown data\n"));
  EXPECT_THAT(run_tool({"read", path, "-c", "CAMERA"}).out,
              testing::HasSubstr("4 bytes from the camera that are no picture\n"));
  const json second = event_lines(run_tool({"read", path, "-c", "CAMERA", "--json"}).out).at(1);
  EXPECT_EQ(second.at("channels").at(0).at("camera_bytes"), 4);
  EXPECT_FALSE(second.at("channels").at(0).contains("image"));
  const process_result column = run_tool({"read", path, "--column", "CAMERA", "--json"});
  EXPECT_EQ(event_lines(column.out).at(1).at("value_status"), "type_changed");
}

}  // namespace
