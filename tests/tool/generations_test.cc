// The tool over files of the older generation: the verbs detect them and say so; `ravo read`
// refuses in words what it cannot do with them, and files of both generations in one request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "ravo_daq_writer.h"
#include "ravo_payload.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

constexpr int events_in_file = 4;

void check(const ravo_daq_writer& writer, int status) {
  if (status < 0) throw std::runtime_error(writer.get_last_error());
}

// An older file with "POSITION" (three members, zlib), "CURRENT" (one, plain) and "EMPTY".
std::string write_older_file(const temporary_folder& folder,
                             const std::string& first_channel = "POSITION") {
  ravo_daq_writer writer;
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  settings.stream = first_channel == "POSITION" ? "main" : "other";
  check(writer, writer.open(settings));
  chan_descr_2010 description{};
  std::strcpy(description.prop_name, first_channel.c_str());
  std::strcpy(description.units, "mm");
  ravo_daq_writer_channel position{first_channel, RAVO_BLOCK_BPM, ravo_compression::zlib};
  position.description = &description;
  check(writer, writer.add_channel(position));
  check(writer, writer.add_channel({"CURRENT", RAVO_BLOCK_SINGLE, ravo_compression::none}));
  check(writer, writer.add_channel({"EMPTY", RAVO_BLOCK_TOROID, ravo_compression::none}));
  for (std::uint32_t i = 0; i < events_in_file; ++i) {
    ravo_daq_writer_event event;
    event.event_number = 700 + i;
    event.time = {1700000000 + i, 0};
    check(writer, writer.begin_event(event));
    check(writer, writer.begin_server_block({"FRONTEND", event.time, 5, 0, 0}));
    const struct {
      ravo_spect_head head{3, 2, 0, 1};
      float means[3] = {1, 2, 3};
      float values[6] = {1, 1, 2, 2, 3, 3};
    } three;
    const struct {
      ravo_spect_head head{1, 1, 0, 1};
      float mean = 4, value = 4;
    } one;
    check(writer, writer.add_data(0, &three, sizeof three));
    check(writer, writer.add_data(1, &one, sizeof one));
    check(writer, writer.end_event());
  }
  check(writer, writer.close());
  return writer.get_files().at(0);
}

class OlderFile : public testing::Test {
 protected:
  std::vector<json> lines_of(std::vector<std::string> arguments) {
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return event_lines(result.out);
  }

  temporary_folder folder;
  std::string file = write_older_file(folder);
};

TEST_F(OlderFile, IsKnownByInfo) {
  EXPECT_THAT(run_tool({"info", file}).out, HasSubstr("  format    older generation\n"));
  EXPECT_THAT(run_tool({"info", demo().files[0]}).out, HasSubstr("  format    current generation\n"));
  const json line = lines_of({"info", file, "--json"}).at(0);
  EXPECT_EQ(line.at("generation"), "older");
  EXPECT_EQ(line.at("channels"), 3);
  EXPECT_EQ(line.at("channels_with_data"), 2);
  EXPECT_EQ(line.at("bytes"), std::filesystem::file_size(file));
  EXPECT_EQ(line.at("events").at(0).at("count"), events_in_file);
  EXPECT_EQ(line.at("events").at(0).at("first_event"), 700);
}

TEST_F(OlderFile, HasItsChannelsListed) {
  const std::vector<json> lines = lines_of({"channels", file, "--json"});
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].at("generation"), "older");
  EXPECT_EQ(lines[0].at("channel"), "POSITION");
  EXPECT_EQ(lines[0].at("count"), events_in_file);
  EXPECT_EQ(lines[0].at("members"), 3);
  EXPECT_EQ(lines[0].at("stored"), "zlib");
  EXPECT_EQ(lines[0].at("units"), "mm");
  EXPECT_EQ(lines[1].at("channel"), "CURRENT");
  EXPECT_EQ(lines[1].at("members"), 1);
  EXPECT_EQ(lines[1].at("stored"), "plain");
  EXPECT_EQ(lines[2].at("count"), 0);
  EXPECT_THAT(run_tool({"channels", file}).out, HasSubstr(file + "  (older generation)\n"));
  EXPECT_EQ(lines_of({"channels", demo().files[0], "--json"}).at(0).at("generation"), "current");
}

