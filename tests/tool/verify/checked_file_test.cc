// Files that do not exist, that are not regular, and that change while they are checked.
#include "checked_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "simulated_files.h"

namespace {

using namespace ravo::checks;
using namespace ravo::test;
using testing::ElementsAre;

std::vector<unsigned char> counting_bytes(std::size_t count) {
  std::vector<unsigned char> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
  return bytes;
}

TEST(CheckedFile, IsReadInWindowsAsItIs) {
  const temporary_folder folder;
  const auto bytes = counting_bytes(10'000);
  const checked_file file(folder.write("a", bytes));
  EXPECT_EQ(file.size(), bytes.size());
  EXPECT_EQ(file.word(0), 0x00070e15u);
  window moving(file, 100);
  for (const auto& [offset, length] : {std::pair<std::size_t, std::size_t>{0, 10},
                                       {90, 10},
                                       {95, 10},
                                       {0, 5'000},
                                       {9'999, 1},
                                       {10'000, 0},
                                       {3, 4},
                                       {9'000, 1'000}})
    EXPECT_EQ(std::vector<unsigned char>(moving.at(offset, length), moving.at(offset, length) + length),
              std::vector<unsigned char>(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                                         bytes.begin() + static_cast<std::ptrdiff_t>(offset + length)))
        << offset;
}

TEST(CheckedFile, KnowsWhatItHolds) {
  const temporary_folder folder;
  const checked_file file(folder.write("a", counting_bytes(100)));
  EXPECT_TRUE(file.holds(96, 4));
  EXPECT_FALSE(file.holds(97, 4));
  EXPECT_FALSE(file.holds(101, 0));
  EXPECT_FALSE(file.holds(~std::uint64_t{0}, 4));
  EXPECT_FALSE(file.holds(4, ~std::uint64_t{0}));
}

TEST(CheckedFile, EndsAReadWhenItHasBecomeShorter) {
  const temporary_folder folder;
  const std::string path = folder.write("a", counting_bytes(10'000));
  const checked_file file(path);
  window moving(file, 100);
  moving.at(0, 50);
  EXPECT_FALSE(file.has_changed());
  ASSERT_EQ(truncate(path.c_str(), 60), 0);
  EXPECT_TRUE(file.has_changed());
  EXPECT_THROW(moving.at(200, 8), file_lost);
  EXPECT_THROW(moving.at(0, 50), file_lost);  // the old contents of the window are not returned again
  EXPECT_THROW(file.word(60), file_lost);
}

TEST(CheckedFile, MustBeAFile) {
  const temporary_folder folder;
  const std::string pipe = folder.file("pipe.raw");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(lines_of(findings_of({folder.file("none.raw")})),
              ElementsAre("none.raw file.unreadable - - - x1"));
  EXPECT_THAT(lines_of(findings_of({folder.path().string()})),
              ElementsAre(testing::EndsWith(" file.unreadable - - - x1")));
  EXPECT_THAT(lines_of(findings_of({pipe})), ElementsAre("pipe.raw file.unreadable - - - x1"));
  EXPECT_THAT(lines_of(findings_of({"/dev/zero"})), ElementsAre("zero file.unreadable - - - x1"));
}

// Truncates the file as soon as a part of it was checked. With one thread:
// with several, another one might finish before the reporting one has begun.
std::vector<std::string> check_and_truncate(const std::string& path, off_t length) {
  bool is_cut = false;
  const file_result result = check_file(path, ravo::verification_depth::blocks, 1, [&](std::uint64_t) {
    if (!is_cut) is_cut = truncate(path.c_str(), length) == 0;
  });
  return lines_of(result.findings.list());
}

TEST(FileThatShrinks, IsReportedAndNothingElseIs) {
  for (const off_t left : {0, 10'000, 300'000}) {
    const copied_run run(ravo_file_generation::current);
    EXPECT_THAT(check_and_truncate(run.made.files[0], left), ElementsAre("- file.changed - - - x1"))
        << left;
  }
}

TEST(FileThatGrows, IsReportedToo) {
  const copied_run run(ravo_file_generation::older);
  const auto size = std::filesystem::file_size(run.made.files[0]);
  EXPECT_THAT(check_and_truncate(run.made.files[0], static_cast<off_t>(size + 4096)),
              ElementsAre("- file.changed - - - x1"));
}

TEST(FileThatVanishes, IsCheckedToItsEnd) {
  const copied_run run(ravo_file_generation::current);
  bool is_gone = false;
  const file_result result =
      check_file(run.made.files[0], ravo::verification_depth::blocks, 1, [&](std::uint64_t) {
        if (!is_gone) is_gone = std::filesystem::remove(run.made.files[0]);
      });
  EXPECT_TRUE(is_gone);
  EXPECT_TRUE(result.findings.empty());
}

TEST(FileCheck, EndsWhenTheReportThrows) {
  struct stopped {};
  const copied_run run(ravo_file_generation::current);
  EXPECT_THROW(check_file(run.made.files[0], ravo::verification_depth::blocks, 4,
                          [](std::uint64_t) { throw stopped{}; }),
               stopped);
}

}  // namespace
