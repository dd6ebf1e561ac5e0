// Files that cannot be read: every verb says which file and why, with exit code 1 and nothing on
// standard output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;
using testing::StartsWith;

const char* const good_name = "linac_main_run1_file1_20250301T080000Z.raw";

class Refusals : public testing::TestWithParam<const char*> {
 protected:
  static std::vector<std::string> way_that_needs_all_tables() {
    if (GetParam() == std::string("read")) return {"--classic"};
    return {};
  }
  process_result run(const std::string& file, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {GetParam(), file};
    arguments.insert(arguments.end(), more.begin(), more.end());
    if (std::string(GetParam()) == "read") arguments.insert(arguments.end(), {"-c", "LINAC/BPM/001"});
    if (std::string(GetParam()) == "headers") arguments.push_back("LINAC/BPM/001");
    return run_tool(arguments);
  }
  void expect_refusal(const std::string& file, const std::string& reason) {
    const process_result result = run(file);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ravo: " + file + ": " + reason + "\n");
  }
  std::string write(const std::vector<unsigned char>& bytes) { return folder.write(good_name, bytes); }
  std::string write(std::string_view text) {
    return write(std::vector<unsigned char>(text.begin(), text.end()));
  }

  temporary_folder folder;
};

TEST_P(Refusals, AMissingFile) { expect_refusal(folder.file(good_name), "No such file or directory"); }

TEST_P(Refusals, AFolder) {
  if (GetParam() != std::string("read"))
    return expect_refusal(folder.path().string(), "is a folder, not a file");
  // `read` takes a folder for the raw files in it.
  const process_result result = run(folder.path().string());
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: the folder " + folder.path().string() + " holds no raw files (*.raw)\n");
}

TEST_P(Refusals, ADevice) { expect_refusal("/dev/null", "is not a regular file"); }

TEST_P(Refusals, AnEmptyFile) { expect_refusal(write(""), "is empty"); }

TEST_P(Refusals, ThreeBytes) { expect_refusal(write("abc"), "too short for a raw file"); }

TEST_P(Refusals, AText) {
  const process_result result = run(write(std::string(5000, 'x') + "\nA list of files, perhaps.\n"));
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, StartsWith("ravo: " + folder.file(good_name) +
                                     ": not a readable raw file: file reference table: "));
  EXPECT_THAT(result.err, HasSubstr("; it looks like a text, not like a raw file\n"));
}

TEST_P(Refusals, SomeoneElsesBytes) {
  std::vector<unsigned char> bytes(4096);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 37 + i / 256);
  const process_result result = run(write(bytes));
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, HasSubstr("; it does not begin like a raw file of either generation\n"));
}

TEST_P(Refusals, AFileThatWasCutOff) {
  std::vector<unsigned char> bytes = read_file(demo().files[0]);
  for (const std::size_t size : {bytes.size() - 1, bytes.size() / 2, std::size_t{100}}) {
    bytes.resize(size);
    const process_result result = run(write(bytes));
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("it begins like a raw file, so its end is missing or damaged"));
  }
}

// Damages the first word of the table whose offset is at `place` in the reference table.
std::vector<unsigned char> with_damaged_table(std::size_t place) {
  std::vector<unsigned char> bytes = read_file(demo().files[0]);
  auto word = [&bytes](std::size_t at) {
    return static_cast<std::size_t>(bytes.at(at)) << 24 | static_cast<std::size_t>(bytes.at(at + 1)) << 16 |
           static_cast<std::size_t>(bytes.at(at + 2)) << 8 | bytes.at(at + 3);
  };
  bytes.at(word(word(bytes.size() - 4) + place)) ^= 0xff;
  return bytes;
}

TEST_P(Refusals, ATableThatIsDamagedIsNamed) {
  for (const auto& [place, table] :
       {std::pair(std::size_t{8}, "event index table"), std::pair(std::size_t{140}, "channel dictionary"),
        std::pair(std::size_t{144}, "event channel pointer table"),
        std::pair(std::size_t{148}, "environment dictionary")}) {
    // In the event index table the first word is the marker of the table, as in the others.
    const process_result result = run(write(with_damaged_table(place)), way_that_needs_all_tables());
    EXPECT_EQ(result.exit_code, 1) << table;
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("ravo: " + folder.file(good_name) + ": damaged: " + table + ": "));
  }
}

// The dataset layer needs less of a file than the reader, and reads some of it only on demand.
TEST(DamagedTable, CostsTheDatasetLayerWhatItNeedsOfIt) {
  const temporary_folder folder;
  const std::vector<std::string> arguments = {"read", folder.file(good_name), "-c", "LINAC/BPM/001",
                                              "--json"};
  folder.write(good_name, with_damaged_table(148));
  EXPECT_EQ(event_numbers(run_tool(arguments).out).size(), 40u) << "environment dictionary";
  const std::string file = folder.write(good_name, with_damaged_table(8));
  EXPECT_THAT(run_tool(arguments).err, StartsWith("ravo: " + file + ": damaged: event index table: "));
  folder.write(good_name, with_damaged_table(140));
  EXPECT_THAT(run_tool(arguments).err, StartsWith("ravo: " + file + ": damaged: channel dictionary: "));
}

