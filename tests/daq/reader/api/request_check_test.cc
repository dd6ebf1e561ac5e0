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

template <class generation>
class RequestCheck : public scripted_reader<generation> {
 protected:
  ~RequestCheck() override { ravo_set_event_clock(0, 0); }
  void request(ravo_time_id start, ravo_time_id stop) {
    this->reader.set_start_point(&start);
    this->reader.set_stop_point(&stop);
  }
  std::string output_of_check(int expected) {
    captured_output output;
    EXPECT_EQ(this->reader.check_request(), expected);
    return output.stop();
  }
  /// Fills the list with files that begin at these seconds of the day and returns those that are left.
  std::vector<int> kept(std::vector<int> seconds, unsigned start, unsigned stop,
                        std::string* output = nullptr) {
    for (std::size_t i = 0; i < seconds.size(); ++i)
      this->reader.files.push_back(strdup(file_at(seconds[i], static_cast<int>(i) + 1).c_str()));
    request(this->at(0, day + start), this->at(0, day + stop));
    captured_output captured;
    EXPECT_EQ(this->reader.check_request(), 0);
    if (output) *output = captured.stop();
    std::vector<int> left;
    for (const char* file : this->reader.files) {
      for (std::size_t i = 0; i < seconds.size(); ++i)
        if (file == file_at(seconds[i], static_cast<int>(i) + 1)) left.push_back(seconds[i]);
    }
    EXPECT_EQ(left.size(), this->reader.files.size());
    return left;
  }
};
TYPED_TEST_SUITE(RequestCheck, generations, generation_name);

