// check_request(): how a request is completed, when it is refused, and which files it leaves.
#include "scripted_reader.h"

#include <ctime>

#include "ravo_evutl.h"

namespace ravo::test {
namespace {

/// The name of a file that begins at a second of 2 January 1970.
std::string file_at(int seconds, int number) {
  char name[80];
  std::snprintf(name, sizeof name, "/x/linac_main_run7_file%d_19700102T%02d%02d%02dZ.raw", number,
                seconds / 3600, seconds / 60 % 60, seconds % 60);
  return name;
}
constexpr unsigned day = 86400;

class RequestCheck : public scripted_reader {
 protected:
  ~RequestCheck() override { ravo_set_event_clock(0, 0); }
  void request(ravo_time_id start, ravo_time_id stop) {
    reader.set_start_point(&start);
    reader.set_stop_point(&stop);
  }
  std::string output_of_check(int expected) {
    captured_output output;
    EXPECT_EQ(reader.check_request(), expected);
    return output.stop();
  }
  /// Fills the list with files that begin at these seconds of the day and returns those that are left.
  std::vector<int> kept(std::vector<int> seconds, unsigned start, unsigned stop,
                        std::string* output = nullptr) {
    for (std::size_t i = 0; i < seconds.size(); ++i)
      reader.files.push_back(strdup(file_at(seconds[i], static_cast<int>(i) + 1).c_str()));
    request(at(0, day + start), at(0, day + stop));
    captured_output captured;
    EXPECT_EQ(reader.check_request(), 0);
    if (output) *output = captured.stop();
    std::vector<int> left;
    for (const char* file : reader.files) {
      for (std::size_t i = 0; i < seconds.size(); ++i)
        if (file == file_at(seconds[i], static_cast<int>(i) + 1)) left.push_back(seconds[i]);
    }
    EXPECT_EQ(left.size(), reader.files.size());
    return left;
  }
};

TEST_F(RequestCheck, WithoutAStopTimeTheStopIsNow) {
  request({}, at(0, 0, 999));
  const auto before = static_cast<unsigned>(std::time(nullptr));
  EXPECT_EQ(output_of_check(0), "");
  const auto after = static_cast<unsigned>(std::time(nullptr));
  EXPECT_GE(reader.get_stop_point()->time.timeup, before);
  EXPECT_LE(reader.get_stop_point()->time.timeup, after);
  EXPECT_EQ(reader.get_stop_point()->time.timelow, 0u);
  EXPECT_EQ(reader.time_start, 0.0);
  EXPECT_EQ(reader.time_stop, reader.get_stop_point()->time.timeup * 1e6);
  EXPECT_EQ(reader.get_stop_point()->event_number, 0u);
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(RequestCheck, TheTimesAreKeptInMicroseconds) {
  request(at(0, 4000000000u, 1), at(0, 4000000000u, 3));
  EXPECT_EQ(output_of_check(0), "");
  EXPECT_EQ(reader.time_start, 4000000000000001.0);
  EXPECT_EQ(reader.time_stop, 4000000000000003.0);
}

TEST_F(RequestCheck, EventNumbersOutOfOrderAreRefused) {
  request(at(200, 5, 6), at(100, 0, 0));
  EXPECT_EQ(output_of_check(-7), "Wrong Event IDs start:200 > stop:100\n");
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
}

TEST_F(RequestCheck, ARefusedRequestStaysAsItWasGiven) {
  request(at(200, 0), at(100, 0, 7));
  reader.check_request();
  EXPECT_EQ(reader.get_stop_point()->time.timeup, 0u);
  EXPECT_EQ(reader.get_stop_point()->time.timelow, 7u);
  EXPECT_EQ(reader.time_stop, 0.0);
}

TEST_F(RequestCheck, EqualEventNumbersPass) {
  request(at(100, 0), at(100, 0));
  EXPECT_EQ(output_of_check(0), "");
}

TEST_F(RequestCheck, AMissingEventNumberIsNotCompared) {
  request(at(200, 0), at(0, 0));
  EXPECT_EQ(output_of_check(0), "");
  request(at(0, 0), at(200, 0));
  EXPECT_EQ(output_of_check(0), "");
}

TEST_F(RequestCheck, TimesOutOfOrderAreRefused) {
  request(at(0, 20, 6), at(0, 20, 5));
  EXPECT_EQ(output_of_check(-7), "Wrong Time start:20_6 > stop:20_5\n");
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  request(at(0, 0, 1000001), at(0, 1, 0));
  EXPECT_EQ(output_of_check(-7), "Wrong Time start:0_1000001 > stop:1_0\n");
  request(at(0, 20, 5), at(0, 20, 5));
  EXPECT_EQ(output_of_check(0), "");
}

TEST_F(RequestCheck, AStartInTheFutureIsBehindAnOpenStop) {
  request(at(0, 4000000000u), {});
  EXPECT_EQ(output_of_check(-7).rfind("Wrong Time start:-294967296_0 > stop:", 0), 0u);
}

TEST_F(RequestCheck, EventNumbersAreWorkedOutFromTheTimes) {
  ravo_set_event_clock(1000, 10);
  request(at(0, 1100), at(0, 1200));
  EXPECT_EQ(output_of_check(0), "");
  EXPECT_EQ(reader.get_start_point()->event_number, 1000u);
  EXPECT_EQ(reader.get_stop_point()->event_number, 2000u);
}

TEST_F(RequestCheck, GivenEventNumbersStay) {
  ravo_set_event_clock(1000, 10);
  request(at(7, 1100), at(0, 1200));
  EXPECT_EQ(output_of_check(0), "");
  EXPECT_EQ(reader.get_start_point()->event_number, 7u);
  EXPECT_EQ(reader.get_stop_point()->event_number, 2000u);
  request(at(0, 1100), at(5000, 1200));
  EXPECT_EQ(output_of_check(0), "");
  EXPECT_EQ(reader.get_start_point()->event_number, 1000u);
  EXPECT_EQ(reader.get_stop_point()->event_number, 5000u);
}

TEST_F(RequestCheck, AWorkedOutNumberMayContradictAGivenOne) {
  ravo_set_event_clock(1000, 10);
  request(at(0, 1100), at(5, 1200));
  EXPECT_EQ(output_of_check(-7), "Wrong Event IDs start:1000 > stop:5\n");
  EXPECT_EQ(reader.get_start_point()->event_number, 0u);
}

TEST_F(RequestCheck, FilesFromTheCatalogueAreLeftAloneOnce) {
  reader.found_from_run_catalogue = true;
  EXPECT_EQ(kept({10, 20}, 1000, 2000), (std::vector<int>{10, 20}));
  EXPECT_FALSE(reader.found_from_run_catalogue);
  EXPECT_EQ(output_of_check(0), "");
  EXPECT_EQ(reader.get_number_of_files(), 1) << "only the first file, which begins before the request";
}

TEST_F(RequestCheck, AMarkFromTheCatalogueOutlivesARefusal) {
  reader.found_from_run_catalogue = true;
  request(at(2, 0), at(1, 0));
  output_of_check(-7);
  EXPECT_TRUE(reader.found_from_run_catalogue);
}

// Files of 100 seconds: the one that begins one step before the start still reaches it.
TEST_F(RequestCheck, FilesThatReachIntoTheRequestAreKept) {
  EXPECT_EQ(kept({0, 100, 200, 300, 400, 500}, 250, 400), (std::vector<int>{0, 200, 300, 400}));
}

TEST_F(RequestCheck, AFileOneStepBeforeTheStartIsKept) {
  EXPECT_EQ(kept({0, 100, 200, 300}, 200, 250), (std::vector<int>{0, 100, 200}));
}

TEST_F(RequestCheck, AFileMoreThanOneStepBeforeTheStartIsDropped) {
  EXPECT_EQ(kept({0, 100, 200, 300}, 201, 250), (std::vector<int>{0, 200}));
}

TEST_F(RequestCheck, TheFirstFileIsKeptHoweverEarly) {
  EXPECT_EQ(kept({0, 100, 200}, 5000, 6000), (std::vector<int>{0}));
}

TEST_F(RequestCheck, AFirstFileInsideTheRequestIsKept) {
  EXPECT_EQ(kept({100, 200, 300}, 50, 220), (std::vector<int>{100, 200}));
}

TEST_F(RequestCheck, AFirstFileBehindTheStopIsDropped) {
  EXPECT_EQ(kept({100, 200}, 10, 99), (std::vector<int>{}));
}

TEST_F(RequestCheck, TheStepIsWholeSeconds) {
  // (200 - 0) / 3 = 66: the file at 133 reaches to 199, the one at 66 to 132.
  EXPECT_EQ(kept({0, 66, 133, 200}, 133, 199), (std::vector<int>{0, 133}));
}

// With one file its own time stands in for the step, which only a request behind both could tell.
TEST_F(RequestCheck, ASingleFileIsKeptUnlessItIsBehindTheStop) {
  EXPECT_EQ(kept({100}, 5000, 6000), (std::vector<int>{100}));
  reader.clean_up();
  EXPECT_EQ(kept({100}, 50, 200), (std::vector<int>{100}));
  reader.clean_up();
  EXPECT_EQ(kept({100}, 50, 99), (std::vector<int>{}));
}

TEST_F(RequestCheck, ANamelessTimeIsToldAndItsFileDropped) {
  reader.files.push_back(strdup("/x/first.raw"));
  reader.files.push_back(strdup(file_at(100, 1).c_str()));
  reader.files.push_back(strdup("/x/last.raw"));
  request(at(0, day + 50), at(0, day + 200));
  EXPECT_EQ(output_of_check(0),
            "ravo_daq_reader_2010::init() failed to extract start time locally\n"
            "ravo_daq_reader_2010::init() failed to extract stop time locally\n");
  ASSERT_EQ(reader.get_number_of_files(), 1);
  EXPECT_EQ(reader.get_file_name(0), file_at(100, 1));
}

TEST_F(RequestCheck, AnUnknownFirstTimeCountsAsZeroInTheStep) {
  // The step becomes (day + 300) / 2: far more than the 100 seconds between the files.
  reader.files.push_back(strdup("/x/first.raw"));
  std::string output;
  EXPECT_EQ(kept({100, 300}, 20000, 30000, &output), (std::vector<int>{100, 300}));
  EXPECT_EQ(output, "ravo_daq_reader_2010::init() failed to extract start time locally\n");
}

TEST_F(RequestCheck, AnUnknownLastTimeCountsAsZeroInTheStep) {
  reader.files.push_back(strdup(file_at(0, 1).c_str()));
  reader.files.push_back(strdup(file_at(100, 2).c_str()));
  reader.files.push_back(strdup("/x/last.raw"));
  request(at(0, day + 100), at(0, day + 200));
  EXPECT_EQ(output_of_check(0), "ravo_daq_reader_2010::init() failed to extract stop time locally\n");
  EXPECT_EQ(reader.get_number_of_files(), 1) << "the step is negative, so the second file ends too early";
}

}  // namespace
}  // namespace ravo::test