TEST(DamagedTable, IsNamedWhereItCostsValues) {
  const temporary_folder folder;
  const std::string file = folder.write(good_name, with_damaged_table(144));
  const std::vector<std::string> arguments = {"read", file, "-c", "LINAC/BPM/001"};
  const process_result result = run_tool(arguments);
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.err, HasSubstr("ledger: 40 values expected = 0 delivered + 40 missing\n"));
  EXPECT_THAT(result.err, HasSubstr("\n  left out: " + file + ": damaged: event channel pointer table: "));
  std::vector<std::string> strict = arguments;
  strict.push_back("--strict");
  EXPECT_EQ(run_tool(strict).exit_code, 1);
}

INSTANTIATE_TEST_SUITE_P(Verbs, Refusals,
                         testing::Values("info", "channels", "index", "headers", "descr", "read"),
                         [](const testing::TestParamInfo<const char*>& tested) {
                           return std::string(tested.param);
                         });

TEST(ManyFiles, OneBadFileAmongGoodOnesIsRefusedByItsName) {
  const temporary_folder folder;
  const std::vector<unsigned char> nonsense(20, 'n');
  const std::string bad = folder.write(good_name, nonsense);
  for (const std::string verb : {"info", "channels", "index", "read"}) {
    std::vector<std::string> arguments = {verb, demo().files[0], bad};
    if (verb == "read") arguments.insert(arguments.end(), {"-c", "LINAC/BPM/001", "--strict"});
    const process_result result = run_tool(arguments);
    EXPECT_EQ(result.exit_code, 1) << verb;
    EXPECT_THAT(result.err, StartsWith("ravo: " + bad + ": ")) << verb;
  }
}

TEST(ReadRefusals, TheReaderWantsATimeInTheName) {
  const temporary_folder folder;
  const std::string copy = folder.write("copy.raw", read_file(demo().files[0]));
  const process_result result = run_tool({"read", copy, "-c", "LINAC/BPM/001", "--classic"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: " + copy +
                            ": the name holds no time, by which files are put in order; give the file the "
                            "name that its writer gave it\n");
  EXPECT_EQ(run_tool({"info", copy}).exit_code, 0);
  EXPECT_EQ(event_numbers(run_tool({"read", copy, "-c", "LINAC/BPM/001", "--json"}).out).size(), 40u);
}

// The block's compressed bytes are damaged: its event is still read, without the channel.
TEST(ReadRefusals, ABlockThatTheReaderCannotDecodeIsReportedAfterTheEvents) {
  const temporary_folder folder;
  std::vector<unsigned char> bytes = read_file(demo().files[0]);
  const std::string name = "LINAC/BPM/001";
  // The channel's name first occurs in its first block; the compressed bytes begin 280 bytes after it.
  const auto block = std::search(bytes.begin(), bytes.end(), name.begin(), name.end());
  ASSERT_NE(block, bytes.end());
  for (int i = 300; i < 340; ++i) block[i] ^= 0x5a;
  const std::string file = folder.write(good_name, bytes);
  const process_result result =
      run_tool({"read", file, "-c", name, "-c", "LINAC/BPM/002", "--json", "--classic"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(event_numbers(result.out).size(), 40u);
  EXPECT_THAT(result.err, StartsWith("ravo: not all data of the files could be read:\n  " + name + ": "));
  EXPECT_THAT(result.err, HasSubstr(" of 40 blocks read\nthe library said:\n"));
}

TEST(SimulateRefusals, AFolderThatCannotBeMade) {
  const temporary_folder folder;
  const std::string file = folder.write("file", {});
  const process_result result = run_tool({"simulate", file + "/inner"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: " + file + "/inner: Not a directory\n");
}

TEST(SimulateRefusals, AnAnswerKeyThatCannotBeWritten) {
  const temporary_folder folder;
  const std::string key = folder.file("none/key.jsonl");
  const process_result result = run_tool({"simulate", folder.path().string(), "--answer-key", key});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: " + key + ": No such file or directory\n");
  EXPECT_TRUE(raw_files(folder.path()).empty());
}

TEST(OutputRefusals, AFullDiskIsNotTakenForSuccess) {
  const process_result result =
      run_process({"/bin/sh", "-c", "'" RAVO_TOOL "' channels '" + demo().files[0] + "' >/dev/full"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: standard output cannot be written: No space left on device\n");
}

}  // namespace
