// What the reader says and keeps when there is no memory. The programs of these tests bring their own
// allocation; that nothing leaks is seen by running them under the address sanitizer.
#include "failing_allocation.h"
#include "requested_reader.h"

namespace ravo::test {
namespace {

constexpr int plain = RAVO_BLOCK_1CHAN_2010;

class Memory : public scripted_reader {
 protected:
  Memory() { reader.set_data_dir(""); }
  std::string output_of_add_file(const char* name, int expected) {
    captured_output output;
    EXPECT_EQ(reader.add_file(name, true), expected);
    return output.stop();
  }
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
};

TEST_F(Memory, AnUncopiedPathDropsTheWholeList) {
  ASSERT_EQ(reader.add_file("/x/a.raw", true), 0);
  ASSERT_EQ(reader.add_file("/x/b.raw", true), 0);
  failing_allocation fails(0);
  EXPECT_EQ(output_of_add_file("/x/c.raw", -6),
            "ravo_daq_reader_2010::add_file() Failed to malloc for file: /x/c.raw\n");
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
}

TEST_F(Memory, AnUncopiedNameInTheDataDirectoryIsToldLikewise) {
  reader.set_data_dir("/x");
  failing_allocation fails(0);
  EXPECT_EQ(output_of_add_file("c.raw", -6),
            "ravo_daq_reader_2010::add_file() Failed to malloc for file: c.raw\n");
}

TEST_F(Memory, AnUncopiedNameForAPathListIsToldInShort) {
  ASSERT_EQ(reader.add_file("/x/a.raw", true), 0);
  reader.set_data_dir("/x:/y:");
  failing_allocation fails(0);
  EXPECT_EQ(output_of_add_file("c.raw", -6), "Failed to malloc for file: c.raw\n");
  EXPECT_EQ(reader.get_number_of_files(), 0);
}

TEST_F(Memory, APathBufferThatIsMissingKeepsTheList) {
  ASSERT_EQ(reader.add_file("/x/a.raw", true), 0);
  reader.set_data_path_list("/abc");
  failing_allocation fails(1);
  EXPECT_EQ(output_of_add_file("c.raw", -6),
            "ravo_daq_reader_2010::add_file() faile to allocate file buffer of 10 bytes\n");
  EXPECT_EQ(reader.get_number_of_files(), 1);
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
}

TEST_F(Memory, AChannelWithoutMemoryIsNotAdded) {
  ASSERT_EQ(add("A"), 0);
  failing_allocation fails(0);
  captured_output output;
  EXPECT_EQ(add("B:3;nick"), -6);
  EXPECT_EQ(output.stop(), "Failed to malloc result for B\n");
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
  EXPECT_EQ(reader.get_number_of_channels(), 1);
  EXPECT_TRUE(fails.happened());
  EXPECT_EQ(add("B:3;nick"), 0);
}

TEST_F(Memory, SetChannelsStopsAtTheChannelWithoutMemory) {
  std::string names[] = {"A", "B", "C"};
  std::vector<daq_channel_entry> kept;
  for (std::string& name : names) kept.push_back({name.data(), {}});
  std::vector<daq_channel_entry*> wanted;
  for (daq_channel_entry& channel : kept) wanted.push_back(&channel);
  failing_allocation fails(1);
  captured_output output;
  EXPECT_EQ(reader.set_channels(&wanted), -6);
  EXPECT_EQ(output.stop(), "Failed to malloc result for B\n");
  EXPECT_EQ(reader.results.size(), 1u);
  EXPECT_EQ(reader.get_number_of_channels(), 1);
}

TEST_F(Memory, ARemovedChannelTakesItsBufferAlong) {
  ASSERT_EQ(add("A"), 0);
  reader.results[0]->data = static_cast<ravo_serv_block_subhead_2010*>(std::malloc(268));
  EXPECT_EQ(reader.rem_channel("A"), 0);
}

TEST_F(Memory, BuffersGrowAndNeverShrink) {
  ASSERT_EQ(add("A"), 0);
  ASSERT_EQ(reader.start(), 0);
  const std::pair<std::string, int> contents_and_allocations[] = {
      {std::string(100, 'a'), 1}, {std::string(1000, 'b'), 1}, {std::string(10, 'c'), 0},
      {std::string(900, 'd'), 0}, {std::string(1000, 'e'), 0}, {std::string(1001, 'f'), 1}};
  unsigned number = 0;
  for (const auto& [content, allocations] : contents_and_allocations) {
    ++number;
    answer(at(number, number), {block("A", plain, at(number, number), content)});
    const long before = failing_allocation::asked;
    ASSERT_EQ(get(), 0);
    EXPECT_EQ(payload(entries.at(0)), content);
    EXPECT_EQ(failing_allocation::asked - before, allocations) << number;
  }
}

TEST_F(Memory, ABufferThatCannotGrowIsAnInternalErrorThatNamesTheChannel) {
  ASSERT_EQ(add("A:1"), 0);
  ASSERT_EQ(reader.start(), 0);
  answer(at(1, 1), {block("A:1", plain, at(1, 1), "small")});
  answer(at(2, 2), {block("A:1", plain, at(2, 2), std::string(500, 'x'))});
  answer(at(3, 3), {block("A:1", plain, at(3, 3), std::string(500, 'y'))});
  ASSERT_EQ(get(), 0);
  failing_allocation fails(0);
  testing::internal::CaptureStderr();
  captured_output output;
  EXPECT_EQ(get(), -6);
  EXPECT_EQ(output.stop(), "Failed to realloc 768 of data for A:1\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, 9), "realloc: ");
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
  EXPECT_TRUE(entries.empty());
  EXPECT_EQ(get(), 0) << "the next event finds memory again";
  EXPECT_EQ(payload(entries.at(0)), std::string(500, 'y'));
}

// ---- requests -------------------------------------------------------------------------------------

class RequestMemory : public requested_reader {};

TEST_F(RequestMemory, RunNumbersWithoutMemoryAreTold) {
  ask_for_runs(7, 9);
  failing_allocation fails(0);
  EXPECT_EQ(init(), -6);
  EXPECT_EQ(output, "ravo_daq_reader_2010::init() Failed to malloc run number\n");
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
  EXPECT_EQ(the_catalogue.records_alive, 0);
}

// A list with a hole would give data that look whole.
TEST_F(RequestMemory, AFileWithoutMemoryEndsTheRequest) {
  ask_for_period(0, 1000);
  the_catalogue.period_status = 0;
  the_catalogue.files_of_period = {raw_name(7, 1, 100), raw_name(7, 2, 200), raw_name(7, 3, 300)};
  failing_allocation fails(1);
  EXPECT_EQ(init(), -6);
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_EQ(the_catalogue.records_alive, 0);
  EXPECT_EQ(init(), 0) << "and the next time there is memory";
  EXPECT_EQ(reader.get_number_of_files(), 3);
}

TEST_F(RequestMemory, ThereIsAnAnswerWhereverMemoryEnds) {
  make({raw_name(7, 4, 100), raw_name(7, 5, 200), raw_name(7, 6, 300), raw_name(7, 7, 400)});
  the_loader.index_of_file[raw_name(7, 4, 100)] = index_of(100, 200);
  for (const int run : {0, 7}) {
    ask_for_runs(run, run);
    ask_for_period(200, 300);
    for (long successes = 0;; ++successes) {
      failing_allocation fails(successes);
      const int status = init();
      if (!fails.happened()) break;
      EXPECT_TRUE(status == -6 || status == 0) << successes;
      EXPECT_LT(successes, 100);
    }
  }
}

}  // namespace
}  // namespace ravo::test
