// ravo plan against the simulator's answer key and against what reading then delivers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "key_lines.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

class Plan : public testing::TestWithParam<const char*> {
 protected:
  const demo_data& data = demo_of(GetParam());
  const std::string folder = data.folder.path().string();

  std::string plan(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"plan", folder, "--json"});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result.out;
  }
};
INSTANTIATE_TEST_SUITE_P(Generations, Plan, testing::Values("current", "older"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

TEST_P(Plan, CountsTheValuesOfEachChannel) {
  const std::string out = plan({});
  std::uint64_t stored = 0, decoded = 0, values = 0;
  for (const json& line : event_lines(out)) {
    EXPECT_EQ(line.at("values"), key_of(data, line.at("channel")).size()) << line;
    values += line.at("values").get<std::uint64_t>();
    stored += line.at("stored_bytes").get<std::uint64_t>();
    decoded += line.at("decoded_bytes").get<std::uint64_t>();
  }
  EXPECT_EQ(values, data.key.size());
  const json sums = closing_of(out).at("plan");
  EXPECT_EQ(sums.at("files"), 2);
  EXPECT_EQ(sums.at("events"), 82) << "eighty, begin and end of the run";
  EXPECT_EQ(sums.at("values"), values);
  EXPECT_EQ(sums.at("stored_bytes"), stored);
  EXPECT_EQ(sums.at("decoded_bytes"), decoded);
  EXPECT_GT(sums.at("seconds"), 0.0);
  EXPECT_GT(sums.at("peak_bytes_of_events"), 0);
}

TEST_P(Plan, CountsWhatASelectionLeaves) {
  const std::string out = plan(
      {"-c", "LINAC/BPM/00[12]", "--first-event", "1000011", "--last-event", "1000040", "--step", "10"});
  EXPECT_EQ(closing_of(out).at("plan").at("events"), 3);
  for (const json& line : event_lines(out)) EXPECT_EQ(line.at("values"), 3);
}

// Plain blocks have as many bytes decoded as stored except for their heads; zlib blocks have many more.
TEST_P(Plan, KnowsHowMuchDecodingMakes) {
  for (const json& line : event_lines(plan({"-c", "LINAC/BPM/00[12]"}))) {
    std::uint64_t bytes = 0;
    for (const auto& [event, block] : key_of(data, line.at("channel")))
      bytes += block.at("bytes").get<std::uint64_t>();
    const auto decoded = line.at("decoded_bytes").get<double>();
    EXPECT_NEAR(decoded, static_cast<double>(bytes), 0.4 * static_cast<double>(bytes)) << line;
  }
}

TEST_P(Plan, IsATableForPeople) {
  const process_result result = run_tool({"plan", folder, "-c", "LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, testing::ContainsRegex("LINAC/BPM/001 +80 +[0-9]+ +[0-9]+\n"));
  EXPECT_THAT(result.out, HasSubstr("\n2 files, 80 events, 80 values of 1 channel\n"));
  for (const char* text : {"\nto be read     ", "\nmemory, up to  ", "\ntime, about    "})
    EXPECT_THAT(result.out, HasSubstr(text));
  EXPECT_EQ(result.err, "selection: linac/main file=" + folder + " chan=LINAC/BPM/001\n");
}

TEST_P(Plan, KeepsToTheMemoryLimit) {
  const json sums = closing_of(plan({"--memory", "1M"})).at("plan");
  EXPECT_LE(sums.at("peak_bytes_of_events"), 1 << 20);
  EXPECT_LE(sums.at("peak_bytes_of_columns"), 1 << 20);
}

}  // namespace
