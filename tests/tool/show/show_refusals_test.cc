// What `ravo show` cannot show: every message, and its exit code; and
// that one damaged block does not keep it from showing the others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

struct ShowRefusal : testing::Test {
  const std::string& file = demo().files[0];
  temporary_folder folder;

  // Expects nothing on standard output and this text on standard error.
  void refused(std::vector<std::string> arguments, int code, const std::string& text) {
    arguments.insert(arguments.begin(), "show");
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, code);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ravo: " + text + "\n");
  }
};

TEST_F(ShowRefusal, NamesTheNearestEvent) {
  refused({file, "-n", "5"}, 1,
          file + ": has no event 5; its events are 1000000 to 1000040, the nearest is 1000000");
  refused({file, "-n", "4294967295"}, 1,
          file + ": has no event 4294967295; its events are 1000000 to 1000040, the nearest is 1000040");
  const std::string& older = demo_of("older").files[0];
  refused({older, "-n", "1000041"}, 1,
          older + ": has no event 1000041; its events are 1000000 to 1000040, the nearest is 1000040");
}

TEST_F(ShowRefusal, NamesTheNearestEventThatHoldsTheChannel) {
  refused({file, "-n", "1000003", "-c", "LINAC/BPM/HALF_RATE"}, 1,
          file + ": event 1000003 has no data of LINAC/BPM/HALF_RATE; the nearest that has is 1000002");
  refused({file, "-n", "1000003", "-c", "LINAC/BPM/HALF_RATE", "-c", "LINAC/STATUS/001"}, 1,
          file + ": event 1000003 has no data of these 2 channels; the nearest that has is 1000002");
}

TEST_F(ShowRefusal, SaysThatAChannelNeverHasData) {
  for (const char* event : {"first", "1000003", "2025-03-01T08:00:01"})
    refused({file, "-n", event, "-c", "LINAC/TOROID/SPARE"}, 1,
            file + ": holds no data of LINAC/TOROID/SPARE");
}

TEST_F(ShowRefusal, NamesWhatChannelMayHaveBeenMeant) {
  refused({file, "-c", "LINAC/ENERGI/001"}, 1,
          file + ": no channel LINAC/ENERGI/001; did you mean LINAC/ENERGY/001?");
  refused({file, "-c", "RING/*"}, 1, file + ": no channel matches RING/*; `ravo channels FILE` lists them");
}

TEST_F(ShowRefusal, NamesTheMembersThatThereAre) {
  refused({file, "-c", "LINAC/BPM/001:3"}, 1, "LINAC/BPM/001 has no member 3; it has 0 X, 1 Y, 2 CHARGE");
  refused({file, "-c", "LINAC/CAMERA/001:0"}, 1,
          "LINAC/CAMERA/001 has no members: ask for it without ':0'");
  refused({file, "-c", "LINAC/BPM/001:NOPE"}, 1,
          "\"LINAC/BPM/001\" has no member \"NOPE\"; it has 0 X, 1 Y, 2 CHARGE");
}

TEST_F(ShowRefusal, SaysThatATimeLiesOutsideTheFile) {
  refused({file, "-n", "2025-03-01T08:01:00"}, 1,
          file +
              ": has no event near 2025-03-01T08:01:00.000000Z; its events are from "
              "2025-03-01T08:00:00.001234Z to 2025-03-01T08:00:04.015619Z");
}

TEST_F(ShowRefusal, RefusesAnEventThatIsNone) {
  refused({file, "-n", "4294967296"}, 2, "--event: 4294967296 is greater than any event number");
  const process_result result = run_tool({"show", file, "-n", "tomorrowish"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_THAT(result.err, testing::StartsWith("ravo: --event: 'tomorrowish'"));
}

TEST_F(ShowRefusal, RefusesATimeZoneThatThereIsNotWhateverTheEvent) {
  for (const char* event : {"first", "1000003", "2025-03-01T08:00:01"})
    refused({file, "-n", event, "--tz", "Mars"}, 2,
            "--tz: 'Mars' is no time zone that this machine knows; write +01:00 or a name such as "
            "Europe/Berlin");
}

TEST_F(ShowRefusal, RefusesWhatIsNoRawFile) {
  const std::string text = "not a raw file at all, but long enough to be looked into\n";
  const std::string path =
      folder.write("notes.txt", {reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  const process_result result = run_tool({"show", path});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, testing::StartsWith("ravo: " + path + ": not a readable raw file: "));
  refused({folder.file("nothing.raw")}, 1, folder.file("nothing.raw") + ": No such file or directory");
}

TEST_F(ShowRefusal, RefusesAFileWhoseNameHoldsNoTime) {
  const std::string copy = folder.file("copy.raw");
  std::filesystem::copy_file(file, copy);
  refused(
      {copy}, 1,
      copy +
          ": the name holds no time, and the reader takes no file without; give the file the name that its "
          "writer gave it");
}

TEST_F(ShowRefusal, RefusesAnAbsurdWidth) {
  for (const char* width : {"0", "39", "1001", "-1", "wide"})
    EXPECT_EQ(run_tool({"show", file, "--width", width}).exit_code, 2) << width;
}

TEST_F(ShowRefusal, ShowsTheOtherChannelsBesideADamagedBlock) {
  for (const char* generation : {"current", "older"}) {
    const std::string& whole = demo_of(generation).files[0];
    // The bytes of a compressed block are inverted, so that it cannot be inflated.
    const auto headers = json_lines(run_tool({"headers", whole, "LINAC/BPM/001", "--json"}).out);
    const json& third = headers.at(2);
    const auto at = third.at("channel_block").at("offset").get<std::size_t>();
    const auto length = third.at("channel_block").at("bytes").get<std::size_t>();
    ASSERT_TRUE(third.contains("zip_header"));
    std::vector<unsigned char> bytes = read_file(whole);
    for (std::size_t i = at + length / 2; i < at + length; ++i) bytes.at(i) ^= 0xff;
    const std::string damaged = folder.write(std::filesystem::path(whole).filename().string(), bytes);
    const std::string number = std::to_string(third.at("event").get<unsigned>());
    const process_result result = run_tool({"show", damaged, "-n", number, "--json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, testing::StartsWith("ravo: " + damaged + ": event " + number +
                                                ": not all data could be read:\n  LINAC/BPM/001\n"));
    const json event = json_lines(result.out).at(0);
    const json expected = json_lines(run_tool({"show", whole, "-n", number, "--json"}).out).at(0);
    EXPECT_EQ(event.at("channels").size() + 1, expected.at("channels").size());
    for (std::size_t i = 0; i < event.at("channels").size(); ++i)
      EXPECT_EQ(event.at("channels")[i], expected.at("channels")[i + 1]);
  }
}

TEST_F(ShowRefusal, TeachesByExamples) {
  const process_result help = run_tool({"show", "--help"});
  EXPECT_EQ(help.exit_code, 0);
  for (const char* word : {"Examples:", "--event", "--channel", "--picture", "--overlay", "--stretch",
                           "--colour-map", "--pixels", "--width", "--ascii", "--json"})
    EXPECT_THAT(help.out, HasSubstr(word));
}

}  // namespace
