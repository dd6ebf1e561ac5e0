// ravo convert: what it keeps, checked against the bytes of both files and against
// the simulator's answer key; what it records as lost; where the new files go.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>

#include "conversion.h"
#include "ravo_daq_writer.h"
#include "ravo_data_types.h"
#include "ravo_payload.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::HasSubstr;
namespace fs = std::filesystem;

std::string name_of(const std::string& path) { return fs::path(path).filename().string(); }

std::vector<std::string> entries_of(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  return names;
}

class Convert : public testing::Test {
 protected:
  // Converts, expects that it worked, and returns the JSON lines.
  std::vector<json> convert(std::vector<std::string> files, const std::vector<std::string>& options = {}) {
    files.insert(files.begin(), "convert");
    files.insert(files.end(), {"--into", into, "--json"});
    files.insert(files.end(), options.begin(), options.end());
    const process_result result = run_tool(files);
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return json_lines(result.out);
  }
  std::string converted(const std::string& older) const { return into + "/" + name_of(older); }

  temporary_folder folder;
  std::string into = folder.file("new");
};

TEST_F(Convert, KeepsEveryFieldOfAnOddFile) {
  const std::string older = write_odd_file(folder);
  const json line = convert({older}, {"--verify"}).at(0);
  expect_same_contents(older_raw_file(older), current_raw_file(converted(older)));
  EXPECT_EQ(line.at("outcome"), "converted");
  EXPECT_EQ(line.at("verified"), true);
  EXPECT_EQ(line.at("events"), 8);
  EXPECT_EQ(line.at("server_blocks"), 13);
  EXPECT_EQ(line.at("channels"), 10);
  EXPECT_EQ(line.at("blocks"), 18);
  EXPECT_EQ(line.at("bytes"), fs::file_size(older));
  EXPECT_EQ(line.at("output_bytes"), fs::file_size(converted(older)));
  EXPECT_EQ(entries_of(into), std::vector<std::string>{name_of(older)}) << "nothing else is left there";
}

TEST_F(Convert, KeepsHowBlocksAreStored) {
  const std::string older = write_odd_file(folder);
  convert({older});
  const older_raw_file before(older);
  const current_raw_file after(converted(older));
  for (const char* name : {"POSITION", "CAMERA", "TEXT"})
    EXPECT_EQ(before.block_at(before.find(name).row[0].chhd).zip_flags,
              after.block_at(after.find(name).row[0].chhd).zip_flags)
        << name;
  EXPECT_EQ(after.block_at(after.find("POSITION").row[0].chhd).zip_flags, 1u);
}

TEST_F(Convert, NamesTheNewTypeInTheDescriptions) {
  const std::string older = write_odd_file(folder);
  convert({older});
  const std::string before = older_raw_file(older).descriptions(),
                    after = current_raw_file(converted(older)).descriptions();
  EXPECT_THAT(before, HasSubstr("dtype=\"6\""));
  EXPECT_THAT(after, testing::Not(HasSubstr("dtype=\"6\"")));
  EXPECT_THAT(after, HasSubstr("dtype=\"38\""));
  EXPECT_THAT(after, HasSubstr("dtype=\"3\"")) << "environment readings keep theirs";
}

TEST_F(Convert, OfTheSimulatedMachineKeepsEveryByte) {
  const demo_data& data = demo_of("older");
  const std::vector<json> lines = convert(data.files, {"--verify"});
  ASSERT_EQ(lines.size(), data.files.size() + 1);
  std::uint64_t blocks = 0;
  for (const std::string& file : data.files) {
    const older_raw_file before(file);
    expect_same_contents(before, current_raw_file(converted(file)));
    for (const auto& channel : before.channels()) blocks += channel.count;
  }
  const json total = lines.back().at("total");
  EXPECT_EQ(total.at("done"), 2);
  EXPECT_EQ(total.at("failed"), 0);
  EXPECT_EQ(total.at("blocks"), blocks);
  EXPECT_EQ(total.at("blocks"), data.key.size());
  EXPECT_EQ(total.at("events"), lines[0].at("events").get<int>() + lines[1].at("events").get<int>());
}

