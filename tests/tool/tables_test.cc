// ravo index and ravo headers, checked against the answer key and against the bytes of the file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;

const std::string& file() { return demo().files[0]; }

// The bytes of the first demo file as words and texts, at any offset.
class file_bytes {
 public:
  std::uint32_t word(std::size_t at) const {
    return static_cast<std::uint32_t>(bytes_.at(at)) << 24 |
           static_cast<std::uint32_t>(bytes_.at(at + 1)) << 16 |
           static_cast<std::uint32_t>(bytes_.at(at + 2)) << 8 | bytes_.at(at + 3);
  }
  std::string text(std::size_t at) const { return reinterpret_cast<const char*>(&bytes_.at(at)); }

 private:
  std::vector<unsigned char> bytes_ = read_file(file());
};

std::vector<json> index_of(std::vector<std::string> options) {
  options.insert(options.begin(), {"index", file(), "--json"});
  const process_result result = run_tool(options);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return json_lines(result.out);
}

TEST(Index, ListsEveryEventWithItsHeader) {
  const file_bytes bytes;
  const std::vector<json> lines = index_of({});
  std::map<std::string, std::size_t> count;
  for (const json& line : lines) {
    EXPECT_EQ(line.at("file"), file());
    const std::size_t at = line.at("offset");
    EXPECT_EQ(bytes.word(at), 0xffeef3f3u);
    EXPECT_EQ(bytes.word(at + 8), line.at("event"));
    ++count[line.at("type")];
  }
  std::map<std::string, std::set<unsigned>> known;
  for (const json& line : demo().key)
    if (line.at("file") == 1)
      known[line.at("event_type").get<std::string>().substr(std::strlen("RAVO_EV_"))].insert(
          line.at("event").get<unsigned>());
  std::map<std::string, std::size_t> expected;
  for (const auto& [type, events] : known) expected[type] = events.size();
  EXPECT_EQ(count, expected);
}

TEST(Index, HasTheTimesOfTheAnswerKey) {
  std::map<unsigned, std::string> times;
  for (const json& line : demo().key)
    if (line.at("event_type") == "RAVO_EV_NORMAL" && line.at("file") == 1)
      times[line.at("event")] = line.at("time");
  const std::vector<json> lines = index_of({"--type", "NORMAL"});
  ASSERT_EQ(lines.size(), times.size());
  for (const json& line : lines) EXPECT_EQ(line.at("time"), times.at(line.at("event")));
}

TEST(Index, TakesTypesByAnyName) {
  const std::vector<json> lines = index_of({"-t", "BOR"});
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].at("event"), 1000000);
  for (const char* name : {"bor", "RAVO_EV_BOR", "2"}) EXPECT_EQ(index_of({"--type", name}), lines) << name;
  EXPECT_EQ(index_of({"-t", "BOR", "-t", "IMAGE"}).size(), 41u);
}

TEST(Index, StopsAtTheLimitOfEachType) {
  EXPECT_EQ(index_of({"-t", "BOR", "-t", "IMAGE", "--limit", "3"}).size(), 4u);
}

TEST(Index, SaysWhichTypesThereAre) {
  const process_result result = run_tool({"index", file(), "--type", "HB"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "ravo: " + file() + ": no events of type HB; there are NORMAL, BOR, ENV, UPD, IMAGE\n");
}

TEST(Index, IsReadByPeople) {
  const process_result result =
      run_tool({"index", file(), "--type", "NORMAL", "--type", "BOR", "--limit", "2"});
  const std::vector<json> lines = index_of({"--type", "NORMAL", "--limit", "2"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out, testing::StartsWith(file() + "\n  NORMAL: 40 events\n"));
  EXPECT_THAT(result.out, HasSubstr("\n     1000001  " + lines[0].at("time").get<std::string>() + "  "));
  EXPECT_THAT(result.out, HasSubstr(" s  "));
  EXPECT_THAT(result.out, HasSubstr("\n         ...  38 more\n\n  BOR: 1 event\n"));
}

std::vector<json> headers_of(const std::string& channel, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"headers", file(), channel, "--json"});
  const process_result result = run_tool(options);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return json_lines(result.out);
}

TEST(Headers, AreThoseOfTheFile) {
  const file_bytes bytes;
  for (const std::string channel :
       {"LINAC/BPM/001", "LINAC/BPM/002", "LINAC/CAMERA/001", "LINAC/RUN/BEGIN"}) {
    const std::vector<json> lines = headers_of(channel);
    std::size_t in_key = 0;
    for (const json& line : demo().key)
      in_key += line.at("channel") == channel && line.at("file") == 1 ? 1 : 0;
    EXPECT_EQ(lines.size(), in_key) << channel;
    for (const json& line : lines) {
      const json &event = line.at("event_header"), &server = line.at("server_block"),
                 &block = line.at("channel_block");
      const std::size_t at_event = event.at("offset"), at_server = server.at("offset"),
                        at_block = block.at("offset");
      EXPECT_EQ(bytes.word(at_event), 0xffeef3f3u);
      EXPECT_EQ(bytes.word(at_event + 4), event.at("bytes"));
      EXPECT_EQ(bytes.word(at_event + 8), line.at("event"));
      EXPECT_EQ(bytes.word(at_event + 32), event.at("server_blocks"));
      EXPECT_EQ(bytes.word(at_server + 8), server.at("bytes"));
      EXPECT_EQ(bytes.word(at_server + 12), server.at("macro_pulse"));
      EXPECT_EQ(bytes.text(at_server + 16), server.at("server"));
      EXPECT_EQ(bytes.word(at_server + 280), server.at("channels"));
      EXPECT_EQ(bytes.text(at_block), channel);
      EXPECT_EQ(block.at("name"), channel);
      EXPECT_EQ(bytes.word(at_block + 260), block.at("error"));
      EXPECT_EQ(bytes.word(at_block + 264), block.at("bytes"));
      EXPECT_EQ(line.contains("zip_header"), (bytes.word(at_block + 260) & 0x40000000u) != 0);
      if (!line.contains("zip_header")) continue;
      EXPECT_EQ(bytes.word(at_block + 272), line.at("zip_header").at("original_bytes"));
      EXPECT_EQ(bytes.word(at_block + 276), line.at("zip_header").at("bytes"));
    }
  }
}

