// ravo descr, what the other verbs do when a file's descriptions are refused, and the members of channels.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

// The first demo file with other text instead of its descriptions, padded with blanks.
class described_file {
 public:
  explicit described_file(std::string_view text) {
    std::vector<unsigned char> bytes = read_file(demo().files[0]);
    const std::string_view begin = "<?xml", end = "</channel_descriptions>";
    const auto first = std::search(bytes.begin(), bytes.end(), begin.begin(), begin.end());
    const auto last = std::search(first, bytes.end(), end.begin(), end.end());
    if (last == bytes.end() || static_cast<std::size_t>(last - first) < text.size())
      throw std::runtime_error("no descriptions to replace");
    std::fill(first, last + static_cast<std::ptrdiff_t>(end.size()), static_cast<unsigned char>(' '));
    std::copy(text.begin(), text.end(), first);
    path_ = folder_.write("linac_main_run1_file1_20250301T080000Z.raw", bytes);
  }
  const std::string& path() const { return path_; }

 private:
  temporary_folder folder_;
  std::string path_;
};

constexpr std::string_view two_channels = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel_descriptions version="1">
  <channel prop_name="LINAC/BPM/001" daq_name="BPM.1" prop_desc="beam position" units="mm" sb_name="LINAC.SERVER"
           subsystem="DIAGNOSTICS" stream="3" ev_type="6" count="7" dtype="38" db_key="17" max_size="4096"
           set_point="1">
    <bit bit="0" bit_name="OK" bit_desc="The reading is valid"/>
    <bit bit="5" bit_name="LATE" bit_desc=""/>
    <dim dim="0" dim_name="time" dim_desc="time in the pulse" units="us">
      <stat stat="2" stat_name="RMS" stat_desc="spread over the pulse" units="mm"/>
    </dim>
    <dim dim="1" dim_name="member" dim_desc="" units=""/>
  </channel>
  <channel prop_name="LINAC/BPM/9" daq_name="" prop_desc="" units="" sb_name="" subsystem="" stream="0" ev_type="0"
           count="0" dtype="0" db_key="0" max_size="0" set_point="0"/>
</channel_descriptions>)";

TEST(Descriptions, AreShownToPeople) {
  const described_file file(two_channels);
  const process_result result = run_tool({"descr", file.path()});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, R"(LINAC/BPM/001 [mm]  beam position
  data         type BLOCK_BPM_2010, in events NORMAL BOR, at most 4096 bytes
  source       DAQ name BPM.1, server block LINAC.SERVER, subsystem DIAGNOSTICS
  numbers      key 17, stream 3, count 7, set point 1
  bit 0        OK  The reading is valid
  bit 5        LATE
  dimension 0  time [us]  time in the pulse
    statistic 2  RMS [mm]  spread over the pulse
  dimension 1  member

LINAC/BPM/9
  data         type 0
  numbers      key 0, stream 0, count 0, set point 0
)");
}

TEST(Descriptions, AreOneJsonObjectAChannel) {
  const described_file file(two_channels);
  const process_result result = run_tool({"descr", file.path(), "--json", "LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  const std::vector<json> lines = json_lines(result.out);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(
      lines[0],
      json::parse(
          R"({"channel":"LINAC/BPM/001","generation":"current","description":"beam position","units":"mm",
    "dtype":"BLOCK_BPM_2010","events":["NORMAL","BOR"],"max_size":4096,"daq_name":"BPM.1",
    "server_block":"LINAC.SERVER","subsystem":"DIAGNOSTICS","key":17,"stream":3,"count":7,"set_point":1,
    "bits":[{"bit":0,"name":"OK","description":"The reading is valid"},{"bit":5,"name":"LATE","description":""}],
    "dimensions":[{"dimension":0,"name":"time","units":"us","description":"time in the pulse",
                   "statistics":[{"statistic":2,"name":"RMS","units":"mm","description":"spread over the pulse"}]},
                  {"dimension":1,"name":"member","units":"","description":"","statistics":[]}],
    "file":")" +
          file.path() + "\"}"));
}

TEST(Descriptions, AreChosenByNameAndPattern) {
  const auto names = [](const std::vector<std::string>& wanted) {
    std::vector<std::string> arguments = {"descr", demo().files[0], "--json"};
    arguments.insert(arguments.end(), wanted.begin(), wanted.end());
    std::vector<std::string> found;
    for (const json& line : json_lines(run_tool(arguments).out)) found.push_back(line.at("channel"));
    return found;
  };
  EXPECT_THAT(names({"LINAC/TOROID/SPARE"}), testing::ElementsAre("LINAC/TOROID/SPARE"));
  EXPECT_THAT(names({"LINAC/BPM/00[12]", "LINAC/RUN/*"}),
              testing::ElementsAre("LINAC/BPM/001", "LINAC/BPM/002", "LINAC/RUN/BEGIN", "LINAC/RUN/END"));
}

TEST(Descriptions, OfUnknownChannelsAreRefused) {
  const std::string& file = demo().files[0];
  const process_result unknown = run_tool({"descr", file, "LINAC/BPM/1"});
  EXPECT_EQ(unknown.exit_code, 1);
  EXPECT_THAT(unknown.err,
              testing::StartsWith("ravo: " + file + ": no channel LINAC/BPM/1; did you mean LINAC/BPM/"));
  const process_result pattern = run_tool({"descr", file, "RING/*"});
  EXPECT_EQ(pattern.exit_code, 1);
  EXPECT_EQ(
      pattern.err,
      "ravo: " + file +
          ": no described channel matches RING/*; `ravo descr FILE` lists those that are described\n");
}

TEST(Descriptions, ThatAFileDoesNotHaveAreMissed) {
  const described_file none(
      R"(<?xml version="1.0"?><channel_descriptions version="1"></channel_descriptions>)");
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"descr", none.path()},
                                                    std::vector<std::string>{"descr", none.path(), "X"}}) {
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "ravo: " + none.path() + ": the file describes no channels\n");
  }
  const described_file one(two_channels);
  const process_result result = run_tool({"descr", one.path(), "LINAC/BPM/002"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err,
            "ravo: " + one.path() + ": the file has channel LINAC/BPM/002, but says nothing about it\n");
}