TYPED_TEST(RequestCheck, WithoutAStopTimeTheStopIsNow) {
  this->request({}, this->at(0, 0, 999));
  const auto before = static_cast<unsigned>(std::time(nullptr));
  EXPECT_EQ(this->output_of_check(0), "");
  const auto after = static_cast<unsigned>(std::time(nullptr));
  EXPECT_GE(this->reader.get_stop_point()->time.timeup, before);
  EXPECT_LE(this->reader.get_stop_point()->time.timeup, after);
  EXPECT_EQ(this->reader.get_stop_point()->time.timelow, 0u);
  EXPECT_EQ(this->reader.time_start, 0.0);
  EXPECT_EQ(this->reader.time_stop, this->reader.get_stop_point()->time.timeup * 1e6);
  EXPECT_EQ(this->reader.get_stop_point()->event_number, 0u);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(RequestCheck, TheTimesAreKeptInMicroseconds) {
  this->request(this->at(0, 4000000000u, 1), this->at(0, 4000000000u, 3));
  EXPECT_EQ(this->output_of_check(0), "");
  EXPECT_EQ(this->reader.time_start, 4000000000000001.0);
  EXPECT_EQ(this->reader.time_stop, 4000000000000003.0);
}

TYPED_TEST(RequestCheck, EventNumbersOutOfOrderAreRefused) {
  this->request(this->at(200, 5, 6), this->at(100, 0, 0));
  EXPECT_EQ(this->output_of_check(RAVO_DAQ_READER_INV_PARAM), "Wrong Event IDs start:200 > stop:100\n");
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
}

TYPED_TEST(RequestCheck, ARefusedRequestStaysAsItWasGiven) {
  this->request(this->at(200, 0), this->at(100, 0, 7));
  this->reader.check_request();
  EXPECT_EQ(this->reader.get_stop_point()->time.timeup, 0u);
  EXPECT_EQ(this->reader.get_stop_point()->time.timelow, 7u);
  EXPECT_EQ(this->reader.time_stop, 0.0);
}

TYPED_TEST(RequestCheck, EqualEventNumbersPass) {
  this->request(this->at(100, 0), this->at(100, 0));
  EXPECT_EQ(this->output_of_check(0), "");
}

TYPED_TEST(RequestCheck, AMissingEventNumberIsNotCompared) {
  this->request(this->at(200, 0), this->at(0, 0));
  EXPECT_EQ(this->output_of_check(0), "");
  this->request(this->at(0, 0), this->at(200, 0));
  EXPECT_EQ(this->output_of_check(0), "");
}

TYPED_TEST(RequestCheck, TimesOutOfOrderAreRefused) {
  this->request(this->at(0, 20, 6), this->at(0, 20, 5));
  EXPECT_EQ(this->output_of_check(RAVO_DAQ_READER_INV_PARAM), "Wrong Time start:20_6 > stop:20_5\n");
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  this->request(this->at(0, 0, 1000001), this->at(0, 1, 0));
  EXPECT_EQ(this->output_of_check(RAVO_DAQ_READER_INV_PARAM), "Wrong Time start:0_1000001 > stop:1_0\n");
  this->request(this->at(0, 20, 5), this->at(0, 20, 5));
  EXPECT_EQ(this->output_of_check(0), "");
}

TYPED_TEST(RequestCheck, AStartInTheFutureIsAfterAnOpenStop) {
  this->request(this->at(0, 4000000000u), {});
  EXPECT_EQ(
      this->output_of_check(RAVO_DAQ_READER_INV_PARAM).rfind("Wrong Time start:-294967296_0 > stop:", 0),
      0u);
}

TYPED_TEST(RequestCheck, EventNumbersAreWorkedOutFromTheTimes) {
  ravo_set_event_clock(1000, 10);
  this->request(this->at(0, 1100), this->at(0, 1200));
  EXPECT_EQ(this->output_of_check(0), "");
  EXPECT_EQ(this->reader.get_start_point()->event_number, 1000u);
  EXPECT_EQ(this->reader.get_stop_point()->event_number, 2000u);
}

TYPED_TEST(RequestCheck, GivenEventNumbersStay) {
  ravo_set_event_clock(1000, 10);
  this->request(this->at(7, 1100), this->at(0, 1200));
  EXPECT_EQ(this->output_of_check(0), "");
  EXPECT_EQ(this->reader.get_start_point()->event_number, 7u);
  EXPECT_EQ(this->reader.get_stop_point()->event_number, 2000u);
  this->request(this->at(0, 1100), this->at(5000, 1200));
  EXPECT_EQ(this->output_of_check(0), "");
  EXPECT_EQ(this->reader.get_start_point()->event_number, 1000u);
  EXPECT_EQ(this->reader.get_stop_point()->event_number, 5000u);
}

TYPED_TEST(RequestCheck, AWorkedOutNumberMayContradictAGivenOne) {
  ravo_set_event_clock(1000, 10);
  this->request(this->at(0, 1100), this->at(5, 1200));
  EXPECT_EQ(this->output_of_check(RAVO_DAQ_READER_INV_PARAM), "Wrong Event IDs start:1000 > stop:5\n");
  EXPECT_EQ(this->reader.get_start_point()->event_number, 0u);
}

using CurrentRequestCheck = RequestCheck<current_generation>;

TEST_F(CurrentRequestCheck, FilesFromTheCatalogueAreLeftAloneOnce) {
  reader.found_from_run_catalogue = true;
  EXPECT_EQ(kept({10, 20}, 1000, 2000), (std::vector<int>{10, 20}));
  EXPECT_FALSE(is_marked_by_catalogue(reader));
  EXPECT_EQ(output_of_check(0), "");
  EXPECT_EQ(reader.get_number_of_files(), 1) << "only the first file, which begins before the request";
}

TEST_F(CurrentRequestCheck, AMarkFromTheCatalogueOutlivesARefusal) {
  reader.found_from_run_catalogue = true;
  request(at(2, 0), at(1, 0));
  output_of_check(RAVO_DAQ_READER_INV_PARAM);
  EXPECT_TRUE(is_marked_by_catalogue(reader));
}

// Files of 100 seconds: the one that begins one step before the start still reaches it.
TYPED_TEST(RequestCheck, FilesThatReachIntoTheRequestAreKept) {
  EXPECT_EQ(this->kept({0, 100, 200, 300, 400, 500}, 250, 400), (std::vector<int>{0, 200, 300, 400}));
}

TYPED_TEST(RequestCheck, AFileOneStepBeforeTheStartIsKept) {
  EXPECT_EQ(this->kept({0, 100, 200, 300}, 200, 250), (std::vector<int>{0, 100, 200}));
}

TYPED_TEST(RequestCheck, AFileMoreThanOneStepBeforeTheStartIsDropped) {
  EXPECT_EQ(this->kept({0, 100, 200, 300}, 201, 250), (std::vector<int>{0, 200}));
}

TYPED_TEST(RequestCheck, TheFirstFileIsKeptHoweverEarly) {
  EXPECT_EQ(this->kept({0, 100, 200}, 5000, 6000), (std::vector<int>{0}));
}

TYPED_TEST(RequestCheck, AFirstFileInsideTheRequestIsKept) {
  EXPECT_EQ(this->kept({100, 200, 300}, 50, 220), (std::vector<int>{100, 200}));
}

TYPED_TEST(RequestCheck, AFirstFileAfterTheStopIsDropped) {
  EXPECT_EQ(this->kept({100, 200}, 10, 99), (std::vector<int>{}));
}

TYPED_TEST(RequestCheck, TheStepIsWholeSeconds) {
  // (200 - 0) / 3 = 66: the file at 133 reaches to 199, the one at 66 to 132.
  EXPECT_EQ(this->kept({0, 66, 133, 200}, 133, 199), (std::vector<int>{0, 133}));
}

// With one file its own time replaces the step, which only a request after both could show.
TYPED_TEST(RequestCheck, ASingleFileIsKeptUnlessItIsAfterTheStop) {
  EXPECT_EQ(this->kept({100}, 5000, 6000), (std::vector<int>{100}));
  this->reader.clean_up();
  EXPECT_EQ(this->kept({100}, 50, 200), (std::vector<int>{100}));
  this->reader.clean_up();
  EXPECT_EQ(this->kept({100}, 50, 99), (std::vector<int>{}));
}

TYPED_TEST(RequestCheck, ANamelessTimeIsReportedAndItsFileDropped) {
  this->reader.files.push_back(strdup("/x/first.raw"));
  this->reader.files.push_back(strdup(file_at(100, 1).c_str()));
  this->reader.files.push_back(strdup("/x/last.raw"));
  this->request(this->at(0, day + 50), this->at(0, day + 200));
  EXPECT_EQ(this->output_of_check(0), this->class_name + "::init() failed to extract start time locally\n" +
                                          this->class_name +
                                          "::init() failed to extract stop time locally\n");
  ASSERT_EQ(this->reader.get_number_of_files(), 1);
  EXPECT_EQ(this->reader.get_file_name(0), file_at(100, 1));
}

TYPED_TEST(RequestCheck, AnUnknownFirstTimeCountsAsZeroInTheStep) {
  // The step becomes (day + 300) / 2: far more than the 100 seconds between the files.
  this->reader.files.push_back(strdup("/x/first.raw"));
  std::string output;
  EXPECT_EQ(this->kept({100, 300}, 20000, 30000, &output), (std::vector<int>{100, 300}));
  EXPECT_EQ(output, this->class_name + "::init() failed to extract start time locally\n");
}

TYPED_TEST(RequestCheck, AnUnknownLastTimeCountsAsZeroInTheStep) {
  this->reader.files.push_back(strdup(file_at(0, 1).c_str()));
  this->reader.files.push_back(strdup(file_at(100, 2).c_str()));
  this->reader.files.push_back(strdup("/x/last.raw"));
  this->request(this->at(0, day + 100), this->at(0, day + 200));
  EXPECT_EQ(this->output_of_check(0), this->class_name + "::init() failed to extract stop time locally\n");
  EXPECT_EQ(this->reader.get_number_of_files(), 1)
      << "the step is negative, so the second file ends too early";
}

}  // namespace
}  // namespace ravo::test