TEST_F(OlderFile, HasItsEventsListed) {
  const std::vector<json> lines = lines_of({"index", file, "--json"});
  for (const json& line : lines) EXPECT_EQ(line.at("generation"), "older");
  ASSERT_EQ(lines.size(), std::size_t{events_in_file});
  EXPECT_EQ(lines[1].at("event"), 701);
  EXPECT_THAT(run_tool({"index", file}).out, HasSubstr(file + "  (older generation)\n"));
}

TEST_F(OlderFile, HasItsHeadersPrinted) {
  const process_result result = run_tool({"headers", file, "POSITION", "--json"});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  const std::vector<json> lines = json_lines(result.out);
  ASSERT_EQ(lines.size(), std::size_t{events_in_file});
  EXPECT_EQ(lines[2].at("generation"), "older");
  EXPECT_THAT(run_tool({"headers", file, "POSITION"}).out, HasSubstr(file + "  (older generation)\n"));
  EXPECT_THAT(lines[2].dump(), HasSubstr("\"FRONTEND\""));
  EXPECT_THAT(lines[2].dump(), HasSubstr("702"));
  EXPECT_THAT(lines[2].dump(), HasSubstr("zlib"));
}

TEST_F(OlderFile, HasItsDescriptionsPrinted) {
  const std::string text = run_tool({"descr", file}).out;
  EXPECT_THAT(text, testing::StartsWith(file + "  (older generation)\n"));
  EXPECT_THAT(text, HasSubstr("mm"));
  EXPECT_EQ(lines_of({"descr", file, "--json"}).at(0).at("generation"), "older");
}

TEST_F(OlderFile, IsReadEventByEvent) {
  const std::vector<json> lines = lines_of({"read", file, "-c", "POSITION", "-c", "CURRENT", "--json"});
  ASSERT_EQ(lines.size(), std::size_t{events_in_file});
  EXPECT_EQ(lines[1].at("event"), 701);
  EXPECT_EQ(lines[1].at("generation"), "older");
  const json& position = lines[1].at("channels").at(0);
  EXPECT_EQ(position.at("dtype"), "RAVO_BLOCK_BPM");
  EXPECT_EQ(position.at("members").at(1),
            json({{"name", "Y"}, {"count", 2}, {"mean", 2.0}, {"min", 2.0}, {"max", 2.0}}));
}

TEST_F(OlderFile, HasItsMembersReadByThemselves) {
  const json line = lines_of({"read", file, "-c", "POSITION:2", "--json", "--limit", "1"}).at(0);
  EXPECT_EQ(line.at("channels").at(0).at("channel"), "POSITION:2");
  EXPECT_EQ(line.at("channels").at(0).at("members").at(0).at("mean"), 3.0);
}

TEST_F(OlderFile, GivesTheReaderNoMemberUnderANameThatIsTooLong) {
  const std::string name = "A/NAME/OF/THIRTY/LETTERS/IN/ALL";  // with ":0" it would have 33
  std::vector<std::string> arguments = {"read", write_older_file(folder, name), "-c", name + ":2",
                                        "--json"};
  const json line = lines_of(arguments).at(0);
  EXPECT_EQ(line.at("channels").at(0).at("members").at(0).at("mean"), 3.0);
  arguments.back() = "--classic";
  const process_result result = run_tool(arguments);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "ravo: " + name +
                ":2 is longer than the 31 letters under which the classic reader gives single members of "
                "older files: leave --classic out, or ask for it without ':2'\n");
}

TEST(OlderGenericSpectrum, GivesTheReaderNoSingleMembers) {
  const process_result result = read_demo({"-c", "LINAC/SPECTRUM/001:0", "--classic"}, demo_of("older"));
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err,
            "ravo: LINAC/SPECTRUM/001 is a generic spectrum, of which the classic reader gives no single "
            "members out "
            "of older files: leave --classic out, or ask for it without ':0'\n");
}

TEST(NameValueList, GivesTheReaderNoSingleRecords) {
  for (const char* generation : {"older", "current"}) {
    const process_result result = read_demo({"-c", "LINAC/STATUS/001:1", "--classic"}, demo_of(generation));
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err,
              "ravo: LINAC/STATUS/001 is a name-value list, of which the classic reader gives no single "
              "records: leave "
              "--classic out, or ask for it without ':1'\n");
  }
}

std::string both_generations(const std::string& older, const std::string& current) {
  return "ravo: " + older + " is of the older generation of the raw format, " + current +
         " of the current one, and a request reads one generation; read them apart, or rewrite the older "
         "files "
         "first: `ravo convert " +
         older + " --into DIR`\n";
}

