// ravo convert --verify-only detects a conversion that differs
// from the older file, whatever was spoiled, and says where.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "conversion.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
namespace fs = std::filesystem;

class ConvertVerify : public testing::Test {
 protected:
  std::vector<unsigned char> convert() {
    const process_result result = run_tool({"convert", older, "--into", into});
    if (result.exit_code != 0) throw std::runtime_error(result.err);
    return read_file(copy);
  }
  process_result verify() { return run_tool({"convert", older, "--into", into, "--verify-only"}); }
  process_result verify(const std::vector<unsigned char>& spoiled) {
    folder.write("new/" + fs::path(older).filename().string(), spoiled);
    return verify();
  }

  // The copy with one thing spoiled, and otherwise good.
  void expect_word_found(std::size_t offset, std::uint32_t word, const std::string& what) {
    std::vector<unsigned char> spoiled = bytes_of_copy;
    for (std::size_t i = 0; i < 4; ++i)
      spoiled.at(offset + i) = static_cast<unsigned char>(word >> (24 - 8 * i));
    expect_found(spoiled, what);
  }
  void expect_byte_found(std::size_t offset, char byte, const std::string& what) {
    std::vector<unsigned char> spoiled = bytes_of_copy;
    spoiled.at(offset) = static_cast<unsigned char>(byte);
    expect_found(spoiled, what);
  }
  void expect_found(const std::vector<unsigned char>& spoiled, const std::string& what) {
    const process_result result = verify(spoiled);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ravo: " + copy + ": does not hold what " + older + " holds: " + what + "\n");
  }

  std::size_t block(const std::string& channel, std::size_t event) const {
    return parsed.find(channel).row.at(event).chhd;
  }
  std::size_t data(const std::string& channel, std::size_t event) const {
    return block(channel, event) + 268;
  }
  std::size_t header(const std::string& channel, std::size_t event) const {
    return parsed.find(channel).row.at(event).evhd;
  }
  std::size_t server(const std::string& channel, std::size_t event) const {
    return parsed.find(channel).row.at(event).sbhd;
  }

  temporary_folder folder;
  std::string into = folder.file("new");
  std::string older = write_odd_file(folder);
  std::string copy = into + "/" + fs::path(older).filename().string();
  const std::vector<unsigned char> bytes_of_copy = convert();
  current_raw_file parsed{copy};
  const std::string longest = std::string(31, 'n');
  const std::string in_first = "channel " + longest + " in event 100 of 2023-11-14T22:13:21.000000Z: ";
};

TEST_F(ConvertVerify, FindsNothingInAGoodCopy) {
  const process_result result = verify();
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.out, copy + " holds what " + older + " holds\n1 file verified\n");
  EXPECT_EQ(read_file(copy), bytes_of_copy) << "it writes nothing";
}

TEST_F(ConvertVerify, FindsAnotherValue) {
  expect_word_found(data(longest, 0) + 32 + 4, 0x3f800000,
                    in_first + "member CH0, sample 0: 9.9999461e-41 before, 1 after");
}

TEST_F(ConvertVerify, FindsAnotherMeanThoughItIsEqual) {
  expect_word_found(data(longest, 0) + 32, 0,
                    in_first + "the mean of member CH0: 0x80000000 before, 0x00000000 after");
}

TEST_F(ConvertVerify, FindsAnotherAxis) {
  expect_word_found(data(longest, 0) + 16, 0x40000000, in_first + "inc: 1 before, 2 after");
}

TEST_F(ConvertVerify, FindsAnotherPixel) {
  const auto plain = [this](const std::string& channel) {
    return parsed.block_at(block(channel, 0)).zip_flags == 0;
  };
  ASSERT_TRUE(plain("TEXT"));
  expect_byte_found(
      data("TEXT", 2) + 3, 'r',
      "channel TEXT in event 0 of 2023-11-14T22:13:22.000000Z: byte 3 of its data: 0x6d before, 0x72 "
      "after");
}

TEST_F(ConvertVerify, FindsAnotherUpdate) {
  const std::string where = "channel MAGNET in event 200 of 2023-11-14T22:13:23.000000Z: ";
  expect_byte_found(data("MAGNET", 0), 'X', where + "property: THE.PROPERTY before, XHE.PROPERTY after");
  expect_word_found(data("MAGNET", 0) + 256, 4, where + "status: 3 before, 4 after");
  expect_word_found(data("MAGNET", 0) + 264, 18, where + "microseconds: 17 before, 18 after");
  expect_word_found(data("MAGNET", 0) + 268, 0x40000000, where + "value: 2.5 before, 2 after");
}

