// The rules in which generations of readers differ, with the other choice than the current generation's.
#include <gtest/gtest.h>

#include "captured_output.h"
#include "environment_variable.h"
#include "scripted_layers.h"
#include "temporary_folder.h"

namespace ravo::test {
namespace {

class GenerationRules : public testing::Test {
 protected:
  GenerationRules() {
    the_slicer = {};
    the_loader = {};
    the_catalogue = {};
  }
  environment_variable seconds{"DAQ_MAX_TIME_STEP_SEC", "7"};
  environment_variable paths{"RAVO_DAQ_DATA_PATH_LIST", "/p"};
  environment_variable no_ignoring{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  daq_reader<contrary_generation> reader;
};

TEST_F(GenerationRules, DefaultsAreTheGenerations) {
  EXPECT_EQ(reader.get_time_diff()->timeup, 0u) << "the environment is not read";
  EXPECT_EQ(reader.get_time_diff()->timelow, 95000u);
  EXPECT_EQ(reader.get_period()->event_number, 1u);
  EXPECT_EQ(reader.get_period()->time.timelow, 200000u);
  EXPECT_STREQ(reader.get_data_dir(), "");
  EXPECT_STREQ(reader.get_data_path_list(), "/p");
  reader.set_data_dir("/other");
  reader.clean_up();
  EXPECT_STREQ(reader.get_data_dir(), "");
}

TEST_F(GenerationRules, AFileMayBeTakenAsSoonAsItExists) {
  temporary_folder folder;
  captured_output output;
  EXPECT_EQ(reader.add_file(folder.write("a.raw", {}).c_str(), true), 0);
  EXPECT_EQ(reader.add_file("/nowhere/a.raw", true), -10);
  reader.set_debug(1);
  EXPECT_EQ(reader.add_file("/nowhere/a.raw", true), -10);
  EXPECT_EQ(output.stop(), "contrary file /nowhere/a.raw not found\n");
  EXPECT_EQ(reader.get_number_of_files(), 1);
}

TEST_F(GenerationRules, AMissingFileMayBeRefusedWhateverTheEnvironmentSays) {
  environment_variable ignore("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1");
  EXPECT_EQ(reader.add_file("/nowhere/a.raw", true), -10);
}

TEST_F(GenerationRules, AFailedStartMayBeSilentAndKeepItsErrorTextPlain) {
  the_slicer.start_status = -6;
  the_slicer.not_found_channels = "A";
  EXPECT_EQ(reader.start(), -6);
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
  EXPECT_EQ(the_slicer.calls.front(), "init 0") << "there is no by-time fix to pass on";
  reader.set_debug(1);
  captured_output output;
  EXPECT_EQ(reader.start(), -8);
  EXPECT_EQ(output.text(), "");
  reader.clean_up();
  const ravo_time_id from{2, {}}, to{1, {}};
  reader.set_start_point(&from);
  reader.set_stop_point(&to);
  EXPECT_EQ(reader.start(), -7);
  EXPECT_EQ(output.stop(), "Wrong Event IDs start:2 > stop:1\n");
}

}  // namespace
}  // namespace ravo::test
