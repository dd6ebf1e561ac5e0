// The list of channels that --learn writes and --expect reads.
#include "ravo_verify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "temporary_folder.h"

namespace {

using namespace ravo;
using ravo::test::temporary_folder;
using testing::ElementsAre;
using testing::HasSubstr;

std::string write(const temporary_folder& folder, std::string_view text) {
  return folder.write("list.txt", {reinterpret_cast<const unsigned char*>(text.data()), text.size()});
}

std::string failure_of(const std::string& path) {
  try {
    read_channel_list(path);
  } catch (const verification_error& failure) {
    return failure.what();
  }
  return "";
}

TEST(ChannelList, ComesBackAsItWasWritten) {
  const temporary_folder folder;
  const std::string path = folder.file("list.txt");
  write_channel_list(path, {"LINAC/B", "LINAC/A with blank"}, "From a test.");
  EXPECT_THAT(read_channel_list(path), ElementsAre("LINAC/A with blank", "LINAC/B"));
  const auto bytes = ravo::test::read_file(path);
  const std::string text(bytes.begin(), bytes.end());
  EXPECT_EQ(text,
            "# Channels that have data in every run; written by `ravo verify --learn`.\n# From a test.\n"
            "LINAC/A with blank\nLINAC/B\n");
  EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST(ChannelList, TakesCommentsEmptyLinesAndOtherLineEnds) {
  const temporary_folder folder;
  EXPECT_THAT(read_channel_list(write(folder, "# x\r\n\r\nA\r\n\nB")), ElementsAre("A", "B"));
}

TEST(ChannelList, RefusesWhatIsNoList) {
  const temporary_folder folder;
  EXPECT_THAT(failure_of(folder.file("none.txt")), HasSubstr("none.txt: No such file"));
  EXPECT_THAT(failure_of(write(folder, "# nothing\n\n")), HasSubstr("names no channel"));
  EXPECT_THAT(failure_of(write(folder, "A\n" + std::string(256, 'x') + "\n")),
              HasSubstr("line 2 is no channel's name"));
  EXPECT_THAT(failure_of(write(folder, std::string_view("A\0B\n", 4))),
              HasSubstr("line 1 is no channel's name"));
  EXPECT_NE(failure_of(folder.path().string()), "");
}

TEST(ChannelList, IsNotTouchedWhenItCannotBeWritten) {
  const temporary_folder folder;
  EXPECT_THROW(write_channel_list(folder.file("no/folder.txt"), {"A"}, ""), verification_error);
}

}  // namespace