// The tool reads the conversion like the older files, except for the types and what follows from them.
TEST_F(Convert, IsReadLikeTheOlderFiles) {
  const demo_data& data = demo_of("older");
  convert(data.files);
  const std::vector<std::string> options = {"--json", "--checksum", "-c", "*"};
  std::vector<std::string> arguments = {"read"};
  for (const std::string& file : data.files) arguments.push_back(converted(file));
  arguments.insert(arguments.end(), options.begin(), options.end());
  const process_result read = run_tool(arguments);
  ASSERT_EQ(read.exit_code, 0) << read.err;
  const std::vector<json> before = event_lines(read_demo(options, data).out), after = event_lines(read.out);
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    json older = before[i], current = after[i];
    EXPECT_EQ(current.at("generation"), "current");
    for (json* event : {&older, &current}) {
      event->erase("generation");
      for (json& channel : event->at("channels"))
        for (const char* follows_from_type : {"dtype", "bytes", "crc32"}) channel.erase(follows_from_type);
    }
    ASSERT_EQ(older, current);
  }
}

TEST_F(Convert, AnswersTheKeyOfTheOlderFiles) {
  const demo_data& data = demo_of("older");
  convert(data.files);
  std::map<std::pair<unsigned, std::string>, json> missing;
  for (const json& line : data.key) missing[{line.at("event"), line.at("channel")}] = line;
  std::vector<std::string> arguments = {"read"};
  for (const std::string& file : data.files) arguments.push_back(converted(file));
  arguments.insert(arguments.end(), {"--json", "-c", "*"});
  for (const json& event : event_lines(run_tool(arguments).out))
    for (const json& channel : event.at("channels")) {
      if (channel.at("held").get<bool>()) continue;
      const auto known = missing.find({channel.at("event"), channel.at("channel")});
      ASSERT_NE(known, missing.end()) << channel;
      EXPECT_EQ(channel.at("time"), known->second.at("time"));
      const json members = known->second.value("members", json::array());
      for (std::size_t i = 0; i < members.size(); ++i)
        for (const char* field : {"count", "mean", "min", "max"})
          EXPECT_EQ(channel.at("members")[i].at(field), members[i].at(field)) << channel;
      if (HasFailure()) return;
      missing.erase(known);
    }
  EXPECT_TRUE(missing.empty()) << missing.begin()->second;
}

TEST_F(Convert, GivesTheSameBytesAgain) {
  const std::string older = write_odd_file(folder);
  convert({older});
  const std::vector<unsigned char> first = read_file(converted(older));
  convert({older}, {"--force"});
  EXPECT_EQ(read_file(converted(older)), first);
}

// ---- types ----------------------------------------------------------------------------------------------

struct type_pair {
  int older;
  int current;
  const char* lost;  // part of the text; null: nothing is lost
};

constexpr type_pair type_pairs[] = {
    {1, 33, nullptr},   {3, 3, nullptr},     {4, 36, nullptr},    {5, 37, nullptr},
    {6, 38, nullptr},   {7, 39, nullptr},    {8, 40, nullptr},    {9, 41, nullptr},
    {10, 42, nullptr},  {11, 43, nullptr},   {12, 44, nullptr},   {13, 13, nullptr},
    {14, 41, "SIGNAL"}, {15, 46, "WSS_RAW"}, {16, 48, nullptr},   {17, 49, nullptr},
    {18, 50, nullptr},  {19, 51, nullptr},   {20, 46, "WSS_RAW"}, {21, 46, "WSS_RAW"},
    {22, 22, nullptr},  {23, 23, nullptr},   {24, 24, nullptr},   {25, 25, nullptr},
    {26, 26, nullptr},  {27, 27, nullptr},   {28, 28, nullptr},   {31, 33, "of their own"},
};

// One block of the type, in host order.
std::vector<unsigned char> payload_of(const ravo::data_type& type) {
  using enum ravo::payload_shape;
  if (type.shape == spectrum_older) {
    std::vector<unsigned char> block(sizeof(ravo_spect_head) + static_cast<std::size_t>(type.members) * 12,
                                     0x40);
    const ravo_spect_head head{type.members, 2, 0, 1};
    std::memcpy(block.data(), &head, sizeof head);
    return block;
  }
  if (type.shape == spectrum) {
    std::vector<unsigned char> block(sizeof(ravo_spect_head_2010) + 8, 0x41);
    const ravo_spect_head_2010 head{2, 1, 1, 0, 1, 0, 0, 0};
    std::memcpy(block.data(), &head, sizeof head);
    return block;
  }
  if (type.shape == update_older) return std::vector<unsigned char>(sizeof(ravo_upd_data_block));
  if (type.shape == environment) return std::vector<unsigned char>(sizeof(ravo_env_data_block));
  if (type.shape == image) return std::vector<unsigned char>(sizeof(ravo_image_frame_head));
  if (type.shape == image_ext) return std::vector<unsigned char>(sizeof(ravo_image_ext_frame_head));
  if (type.shape == roi) return std::vector<unsigned char>(sizeof(ravo_roi_head));
  if (type.shape == name_value) return std::vector<unsigned char>(sizeof(ravo_name_value_block));
  return {'t', 'e', 'x', 't', 0};
}

