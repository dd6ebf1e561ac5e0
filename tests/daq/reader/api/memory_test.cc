// What the reader says and keeps when there is no memory. The programs of these tests bring their own
// allocation; that nothing leaks is seen by running them under the address sanitizer.
#include "failing_allocation.h"
#include "requested_reader.h"

namespace ravo::test {
namespace {

template <class generation>
class Memory : public scripted_reader<generation> {
 protected:
  Memory() { this->reader.set_data_dir(""); }
  std::string output_of_add_file(const char* name, int expected) {
    captured_output output;
    EXPECT_EQ(this->reader.add_file(name, true), expected);
    return output.stop();
  }
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
};
TYPED_TEST_SUITE(Memory, generations, generation_name);

TYPED_TEST(Memory, AnUncopiedPathDropsTheWholeList) {
  ASSERT_EQ(this->reader.add_file(this->existing("a.raw").c_str(), true), 0);
  ASSERT_EQ(this->reader.add_file(this->existing("b.raw").c_str(), true), 0);
  failing_allocation fails(0);
  EXPECT_EQ(this->output_of_add_file("/x/c.raw", RAVO_DAQ_READER_INTERN_ERROR),
            either<TypeParam>("ravo_daq_reader_2010::add_file() Failed to malloc for file: /x/c.raw\n",
                              "Failed to malloc for file: /x/c.raw\n"));
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
}

TYPED_TEST(Memory, AnUncopiedNameInTheDataDirectoryIsReportedToo) {
  this->reader.set_data_dir("/x");
  failing_allocation fails(0);
  EXPECT_EQ(this->output_of_add_file("c.raw", RAVO_DAQ_READER_INTERN_ERROR),
            either<TypeParam>("ravo_daq_reader_2010::add_file() Failed to malloc for file: c.raw\n",
                              "Failed to malloc for file: c.raw\n"));
}

TYPED_TEST(Memory, AnUncopiedNameForAPathListIsReportedBriefly) {
  ASSERT_EQ(this->reader.add_file(this->existing("a.raw").c_str(), true), 0);
  this->reader.set_data_dir("/x:/y:");
  failing_allocation fails(0);
  EXPECT_EQ(this->output_of_add_file("c.raw", RAVO_DAQ_READER_INTERN_ERROR),
            "Failed to malloc for file: c.raw\n");
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

TYPED_TEST(Memory, APathBufferThatIsMissingKeepsTheList) {
  ASSERT_EQ(this->reader.add_file(this->existing("a.raw").c_str(), true), 0);
  this->reader.set_data_path_list("/abc");
  failing_allocation fails(1);
  EXPECT_EQ(this->output_of_add_file("c.raw", RAVO_DAQ_READER_INTERN_ERROR),
            this->class_name + "::add_file() faile to allocate file buffer of 10 bytes\n");
  EXPECT_EQ(this->reader.get_number_of_files(), 1);
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
}

TYPED_TEST(Memory, AChannelWithoutMemoryIsNotAdded) {
  ASSERT_EQ(this->add("A"), 0);
  failing_allocation fails(0);
  captured_output output;
  EXPECT_EQ(this->add("B:3;nick"), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(output.stop(), "Failed to malloc result for B\n");
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
  EXPECT_EQ(this->reader.get_number_of_channels(), 1);
  EXPECT_TRUE(fails.happened());
  EXPECT_EQ(this->add("B:3;nick"), 0);
}

TYPED_TEST(Memory, SetChannelsStopsAtTheChannelWithoutMemory) {
  std::string names[] = {"A", "B", "C"};
  std::vector<daq_channel_entry> kept;
  for (std::string& name : names) kept.push_back({name.data(), {}});
  std::vector<daq_channel_entry*> wanted;
  for (daq_channel_entry& channel : kept) wanted.push_back(&channel);
  failing_allocation fails(1);
  captured_output output;
  EXPECT_EQ(this->reader.set_channels(&wanted), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(output.stop(), "Failed to malloc result for B\n");
  EXPECT_EQ(this->reader.results.size(), 1u);
  EXPECT_EQ(this->reader.get_number_of_channels(), 1);
}

TYPED_TEST(Memory, ARemovedChannelTakesItsBufferAlong) {
  ASSERT_EQ(this->add("A"), 0);
  this->reader.results[0]->data =
      static_cast<typename TestFixture::subhead*>(std::malloc(TypeParam::subhead));
  EXPECT_EQ(this->reader.rem_channel("A"), 0);
}

TYPED_TEST(Memory, BuffersGrowAndNeverShrink) {
  ASSERT_EQ(this->add("A"), 0);
  ASSERT_EQ(this->reader.start(), 0);
  const std::pair<std::string, int> contents_and_allocations[] = {
      {std::string(100, 'a'), 1}, {std::string(1000, 'b'), 1}, {std::string(10, 'c'), 0},
      {std::string(900, 'd'), 0}, {std::string(1000, 'e'), 0}, {std::string(1001, 'f'), 1}};
  unsigned number = 0;
  for (const auto& [content, allocations] : contents_and_allocations) {
    ++number;
    this->answer(this->at(number, number),
                 {this->block("A", TypeParam::single, this->at(number, number), content)});
    const long before = failing_allocation::asked;
    ASSERT_EQ(this->get(), 0);
    EXPECT_EQ(this->payload(this->entries.at(0)), content);
    EXPECT_EQ(failing_allocation::asked - before, allocations) << number;
  }
}

TYPED_TEST(Memory, ABufferThatCannotGrowIsAnInternalErrorThatNamesTheChannel) {
  ASSERT_EQ(this->add("A:1"), 0);
  ASSERT_EQ(this->reader.start(), 0);
  this->answer(this->at(1, 1), {this->block("A:1", TypeParam::single, this->at(1, 1), "small")});
  this->answer(this->at(2, 2),
               {this->block("A:1", TypeParam::single, this->at(2, 2), std::string(500, 'x'))});
  this->answer(this->at(3, 3),
               {this->block("A:1", TypeParam::single, this->at(3, 3), std::string(500, 'y'))});
  ASSERT_EQ(this->get(), 0);
  failing_allocation fails(0);
  testing::internal::CaptureStderr();
  captured_output output;
  EXPECT_EQ(this->get(), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(output.stop(),
            "Failed to realloc " + std::to_string(TypeParam::subhead + 500) + " of data for A:1\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, 9), "realloc: ");
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
  EXPECT_TRUE(this->entries.empty());
  EXPECT_EQ(this->get(), 0) << "the next event finds memory again";
  EXPECT_EQ(this->payload(this->entries.at(0)), std::string(500, 'y'));
}

// ---- requests -------------------------------------------------------------------------------------

template <class generation>
class RequestMemory : public requested_reader<generation> {};
TYPED_TEST_SUITE(RequestMemory, generations, generation_name);

TYPED_TEST(RequestMemory, RunNumbersWithoutMemoryAreReported) {
  this->ask_for_runs(7, 9);
  failing_allocation fails(0);
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(this->output, this->class_name + "::init() Failed to malloc run number\n");
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
  EXPECT_EQ(the_catalogue.records_alive, 0);
}

// A list with a hole would give data that look complete.
TYPED_TEST(RequestMemory, AFileWithoutMemoryEndsTheRequest) {
  this->ask_for_period(0, 1000);
  the_catalogue.period_status = 0;
  the_catalogue.files_of_period = {raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 3, 300)};
  this->make(the_catalogue.files_of_period);
  failing_allocation fails(1);
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  EXPECT_EQ(the_catalogue.records_alive, 0);
  EXPECT_EQ(this->init(), 0) << "and the next time there is memory";
  EXPECT_EQ(this->reader.get_number_of_files(), 3);
}

TYPED_TEST(RequestMemory, ThereIsAnAnswerWhereverMemoryEnds) {
  this->make({raw_name(7, 4, 100), raw_name(7, 5, 200), raw_name(7, 6, 300), raw_name(7, 7, 400)});
  the_loader.index_of_file[raw_name(7, 4, 100)] = this->index_of(100, 200);
  for (const int run : {0, 7}) {
    this->ask_for_runs(run, run);
    this->ask_for_period(200, 300);
    for (long successes = 0;; ++successes) {
      failing_allocation fails(successes);
      const int status = this->init();
      if (!fails.happened()) break;
      EXPECT_TRUE(status == -6 || status == 0) << successes;
      EXPECT_LT(successes, 100);
    }
  }
}

}  // namespace
}  // namespace ravo::test
