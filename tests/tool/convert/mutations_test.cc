// Older files with a few words changed, anywhere: ravo convert either refuses a file in words,
// or keeps everything that it says, which --verify checks. No partial file stays behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "conversion.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

// Offsets of words of the tables and header baskets, and of some blocks.
std::vector<std::size_t> words_of(const older_raw_file& file) {
  std::vector<std::size_t> words;
  const auto add = [&words](std::size_t first, std::size_t end) {
    for (std::size_t at = first; at + 4 <= end; at += 4) words.push_back(at);
  };
  for (const std::size_t place : {140, 144, 148, 156, 160}) {  // each a marker and its length
    const std::size_t at = file.reference(place);
    add(at, at + file.word(at + 4));
  }
  add(file.reference(8), file.reference(8) + 300);  // the event index has no length
  for (const auto& channel : file.channels())
    if (!channel.row.empty()) add(channel.row[0].chhd, channel.row[0].chhd + 60);
  add(file.size() - 172, file.size());
  return words;
}

class mutator {
 public:
  explicit mutator(const std::string& path)
      : words_(words_of(older_raw_file(path))), original_(read_file(path)) {}

  std::vector<unsigned char> next() {
    std::vector<unsigned char> bytes = original_;
    for (std::size_t changes = 1 + any(3); changes > 0; --changes) {
      const std::size_t at = words_[any(words_.size())];
      switch (any(3)) {
        case 0:
          bytes.at(at + any(4)) ^= static_cast<unsigned char>(1u << any(8));
          break;
        case 1:
          set(bytes, at, interesting_[any(std::size(interesting_))]);
          break;
        default:
          set(bytes, at, word(bytes, words_[any(words_.size())]));
      }
    }
    return bytes;
  }

 private:
  std::size_t any(std::size_t count) { return random_() % count; }
  static std::uint32_t word(const std::vector<unsigned char>& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(at + i);
    return value;
  }
  static void set(std::vector<unsigned char>& bytes, std::size_t at, std::uint32_t word) {
    for (std::size_t i = 0; i < 4; ++i) bytes.at(at + i) = static_cast<unsigned char>(word >> (24 - 8 * i));
  }

  static constexpr std::uint32_t interesting_[] = {0, 1, 2, 31, 33, 44, 0x7fffffff, 0x80000000, 0xffffffff};
  std::mt19937 random_{4711};  // the same files every time
  std::vector<std::size_t> words_;
  std::vector<unsigned char> original_;
};

TEST(ConvertMutations, AreRefusedInWordsOrKeptWhole) {
  const temporary_folder folder;
  mutator files(write_odd_file(folder));
  const std::string file = folder.file("changed.raw"), into = folder.file("new");
  int refused = 0, kept = 0;
  for (int i = 0; i < 120 && !testing::Test::HasFailure(); ++i) {
    folder.write("changed.raw", files.next());
    const process_result result = run_tool({"convert", file, "--into", into, "--verify"});
    EXPECT_THAT(result.exit_code, testing::AnyOf(0, 1)) << "file " << i << ": " << result.err;
    EXPECT_THAT(result.err, Not(HasSubstr("does not hold"))) << "file " << i;
    EXPECT_EQ(result.err.empty(), result.exit_code == 0) << "file " << i;
    if (result.exit_code == 1) {
      EXPECT_THAT(result.err, testing::StartsWith("ravo: " + file + ": ")) << i;
    }
    ++(result.exit_code == 0 ? kept : refused);
    const bool is_there = fs::exists(into + "/changed.raw");
    EXPECT_EQ(is_there, result.exit_code == 0) << "file " << i;
    std::size_t left = 0;
    if (fs::exists(into))
      for ([[maybe_unused]] const auto& entry : fs::directory_iterator(into)) ++left;
    EXPECT_EQ(left, is_there ? 1u : 0u) << "file " << i;
    fs::remove_all(into);
  }
  EXPECT_GT(refused, 20);
  EXPECT_GT(kept, 10);
}

}  // namespace
