// The channel browser over files that the writer of the older generation wrote.
#include <gtest/gtest.h>

#include <stdexcept>

#include "handmade_event.h"
#include "ravo_daq_data.h"
#include "ravo_daq_writer.h"
#include "temporary_folder.h"

namespace ravo::test {
namespace {

// Two events: TOR in both (a normal and an image event), RF in the first; IDLE in none.
class small_older_file {
 public:
  small_older_file() {
    ravo_daq_writer writer;
    ravo_daq_writer_settings settings;
    settings.folder = folder_.path().string();
    settings.run = 7;
    check(writer, writer.open(settings));
    const int tor = declare(writer, "TOR", RAVO_BLOCK_TOROID);
    const int idle = declare(writer, "IDLE", RAVO_BLOCK_TOROID);
    if (idle < 0) throw std::runtime_error("IDLE is refused");
    const int rf = declare(writer, "RF", RAVO_BLOCK_RF_250K);
    const std::string one = bytes_of(ravo_spect_head{1, 1, 0, 1}) + floats({1, 1});
    const std::string two = two_spectra<older_event>();
    for (unsigned number = 1; number <= 2; ++number) {
      ravo_daq_writer_event event;
      event.event_number = number;
      event.event_type = number == 1 ? RAVO_EV_NORMAL : RAVO_EV_IMAGE;
      event.time = {1700000000 + number, 0};
      check(writer, writer.begin_event(event));
      ravo_daq_writer_server_block server;
      server.server = "SERVER";
      server.time = event.time;
      check(writer, writer.begin_server_block(server));
      check(writer, writer.add_data(tor, one.data(), one.size()));
      if (number == 1) check(writer, writer.add_data(rf, two.data(), two.size()));
      check(writer, writer.end_event());
    }
    check(writer, writer.close());
    path_ = writer.get_files().at(0);
  }
  const char* path() const { return path_.c_str(); }

 private:
  static void check(ravo_daq_writer& writer, int status) {
    if (status != 0) throw std::runtime_error(writer.get_last_error());
  }
  static int declare(ravo_daq_writer& writer, const char* name, RAVO_SUBBLOCK_TYPE dtype) {
    ravo_daq_writer_channel channel;
    channel.name = name;
    channel.dtype = dtype;
    return writer.add_channel(channel);
  }
  temporary_folder folder_;
  std::string path_;
};

TEST(Browser, RefusesNoNameAndAShortOne) {
  ravo_daq_browser browser;
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.Init(nullptr), -1); }).error,
            "ravo_daq_browser::Init: no input filename\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.Init("x"), -2); }).error,
            "ravo_daq_browser::Init: wrong filename len= 1\n");
  EXPECT_EQ(browser.GetStatus(), 0);
  EXPECT_EQ(browser.GetReader(), nullptr);
}

TEST(Browser, SaysWhichOperationCameBeforeInit) {
  ravo_daq_browser browser;
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.GetNchan(), -1); }).error,
            "ravo_daq_browser::GetNchan: wrong Status 0\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(browser.GetChanName(0, nullptr, nullptr, nullptr), nullptr); }).error,
            "ravo_daq_browser::GetNchan: wrong Status 0\n");
  EXPECT_EQ(listen([&] { browser.ListChan(); }).error, "ravo_daq_browser::ListChan: wrong Status 0\n");
  const said heard = listen([&] { browser.PrintChan(); });
  EXPECT_EQ(heard.error, "ravo_daq_browser::PrintChan: wrong Status 0\n");
  EXPECT_EQ(heard.out, "");
}

TEST(Browser, CannotTellTheChannelsOfAFileThatIsNotThere) {
  ravo_daq_browser browser;
  ASSERT_EQ(browser.Init("/no/such/file.raw"), 0);
  EXPECT_STREQ(browser.GetFileName(), "/no/such/file.raw");
  listen([&] { EXPECT_EQ(browser.GetNchan(), -2); });
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

TEST(Browser, TakesAnotherFileAndIsCleaned) {
  const small_older_file file;
  ravo_daq_browser browser;
  ASSERT_EQ(browser.Init("/no/such/file.raw"), 0);
  ASSERT_EQ(browser.Init(file.path()), 0);
  EXPECT_EQ(browser.GetNchan(), 3);
  EXPECT_NE(listen([&] { browser.ListChan(); }).out.find("TOR"), std::string::npos);
  browser.Clean();
  EXPECT_EQ(browser.GetStatus(), 0);
  EXPECT_EQ(browser.GetFileName(), nullptr);
  EXPECT_EQ(browser.GetReader(), nullptr);
}

}  // namespace
}  // namespace ravo::test