TEST_F(ConvertVerify, FindsTheReadingOfAnotherChannel) {
  expect_word_found(
      data("TEMPERATURE", 0), 42,
      "channel TEMPERATURE in event 201 of 2023-11-14T22:13:23.000500Z: the stored reading is another one");
}

TEST_F(ConvertVerify, FindsAnotherErrorWord) {
  expect_word_found(block(longest, 0) + 260, 1, in_first + "error bits: 0 before, 1 after");
}

TEST_F(ConvertVerify, FindsAnotherType) {
  expect_word_found(
      block(longest, 0) + 256, 44,
      in_first + "data type: RAVO_BLOCK_SINGLE before, RAVO_BLOCK_ENERGY_2010 after, which does not fit");
}

TEST_F(ConvertVerify, FindsAnotherName) {
  std::vector<unsigned char> spoiled = bytes_of_copy;
  spoiled[block(longest, 0)] = 'm';
  const process_result result = verify(spoiled);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_NE(result.err.find(in_first + "name: "), std::string::npos) << result.err;
}

TEST_F(ConvertVerify, FindsAnotherServerBlock) {
  const std::string where = "server block 1 of event 100, ";
  expect_word_found(server("POSITION", 0) + 12, 12, where + "macro-pulse: 11 before, 12 after");
  expect_word_found(server("POSITION", 0) + 272, 0, where + "trigger mask: 17185 before, 0 after");
  expect_word_found(server("POSITION", 0) + 276, 0, where + "status: 32 before, 0 after");
  expect_word_found(server("POSITION", 0) + 4, 8,
                    where + "time: 2023-11-14T22:13:21.000009Z before, 2023-11-14T22:13:21.000008Z after");
  expect_byte_found(server("POSITION", 0) + 16, 'f', where + "server: FIRST before, fIRST after");
}

TEST_F(ConvertVerify, FindsAnotherServerBlockWithoutChannels) {
  // This one is between the two that have channels.
  expect_word_found(server("POSITION", 0) + 284 + 12, 99,
                    "server block 2 of event 100, macro-pulse: 12 before, 99 after");
}

TEST_F(ConvertVerify, FindsAnotherEventHeader) {
  expect_word_found(header("POSITION", 0) + 24, 1, "event 100, trigger mask: 4660 before, 1 after");
  expect_word_found(header("POSITION", 0) + 28, 1, "event 100, status: -7 before, 1 after");
  expect_word_found(header("POSITION", 0) + 8, 101, "event 100, number: 100 before, 101 after");
}

TEST_F(ConvertVerify, FindsAnotherDescription) {
  const std::string text = "units=\"mm\"";
  const auto place = std::search(bytes_of_copy.begin(), bytes_of_copy.end(), text.begin(), text.end());
  ASSERT_NE(place, bytes_of_copy.end());
  expect_byte_found(static_cast<std::size_t>(place - bytes_of_copy.begin()) + text.find("mm"), 'c',
                    "description of POSITION, units: mm before, cm after");
}

TEST_F(ConvertVerify, FindsAnotherEnvironmentIndex) {
  expect_word_found(parsed.reference(148) + 12, 40,
                    "channel TEMPERATURE, environment index: 41 before, 40 after");
}

TEST_F(ConvertVerify, FindsAnotherKey) {
  expect_word_found(parsed.reference(140) + 8, 501, "channel POSITION, key: 500 before, 501 after");
}

TEST_F(ConvertVerify, FindsAnotherMaskOfEventTypes) {
  expect_word_found(parsed.reference(140) + 8 + 260, 4,
                    "channel POSITION, mask of event types: 2 before, 4 after");
}

TEST_F(ConvertVerify, FindsThatTheCopyIsAnotherFile) {
  const std::string simulated = demo_of("older").files[0];
  fs::copy(demo().files[1], into + "/" + fs::path(simulated).filename().string());
  const process_result result = run_tool({"convert", simulated, "--into", into, "--verify-only"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, testing::HasSubstr(": does not hold what "));
  fs::copy(older, copy, fs::copy_options::overwrite_existing);
  EXPECT_EQ(verify().err, "ravo: " + copy + ": is a file of the older generation, not a conversion\n");
  fs::remove(copy);
  EXPECT_EQ(verify().err, "ravo: " + copy + ": No such file or directory\n");
}

}  // namespace
