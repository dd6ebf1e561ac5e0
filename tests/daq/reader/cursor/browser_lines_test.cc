// The channel browser over a scripted reader: what it asks, and the lines it makes of the answers.
#include <gtest/gtest.h>

#include "handmade_event.h"
#include "ravo_daq_data.h"
#include "ravo_daq_reader.h"
#include "refusals.h"

namespace ravo::test {
namespace {

struct BrowserLines : testing::Test {
  ravo_daq_browser browser;
  BrowserLines() {
    script = {};
    EXPECT_EQ(browser.Init("file.raw"), 0);
    script.asked.clear();
  }
  std::string line_of(unsigned evmask, unsigned dtmask) {
    script.channels = {{"NAME", 3, evmask, dtmask}};
    return listen([&] { browser.PrintChan(); }).out;
  }
};

TEST_F(BrowserLines, NameTheTypeOfASingleBitBelow30) {
  for (unsigned bit = 0; bit < 32; ++bit) {
    char expected[200];
    const unsigned type = bit < 30 ? bit : 0;
    std::snprintf(expected, sizeof expected,
                  "0-0 3  evtype: %u mask: %xd dtype: %u mask:%x NAME\ncollected 1-1 channels\n", type,
                  1u << bit, type, 1u << bit);
    EXPECT_EQ(line_of(1u << bit, 1u << bit), expected);
  }
}

TEST_F(BrowserLines, NameNoTypeOfOtherMasks) {
  EXPECT_EQ(line_of(0, 0), "0-0 3  evtype: 0 mask: 0d dtype: 0 mask:0 NAME\ncollected 1-1 channels\n");
  EXPECT_EQ(line_of(0x22, 0x80000001),
            "0-0 3  evtype: 0 mask: 22d dtype: 0 mask:80000001 NAME\ncollected 1-1 channels\n");
  EXPECT_EQ(line_of(0xffffffff, 0x40000000),
            "0-0 3  evtype: 0 mask: ffffffffd dtype: 0 mask:40000000 NAME\ncollected 1-1 channels\n");
}

TEST_F(BrowserLines, PassOverChannelsWithoutEvents) {
  script.channels = {{"NONE", 0, 1, 1}, {"A", 1, 2, 4}, {"LESS", -1, 1, 1}, {"", 5, 1, 1}, {"B", 2, 4, 2}};
  EXPECT_EQ(listen([&] { browser.PrintChan(); }).out,
            "0-1 1  evtype: 1 mask: 2d dtype: 2 mask:4 A\n"
            "1-4 2  evtype: 2 mask: 4d dtype: 1 mask:2 B\n"
            "collected 2-5 channels\n");
  EXPECT_EQ(browser.GetChanName(0, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(browser.GetChanName(2, nullptr, nullptr, nullptr), nullptr);
  EXPECT_STREQ(browser.GetChanName(4, nullptr, nullptr, nullptr), "B");
}

TEST_F(BrowserLines, AreAbsentForAFileThatTheReaderCannotRead) {
  script.results["get_number_of_channels"] = RAVO_DAQ_READER_BAD_FILE_FORMAT;
  EXPECT_EQ(browser.GetNchan(), unreadable_file);
  const said heard = listen([&] { browser.PrintChan(); });
  EXPECT_EQ(heard.out, "collected 0--2 channels\n");
  EXPECT_EQ(heard.error, "");
}

TEST_F(BrowserLines, ComeFromTheReaderByTheFilesName) {
  browser.GetNchan();
  browser.ListChan();
  EXPECT_EQ(script.asked,
            (std::vector<std::string>{"get_number_of_channels file.raw 0", "print_all_channels file.raw"}));
}

TEST_F(BrowserLines, AreThoseOfTheOldFileAfterARefusedName) {
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.Init(nullptr), no_name); }).error,
            "ravo_daq_browser::Init: no input filename\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.Init(""), short_name); }).error,
            "ravo_daq_browser::Init: wrong filename len= 0\n");
  EXPECT_EQ(browser.GetStatus(), 1);
  EXPECT_STREQ(browser.GetFileName(), "file.raw");
  EXPECT_EQ(browser.Init("ab"), 0);
  EXPECT_STREQ(browser.GetFileName(), "ab");
}

TEST_F(BrowserLines, EndWithTheReaderThatIsCleanedAndDestroyed) {
  browser.Clean();
  EXPECT_EQ(script.asked, (std::vector<std::string>{"clean_up", "destroyed"}));
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.GetNchan(), not_initialised); }).error,
            "ravo_daq_browser::GetNchan: wrong Status 0\n");
}

}  // namespace
}  // namespace ravo::test