TEST(Headers, SayHowBlocksAreStored) {
  EXPECT_EQ(headers_of("LINAC/BPM/001", {"--limit", "1"}).at(0).at("zip_header").at("method"), "zlib");
  EXPECT_FALSE(headers_of("LINAC/BPM/002", {"--limit", "1"}).at(0).contains("zip_header"));
  EXPECT_EQ(headers_of("LINAC/BPM/003", {"--limit", "1"}).at(0).at("zip_header").at("method"), "lzo1x");
}

TEST(Headers, AreReadByPeople) {
  const json line = headers_of("LINAC/BPM/001").at(0);
  const process_result result = run_tool({"headers", file(), "LINAC/BPM/001", "--limit", "1"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.out,
              testing::StartsWith("LINAC/BPM/001 has data in 40 events of " + file() + "\nevent 1000001  " +
                                  line.at("time").get<std::string>() + "  NORMAL\n  event header   at"));
  EXPECT_THAT(result.out, HasSubstr("  LINAC.BPM.SERVER, "));
  EXPECT_THAT(result.out, HasSubstr("  BLOCK_BPM_2010, "));
  EXPECT_THAT(result.out, HasSubstr(" of 800, no error\n"));
}

TEST(Headers, OfAChannelWithoutDataAreNone) {
  const process_result result = run_tool({"headers", file(), "LINAC/TOROID/SPARE"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.out, "LINAC/TOROID/SPARE has data in 0 events of " + file() + "\n");
  EXPECT_TRUE(headers_of("LINAC/TOROID/SPARE").empty());
}

TEST(Headers, OfAnUnknownChannelAreRefused) {
  const process_result result = run_tool({"headers", file(), "LINAC/TOROID/SPAR"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "ravo: " + file() + ": no channel LINAC/TOROID/SPAR; did you mean LINAC/TOROID/SPARE?\n");
}

// Front ends report errors in a block's head: damaged data do not hide them.
TEST(Headers, ShowErrorsOfABlockWhoseDataAreDamaged) {
  const temporary_folder folder;
  std::vector<unsigned char> bytes = read_file(file());
  const std::size_t block =
      headers_of("LINAC/BPM/001", {"--limit", "1"}).at(0).at("channel_block").at("offset");
  bytes.at(block + 263) |= 0x21;
  for (std::size_t i = 280; i < 300; ++i) bytes.at(block + i) ^= 0x5a;
  const std::string damaged = folder.write("linac_main_run1_file1_20250301T080000Z.raw", bytes);
  const process_result result = run_tool({"headers", damaged, "LINAC/BPM/001", "--limit", "1"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr(", error 0x21 (RAVO_SB_ERR_NOT_COLLECTED RAVO_SB_ERR_OLD_DATA)\n"));
  const process_result lines = run_tool({"headers", damaged, "LINAC/BPM/001", "--limit", "1", "--json"});
  EXPECT_EQ(json_lines(lines.out).at(0).at("channel_block").at("error_text"),
            "0x40000021 (RAVO_SB_ERR_NOT_COLLECTED RAVO_SB_ERR_OLD_DATA RAVO_CHAN_ZIP_FLAG)");
  // Reading reports them too, if the data are good.
  std::vector<unsigned char> sound = read_file(file());
  sound.at(block + 263) |= 0x21;
  const std::string marked = folder.write("linac_main_run1_file1_20250301T080000Z.raw", sound);
  for (const char* way : {"--json", "--classic"}) {
    const process_result read = run_tool({"read", marked, "-c", "LINAC/BPM/001", "--limit", "1", way});
    EXPECT_EQ(read.exit_code, 0) << read.err;
    if (way == std::string("--json"))
      EXPECT_EQ(event_lines(read.out).at(0).at("channels")[0].at("error"), 0x21) << read.out;
    else
      EXPECT_THAT(read.out, HasSubstr("  error 0x21 (RAVO_SB_ERR_NOT_COLLECTED RAVO_SB_ERR_OLD_DATA)\n"));
  }
}

TEST(Headers, ThatAreNoneAreRefused) {
  const temporary_folder folder;
  std::vector<unsigned char> bytes = read_file(file());
  const std::size_t event =
      headers_of("LINAC/BPM/001", {"--limit", "1"}).at(0).at("event_header").at("offset");
  bytes.at(event) ^= 0xff;
  const std::string damaged = folder.write("linac_main_run1_file1_20250301T080000Z.raw", bytes);
  const process_result result = run_tool({"headers", damaged, "LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err,
            "ravo: " + damaged + ": damaged: there is no event header at " + std::to_string(event) + "\n");
}

}  // namespace
