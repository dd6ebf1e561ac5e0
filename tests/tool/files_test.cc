// ravo info and ravo channels: what they say of a good file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

TEST(Info, CountsTheEventsByType) {
  const process_result result = run_tool({"info", "--json", demo().files[0]});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const json info = json_lines(result.out).at(0);
  EXPECT_EQ(info["file"], demo().files[0]);
  EXPECT_EQ(info["bytes"], std::filesystem::file_size(demo().files[0]));
  EXPECT_EQ(info["name_time"], "2025-03-01T08:00:00.000000Z");
  EXPECT_EQ(info["channels"], 30);
  std::map<std::string, json> events;
  for (const json& one : info["events"]) events[one["type"]] = one;
  EXPECT_EQ(events["RAVO_EV_NORMAL"]["count"], 40);
  EXPECT_EQ(events["RAVO_EV_NORMAL"]["first_event"], 1000001);
  EXPECT_EQ(events["RAVO_EV_NORMAL"]["last_event"], 1000040);
  EXPECT_EQ(events["RAVO_EV_IMAGE"]["count"], 40);
  EXPECT_EQ(events["RAVO_EV_ENV"]["count"], 4);
  EXPECT_EQ(events["RAVO_EV_BOR"]["count"], 1);
  EXPECT_FALSE(events.contains("RAVO_EV_EOR"));
}

TEST(Info, ShowsWhereTheTablesAre) {
  const std::vector<unsigned char> bytes = read_file(demo().files[0]);
  auto word = [&bytes](std::size_t at) {
    return static_cast<unsigned>(bytes.at(at) << 24 | bytes.at(at + 1) << 16 | bytes.at(at + 2) << 8 |
                                 bytes.at(at + 3));
  };
  const unsigned reference = word(bytes.size() - 4);
  const json tables = json_lines(run_tool({"info", "--json", demo().files[0]}).out).at(0)["tables"];
  EXPECT_EQ(tables["event_index_table"]["offset"], word(reference + 8));
  EXPECT_EQ(tables["channel_dictionary"]["offset"], word(reference + 140));
  EXPECT_EQ(tables["channel_dictionary"]["bytes"], 8 + 30 * 272);
  EXPECT_EQ(tables["event_header_basket"]["offset"], word(reference + 156));
}

TEST(Info, ShowsPeopleTheSame) {
  const process_result result = run_tool({"info", demo().files[0], demo().files[1]});
  ASSERT_EQ(result.exit_code, 0);
  for (const char* text :
       {"_file1_", "_file2_", "channels  30", "RAVO_EV_NORMAL", "10.00 Hz", "channel dictionary"})
    EXPECT_THAT(result.out, HasSubstr(text));
}

TEST(Channels, SaysWhatAChannelIs) {
  const process_result result = run_tool({"channels", "--json", demo().files[0]});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  std::map<std::string, json> channels;
  for (const json& line : json_lines(result.out)) channels[line["channel"]] = line;
  ASSERT_EQ(channels.size(), 30u);
  const json& bpm = channels["LINAC/BPM/001"];
  EXPECT_EQ(bpm["count"], 40);
  EXPECT_EQ(bpm["type"], "BLOCK_BPM_2010");
  EXPECT_EQ(bpm["members"], 3);
  EXPECT_EQ(bpm["events"], json({"NORMAL"}));
  EXPECT_EQ(bpm["stored"], "zlib");
  EXPECT_EQ(bpm["units"], "mm, mm, nC");
  EXPECT_EQ(bpm["description"], "beam position and charge, bunch by bunch");
  EXPECT_EQ(channels["LINAC/BPM/002"]["stored"], "plain");
  EXPECT_EQ(channels["LINAC/BPM/003"]["stored"], "lzo1x");
  EXPECT_EQ(channels["LINAC/TOROID/SPARE"]["count"], 0);
  EXPECT_EQ(channels["LINAC/TOROID/SPARE"]["stored"], "-");
  EXPECT_EQ(channels["LINAC/TEMPERATURE/001"]["type"], "ENV_BLOCK");
}

TEST(Channels, ShowsOnlyThoseThatMatch) {
  const process_result result =
      run_tool({"channels", "--json", demo().files[0], "-m", "*/RUN/*", "-m", "LINAC/ENERGY/001"});
  std::vector<std::string> names;
  for (const json& line : json_lines(result.out)) names.push_back(line["channel"]);
  EXPECT_THAT(names, testing::ElementsAre("LINAC/ENERGY/001", "LINAC/RUN/BEGIN", "LINAC/RUN/END"));
}

TEST(Channels, RefusesAPatternWithoutAMatch) {
  const process_result result = run_tool({"channels", demo().files[0], "-m", "RING/*"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err,
            "ravo: " + demo().files[0] + ": no channel matches RING/*; without --match all are listed\n");
}

}  // namespace