// ---- refused descriptions ----------------------------------------------------------------------------

struct refused_text {
  const char* name;
  const char* text;
  const char* reason;
};

class RefusedDescriptions : public testing::TestWithParam<refused_text> {};

TEST_P(RefusedDescriptions, AreSaidWhileTheRestIsShown) {
  const described_file file(GetParam().text);
  const std::string reason = "ravo: " + file.path() + ": channel descriptions: " + GetParam().reason;
  for (const std::string verb : {"info", "channels"}) {
    const process_result whole = run_tool({verb, demo().files[0]});
    for (const bool as_json : {false, true}) {
      const process_result result =
          as_json ? run_tool({verb, file.path(), "--json"}) : run_tool({verb, file.path()});
      EXPECT_EQ(result.exit_code, 0) << verb;
      EXPECT_EQ(result.err, reason + "; the rest is shown without them\n") << verb;
      EXPECT_THAT(result.out, HasSubstr(as_json          ? "\"channel"
                                        : verb == "info" ? "RAVO_EV_NORMAL"
                                                         : "LINAC/BPM/001"));
    }
  }
  const process_result descr = run_tool({"descr", file.path()});
  EXPECT_EQ(descr.exit_code, 1);
  EXPECT_EQ(descr.out, "");
  EXPECT_EQ(descr.err, reason + "\n");
  const process_result read = run_tool({"read", file.path(), "-c", "LINAC/BPM/001", "--json"});
  EXPECT_EQ(read.exit_code, 0) << read.err;
  EXPECT_EQ(event_numbers(read.out).size(), 40u);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RefusedDescriptions,
    testing::Values(refused_text{"NotWellFormed", "<?xml version=\"1.0\"?><channel_descriptions",
                                 "the XML text is not well formed (status 303)"},
                    refused_text{"NotOfTheSchema",
                                 "<?xml version=\"1.0\"?><recipes version=\"1\"></recipes>",
                                 "the XML text is not of the schema (status 304)"}),
    [](const testing::TestParamInfo<refused_text>& tested) { return std::string(tested.param.name); });

// ---- members -----------------------------------------------------------------------------------------

// In whatever order they are; if several have one name, the first one counts.
TEST(Channels, HaveTheDescriptionOfTheirName) {
  std::string text = R"(<?xml version="1.0"?><channel_descriptions version="1">)";
  for (const auto& [name, what] : {std::pair("LINAC/BPM/010", "ten"),
                                   {"LINAC/BPM/002", "two"},
                                   {"LINAC/BPM/00", "a beginning"},
                                   {"LINAC/BPM/002", "two again"},
                                   {"LINAC/BPM/001", "one"},
                                   {"LINAC/BPM/002", "a second time again"}})
    text += std::string("<channel prop_name=\"") + name + "\" prop_desc=\"" + what + "\"/>";
  const described_file file(text + "</channel_descriptions>");
  std::map<std::string, std::string> found;
  const process_result result = run_tool({"channels", file.path(), "--match", "LINAC/BPM/*", "--json"});
  for (const json& one : json_lines(result.out)) found[one.at("channel")] = one.at("description");
  std::erase_if(found, [](const auto& one) { return one.second.empty(); });
  EXPECT_THAT(found, testing::ElementsAre(testing::Pair("LINAC/BPM/001", "one"),
                                          testing::Pair("LINAC/BPM/002", "two"),
                                          testing::Pair("LINAC/BPM/010", "ten")));
}

TEST(Channels, HaveTheMembersThatTheirBlocksHave) {
  std::map<std::string, std::size_t> members;
  for (const json& line : demo().key)
    if (line.contains("members") && line.at("file") == 1)
      members[line.at("channel")] = line.at("members").size();
  ASSERT_EQ(members.at("LINAC/SPECTRUM/001"), 2u) << "a generic spectrum of two members is looked at";
  std::size_t compared = 0;
  for (const json& line : json_lines(run_tool({"channels", demo().files[0], "--json"}).out)) {
    const auto known = members.find(line.at("channel"));
    if (known == members.end()) continue;
    EXPECT_EQ(line.at("members"), known->second) << known->first;
    ++compared;
  }
  EXPECT_EQ(compared, members.size());
}

TEST(Channels, HaveTheMembersOfGenericSpectraInEveryCompression) {
  for (const std::string how : {"none", "zlib", "lzo"}) {
    const temporary_folder folder;
    ASSERT_EQ(run_tool({"simulate", folder.path().string(), "--files", "1", "--events", "2", "--channels",
                        "20", "--compression", how})
                  .exit_code,
              0);
    const process_result result =
        run_tool({"channels", raw_files(folder.path()).at(0), "--json", "--match", "LINAC/SPECTRUM/001"});
    EXPECT_EQ(json_lines(result.out).at(0).at("members"), 2) << how;
  }
}

}  // namespace