TEST(FilesOfBothGenerations, AreRefusedByTheReaderInAnyOrder) {
  const std::string older = demo_of("older").files[1], current = demo().files[0];
  for (const auto& files :
       {std::vector<std::string>{older, current}, {current, older}, {current, demo().files[1], older}}) {
    std::vector<std::string> arguments{"read"};
    arguments.insert(arguments.end(), files.begin(), files.end());
    arguments.insert(arguments.end(), {"-c", "*", "--classic"});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, both_generations(older, current));
  }
}

// The dataset layer reads both.
TEST(FilesOfBothGenerations, AreReadTogether) {
  const process_result result =
      run_tool({"read", demo().files[1], demo_of("older").files[0], "-c", "LINAC/BPM/001", "--json"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  const std::vector<json> events = event_lines(result.out);
  ASSERT_EQ(events.size(), 80u);
  EXPECT_EQ(events.front().at("event"), 1000001);
  EXPECT_EQ(events.back().at("event"), 1000080);
  EXPECT_TRUE(events.front().at("generation").is_null());
  EXPECT_EQ(events.front().at("channels")[0].at("dtype"), "RAVO_BLOCK_BPM");
  EXPECT_EQ(events.back().at("channels")[0].at("dtype"), "RAVO_BLOCK_BPM_2010");
}

// Whichever file comes first. The dataset layer reads both.
TEST(FilesOfBothGenerations, AreRefusedByTheReaderInOneFolder) {
  for (const std::string first : {"current", "older"}) {
    const temporary_folder folder;
    const std::string earlier = demo_of(first).files[0];
    const std::string later = demo_of(first == "older" ? "current" : "older").files[1];
    for (const std::string& file : {earlier, later})
      std::filesystem::copy(file, folder.path() / std::filesystem::path(file).filename());
    const auto files = raw_files(folder.path());
    const std::string message =
        first == "older" ? both_generations(files[0], files[1]) : both_generations(files[1], files[0]);
    const std::vector<std::string> request = {"/usr/bin/env", "RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME=1",
                                              RAVO_TOOL,      "read",
                                              "--run",        "1",
                                              "--catalog",    folder.file("none"),
                                              "--data",       folder.path().string()};
    std::vector<std::string> reading = request, explaining = request;
    reading.insert(reading.end(), {"-c", "LINAC/BPM/001", "--classic"});
    explaining.insert(explaining.end(), {"--explain", "--json"});
    const process_result read = run_process(reading), explained = run_process(explaining);
    EXPECT_EQ(read.exit_code, 1);
    EXPECT_EQ(read.out, "");
    EXPECT_EQ(read.err, message);
    EXPECT_EQ(explained.exit_code, 0) << explained.err;
    const std::vector<json> lines = json_lines(explained.out);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].at("generation"), first);
    for (const json& line : lines) EXPECT_EQ(line.at("read"), true);
  }
}

TEST_F(OlderFile, MayStandBesideCurrentOnesWhereFilesAreShownOneByOne) {
  const std::vector<json> lines = lines_of({"info", demo().files[0], file, "--json"});
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].at("generation"), "current");
  EXPECT_EQ(lines[1].at("generation"), "older");
}

TEST_F(OlderFile, IsNamedWithTheTableThatIsDamaged) {
  std::vector<unsigned char> bytes = read_file(file);
  const json tables = lines_of({"info", file, "--json"}).at(0).at("tables");
  const std::size_t dictionary = tables.at("channel_dictionary").at("offset");
  bytes.at(dictionary) ^= 0xff;
  const std::string damaged = folder.write("damaged.raw", bytes);
  const process_result result = run_tool({"info", damaged});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr(damaged + ": damaged: channel dictionary: "));
  bytes.resize(bytes.size() - 40);
  const std::string cut = folder.write("cut.raw", bytes);
  EXPECT_THAT(run_tool({"info", cut}).err, HasSubstr("it begins like a raw file, so its end is missing"));
}

TEST(OlderSimulation, IsWrittenWhenAskedFor) {
  const temporary_folder folder;
  const std::string made = folder.file("made");
  const process_result result =
      run_tool({"simulate", made, "--files", "1", "--events", "5", "--generation", "older"});
  ASSERT_EQ(result.exit_code, 0) << result.err;
  const json line = json_lines(run_tool({"info", raw_files(made).at(0), "--json"}).out).at(0);
  EXPECT_EQ(line.at("generation"), "older");
  EXPECT_EQ(run_tool({"simulate", made, "--generation", "oldest"}).exit_code, 2);
}

}  // namespace
