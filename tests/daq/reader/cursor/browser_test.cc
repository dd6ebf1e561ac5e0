// The channel browser over files that the writer of the older generation wrote.
#include <gtest/gtest.h>

#include "handmade_event.h"
#include "ravo_daq_data.h"
#include "refusals.h"
#include "small_older_file.h"

namespace ravo::test {
namespace {

TEST(Browser, RefusesNoNameAndAShortOne) {
  ravo_daq_browser browser;
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.Init(nullptr), no_name); }).error,
            "ravo_daq_browser::Init: no input filename\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.Init("x"), short_name); }).error,
            "ravo_daq_browser::Init: wrong filename len= 1\n");
  EXPECT_EQ(browser.GetStatus(), 0);
  EXPECT_EQ(browser.GetReader(), nullptr);
}

TEST(Browser, SaysWhichOperationCameBeforeInit) {
  ravo_daq_browser browser;
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.GetNchan(), not_initialised); }).error,
            "ravo_daq_browser::GetNchan: wrong Status 0\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.GetChanName(0, nullptr, nullptr, nullptr), nullptr); }).error,
            "ravo_daq_browser::GetNchan: wrong Status 0\n");
  EXPECT_EQ(listen([&] { browser.ListChan(); }).error, "ravo_daq_browser::ListChan: wrong Status 0\n");
  const said heard = listen([&] { browser.PrintChan(); });
  EXPECT_EQ(heard.error, "ravo_daq_browser::PrintChan: wrong Status 0\n");
  EXPECT_EQ(heard.out, "");
}

TEST(Browser, CannotListTheChannelsOfAMissingFile) {
  ravo_daq_browser browser;
  ASSERT_EQ(browser.Init("/no/such/file.raw"), 0);
  EXPECT_STREQ(browser.GetFileName(), "/no/such/file.raw");
  listen([&] { EXPECT_EQ(browser.GetNchan(), unreadable_file); });
}

TEST(Browser, PrintsAnEventTypeOnlyForASingleBit) {
  const small_older_file file;
  ravo_daq_browser browser;
  ASSERT_EQ(browser.Init(file.path()), 0);
  EXPECT_EQ(browser.GetNchan(), 3);
  int count = 0, evmask = 0, dtmask = 0;
  EXPECT_STREQ(browser.GetChanName(0, &count, &evmask, &dtmask), "TOR");
  EXPECT_EQ(count, 2);
  EXPECT_EQ(evmask, 0x42);
  EXPECT_EQ(dtmask, 0x400);
  EXPECT_EQ(browser.GetChanName(1, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(browser.GetChanName(-1, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(browser.GetChanName(3, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(listen([&] { browser.PrintChan(); }).out,
            "0-0 2  evtype: 0 mask: 42d dtype: 10 mask:400 TOR\n"
            "1-2 1  evtype: 1 mask: 2d dtype: 11 mask:800 RF\n"
            "collected 2-3 channels\n");
}

// A sanitizer sees reads of a destroyed reader, and leaks.
TEST(Browser, CleansNothingOfAnEarlierFileBeforeItIsCleanedItself) {
  const small_older_file file;
  ravo_daq_browser browser;
  ASSERT_EQ(browser.Init(file.path()), 0);
  ASSERT_EQ(browser.GetNchan(), 3);
  const char* const earlier_name = browser.GetFileName();
  const char* const channel = browser.GetChanName(0, nullptr, nullptr, nullptr);
  ravo_daq_reader* const earlier_reader = browser.GetReader();
  ASSERT_EQ(browser.Init("/no/such/file.raw"), 0);
  EXPECT_NE(browser.GetReader(), earlier_reader);
  EXPECT_STREQ(earlier_name, file.path());
  EXPECT_STREQ(channel, "TOR");
  ASSERT_EQ(browser.Init("/no/such/other.raw"), 0);
  EXPECT_STREQ(channel, "TOR");
}

TEST(Browser, TakesAnotherFileAndIsCleaned) {
  const small_older_file file;
  ravo_daq_browser browser;
  ASSERT_EQ(browser.Init("/no/such/file.raw"), 0);
  ASSERT_EQ(browser.Init(file.path()), 0);
  EXPECT_STREQ(browser.GetFileName(), file.path());
  EXPECT_EQ(browser.GetNchan(), 3);
  EXPECT_NE(listen([&] { browser.ListChan(); }).out.find("TOR"), std::string::npos);
  browser.Clean();
  browser.Clean();
  EXPECT_EQ(browser.GetStatus(), 0);
  EXPECT_EQ(browser.GetFileName(), nullptr);
  EXPECT_EQ(browser.GetReader(), nullptr);
}

}  // namespace
}  // namespace ravo::test
