// Calendar times and the file list: results, and every text with its line ends.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <iostream>
#include <stdexcept>
#include <string>

#include "handmade_event.h"
#include "ravo_daq_data.h"

namespace ravo::test {
namespace {

// A time zone for the time of one test.
class time_zone {
 public:
  explicit time_zone(const char* name) {
    if (const char* before = std::getenv("TZ")) before_ = before;
    setenv("TZ", name, 1);
    tzset();
  }
  ~time_zone() {
    if (before_.empty())
      unsetenv("TZ");
    else
      setenv("TZ", before_.c_str(), 1);
    tzset();
  }

 private:
  std::string before_;
};

TEST(CalendarTime, IsLocalTime) {
  const time_zone zone("XXX-2");
  long seconds = 0;
  const said heard = listen([&] { seconds = ravo_daq_time(2010, 1, 1, 0, 0, 0); });
  EXPECT_EQ(seconds, 1262304000 - 7200);
  EXPECT_EQ(heard.out, "ravo_daq_time: Fri Jan  1 00:00:00 2010\n\n");
  EXPECT_EQ(heard.error, "");
}

TEST(CalendarTime, LetsTheZoneDecideOnSummerTime) {
  const time_zone zone("XXX-1YYY,M3.5.0,M10.5.0/3");
  listen([&] {
    EXPECT_EQ(ravo_daq_time(2010, 7, 1, 0, 0, 0), 1277942400 - 7200);
    EXPECT_EQ(ravo_daq_time(2010, 1, 1, 0, 0, 0), 1262304000 - 3600);
  });
}

TEST(CalendarTime, RollsMonth13OverIntoTheNextYear) {
  const time_zone zone("UTC0");
  long seconds = 0;
  const said heard = listen([&] { seconds = ravo_daq_time(2009, 13, 1, 0, 0, 60); });
  EXPECT_EQ(seconds, 1262304060);
  EXPECT_EQ(heard.out, "ravo_daq_time: Fri Jan  1 00:01:00 2010\n\n");
}

TEST(CalendarTime, CarriesWhateverIsOutOfRange) {
  const time_zone zone("UTC0");
  listen([&] {
    EXPECT_EQ(ravo_daq_time(2010, 0, 32, 24, -60, 0), 1262304000 - 31 * 86400 + 31 * 86400 + 86400 - 3600);
    EXPECT_EQ(ravo_daq_time(1970, 1, 0, 0, 0, 0), -86400);
  });
}

TEST(CalendarTime, HasNoSecondsForAYearThatNoCalendarHas) {
  const time_zone zone("UTC0");
  constexpr int most = 0x7fffffff;
  listen([&] { EXPECT_EQ(ravo_daq_time(-most - 1, -most - 1, most, most, most, most), -1); });
}

TEST(FileList, PrintsWhatTheCatalogueSaysAndReturnsZero) {
  char dir[] = "/data", experiment[] = "no such experiment";
  int result = -1;
  const said heard = listen([&] { result = GetFileList(dir, experiment, 10, 20); });
  EXPECT_EQ(result, 0);
  const std::string head =
      "GetFileList: dir /data exp no such experiment start 10 end 20\nRAVO_DAQ_DATA_RAW_FORMAT= 1\nret= ";
  ASSERT_EQ(heard.out.substr(0, head.size()), head);
  const std::string code = heard.out.substr(head.size());
  EXPECT_NE(std::stoi(code), 0);
  EXPECT_EQ(code, std::to_string(std::stoi(code)) + "\n");
}

TEST(FileList, PrintsNothingMoreOnceANullFolderFailedTheStream) {
  char experiment[] = "none";
  int result = -1;
  const said heard = listen([&] {
    result = GetFileList(nullptr, experiment, 10, 20);
    std::cout.clear();
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(heard.out, "GetFileList: dir ");
}

TEST(FileList, RaisesTheLogicErrorOfANullExperiment) {
  char dir[] = "/data";
  const said heard = listen([&] {
    EXPECT_THROW(GetFileList(dir, nullptr, 10, 20), std::logic_error);
    std::cout.clear();
  });
  EXPECT_EQ(heard.out, "GetFileList: dir /data exp ");
}

}  // namespace
}  // namespace ravo::test