TEST_F(Convert, GivesEveryOlderTypeItsCurrentOneAndSaysWhatIsLost) {
  ravo_daq_writer writer;
  const auto must = [&writer](int status) {
    if (status < 0) throw std::runtime_error(writer.get_last_error());
  };
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  must(writer.open(settings));
  std::set<int> older_types;
  for (const ravo::data_type& type : ravo::data_types)
    if (type.generation != ravo::type_generation::current && type.members > 0) {
      older_types.insert(type.code);
      must(writer.add_channel({"T" + std::to_string(type.code), type.code, ravo_compression::none}));
    }
  must(writer.begin_event({1, RAVO_EV_NORMAL, {1700000000, 0}, 0, 0}));
  must(writer.begin_server_block({"S", {1700000000, 0}, 0, 0, 0}));
  int index = 0;
  for (const int code : older_types) {
    const auto payload = payload_of(*ravo::find_data_type(code));
    must(writer.add_data(index++, payload.data(), payload.size()));
  }
  must(writer.end_event());
  must(writer.close());
  const std::string older = writer.get_files().at(0);

  const json line = convert({older}, {"--verify"}).at(0);
  std::map<std::string, std::string> losses;
  for (const json& loss : line.at("losses")) losses[loss.at("channel")] = loss.at("text");
  const current_raw_file after(converted(older));
  expect_same_contents(older_raw_file(older), after);
  ASSERT_EQ(std::size(type_pairs), older_types.size());
  for (const type_pair& pair : type_pairs) {
    const std::string name = "T" + std::to_string(pair.older);
    EXPECT_EQ(after.block_at(after.find(name).row.at(0).chhd).dtype,
              static_cast<std::uint32_t>(pair.current))
        << name;
    EXPECT_EQ(losses.contains(name), pair.lost != nullptr) << name;
    if (pair.lost) {
      EXPECT_THAT(losses[name], HasSubstr(pair.lost));
    }
  }
  EXPECT_THAT(
      run_tool({"convert", older, "--into", into, "--force"}).out,
      HasSubstr("\n  T20: RAVO_BLOCK_WSS_RAW became RAVO_BLOCK_WS_2010, which does not say which of "
                "WS_SLOW, WSS_RAW and WSS_COR it was\n"));
}

// ---- where files go -------------------------------------------------------------------------------------

TEST_F(Convert, ReportsItsWorkToPeople) {
  const std::string older = demo_of("older").files[0];
  const process_result result = run_tool({"convert", older, "--into", into, "--verify"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  const std::string sizes = std::to_string(fs::file_size(older)) + " bytes -> " +
                            std::to_string(fs::file_size(converted(older))) + " bytes\n";
  EXPECT_EQ(result.out, older + " -> " + converted(older) +
                            "  verified\n"
                            "  90 events, 828 blocks of 30 channels, " +
                            sizes + "1 file converted: 90 events, 828 blocks, " + sizes);
}

TEST_F(Convert, TakesTheRawFilesOfAFolderAndLeavesCurrentOnesAlone) {
  const std::string archive = folder.file("archive");
  fs::create_directory(archive);
  const std::string older = archive + "/" + name_of(demo_of("older").files[0]);
  const std::string current = archive + "/" + name_of(demo().files[1]);
  fs::copy(demo_of("older").files[0], older);
  fs::copy(demo().files[1], current);
  folder.write("archive/notes.txt", std::vector<unsigned char>{'x'});
  const std::vector<json> lines = convert({archive});
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].at("file"), older);
  EXPECT_EQ(lines[0].at("outcome"), "converted");
  EXPECT_EQ(lines[1], json({{"file", current}, {"outcome", "current_already"}}));
  EXPECT_EQ(lines[2].at("total").at("current_already"), 1);
  EXPECT_EQ(entries_of(into), std::vector<std::string>{name_of(older)});
}

TEST_F(Convert, SaysWhenThereIsNothingToConvert) {
  const process_result result = run_tool({"convert", demo().files[0], demo().files[1], "--into", into});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, demo().files[0] + ": is of the current generation already\n" + demo().files[1] +
                            ": is of the current generation already\n");
  EXPECT_EQ(result.err, "ravo: there is no file of the older generation among the 2 files\n");
  EXPECT_FALSE(fs::exists(into));
}

