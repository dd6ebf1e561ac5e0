// get_time_period_us(): from the checked request, from one file's event index, from several files' names.
#include "scripted_reader.h"

namespace ravo::test {
namespace {

template <class generation>
class TimePeriod : public scripted_reader<generation> {
 protected:
  void list(std::initializer_list<const char*> files) {
    for (const char* file : files) this->reader.files.push_back(strdup(file));
  }
  /// An event index of entries {type, first, last} with one event each, in memory of exactly that size.
  void index(std::initializer_list<std::array<unsigned, 4>> types) {
    memory = {0xedaedaf3, static_cast<std::uint32_t>(types.size())};
    std::uint32_t type = 0;
    for (const auto& [first, first_us, last, last_us] : types) {
      const std::uint32_t head[] = {type++, first, first_us, last, last_us, 1, 2, 1};
      const std::uint32_t info[] = {first, first_us, 1, 500};
      memory.insert(memory.end(), std::begin(head), std::end(head));
      memory.insert(memory.end(), std::begin(info), std::end(info));
    }
    memory.shrink_to_fit();
    the_loader.eit_tab = memory.data();
  }
  std::vector<std::uint32_t> memory;
};
TYPED_TEST_SUITE(TimePeriod, generations, generation_name);

constexpr const char* first_file = "/x/linac_main_run7_file1_20250101T000000Z.raw";
constexpr const char* second_file = "/x/linac_main_run7_file2_20250101T000130Z.raw";
constexpr const char* third_file = "/x/linac_main_run7_file3_20250101T000301Z.raw";

TYPED_TEST(TimePeriod, OfACheckedRequestIsItsWindow) {
  this->reader.time_start = 1000.0;
  this->reader.time_stop = 5000.5;
  EXPECT_EQ(this->reader.get_time_period_us(), 4000.5);
  this->reader.time_start = 0;
  EXPECT_EQ(this->reader.get_time_period_us(), -1.0) << "half a window counts for nothing";
}

TYPED_TEST(TimePeriod, WithoutFilesIsUnknown) { EXPECT_EQ(this->reader.get_time_period_us(), -1.0); }

TYPED_TEST(TimePeriod, OfOneFileComesFromItsEventIndex) {
  this->list({first_file});
  this->index({{200, 500, 300, 0}, {100, 999999, 400, 1}, {250, 0, 350, 0}});
  const int clean_ups = the_loader.clean_ups;
  EXPECT_EQ(this->reader.get_time_period_us(), 299000002.0);
  EXPECT_EQ(the_loader.loaded, (std::vector<std::string>{first_file}));
  EXPECT_EQ(the_loader.clean_ups, clean_ups + 1);
}

TYPED_TEST(TimePeriod, OfOneFileDoesNotDependOnTheChannels) {
  this->list({first_file});
  this->add("NOWHERE");
  this->index({{100, 0, 150, 0}});
  EXPECT_EQ(this->reader.get_time_period_us(), 50e6);
  EXPECT_FALSE(the_loader.was_given_channels);
}

TYPED_TEST(TimePeriod, OfAnUnreadableFileIsReported) {
  this->list({first_file});
  the_loader.status = 2;
  EXPECT_EQ(this->reader.get_time_period_us(), -2.0);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
}

TYPED_TEST(TimePeriod, OfAFileWithoutEventsIsReported) {
  this->list({first_file});
  for (const bool has_table : {false, true}) {
    if (has_table) this->index({});
    this->reader.set_error(0);
    const int clean_ups = the_loader.clean_ups;
    captured_output output;
    EXPECT_EQ(this->reader.get_time_period_us(), -3.0);
    EXPECT_EQ(output.stop(), "No events in event index table\n");
    EXPECT_STREQ(this->reader.get_last_error(), "No required data");
    EXPECT_EQ(the_loader.clean_ups, clean_ups + 1);
  }
}

TYPED_TEST(TimePeriod, OfAnIndexWithoutASpanIsUnknown) {
  this->list({first_file});
  this->index({{100, 5, 100, 5}});
  EXPECT_EQ(this->reader.get_time_period_us(), -4.0);
  this->index({{0, 0, 100, 0}});
  EXPECT_EQ(this->reader.get_time_period_us(), -4.0);
}

TYPED_TEST(TimePeriod, OfSeveralFilesIsReckonedFromTheirNames) {
  this->list({first_file, second_file});
  EXPECT_EQ(this->reader.get_time_period_us(), 180e6);
  this->list({third_file});
  // 181 seconds between first and last, and one step of 181 / 2 whole seconds.
  EXPECT_EQ(this->reader.get_time_period_us(), 271e6);
  EXPECT_TRUE(the_loader.loaded.empty());
}

TYPED_TEST(TimePeriod, OfNamesWithoutTimesIsUnknown) {
  this->list({"/x/a.raw", second_file});
  EXPECT_EQ(this->reader.get_time_period_us(), -1.0);
  this->reader.clean_up();
  this->list({first_file, "/x/a.raw"});
  EXPECT_EQ(this->reader.get_time_period_us(), 0.0);
}

TYPED_TEST(TimePeriod, OfFilesOfOneTimeIsUnknown) {
  this->list({first_file, "/x/linac_main_run8_file1_20250101T000000Z.raw"});
  EXPECT_EQ(this->reader.get_time_period_us(), -4.0);
}

}  // namespace
}  // namespace ravo::test
