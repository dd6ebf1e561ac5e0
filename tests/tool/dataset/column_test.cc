// ravo read --column: each row against the simulator's answer key, over files of both generations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "key_lines.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

class Column : public testing::TestWithParam<const char*> {
 protected:
  const demo_data& data = demo_of(GetParam());
  const std::string folder = data.folder.path().string();

  process_result column(const std::string& channel, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"read", folder, "--column", channel};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return result;
  }

  // The rows, which have to be those of the key.
  std::vector<json> rows(const std::string& channel) const {
    const process_result result = column(channel, {"--json"});
    EXPECT_EQ(result.err, "");
    const std::vector<json> rows = event_lines(result.out);
    const auto key = key_of(data, channel);
    EXPECT_EQ(rows.size(), key.size()) << channel;
    auto expected = key.begin();
    for (const json& row : rows) {
      EXPECT_EQ(row.at("event"), expected->first);
      EXPECT_EQ(row.at("time"), expected->second.at("time"));
      EXPECT_EQ(row.at("value_status"), "ok");
      ++expected;
    }
    const json closing = closing_of(result.out);
    EXPECT_EQ(closing.at("column").at("rows"), rows.size());
    EXPECT_EQ(closing.at("ledger").at("delivered"), rows.size());
    return rows;
  }
};
INSTANTIATE_TEST_SUITE_P(Generations, Column, testing::Values("current", "older"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

TEST_P(Column, OfSeveralMembersHasASummaryOfEach) {
  const char* const names[] = {"X", "Y", "CHARGE"};
  for (const json& row : rows("LINAC/BPM/001")) {
    const json expected = key_of(data, "LINAC/BPM/001").at(row.at("event")).at("members");
    ASSERT_EQ(row.at("members").size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(row.at("members")[i].at("name"), names[i]);
      for (const char* field : {"count", "mean", "min", "max"})
        EXPECT_EQ(row.at("members")[i].at(field), expected[i].at(field)) << field;
    }
    if (HasFailure()) return;
  }
}

TEST_P(Column, OfOneMemberHasTheSummaryItself) {
  const auto key = key_of(data, "LINAC/TOROID/GAPS");
  for (const json& row : rows("LINAC/TOROID/GAPS"))
    for (const char* field : {"count", "mean", "min", "max"})
      EXPECT_EQ(row.at(field), key.at(row.at("event")).at("members")[0].at(field)) << field;
}

TEST_P(Column, OfNumbersHasTheNumber) {
  const auto key = key_of(data, "LINAC/ENERGY/001");
  for (const json& row : rows("LINAC/ENERGY/001"))
    EXPECT_EQ(row.at("value"), key.at(row.at("event")).at("members")[0].at("mean"));
}

TEST_P(Column, OfEveryChannelHasItsRows) {
  for (const std::string& channel : channels_of(data)) {
    const std::vector<json> all = rows(channel);
    for (const json& row : all)
      EXPECT_TRUE(row.contains("value") || row.contains("mean") || row.contains("members") ||
                  row.contains("text"))
          << channel << row;
    if (HasFailure()) return;
  }
}

TEST_P(Column, OfASlowChannelHasItsOwnTimes) {
  std::map<unsigned, double> values;
  const process_result read =
      run_tool({"read", data.files[0], data.files[1], "-c", "LINAC/MAGNET/001", "--json", "--classic"});
  ASSERT_EQ(read.exit_code, 0) << read.err;
  for (const json& event : event_lines(read.out))
    values[event.at("event")] = event.at("channels")[0].at("value");
  for (const json& row : rows("LINAC/MAGNET/001")) {
    EXPECT_EQ(row.at("value"), values.at(row.at("event")));
    EXPECT_TRUE(row.contains("value_time"));
  }
}

// Members one after another, each with its numbers.
TEST_P(Column, HasAllNumbersWhenThatIsAskedFor) {
  const auto key = key_of(data, "LINAC/BPM/001");
  const process_result result = column("LINAC/BPM/001", {"--values", "--json", "--limit", "7"});
  const std::vector<json> rows = event_lines(result.out);
  ASSERT_EQ(rows.size(), 7u);
  for (const json& row : rows) {
    const json expected = key.at(row.at("event")).at("members");
    for (std::size_t i = 0; i < 3; ++i) {
      const std::vector<double> values = row.at("members")[i].at("values");
      EXPECT_EQ(values.size(), expected[i].at("count"));
      double sum = 0;
      for (const double value : values) sum += value;
      EXPECT_DOUBLE_EQ(sum / static_cast<double>(values.size()), expected[i].at("mean"));
      EXPECT_EQ(*std::min_element(values.begin(), values.end()), expected[i].at("min"));
    }
  }
  const json closing = closing_of(result.out).at("column");
  EXPECT_EQ(closing.at("rows"), 7);
  EXPECT_EQ(closing.at("printed"), 7);
  EXPECT_EQ(closing.at("axis").at("changes"), false);
  const process_result table = column("LINAC/BPM/001:1", {"--values", "--limit", "2"});
  EXPECT_THAT(table.out, testing::ContainsRegex("Z  ok +-?[0-9.]+( -?[0-9.]+)+\n"));
  EXPECT_EQ(std::count(table.out.begin(), table.out.end(), '\n'), 3);  // the heading, and a line each
  EXPECT_EQ(event_lines(column("LINAC/BPM/001", {"--json", "--limit", "0"}).out).size(), key.size());
}

// Its groups are not members.
TEST_P(Column, OfOneMemberOfSeveralGroupsHasNoMembers) {
  const process_result result = column("LINAC/SPECTRUM/001:1", {"--json", "--limit", "1"});
  const json row = event_lines(result.out).at(0);
  EXPECT_FALSE(row.contains("members"));
  const json expected = key_of(data, "LINAC/SPECTRUM/001").at(row.at("event")).at("members")[1];
  for (const char* field : {"count", "mean", "min", "max"})
    EXPECT_EQ(row.at(field), expected.at(field)) << field;
  const json closing = closing_of(result.out).at("column");
  EXPECT_EQ(closing.at("dimensions"), json({"group", "sample"}));
  EXPECT_EQ(closing.at("shape").at(0).get<int>() * closing.at("shape").at(1).get<int>(), row.at("count"));
}

TEST_P(Column, SaysWhichDimensionIsWhich) {
  const auto dimensions = [&](const char* channel) {
    return closing_of(column(channel, {"--json", "--limit", "1"}).out).at("column").at("dimensions");
  };
  EXPECT_EQ(dimensions("LINAC/BPM/001"), json({"member", "sample"}));
  EXPECT_EQ(dimensions("LINAC/SPECTRUM/001"), json({"member", "group", "sample"}));
  EXPECT_EQ(dimensions("LINAC/CAMERA/001"), json({"y", "x"}));
  EXPECT_EQ(dimensions("LINAC/STATUS/001"), json({"record"}));
  EXPECT_EQ(dimensions("LINAC/ENERGY/001"), json::array());
}

TEST_P(Column, OfNamedValuesHasThemByName) {
  for (const json& row : rows("LINAC/STATUS/001")) {
    ASSERT_EQ(row.at("members").size(), 3u);
    EXPECT_EQ(row.at("members")[0], json({{"name", "BUNCHES"}, {"value", 64.0}}));
  }
}

TEST_P(Column, OfPicturesHasTheirPixels) {
  const process_result result = column("LINAC/CAMERA_EXT/001", {"--values", "--json", "--limit", "1"});
  const json shape = closing_of(result.out).at("column").at("shape");
  const json row = event_lines(result.out).at(0);
  EXPECT_EQ(row.at("values").size(), shape.at(0).get<std::size_t>() * shape.at(1).get<std::size_t>());
}

TEST_P(Column, OfTextsHasTheTexts) {
  EXPECT_EQ(rows("LINAC/MESSAGE/001").at(0).at("text"), "feedback active");
}

TEST_P(Column, OfNoValuesHasNoRows) {
  const process_result result = column("LINAC/TOROID/SPARE", {"--json"});
  EXPECT_EQ(without_closing(result.out), "");
  EXPECT_EQ(closing_of(result.out).at("column").at("rows"), 0);
}

TEST_P(Column, SaysWhichEventsHaveNoValueOfIt) {
  const process_result result =
      column("LINAC/BPM/HALF_RATE",
             {"-c", "LINAC/BPM/001", "-c", "LINAC/BPM/HALF_RATE", "--every-event", "--json"});
  const auto key = key_of(data, "LINAC/BPM/HALF_RATE");
  const std::vector<json> rows = event_lines(result.out);
  EXPECT_EQ(rows.size(), 80u);
  for (const json& row : rows) {
    const bool is_there = key.contains(row.at("event"));
    EXPECT_EQ(row.at("value_status"), is_there ? "ok" : "not_recorded");
    EXPECT_EQ(row.contains("members"), is_there);
  }
  EXPECT_EQ(closing_of(result.out).at("ledger").at("expected"), key.size());
}

TEST_P(Column, IsATableForPeople) {
  const process_result result = column("LINAC/ENERGY/001", {"--last-event", "1000002"});
  EXPECT_THAT(result.out,
              testing::MatchesRegex(" +event  time +status +LINAC/ENERGY/001\n"
                                    " +1000001  2025-03-01T08:00:00.[0-9]+Z  ok +[0-9.]+ MeV\n"
                                    " +1000002  2025-03-01T08:00:00.[0-9]+Z  ok +[0-9.]+ MeV\n"));
  EXPECT_THAT(result.err, HasSubstr("ledger: 2 values expected = 2 delivered + 0 missing\n"));
  const process_result members = column("LINAC/BPM/001", {"--last-event", "1000001"});
  for (const char* text : {"  X  ", "  Y  ", "  CHARGE  ", " mm\n", " nC\n"})
    EXPECT_THAT(members.out, HasSubstr(text));
}

TEST(ColumnOptions, ThatAreForEventsAreRefused) {
  const std::string file = demo().files[0];
  const std::vector<std::pair<std::vector<std::string>, const char*>> lines = {
      {{"--column", "X", "--checksum"}, "--checksum is for events, not for --column"},
      {{"-c", "X", "--values"}, "--values is for --column"},
      {{"-c", "X", "--every-event"}, "--every-event is for --column"},
      {{"-c", "X", "--debug", "1"}, "--debug is for --classic"}};
  for (const auto& [added, message] : lines) {
    std::vector<std::string> arguments = {"read", file};
    arguments.insert(arguments.end(), added.begin(), added.end());
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, std::string("ravo: ") + message + "\n");
  }
}

}  // namespace