TEST_F(Convert, ReplacesNothingUnlessForced) {
  const std::string older = write_odd_file(folder);
  fs::create_directory(into);
  folder.write("new/" + name_of(older), std::vector<unsigned char>{'m', 'i', 'n', 'e'});
  const process_result refused = run_tool({"convert", older, "--into", into});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.err, "ravo: " + converted(older) + ": is there already; --force replaces it\n");
  EXPECT_EQ(read_file(converted(older)).size(), 4u);
  convert({older}, {"--force"});
  expect_same_contents(older_raw_file(older), current_raw_file(converted(older)));
}

TEST_F(Convert, NeverReplacesWhatItReads) {
  const std::string older = write_odd_file(folder);
  const std::vector<unsigned char> bytes = read_file(older);
  const process_result result = run_tool({"convert", older, "--into", folder.path().string(), "--force"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err,
            "ravo: --into: " + older + " would take the place of itself; name another folder\n");
  EXPECT_EQ(read_file(older), bytes);
}

// A problem of the folder is reported once, however many files there are.
TEST_F(Convert, SaysOnceThatTheFolderIsNone) {
  const std::string one = write_odd_file(folder);
  const process_result unnamed = run_tool({"convert", one, demo_of("older").files[0], "--into", ""});
  EXPECT_EQ(unnamed.exit_code, 2);
  EXPECT_EQ(unnamed.out, "");
  EXPECT_EQ(unnamed.err, "ravo: --into: the name of the folder is empty\n");
  const std::string file = folder.write("occupied", std::vector<unsigned char>{'x'});
  for (const char* option : {"--verify", "--verify-only"}) {
    const process_result occupied =
        run_tool({"convert", one, demo_of("older").files[0], "--into", file, option});
    EXPECT_EQ(occupied.exit_code, 1);
    EXPECT_EQ(occupied.out, "");
    EXPECT_EQ(occupied.err, "ravo: " + file + ": is a file, not a folder\n");
  }
}

TEST_F(Convert, SaysThatAFolderHoldsNoRawFiles) {
  fs::create_directory(folder.file("empty"));
  const process_result result = run_tool({"convert", folder.file("empty"), "--into", into});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "ravo: there are no raw files (*.raw) in " + folder.file("empty") + "\n");
  EXPECT_FALSE(fs::exists(into));
}

TEST_F(Convert, ComparesOrWritesButNotBoth) {
  for (const char* option : {"--force", "--verify"}) {
    const process_result result =
        run_tool({"convert", demo_of("older").files[0], "--into", into, "--verify-only", option});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "ravo: " + std::string(option) + " excludes --verify-only\nTry `ravo convert --help`.\n");
  }
}

TEST_F(Convert, RefusesFilesThatWouldTakeOnePlace) {
  const std::string one = write_odd_file(folder);
  fs::create_directory(folder.file("other"));
  const std::string other = folder.file("other") + "/" + name_of(one);
  fs::copy(one, other);
  const process_result result = run_tool({"convert", one, other, "--into", into});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err, "ravo: " + one + " and " + other + " would both become " + converted(one) +
                            "; convert them into folders of their own\n");
  EXPECT_FALSE(fs::exists(into));
}

TEST_F(Convert, GoesOnAfterADamagedFile) {
  const std::string good = write_odd_file(folder);
  std::vector<unsigned char> bytes = read_file(good);
  bytes.resize(bytes.size() / 2);
  const std::string cut = folder.write("cut.raw", bytes);
  const process_result result = run_tool({"convert", cut, good, folder.file("absent.raw"), "--into", into});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, testing::StartsWith("ravo: " + cut + ": not a readable raw file: "));
  EXPECT_THAT(result.err,
              HasSubstr("\nravo: " + folder.file("absent.raw") + ": No such file or directory\n"));
  EXPECT_THAT(result.err, testing::EndsWith("\nravo: 2 of 3 files failed; what is named above says why\n"));
  EXPECT_THAT(result.out, HasSubstr("1 file converted: 8 events, 18 blocks, "));
  EXPECT_EQ(entries_of(into), std::vector<std::string>{name_of(good)});
}

TEST_F(Convert, NamesAFolderThatCannotBeMade) {
  const std::string older = write_odd_file(folder);
  folder.write("new", std::vector<unsigned char>{'x'});
  const process_result result = run_tool({"convert", older, "--into", into});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, testing::StartsWith("ravo: " + into + ": "));
}

TEST_F(Convert, AsksForItsFolder) {
  EXPECT_EQ(run_tool({"convert", "x.raw"}).exit_code, 2);
  EXPECT_EQ(run_tool({"convert", "--into", into}).exit_code, 2);
}

}  // namespace
